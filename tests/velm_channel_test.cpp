#include "velm_channel.h"

#include "drivers/base/general_camera_setting.h"
#include "support/assert_recorder.h"
#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/temp_depository.h"
#include "velm_calib_img.h"

namespace velm::test {

// A channel's group, with the camera setting that TestChannel has.
std::string GroupText(long id, std::string const & name, std::string const & marker = "Blue",
                      std::string const & ex = "360/40", std::string const & em = "460/50",
                      std::string const & display = "VisType=7\nCalibType=No\nCalibImg=Unknown\n")
{
    std::string const group = wxString::Format("Channel%02ld", id).ToStdString();
    return "[" + group + "]\nVERSION=1.6\nCHANNEL_ID=" + std::to_string(id) + "\nName=" + name +
           "\nMarker=" + marker + "\nExFilter=" + ex + "\nEmFilter=" + em + "\n" + display + "[" + group +
           "/CameraSetting]\nVERSION=1.6\nDRIVER=None\nSBIN=2\nPBIN=2\nCCD_SER_SIZE=1392\n"
           "CCD_PAR_SIZE=1040\nS1=-1\nS2=-1\nP1=-1\nP2=-1\nEXPOSURE=50000\nMAX_BITDEPTH=12\nLAST_BIT=12\n"
           "CAM_EXTRA=\n";
}

std::vector<long> Ids(VELM_ChannelList const & list)
{
    wxArrayLong ids;
    list.GetIdList(ids);
    return {ids.begin(), ids.end()};
}

// A list in a description file, with an open depository for its calibration images.
class ChannelFixture : public testing::Test {
  protected:
    ChannelFixture() { _temp->Open(); }

    VELM_ChannelList Loaded(std::string const & text, bool take_unknown, bool load_calib = true)
    {
        VELM_ChannelList list;
        _loaded = _file.With(text, [&](auto & config) {
            return list.Load(config, &_temp.GetDatabase(), &*_temp, take_unknown, load_calib);
        });
        return list;
    }

    // The list's text in a fresh file.
    std::string Saved(VELM_ChannelList const & list, std::vector<int> const & calib_ids = {})
    {
        wxArrayInt ids;
        for (int const id : calib_ids) {
            ids.push_back(id);
        }
        return _file.TextOf([&](auto & config) {
            _saved = list.Save(config, &_temp.GetDatabase(), &*_temp, calib_ids.empty() ? nullptr : &ids);
            EXPECT_EQ(config.GetPath(), "");
        });
    }

    // Reads one channel from the top level of a text.
    bool LoadOne(std::string const & text, VELM_Channel & channel, bool load_calib = true)
    {
        return _file.With(text, [&](auto & config) {
            return channel.Load(config, &_temp.GetDatabase(), &*_temp, load_calib, _all_known);
        });
    }

    // Puts a calibration image of a full frame on disk; its id.
    long StoreCalibImage(VELM_CameraSetting const & setting)
    {
        VELM_Calibration_Image image;
        image.SetCameraSetting(&setting);
        image.SetMean(100.0);
        auto frame = std::make_unique<VELM_Calibration_Image::Image>(PatternStack(8, 6, 1));
        image.SetImage(frame.release());
        EXPECT_TRUE(_temp->CI_Save(image));
        return image.GetId();
    }

    TempDepository _temp;
    ConfigFile const _file;
    bool _loaded = false;
    bool _saved = false;
    bool _all_known = false;
};

using VelmChannel = ChannelFixture;
using VelmChannelList = ChannelFixture;

TEST(VelmCalibrationType, HasTwoNamedValues)
{
    LogRecorder log;
    EXPECT_EQ(GetCalibrationTypeName(CALIBRATION_NO), "No");
    EXPECT_EQ(GetCalibrationTypeName(CALIBRATION_YES), "Yes");
    EXPECT_EQ(GetCalibrationTypeName(static_cast<VELM_CalibrationType>(2)), "Unknown");
    EXPECT_EQ(GetCalibrationTypeId("No"), CALIBRATION_NO);
    EXPECT_EQ(GetCalibrationTypeId("Yes"), CALIBRATION_YES);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(GetCalibrationTypeId("yes"), CALIBRATION_NO);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error(
                               "Cannot convert string 'yes' to valid calibration type. Setting 'No'.")}));
}

