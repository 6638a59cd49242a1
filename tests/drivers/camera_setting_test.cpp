#include "drivers/base/camera_setting.h"

#include "support/assert_recorder.h"
#include "support/camera_setting_text.h"
#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/stub_rig.h"

#include <wx/checkbox.h>
#include <wx/frame.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

namespace velm::test {

namespace {

// The abstract class with the least that a driver has to write.
class PlainSetting : public VELM_CameraSetting {
  public:
    explicit PlainSetting(wxString const & driver = "CamA")
        : VELM_CameraSetting(driver, 2, 3, 10, 20, 30, 40, 500, 12, 11, 1392, 1040)
    {
    }
    VELM_CameraSetting * Clone() const override { return new PlainSetting(*this); }
    wxString GetExtraString() const override { return extra; }
    using VELM_CameraSetting::ParseExtraString;

    wxString extra;
};

std::string const plain_text = camera_setting_text + "CAM_EXTRA=\n";

PlainSetting ReadFrom(std::string const & text)
{
    PlainSetting setting;
    EXPECT_TRUE(
        ConfigFile().With(text, [&](wxFileConfig & config) { return setting.LoadCameraSetting(config); }));
    return setting;
}

std::vector<std::string> Texts(wxArrayString const & texts)
{
    std::vector<std::string> result;
    for (wxString const & text : texts) {
        result.emplace_back(text.utf8_str());
    }
    return result;
}

using Strings = std::vector<std::string>;

} // namespace

TEST(CameraSetting, HoldsWhatItIsBuiltFrom)
{
    PlainSetting const s;
    int sbin = 0;
    int pbin = 0;
    s.GetBinning(sbin, pbin);
    EXPECT_EQ(sbin, 2);
    EXPECT_EQ(pbin, 3);
    int s1 = 0;
    int p1 = 0;
    int s2 = 0;
    int p2 = 0;
    s.GetRegion(s1, p1, s2, p2);
    EXPECT_EQ((std::vector<int>{s1, s2, p1, p2}), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_EQ(s.GetExposure(), 500u);
    EXPECT_EQ(s.GetMaxBitDepth(), 12);
    EXPECT_EQ(s.GetLastBit(), 11);
    EXPECT_EQ(s.GetCCDSerSize(), 1392);
    EXPECT_EQ(s.GetCCDParSize(), 1040);
    EXPECT_EQ(s.GetDriverName(), "CamA");
}

TEST(CameraSetting, TheFrameSizeIsTheRegionInWholeBins)
{
    PlainSetting const s;
    EXPECT_EQ(s.GetSerSize(), 5); // 11 columns in bins of 2
    EXPECT_EQ(s.GetParSize(), 3); // 11 rows in bins of 3
}

TEST(CameraSetting, IsFullFrameOnlyWithMinusOneInAllFour)
{
    PlainSetting s;
    EXPECT_FALSE(s.IsFullFrame());
    s.SetRegion(-1, -1, -1, -1);
    EXPECT_TRUE(s.IsFullFrame());
    for (auto const set : {&VELM_CameraSetting::SetS1, &VELM_CameraSetting::SetS2, &VELM_CameraSetting::SetP1,
                           &VELM_CameraSetting::SetP2}) {
        (s.*set)(0);
        EXPECT_FALSE(s.IsFullFrame());
        (s.*set)(-1);
    }
    EXPECT_TRUE(s.IsFullFrame());
}

TEST(CameraSetting, IsEqualToItselfAndNeverToNothing)
{
    PlainSetting const s;
    EXPECT_TRUE(s == &s);
    EXPECT_FALSE(s == nullptr);
    EXPECT_FALSE(s.HasSameRegion(nullptr));
    EXPECT_FALSE(s.IsSameButRegionAndLastBit(nullptr));
}

TEST(CameraSetting, EveryMemberCountsForEquality)
{
    PlainSetting const s;
    std::vector<std::function<void(PlainSetting &)>> const changes{
        [](PlainSetting & c) { c.SetSBin(9); },
        [](PlainSetting & c) { c.SetPBin(9); },
        [](PlainSetting & c) { c.SetExposure(9); },
        [](PlainSetting & c) { c.SetMaxBitDepth(14); },
        [](PlainSetting & c) { c.SetCCDSizes(9, 1040); },
        [](PlainSetting & c) { c.SetCCDSizes(1392, 9); },
        [](PlainSetting & c) { c = PlainSetting("cama"); },
        [](PlainSetting & c) { c.SetS1(9); },
        [](PlainSetting & c) { c.SetS2(9); },
        [](PlainSetting & c) { c.SetP1(9); },
        [](PlainSetting & c) { c.SetP2(9); },
        [](PlainSetting & c) { c.SetLastBit(9); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        PlainSetting changed;
        EXPECT_TRUE(s == &changed);
        changes[i](changed);
        EXPECT_FALSE(s == &changed) << i;
        // The first seven make frames that cannot be compared.
        EXPECT_EQ(s.IsSameButRegionAndLastBit(&changed), i >= 7) << i;
        EXPECT_EQ(s.HasSameRegion(&changed), i < 7 || i == 11) << i;
    }
}

TEST(CameraSetting, ALastBitOutsideTheBitDepthTripsAnAssertionAndIsStored)
{
    PlainSetting s;
    AssertRecorder const asserts;
    s.SetLastBit(1);
    s.SetLastBit(12);
    EXPECT_TRUE(asserts.Conditions().empty());
    s.SetLastBit(13);
    EXPECT_EQ(s.GetLastBit(), 13);
    s.SetLastBit(0);
    EXPECT_EQ(s.GetLastBit(), 0);
    EXPECT_EQ(asserts.Conditions(), Strings(2, "last_bit >= 1 && last_bit <= _max_bitdepth"));
}

TEST(CameraSetting, ChangesOfRegionBinningAndExposureAreTraced)
{
    PlainSetting s;
    LogRecorder log;
    s.SetExposure(1);
    Log::SetShowDebug(true);
    s.SetRegion(1, 2, 3, 4);
    s.SetBinning(5, 6);
    s.SetExposure(7);
    Log::SetShowDebug(false);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("VELM_CameraSetting::SetRegion(1, 2, 3, 4)"),
                                                 Message("velm::VELM_CameraSetting::SetBinning (5, 6)"),
                                                 Message("velm::VELM_CameraSetting::SetExposure (7)")}));
}

