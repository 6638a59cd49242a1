#include "velm_fov.h"

#include "drivers/base/general_camera_setting.h"
#include "support/assert_recorder.h"
#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/temp_depository.h"

namespace velm::test {

wxDateTime At(long long ms)
{
    return wxDateTime(wxLongLong(ms));
}

// The top level and the groups of a record without channels.
char const * const HEAD_TEXT = "VERSION=1.6\nNUM_SLICES=5\nSTEP_Z=-300\n"
                               "[Hardware]\nHW_DESC=Rig\nOBJ_DESC=10x dry\n"
                               "[Cropping]\nCROP_PARENT_ID=3\nCROP_OFFSET_X=1.5\nCROP_OFFSET_Y=2\n"
                               "CROP_SIZE_X=64\nCROP_SIZE_Y=32\n"
                               "[Coordinate]\nID=7\nS1=1\nP1=2\nS2=3\nP2=4\nX=10\nY=-20\nZ=30\n";

// A record that HEAD_TEXT describes.
VELM_FOV SampleHead()
{
    VELM_FOV fov;
    fov.SetNumSlices(5);
    fov.SetStepZ(-300);
    VELM_HardwareParams hw;
    hw.SetHWDesc("Rig");
    hw.SetObjDesc("10x dry");
    fov.SetHardwareParams(hw);
    VELM_CropParams crop;
    crop.SetParentId(3);
    crop.SetOffset(1.5f, 2.0f);
    crop.SetSize(64.0f, 32.0f);
    fov.SetCropParams(crop);
    fov.SetCoord(VELM_Coord(7, 10, -20, 30, 1, 2, 3, 4));
    return fov;
}

class VelmFov : public testing::Test {
  protected:
    VelmFov() { _temp->Open(); }

    std::string Saved(VELM_FOV const & fov)
    {
        return _file.TextOf([&](auto & config) {
            EXPECT_TRUE(fov.Save(config, &_temp.GetDatabase(), &*_temp));
            EXPECT_EQ(config.GetPath(), "");
        });
    }

    VELM_FOV Loaded(std::string const & text)
    {
        VELM_FOV fov;
        _loaded = Load(text, fov);
        return fov;
    }

    bool Load(std::string const & text, VELM_FOV & fov)
    {
        return _file.With(text, [&](auto & config) {
            bool const ok = fov.Load(config, &_temp.GetDatabase(), &*_temp);
            EXPECT_EQ(config.GetPath(), "");
            return ok;
        });
    }

    template <typename Call>
    static wxString ErrorOf(Call const & call)
    {
        try {
            call();
        } catch (VELM_Error const & error) {
            return error.GetMessage();
        }
        return "did not throw";
    }