TEST_F(VelmChannel, ANewOneIsShownInGreyWithBothMarksAndIsNotCorrected)
{
    VELM_Channel const channel("DAPI", 1, 2, 3);
    EXPECT_EQ(channel.GetId(), -1);
    EXPECT_EQ(channel.GetName(), "DAPI");
    EXPECT_EQ(channel.GetMarkerId(), 1);
    EXPECT_EQ(channel.GetEmId(), 2) << "emission comes first";
    EXPECT_EQ(channel.GetExId(), 3);
    EXPECT_EQ(channel.GetVisType(), 7);
    EXPECT_EQ(channel.GetCalibType(), CALIBRATION_NO);
    EXPECT_FALSE(channel.UseCalibration());
    EXPECT_EQ(channel.GetCameraSetting(), nullptr);
    EXPECT_EQ(channel.GetCalibImage(), nullptr);
}

TEST_F(VelmChannel, CopiesAreDeep)
{
    VELM_Channel channel = TestChannel(4, "DAPI");
    VELM_Calibration_Image image;
    image.SetMean(5.0);
    channel.SetCalibImage(&image);
    channel.SetCalibType(CALIBRATION_YES);
    channel.SetVisType(VIS_RED);

    VELM_Channel const copy = channel;
    VELM_Channel assigned("", 0, 0, 0);
    assigned = channel;
    channel.GetCameraSetting()->SetExposure(1);
    channel.GetCalibImage()->SetMean(6.0);
    for (VELM_Channel const * one : {&copy, static_cast<VELM_Channel const *>(&assigned)}) {
        EXPECT_EQ(one->GetId(), 4);
        EXPECT_EQ(one->GetName(), "DAPI");
        EXPECT_TRUE(one->UseCalibration());
        EXPECT_EQ(one->GetVisType(), VIS_RED);
        EXPECT_EQ(one->GetCameraSetting()->GetExposure(), 50000u);
        EXPECT_EQ(one->GetCalibImage()->GetMean(), 5.0);
    }
}

TEST_F(VelmChannel, StoresCopiesOrTheObjectsThemselves)
{
    VELM_Channel channel("", 0, 0, 0);
    VELM_GeneralCameraSetting const setting("None", 1, 1, -1, -1, -1, -1, 1, 8, 8, 10, 10);
    channel.SetCameraSetting(&setting);
    EXPECT_NE(channel.GetCameraSetting(), &setting);
    auto * const taken = new VELM_GeneralCameraSetting(setting);
    channel.TakeCameraSetting(taken);
    EXPECT_EQ(channel.GetCameraSetting(), taken);
    channel.TakeCameraSetting(nullptr);
    EXPECT_EQ(channel.GetCameraSetting(), nullptr);

    VELM_Calibration_Image const image;
    channel.SetCalibImage(&image);
    EXPECT_NE(channel.GetCalibImage(), &image);
    auto * const taken_image = new VELM_Calibration_Image;
    channel.TakeCalibImage(taken_image);
    EXPECT_EQ(channel.GetCalibImage(), taken_image);
    channel.TakeCalibImage(nullptr);
    EXPECT_EQ(channel.GetCalibImage(), nullptr);
}