TEST(CameraSetting, ValidatesARegionAsTheCameraDoesOnTheSensorItRemembers)
{
    PlainSetting s;
    int s1 = 1;
    int p1 = 1;
    int s2 = 100;
    int p2 = 100;
    LogRecorder log;
    Log::SetShowDebug(true);
    Log::SetDebugLevel(5);
    s.ValidateRegion(2, 2, s1, p1, s2, p2);
    Log::SetDebugLevel(-1);
    Log::SetShowDebug(false);
    EXPECT_EQ((std::vector<int>{s1, p1, s2, p2}), (std::vector<int>{0, 0, 101, 101}));
    EXPECT_TRUE(log.Lines().empty());

    s.SetCCDSizes(100, 90);
    s1 = p1 = s2 = p2 = -1;
    s.ValidateRegion(3, 4, s1, p1, s2, p2);
    EXPECT_EQ((std::vector<int>{s1, p1, s2, p2}), (std::vector<int>{0, 0, 98, 87}));
}

TEST(CameraSetting, ValidatingNeedsASensorSizeAndAnOrderedRegion)
{
    PlainSetting s;
    int s1 = 5;
    int p1 = 5;
    int s2 = 4;
    int p2 = 4;
    EXPECT_EQ(VELM_TRIPPED_BY(s.ValidateRegion(1, 1, s1, p1, s2, p2)), "s1 <= s2");
    s2 = 5;
    EXPECT_EQ(VELM_TRIPPED_BY(s.ValidateRegion(1, 1, s1, p1, s2, p2)), "p1 <= p2");
    s.SetCCDSizes(100, 0);
    EXPECT_EQ(VELM_TRIPPED_BY(s.ValidateRegion(1, 1, s1, p1, s2, p2)), "_CCD_par_size > 0");
    s.SetCCDSizes(0, 0);
    EXPECT_EQ(VELM_TRIPPED_BY(s.ValidateRegion(1, 1, s1, p1, s2, p2)), "_CCD_ser_size > 0");
}