    TempDepository _temp;
    ConfigFile const _file;
    bool _loaded = false;
};

TEST_F(VelmFov, ANewOneIsUnsavedAndEmpty)
{
    VELM_FOV const fov;
    EXPECT_EQ(fov.GetId(), -1);
    EXPECT_EQ(fov.GetNumSlices(), 0);
    EXPECT_EQ(fov.GetStepZ(), 0);
    EXPECT_EQ(fov.GetNumChannels(), 0u);
    EXPECT_TRUE(fov.GetCoord() == VELM_Coord());
    EXPECT_EQ(fov.GetCropParams().GetParentId(), -1);
    EXPECT_EQ(fov.GetHardwareParams().GetHWDesc(), "Unknown");
}

TEST_F(VelmFov, ARecordWithoutChannelsWritesItsEntriesInOrderAndLoadsBack)
{
    LogRecorder log;
    std::string const text = Saved(SampleHead());
    EXPECT_EQ(text, HEAD_TEXT);
    VELM_FOV const fov = Loaded(text);
    EXPECT_TRUE(_loaded);
    EXPECT_EQ(Saved(fov), HEAD_TEXT);
    EXPECT_TRUE(fov.GetCoord() == VELM_Coord(7, 10, -20, 30, 1, 2, 3, 4));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmFov, AFreshRecordLoadsBack)
{
    Loaded(Saved(VELM_FOV()));
    EXPECT_TRUE(_loaded);
}

TEST_F(VelmFov, ChannelsBringTheirCorrectionsAndTimesInGroupsOfTheirOwn)
{
    VELM_FOV fov = SampleHead();
    fov.AddChannel(TestChannel(2, "DAPI"));
    fov.AddChannel(TestChannel(11, "FITC"));
    fov.SetTimeInterval(0, VELM_TimeInterval(At(1000123), At(2000456)));
    fov.SetTimeInterval(1, VELM_TimeInterval(At(3000789), At(4000000)));
    VELM_ManualShiftCorrection shift;
    shift.SetShift({4, 5, 6});
    fov.GetCorrSettings(1).SetManualShiftCorrection(&shift);
    std::string const text = Saved(fov);
    EXPECT_THAT(text, testing::HasSubstr("[Channels/Channel02]\nVERSION=1.6\nCHANNEL_ID=2\nName=DAPI\n"));
    EXPECT_THAT(text, testing::HasSubstr("[Channels/Channel11/CameraSetting]\n"));
    EXPECT_THAT(text, testing::HasSubstr("[Corrections/Channel11/Manual\\ shift]\nApply=0\nX=4\nY=5\nZ=6\n"));
    EXPECT_THAT(text, testing::EndsWith("[Times]\n[Times/Channel02]\nSTART_TIME=1000\nSTART_TIME_MS=123\n"
                                        "END_TIME=2000\nEND_TIME_MS=456\n"
                                        "[Times/Channel11]\nSTART_TIME=3000\nSTART_TIME_MS=789\n"
                                        "END_TIME=4000\nEND_TIME_MS=0\n"));

    LogRecorder log;
    VELM_FOV const loaded = Loaded(text);
    EXPECT_TRUE(_loaded);
    EXPECT_EQ(Saved(loaded), text);
    EXPECT_EQ(loaded.GetTimeIntervalById(2).GetStartTime(), At(1000123)) << "to the millisecond";
    EXPECT_EQ(loaded.GetTimeIntervalById(11).GetEndTime(), At(4000000));
    EXPECT_EQ(loaded.GetCorrSettingsById(11).GetManualShiftCorrection()->GetShift(),
              vexa::Vector3d<int>(4, 5, 6));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmFov, AFileWithoutHardwareOrCroppingTakesTheirDefaults)
{
    LogRecorder log;
    VELM_FOV const fov = Loaded("NUM_SLICES=1\nSTEP_Z=2\n[Coordinate]\nID=1\nS1=1\nP1=1\nS2=1\nP2=1\n"
                                "X=1\nY=1\nZ=1\n");
    EXPECT_TRUE(_loaded);
    EXPECT_EQ(fov.GetHardwareParams().GetHWDesc(), "Unknown");
    EXPECT_EQ(fov.GetHardwareParams().GetObjDesc(), "Unknown");
    EXPECT_EQ(fov.GetCropParams().GetParentId(), 0) << "whereas a new one has -1";
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmFov, EachMissingEntryIsNamedAndTheOthersAreRead)
{
    LogRecorder log;
    VELM_FOV fov = SampleHead();
    EXPECT_FALSE(Load("STEP_Z=8\n[Coordinate]\nP1=77\nZ=88\n", fov));
    std::vector<LogLine> expected;
    for (std::string const key : {"NUM_SLICES", "ID", "S1", "S2", "P2", "X", "Y"}) {
        expected.push_back(Error("loading FOV : Compulsory entry " + key + " not defined."));
    }
    EXPECT_EQ(log.Lines(), expected);
    EXPECT_EQ(fov.GetNumSlices(), 5) << "what is missing keeps the value that it had";
    EXPECT_EQ(fov.GetStepZ(), 8);
    EXPECT_TRUE(fov.GetCoord() == VELM_Coord(7, 10, -20, 88, 1, 77, 3, 4));
}

TEST_F(VelmFov, TheCoordinatesTypeIsNotStored)
{
    VELM_FOV fov;
    fov.SetCoord(VELM_Coord(1, 2, 3, 4, 5, 6, 7, 8, VELM_Coord::CROP_GENERATED));
    EXPECT_TRUE(Load(HEAD_TEXT, fov));
    EXPECT_EQ(fov.GetCoord().GetType(), VELM_Coord::CROP_GENERATED);
}

TEST_F(VelmFov, AFileWithoutTimesFailsWithTheRestLoaded)
{
    VELM_FOV fov;
    fov.AddChannel(TestChannel(2, "DAPI"));
    std::string text = Saved(fov);
    text.resize(text.find("[Times]"));
    LogRecorder log;
    VELM_FOV const loaded = Loaded(text);
    EXPECT_FALSE(_loaded);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("loading FOV : Compulsory entry START_TIME not defined."),
                                    Error("loading FOV : Compulsory entry START_TIME_MS not defined."),
                                    Error("loading FOV : Compulsory entry END_TIME not defined."),
                                    Error("loading FOV : Compulsory entry END_TIME_MS not defined.")}));
    EXPECT_EQ(loaded.GetChannel(0).GetName(), "DAPI");
}