TEST_F(VelmChannel, TracesWhatItOwns)
{
    Log::SetShowDebug(true);
    LogRecorder log;
    auto const text = [](char const * format, auto... pointers) {
        return Message(wxString::Format(format, static_cast<void const *>(pointers)...).ToStdString());
    };
    void const * const none = nullptr;
    {
        VELM_Channel channel("", 0, 0, 0);
        auto * const setting = new VELM_GeneralCameraSetting("None", 1, 1, 0, 0, 0, 0, 1, 8, 8, 10, 10);
        auto * const image = new VELM_Calibration_Image;
        channel.TakeCameraSetting(setting);
        channel.TakeCalibImage(image);
        EXPECT_EQ(log.Lines(),
                  (std::vector<LogLine>{text("C cam %p", none), text("C calib_img %p", none),
                                        text("D %p T %p", none, setting), text("D %p T %p", none, image)}));
        log.Clear();

        VELM_Channel copy = channel;
        void const * const cam_copy = copy.GetCameraSetting();
        void const * const image_copy = copy.GetCalibImage();
        EXPECT_EQ(log.Lines(), (std::vector<LogLine>{
                                   text("CC cam %p", setting), text("CC %p -> %p", setting, cam_copy),
                                   text("CC calib_img %p", image), text("CC %p -> %p", image, image_copy)}));
        log.Clear();

        copy.SetCameraSetting(setting);
        copy.SetCalibImage(image);
        EXPECT_EQ(log.Lines(), (std::vector<LogLine>{text("D %p S %p", cam_copy, setting),
                                                     text("%p -> %p", setting, copy.GetCameraSetting()),
                                                     text("D %p S %p", image_copy, image),
                                                     text("%p -> %p", image, copy.GetCalibImage())}));
        copy.TakeCameraSetting(nullptr);
        copy.TakeCalibImage(nullptr);
        channel.TakeCameraSetting(nullptr);
        log.Clear();
    }
    EXPECT_EQ(log.Lines().size(), 4u) << "of the copy, then of the original";
    EXPECT_EQ(log.Lines()[0], text("D cam %p", none));
    EXPECT_EQ(log.Lines()[1], text("D calib_img %p", none));
    EXPECT_EQ(log.Lines()[2], text("D cam %p", none));
    Log::SetShowDebug(false);
}

TEST_F(VelmChannel, TracesTheUseOfItsCalibrationType)
{
    VELM_Channel channel("", 0, 0, 0);
    Log::SetShowDebug(true);
    LogRecorder log;
    channel.SetCalibType(CALIBRATION_YES);
    channel.GetCalibType();
    GetCalibrationTypeName(CALIBRATION_YES);
    GetCalibrationTypeId("No");
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("SetCalibType(1)"), Message("GetCalibType() -> 1"),
                                                 Message("GetCalibrationTypeName(1)"),
                                                 Message("GetCalibrationTypeId(No)")}));
    Log::SetShowDebug(false);
}

TEST_F(VelmChannel, AnEmptyGroupLoadsWithAFallbackForEveryEntryAndEveryMissNamed)
{
    LogRecorder log;
    VELM_Channel channel = TestChannel(8);
    channel.SetMarkerId(1);
    channel.SetExId(1);
    channel.SetEmId(1);
    _all_known = true;
    EXPECT_FALSE(LoadOne("", channel));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("Channel name not defined."), Error("Marker not defined."),
                                    Error("ExFilter not defined."), Error("EmFilter not defined.")}));
    EXPECT_EQ(channel.GetId(), -1);
    EXPECT_EQ(channel.GetName(), "None");
    EXPECT_EQ(channel.GetMarkerId(), 1000);
    EXPECT_EQ(_temp.GetDatabase().GetMarkerName(1000), "Unknown");
    EXPECT_EQ(channel.GetExId(), 0);
    EXPECT_EQ(channel.GetEmId(), 0);
    EXPECT_EQ(channel.GetVisType(), 1) << "not the 7 of a new channel";
    EXPECT_EQ(channel.GetCalibType(), CALIBRATION_NO);
    EXPECT_EQ(channel.GetCalibImage(), nullptr);
    EXPECT_EQ(channel.GetCameraSetting(), nullptr);
    EXPECT_FALSE(_all_known);
}