TEST(CameraSetting, IsSavedEntryByEntryInTheOrderOfTheFormat)
{
    PlainSetting const s;
    EXPECT_EQ(ConfigFile().TextOf([&](wxFileConfig & config) { EXPECT_TRUE(s.SaveCameraSetting(config)); }),
              plain_text);
}

TEST(CameraSetting, WhatItSavesItLoads)
{
    PlainSetting const expected;
    PlainSetting const read = ReadFrom(plain_text);
    EXPECT_TRUE(read == &expected);
}

TEST(CameraSetting, MissingEntriesTakeTheirDefaults)
{
    PlainSetting const read = ReadFrom("");
    EXPECT_EQ(read.GetDriverName(), "None");
    EXPECT_EQ(read.GetSBin(), 1);
    EXPECT_EQ(read.GetPBin(), 1);
    EXPECT_EQ(read.GetCCDSerSize(), 0);
    EXPECT_EQ(read.GetCCDParSize(), 0);
    EXPECT_EQ(read.GetS1(), 1);
    EXPECT_EQ(read.GetS2(), 1);
    EXPECT_EQ(read.GetP1(), 1);
    EXPECT_EQ(read.GetP2(), 1);
    EXPECT_EQ(read.GetExposure(), 0u);
    EXPECT_EQ(read.GetMaxBitDepth(), 16);
    EXPECT_EQ(read.GetLastBit(), 8);
}

TEST(CameraSetting, AnEntryThatDoesNotFitCountsAsMissing)
{
    PlainSetting const read = ReadFrom(
        "SBIN=4294967298\nS1=-3000000000\nS2=twelve\nEXPOSURE=-5\nMAX_BITDEPTH=99999999999999999999\n");
    EXPECT_EQ(read.GetSBin(), 1);
    EXPECT_EQ(read.GetS1(), 1);
    EXPECT_EQ(read.GetS2(), 1);
    EXPECT_EQ(read.GetExposure(), 0u);
    EXPECT_EQ(read.GetMaxBitDepth(), 16);
}

TEST(CameraSetting, ABinningThatCannotDivideCountsAsMissing)
{
    PlainSetting const read = ReadFrom("SBIN=0\nPBIN=-2\nS2=10\nP2=20\n");
    EXPECT_EQ(read.GetSerSize(), 10);
    EXPECT_EQ(read.GetParSize(), 20);
}

TEST(CameraSetting, AnExposureUsesTheWholeRangeOfItsType)
{
    PlainSetting s;
    s.SetExposure(18446744073709551615ul);
    std::string const text =
        ConfigFile().TextOf([&](wxFileConfig & config) { EXPECT_TRUE(s.SaveCameraSetting(config)); });
    EXPECT_EQ(ReadFrom(text).GetExposure(), 18446744073709551615ul);
}