TEST_F(VelmFov, AMissingTimeKeepsTheValueThatItHadInAUsedRecord)
{
    VELM_FOV fov;
    fov.AddChannel(TestChannel(2, "DAPI"));
    fov.SetTimeInterval(0, VELM_TimeInterval(At(1000123), At(2000456)));
    std::string text = Saved(fov);
    text.resize(text.find("END_TIME="));
    fov.SetTimeInterval(0, VELM_TimeInterval(At(3000789), At(4000012)));
    LogRecorder log;
    EXPECT_FALSE(Load(text, fov));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("loading FOV : Compulsory entry END_TIME not defined."),
                                    Error("loading FOV : Compulsory entry END_TIME_MS not defined.")}));
    EXPECT_EQ(fov.GetTimeInterval(0).GetStartTime(), At(1000123));
    EXPECT_EQ(fov.GetTimeInterval(0).GetEndTime(), At(4000012));
}

TEST_F(VelmFov, AFileWithoutCorrectionsTakesTheirDefaultsAlsoInAUsedRecord)
{
    VELM_FOV fov;
    fov.AddChannel(TestChannel(2, "DAPI"));
    std::string text = Saved(fov);
    text.erase(text.find("[Corrections]"), text.find("[Times]") - text.find("[Corrections]"));
    fov.GetCorrSettings(0).GetIlluminationCorrection()->SetHomFilterParams({2.0, 2.0, 2.0, 2.0});
    EXPECT_TRUE(Load(text, fov));
    EXPECT_EQ(fov.GetCorrSettings(0).GetIlluminationCorrection()->GetHomFilterParams().c, 1.0);
}

TEST_F(VelmFov, AChannelWhoseCameraSettingCannotBeBuiltFailsWithTheOtherDataPresent)
{
    VELM_FOV fov = SampleHead();
    fov.AddChannel(TestChannel(2, "DAPI"));
    std::string text = Saved(fov);
    std::string const whole = "CAM_EXTRA=\n";
    text.replace(text.find(whole), whole.size(), "CAM_EXTRA=a|b\n");
    LogRecorder log;
    VELM_FOV const loaded = Loaded(text);
    EXPECT_FALSE(_loaded);
    EXPECT_EQ(loaded.GetNumSlices(), 5);
    EXPECT_EQ(loaded.GetChannel(0).GetName(), "DAPI");
}

TEST_F(VelmFov, AChannelWithoutACameraSettingFailsWithoutAMessage)
{
    VELM_FOV fov = SampleHead();
    VELM_Channel channel = TestChannel(2, "DAPI");
    channel.TakeCameraSetting(nullptr);
    fov.AddChannel(channel);
    std::string const text = Saved(fov);
    LogRecorder log;
    VELM_FOV const loaded = Loaded(text);
    EXPECT_FALSE(_loaded);
    EXPECT_EQ(loaded.GetNumChannels(), 1u);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmFov, UnknownChannelsStayAmongTheChannels)
{
    VELM_FOV fov;
    VELM_Channel channel = TestChannel(2, "DAPI");
    bool found = false;
    channel.SetMarkerId(_temp.GetDatabase().GetMarkerId("Foreign", found));
    fov.AddChannel(channel);
    VELM_FOV const loaded = Loaded(Saved(fov));
    EXPECT_TRUE(_loaded);
    EXPECT_EQ(loaded.GetNumChannels(), 1u);
}