TEST_F(VelmChannel, AGroupWithoutAVersionLoadsLikeAnyOther)
{
    LogRecorder log;
    VELM_Channel channel("", 0, 0, 0);
    EXPECT_TRUE(LoadOne("CHANNEL_ID=3\nName=a\nMarker=Green\nExFilter=480/30\nEmFilter=535/40\n", channel));
    EXPECT_TRUE(_all_known);
    EXPECT_EQ(channel.GetId(), 3);
    EXPECT_EQ(channel.GetMarkerId(), 1);
    EXPECT_EQ(channel.GetExId(), 1);
    EXPECT_EQ(channel.GetEmId(), 1);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmChannel, AMisspeltCalibrationTypeLoadsAsNoWithOneErrorLine)
{
    LogRecorder log;
    VELM_Channel channel("", 0, 0, 0);
    EXPECT_TRUE(LoadOne(
        "CHANNEL_ID=1\nName=a\nMarker=Blue\nExFilter=360/40\nEmFilter=460/50\nCalibType=YES\n", channel));
    EXPECT_EQ(channel.GetCalibType(), CALIBRATION_NO);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error(
                               "Cannot convert string 'YES' to valid calibration type. Setting 'No'.")}));
}

TEST_F(VelmChannel, EachUnknownTextMakesTheChannelUnknown)
{
    VELM_Channel channel("", 0, 0, 0);
    LoadOne("Name=a\nMarker=Foreign\nExFilter=360/40\nEmFilter=460/50\n", channel);
    EXPECT_FALSE(_all_known);
    EXPECT_EQ(channel.GetMarkerId(), 1000);
    LoadOne("Name=a\nMarker=Blue\nExFilter=far\nEmFilter=460/50\n", channel);
    EXPECT_FALSE(_all_known);
    EXPECT_EQ(channel.GetExId(), 1000);
    LoadOne("Name=a\nMarker=Blue\nExFilter=360/40\nEmFilter=wide\n", channel);
    EXPECT_FALSE(_all_known);
    EXPECT_EQ(channel.GetEmId(), 1001);
}

TEST_F(VelmChannel, ACameraSettingThatCannotBeBuiltNamesTheChannel)
{
    LogRecorder log;
    VELM_Channel channel("", 0, 0, 0);
    EXPECT_FALSE(LoadOne("CHANNEL_ID=3\nName=a\nMarker=Blue\nExFilter=360/40\nEmFilter=460/50\n"
                         "[CameraSetting]\nDRIVER=Gone\nCAM_EXTRA=a|b\n",
                         channel));
    EXPECT_EQ(log.Texts('E').back(),
              "velm::VELM_Channel::Load: Unable to load camera setting for channel id=3");
    EXPECT_EQ(channel.GetName(), "a");
}

TEST_F(VelmChannel, ACalibrationImageWithoutADescriptionLeavesNone)
{
    LogRecorder log;
    VELM_Channel channel("", 0, 0, 0);
    std::string const text =
        "CHANNEL_ID=3\nName=a\nMarker=Blue\nExFilter=360/40\nEmFilter=460/50\nCalibImg=0042\n";
    EXPECT_FALSE(LoadOne(text, channel));
    EXPECT_EQ(channel.GetCalibImage(), nullptr);
    EXPECT_EQ(log.Texts('E').back(), "Loading of the calibration image description for id 42 failed!");
    log.Clear();
    EXPECT_TRUE(LoadOne(text, channel, false));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmChannel, SavingStopsAtTheFirstRefusedEntry)
{
    VELM_Channel const channel = TestChannel(1);
    for (wxString const key : {"VERSION", "CHANNEL_ID", "Name", "Marker", "ExFilter", "EmFilter", "VisType",
                               "CalibType", "CalibImg"}) {
        RefusingConfig config(key);
        EXPECT_FALSE(channel.Save(config, &_temp.GetDatabase(), &*_temp, false)) << key;
        EXPECT_FALSE(config.HasGroup("CameraSetting")) << key;
    }
}