TEST(CameraSetting, SavingStopsAtTheFirstRefusedEntry)
{
    PlainSetting const s;
    LogRecorder log;
    RefusingConfig config("PBIN");
    EXPECT_FALSE(s.SaveCameraSetting(config));
    EXPECT_EQ(Texts(config::EntryNames(config)), (Strings{"DRIVER", "SBIN", "VERSION"}));
    RefusingConfig no_extra("CAM_EXTRA");
    EXPECT_FALSE(s.SaveCameraSetting(no_extra));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(CameraSetting, TheExtraStringConsistsOfGroupsOfThree)
{
    struct Case {
        char const * text;
        Strings first;
        Strings second;
        Strings third;
    };
    for (Case const & c : {
             Case{"", {}, {}, {}},
             Case{"a|x|y|", {"a"}, {"x"}, {"y"}},
             Case{"a|x|y|b|u|v|", {"a", "b"}, {"x", "u"}, {"y", "v"}},
             Case{"a|||", {"a"}, {""}, {""}},
             Case{"|||", {""}, {""}, {""}},
         }) {
        PlainSetting s;
        s.extra = c.text;
        wxArrayString first(1, "stale");
        wxArrayString second(1, "stale");
        wxArrayString third(1, "stale");
        EXPECT_TRUE(s.ParseExtraString(first, second, third)) << c.text;
        EXPECT_EQ(Texts(first), c.first) << c.text;
        EXPECT_EQ(Texts(second), c.second) << c.text;
        EXPECT_EQ(Texts(third), c.third) << c.text;
    }
}

TEST(CameraSetting, AnExtraStringThatDoesNotEndWithAWholeGroupIsInvalid)
{
    for (std::string const text : {"a", "a|", "a|x", "a|x|", "a|x|y", "a|x|y|b", "a|x|y|b|u|", "|", "||"}) {
        PlainSetting s;
        s.extra = text;
        wxArrayString first;
        wxArrayString second;
        wxArrayString third;
        LogRecorder log;
        EXPECT_FALSE(s.ParseExtraString(first, second, third)) << text;
        EXPECT_EQ(log.Lines(),
                  (std::vector<LogLine>{
                      Error("velm::VELM_CameraSetting::ParseExtraString: Invalid extra string: " + text)}));
    }
}

TEST(CameraSetting, AdditionalParamsAreTheSecondAndThirdTexts)
{
    PlainSetting s;
    s.extra = "a|x|y|b|u|v|";
    wxArrayString second;
    wxArrayString third;
    s.GetAdditionalParams(second, third);
    EXPECT_EQ(Texts(second), (Strings{"x", "u"}));
    EXPECT_EQ(Texts(third), (Strings{"y", "v"}));
}

TEST(CameraSetting, ItsBinderBindsNothing)
{
    PlainSetting s;
    std::unique_ptr<VELM_CameraSettingBinder> const binder(s.CreateBinder());
    PlainSetting target;
    target.SetBinning(7, 8);
    binder->Copy_Bound(&s, &target);
    EXPECT_EQ(target.GetSBin(), 7);
    EXPECT_EQ(target.GetPBin(), 8);
}

TEST(CameraSetting, ItsPanelSaysThatThereAreNoOptions)
{
    wxFrame frame(nullptr, wxID_ANY, "test");
    auto * const panel = new wxPanel(&frame);
    PlainSetting s;
    s.CreateAdvSettingPanel(panel, nullptr);
    s.PutAdvSettingToPanel(panel, nullptr);
    s.CopyAdvSettingFromPanel(panel, nullptr);

    auto * const sizer = dynamic_cast<wxBoxSizer *>(panel->GetSizer());
    ASSERT_NE(sizer, nullptr);
    EXPECT_EQ(sizer->GetOrientation(), wxVERTICAL);
    ASSERT_EQ(sizer->GetItemCount(), 1u);
    wxSizerItem const & item = *sizer->GetItem(std::size_t{0});
    EXPECT_EQ(item.GetProportion(), 0);
    EXPECT_EQ(item.GetFlag(), wxALL | wxALIGN_CENTER);
    EXPECT_EQ(item.GetBorder(), 5);
    EXPECT_EQ(dynamic_cast<wxStaticText &>(*item.GetWindow()).GetLabel(), "No options!");
    EXPECT_EQ(panel->GetMinSize(), sizer->GetMinSize());
}

} // namespace velm::test