TEST_F(VelmFov, EachRefusedEntryIsNamedAndTheOthersAreWritten)
{
    LogRecorder log;
    RefusingConfig config;
    EXPECT_FALSE(SampleHead().Save(config, &_temp.GetDatabase(), &*_temp));
    std::vector<LogLine> expected;
    for (std::string const key :
         {"VERSION", "NUM_SLICES", "STEP_Z", "HW_DESC", "OBJ_DESC", "CROP_PARENT_ID", "CROP_OFFSET_X",
          "CROP_OFFSET_Y", "CROP_SIZE_X", "CROP_SIZE_Y", "ID", "S1", "P1", "S2", "P2", "X", "Y", "Z"}) {
        expected.push_back(Error("saving FOV : Entry " + key + " not saved."));
    }
    EXPECT_EQ(log.Lines(), expected);
}

TEST_F(VelmFov, AFailedChannelCorrectionOrTimeFailsTheRecord)
{
    VELM_FOV fov;
    fov.AddChannel(TestChannel(2, "DAPI"));
    for (wxString const key : {"Marker", "HOM_C", "END_TIME"}) {
        LogRecorder log;
        RefusingConfig config(key);
        EXPECT_FALSE(fov.Save(config, &_temp.GetDatabase(), &*_temp)) << key;
        EXPECT_EQ(log.Lines().size(), 1u) << key;
        EXPECT_TRUE(config.HasEntry("/Times/Channel02/END_TIME_MS")) << key;
    }
}

// --- channels by position and by id

TEST_F(VelmFov, StartingAndEndingChannelsSetsTheirTimes)
{
    VELM_FOV fov;
    fov.StartChannel(TestChannel(1));
    fov.StartChannel(TestChannel(2));
    fov.SetTimeInterval(0, VELM_TimeInterval(At(1000), At(2000)));
    fov.SetTimeInterval(1, VELM_TimeInterval(At(3000), At(4000)));
    fov.EndChannel();
    EXPECT_EQ(fov.GetTimeInterval(0).GetEndTime(), At(2000)) << "only the second interval's end";
    EXPECT_GT(fov.GetTimeInterval(1).GetEndTime(), At(4000));
    EXPECT_EQ(fov.GetTimeInterval(1).GetStartTime(), At(3000));
    fov.EndChannel(0);
    EXPECT_GT(fov.GetTimeInterval(0).GetEndTime(), At(2000));
}

TEST_F(VelmFov, AChannelThatIsAddedBeginsAndEndsNowWithDefaultCorrections)
{
    wxDateTime const before = wxDateTime::UNow();
    VELM_FOV fov;
    fov.AddChannel(TestChannel(1));
    EXPECT_GE(fov.GetTimeInterval(0).GetStartTime(), before);
    EXPECT_GE(fov.GetTimeInterval(0).GetEndTime(), before);
    EXPECT_EQ(fov.GetCorrSettings(0).GetCount(), 4u);
}

TEST_F(VelmFov, AChannelThatIsNotTakenLeavesTheTimesInStep)
{
    LogRecorder log;
    VELM_FOV fov;
    fov.StartChannel(TestChannel(1));
    fov.SetTimeInterval(0, VELM_TimeInterval(At(1000), At(2000)));
    fov.StartChannel(TestChannel(1));
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(fov.GetNumChannels(), 1u);
    EXPECT_EQ(fov.GetTimeInterval(0).GetStartTime(), At(1000));
    EXPECT_EQ(VELM_TRIPPED_BY(fov.SetTimeInterval(1, VELM_TimeInterval())), "i < _time.size()");
}

TEST_F(VelmFov, EndingWithoutAChannelDoesNothing)
{
    VELM_FOV fov;
    fov.EndChannel();
    EXPECT_EQ(fov.GetNumChannels(), 0u);
}