TEST_F(VelmChannel, ARefusedCameraSettingLeavesThePathInItsGroup)
{
    RefusingConfig config("EXPOSURE");
    EXPECT_FALSE(TestChannel(1).Save(config, &_temp.GetDatabase(), &*_temp, false));
    EXPECT_EQ(config.GetPath(), "/CameraSetting");
}

TEST_F(VelmChannel, ACalibrationImageThatIsNotSavedFailsTheChannel)
{
    LogRecorder log;
    VELM_Channel channel = TestChannel(1);
    channel.TakeCalibImage(new VELM_Calibration_Image); // nothing captured
    RefusingConfig config("none of its entries");
    EXPECT_TRUE(channel.Save(config, &_temp.GetDatabase(), &*_temp, false));
    EXPECT_FALSE(channel.Save(config, &_temp.GetDatabase(), &*_temp, true));
    EXPECT_THAT(log.Texts('E').back(), testing::HasSubstr("Saving of the calibration image data for id"));
}

// --- calibration

TEST_F(VelmChannel, CalibratingWithoutAnImageTripsTheAssertionBeforeTheTypeIsLookedAt)
{
    VELM_Channel channel = TestChannel(1);
    EXPECT_EQ(channel.GetCalibType(), CALIBRATION_NO);
    EXPECT_EQ(VELM_TRIPPED_BY(channel.Calibrate(&*_temp, false)), "_calib_img");
}

TEST_F(VelmChannel, ACorrectedChannelThatLacksItsImageOrSettingHasToBeCaptured)
{
    AssertRecorder const asserts;
    VELM_Channel channel = TestChannel(1);
    channel.SetCalibType(CALIBRATION_YES);
    EXPECT_FALSE(channel.Calibrate(&*_temp, false));
    EXPECT_EQ(channel.GetCalibImage(), nullptr);
    EXPECT_FALSE(channel.Calibrate(&*_temp, true));
    EXPECT_NE(channel.GetCalibImage(), nullptr);
    channel.TakeCameraSetting(nullptr);
    EXPECT_FALSE(channel.Calibrate(&*_temp, true));
    EXPECT_EQ(asserts.Conditions(), (std::vector<std::string>{"_calib_img", "_calib_img"}));
}

TEST_F(VelmChannel, AChannelThatIsNotCorrectedIsReady)
{
    VELM_Channel channel = TestChannel(1);
    channel.TakeCalibImage(new VELM_Calibration_Image);
    EXPECT_TRUE(channel.Calibrate(&*_temp, false));
}

TEST_F(VelmChannel, AnImageOfAnotherSettingHasToBeCaptured)
{
    VELM_Channel channel = TestChannel(1);
    channel.SetCalibType(CALIBRATION_YES);
    auto * const image = new VELM_Calibration_Image;
    image->SetId(7);
    channel.TakeCalibImage(image);
    EXPECT_FALSE(channel.Calibrate(&*_temp, false));
    EXPECT_EQ(channel.GetCalibImage(), image) << "nothing new unless it is asked for";
    EXPECT_FALSE(channel.Calibrate(&*_temp, true));
    EXPECT_EQ(channel.GetCalibImage()->GetId(), 0);
    EXPECT_TRUE(*channel.GetCalibImage()->GetCameraSetting() == channel.GetCameraSetting());
}

TEST_F(VelmChannel, AStoredImageIsLoadedWithTheChannelsRegion)
{
    VELM_GeneralCameraSetting const full("None", 1, 1, -1, -1, -1, -1, 10, 12, 12, 8, 6);
    VELM_Calibration_Image stored;
    ASSERT_TRUE(_temp->CI_LoadDesc(StoreCalibImage(full), stored));
    VELM_Channel channel("", 0, 0, 0);
    channel.SetCalibType(CALIBRATION_YES);
    channel.SetCameraSetting(&full);
    channel.GetCameraSetting()->SetRegion(2, 1, 4, 2);
    channel.SetCalibImage(&stored);

    LogRecorder log;
    EXPECT_TRUE(channel.Calibrate(&*_temp, false));
    VELM_Calibration_Image & image = *channel.GetCalibImage();
    EXPECT_TRUE(image.HasValidRegion(2, 1, 4, 2));
    std::unique_ptr<VELM_Calibration_Image::Image const> const region(image.GetImageRegion());
    EXPECT_EQ(region->GetSizeX(), 3u);
    EXPECT_EQ(region->GetSizeY(), 2u);

    wxRemoveFile(_temp / "calib_images/ci_0001.ics");
    EXPECT_TRUE(channel.Calibrate(&*_temp, false)) << "the region is there, nothing is read";
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmChannel, UnattendedACalibrationThatCannotBeLoadedIsIgnored)
{
    VELM_GeneralCameraSetting const full("None", 1, 1, -1, -1, -1, -1, 10, 12, 12, 8, 6);
    VELM_Calibration_Image stored;
    ASSERT_TRUE(_temp->CI_LoadDesc(StoreCalibImage(full), stored));
    wxRemoveFile(_temp / "calib_images/ci_0001.ics");
    VELM_Channel channel("", 0, 0, 0);
    channel.SetCalibType(CALIBRATION_YES);
    channel.SetCameraSetting(&full);
    channel.SetCalibImage(&stored);
    LogRecorder log;
    EXPECT_TRUE(channel.Calibrate(&*_temp, false));
    EXPECT_EQ(log.Texts('W'), (std::vector<std::string>{"Calibration image data cannot be loaded!\n\n"
                                                        "Do you want to capture new image?\n"
                                                        "Yes: \tThe new image will be captured.\n"
                                                        "No: \tThe calibration will be ignored."}));
}

// --- the list

TEST_F(VelmChannelList, WritesAGroupPerChannelWithItsEntriesInOrder)
{
    VELM_ChannelList list;
    list.Insert(TestChannel(1, "DAPI $HOME"));
    VELM_Channel second = TestChannel(12, "FITC");
    second.SetMarkerId(1);
    second.SetExId(1);
    second.SetEmId(1);
    second.SetVisType(VIS_GREEN);
    second.SetCalibType(CALIBRATION_YES);
    list.Insert(second);
    std::string const text =
        GroupText(1, "DAPI $HOME") +
        GroupText(12, "FITC", "Green", "480/30", "535/40", "VisType=16\nCalibType=Yes\nCalibImg=Unknown\n");
    EXPECT_EQ(Saved(list), text);
    EXPECT_TRUE(_saved);
    EXPECT_EQ(Saved(Loaded(text, false)), text);
    EXPECT_TRUE(_loaded);
}

TEST_F(VelmChannelList, AChannelWithoutACameraSettingWritesNoGroupForIt)
{
    VELM_ChannelList list;
    VELM_Channel channel("a", 0, 0, 0);
    list.Add(channel);
    EXPECT_THAT(Saved(list), testing::EndsWith("CalibImg=Unknown\n"));
}

TEST_F(VelmChannelList, AChannelWithAnUnknownMarkerIsKeptAsideAndWrittenBackAtItsPlace)
{
    std::string const text =
        GroupText(1, "a") + GroupText(2, "b", "Foreign") + GroupText(3, "c") + GroupText(4, "d", "Alien");
    LogRecorder log;
    VELM_ChannelList list = Loaded(text, false);
    EXPECT_EQ(Ids(list), (std::vector<long>{1, 3}));
    EXPECT_FALSE(list.Contains(2));
    EXPECT_EQ(Saved(list), text);
    VELM_Channel next("e", 0, 0, 0);
    list.Add(next);
    EXPECT_EQ(next.GetId(), 5) << "the highest id covers both kinds";
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmChannelList, TakesUnknownChannelsLikeAnyOtherWhenAskedTo)
{
    VELM_ChannelList const list = Loaded(GroupText(1, "a") + GroupText(2, "b", "Foreign"), true);
    EXPECT_EQ(Ids(list), (std::vector<long>{1, 2}));
}