TEST_F(VelmFov, SettingTheChannelListKeepsWhatStandsAtItsPositions)
{
    VELM_FOV fov;
    fov.AddChannel(TestChannel(1));
    fov.AddChannel(TestChannel(2));
    fov.SetTimeInterval(0, VELM_TimeInterval(At(1000), At(2000)));
    fov.GetCorrSettings(0).GetManualShiftCorrection()->SetShift({1, 0, 0});

    VELM_ChannelList channels;
    for (long const id : {5, 6, 7}) {
        channels.Insert(TestChannel(id));
    }
    fov.SetChannelList(channels);
    EXPECT_EQ(fov.GetNumChannels(), 3u);
    EXPECT_EQ(fov.GetTimeIntervalById(5).GetStartTime(), At(1000));
    EXPECT_EQ(fov.GetCorrSettingsById(5).GetManualShiftCorrection()->GetShift().x, 1);
    EXPECT_EQ(fov.GetCorrSettings(2).GetManualShiftCorrection()->GetShift().x, 0);

    fov.SetChannelList(VELM_ChannelList());
    EXPECT_EQ(VELM_TRIPPED_BY(fov.GetCorrSettings(0)), "i < _corr.size()");
}

TEST_F(VelmFov, PositionsOutOfRangeTripTheAssertions)
{
    VELM_FOV fov;
    VELM_FOV const & read = fov;
    EXPECT_EQ(VELM_TRIPPED_BY(fov.SetTimeInterval(0, VELM_TimeInterval())), "i < _time.size()");
    EXPECT_EQ(VELM_TRIPPED_BY(fov.GetCorrSettings(0)), "i < _corr.size()");
    EXPECT_EQ(VELM_TRIPPED_BY(read.GetCorrSettings(0)), "i < _corr.size()");
    EXPECT_EQ(VELM_TRIPPED_BY(fov.SetCorrSettings(0, VELM_CorrectionSettings())), "i < _corr.size()");
}

TEST_F(VelmFov, AnUnknownChannelIdThrowsWithTheOperationsName)
{
    VELM_FOV fov;
    VELM_FOV const & read = fov;
    fov.AddChannel(TestChannel(1));
    EXPECT_EQ(ErrorOf([&] { fov.GetTimeIntervalById(4); }),
              "velm::VELM_FOV::GetTimeIntervalById: Channel with id=4 not found");
    EXPECT_EQ(ErrorOf([&] { fov.GetCorrSettingsById(4); }),
              "velm::VELM_FOV::GetCorrSettingsById: Channel with id=4 not found");
    EXPECT_EQ(ErrorOf([&] { read.GetCorrSettingsById(4); }),
              "velm::VELM_FOV::GetCorrSettingsById: Channel with id=4 not found");
    EXPECT_EQ(ErrorOf([&] { fov.SetCorrSettingsById(4, VELM_CorrectionSettings()); }),
              "velm::VELM_FOV::SetCorrSettingsById: Channel with id=4 not found");
    EXPECT_EQ(ErrorOf([&] { fov.GetChannelById(4); }),
              "velm::VELM_List<class velm::VELM_Channel>::GetById: Item with id=4 not found");
}

TEST_F(VelmFov, CorrectionsAreSetByPositionAndById)
{
    VELM_FOV fov;
    fov.AddChannel(TestChannel(3));
    VELM_CorrectionSettings settings;
    settings.GetManualShiftCorrection()->SetShift({1, 0, 0});
    fov.SetCorrSettings(0, settings);
    EXPECT_EQ(fov.GetCorrSettingsById(3).GetManualShiftCorrection()->GetShift().x, 1);
    settings.GetManualShiftCorrection()->SetShift({2, 0, 0});
    fov.SetCorrSettingsById(3, settings);
    EXPECT_EQ(fov.GetCorrSettings(0).GetManualShiftCorrection()->GetShift().x, 2);
}

TEST_F(VelmFov, CopiesAreIndependent)
{
    VELM_FOV fov = SampleHead();
    fov.AddChannel(TestChannel(3));
    VELM_FOV const copy = fov;
    fov.GetChannel(0).SetName("changed");
    fov.GetCorrSettings(0).GetManualShiftCorrection()->Apply(true);
    EXPECT_EQ(copy.GetChannel(0).GetName(), "Channel");
    EXPECT_FALSE(copy.GetCorrSettings(0).GetManualShiftCorrection()->IsApplied());
}

} // namespace velm::test