TEST_F(VelmChannelList, OfTwoChannelsWithTheSameIdTheKnownOneOverwritesTheUnknownOne)
{
    VELM_ChannelList list = Loaded(GroupText(2, "unknown", "Foreign") + GroupText(5, "last", "Alien"), false);
    VELM_ChannelList known;
    known.Insert(TestChannel(2, "known"));
    known.CopyUnknownChannels(list);
    EXPECT_EQ(Saved(known), GroupText(2, "known") + GroupText(5, "last", "Alien"));
}

TEST_F(VelmChannelList, AnUnknownChannelWithoutAnIdIsWrittenBack)
{
    LogRecorder log;
    VELM_ChannelList const list = Loaded(GroupText(1, "a") + "[Channel02]\nName=b\nMarker=Foreign\n"
                                                             "ExFilter=360/40\nEmFilter=460/50\n",
                                         false);
    EXPECT_TRUE(_loaded);
    std::string const text = Saved(list);
    EXPECT_THAT(text, testing::HasSubstr("CHANNEL_ID=-1\nName=b\nMarker=Foreign\n"));
    EXPECT_THAT(text, testing::HasSubstr(GroupText(1, "a")));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(VelmChannelList, CopyingUnknownChannelsAppendsAndRaisesTheHighestId)
{
    VELM_ChannelList const source = Loaded(GroupText(9, "far", "Foreign"), false);
    VELM_ChannelList list;
    list.Insert(TestChannel(1, "a"));
    list.CopyUnknownChannels(source);
    VELM_Channel next("b", 0, 0, 0);
    list.Add(next);
    EXPECT_EQ(next.GetId(), 10);
}

TEST_F(VelmChannelList, CopiesHoldBothKindsAndTheHighestId)
{
    std::string const text = GroupText(1, "a") + GroupText(9, "far", "Foreign");
    VELM_ChannelList const list = Loaded(text, false);
    VELM_ChannelList const copy = list;
    VELM_ChannelList assigned;
    assigned = list;
    EXPECT_EQ(Saved(copy), text);
    EXPECT_EQ(Saved(assigned), text);
    VELM_Channel next("b", 0, 0, 0);
    assigned.Add(next);
    EXPECT_EQ(next.GetId(), 10);
}

TEST_F(VelmChannelList, ClearEmptiesBothKinds)
{
    VELM_ChannelList list = Loaded(GroupText(1, "a") + GroupText(9, "far", "Foreign"), false);
    list.Clear();
    EXPECT_EQ(Saved(list), "");
    VELM_Channel next("b", 0, 0, 0);
    list.Add(next);
    EXPECT_EQ(next.GetId(), 1);
}

TEST_F(VelmChannelList, ABadChannelIsNamedAndKept)
{
    LogRecorder log;
    VELM_ChannelList const list = Loaded("[Channel01]\nCHANNEL_ID=1\nMarker=Blue\nExFilter=360/40\n"
                                         "EmFilter=460/50\n" +
                                             GroupText(2, "b"),
                                         false);
    EXPECT_FALSE(_loaded);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("Channel name not defined."),
                                                 Error("Channel [Channel01] loading failed.")}));
    EXPECT_EQ(Ids(list), (std::vector<long>{1, 2}));
    EXPECT_EQ(list[0].GetName(), "None");
}

TEST_F(VelmChannelList, ALoadReplacesTheList)
{
    VELM_ChannelList list;
    list.Insert(TestChannel(7));
    _file.With(GroupText(2, "b"),
               [&](auto & config) { return list.Load(config, &_temp.GetDatabase(), &*_temp, true, true); });
    EXPECT_EQ(Ids(list), (std::vector<long>{2}));
}

TEST_F(VelmChannelList, IdsOfAHundredAndAboveStayReadable)
{
    VELM_ChannelList list;
    list.Insert(TestChannel(100, "a"));
    list.Insert(TestChannel(101, "b"));
    std::string const text = Saved(list);
    EXPECT_THAT(text, testing::StartsWith("[Channel100]\n"));
    EXPECT_EQ(Ids(Loaded(text, false)), (std::vector<long>{100, 101}));
}

TEST_F(VelmChannelList, ACalibrationImageThatIsNotLoadedIsDroppedByTheNextSave)
{
    VELM_GeneralCameraSetting const full("None", 1, 1, -1, -1, -1, -1, 10, 12, 12, 8, 6);
    EXPECT_EQ(StoreCalibImage(full), 1);
    std::string const text =
        GroupText(1, "a", "Blue", "360/40", "460/50", "VisType=7\nCalibType=Yes\nCalibImg=0001\n");
    VELM_ChannelList const with_image = Loaded(text, false, true);
    ASSERT_NE(with_image[0].GetCalibImage(), nullptr);
    EXPECT_EQ(with_image[0].GetCalibImage()->GetId(), 1);
    EXPECT_EQ(Saved(with_image), text);
    VELM_ChannelList const without_image = Loaded(text, false, false);
    EXPECT_EQ(without_image[0].GetCalibImage(), nullptr);
    EXPECT_THAT(Saved(without_image), testing::HasSubstr("CalibImg=Unknown\n"));
}

TEST_F(VelmChannelList, OnlyTheNamedCorrectedChannelsSaveTheirImages)
{
    VELM_GeneralCameraSetting const full("None", 1, 1, -1, -1, -1, -1, 10, 12, 12, 8, 6);
    VELM_Calibration_Image fresh;
    fresh.SetCameraSetting(&full);
    auto frame = std::make_unique<VELM_Calibration_Image::Image>(PatternStack(8, 6, 1));
    fresh.SetImage(frame.release());
    VELM_ChannelList list;
    for (long const id : {1, 2, 3}) {
        VELM_Channel channel = TestChannel(id);
        channel.SetCalibImage(&fresh);
        channel.SetCalibType(id == 2 ? CALIBRATION_NO : CALIBRATION_YES);
        list.Insert(channel);
    }
    EXPECT_THAT(Saved(list), testing::Not(testing::HasSubstr("CalibImg=0001")));
    std::string const text = Saved(list, {2, 3, 4});
    EXPECT_TRUE(_saved);
    EXPECT_EQ(list[0].GetCalibImage()->GetId(), 0);
    EXPECT_EQ(list[1].GetCalibImage()->GetId(), 0) << "not corrected";
    EXPECT_EQ(list[2].GetCalibImage()->GetId(), 1);
    EXPECT_THAT(text, testing::HasSubstr("CHANNEL_ID=3\nName=Channel\nMarker=Blue\nExFilter=360/40\n"
                                         "EmFilter=460/50\nVisType=7\nCalibType=Yes\nCalibImg=0001\n"));
    EXPECT_TRUE(wxFileExists(_temp / "calib_images/ci_0001.ics"));
}

TEST_F(VelmChannelList, AChannelThatIsNotSavedIsNamedAndTheOthersFollowAtTheirPlace)
{
    LogRecorder log;
    VELM_ChannelList list;
    list.Insert(TestChannel(1));
    list.Insert(TestChannel(2));
    RefusingConfig config("EXPOSURE");
    EXPECT_FALSE(list.Save(config, &_temp.GetDatabase(), &*_temp, nullptr));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_ChannelList::Save: Channel id=1 not saved."),
                                    Error("velm::VELM_ChannelList::Save: Channel id=2 not saved.")}));
    EXPECT_TRUE(config.HasEntry("/Channel02/CameraSetting/DRIVER"));
    EXPECT_EQ(config.GetPath(), "");
}

} // namespace velm::test
