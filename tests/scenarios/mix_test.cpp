// velm-scan mix, as a user runs it.

#include "scenarios/scan_rig.h"
#include "support/voxels.h"
#include "velm_depository.h"

#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wx/image.h>

namespace velm::test {

namespace {

using Stack = vexa::Image3d<unsigned short>;

constexpr int width = 96; // the sensor has 192 x 128 pixels and is binned by 2
constexpr int height = 64;
constexpr int last_bit = 12;

// The shade in which a voxel is shown.
int Shade(int voxel)
{
    return std::min(voxel >> (last_bit - 8), 255);
}

class MixTest : public testing::Test {
  protected:
    // One place with two channels of three slices.
    MixTest()
    {
        RunResult const run = _rig.Scan("dep", {"--grid", "1x1", "--slices", "3", "--channels", "1,3"});
        EXPECT_EQ(run.status, 0) << run.errors;
        VELM_Depository & depository = _rig.Open();
        EXPECT_TRUE(depository.FOV_LoadImage(1, 1, _first, nullptr));
        EXPECT_TRUE(depository.FOV_LoadImage(1, 3, _third, nullptr));
        EXPECT_EQ(_first.size, (vexa::Vector3d<unsigned int>(width, height, 3)));
        wxImage::AddHandler(new wxPNGHandler);
    }
    ~MixTest() override { wxImage::CleanUpHandlers(); }

    RunResult Mix(std::vector<std::string> const & more, std::string const & fov = "1") const
    {
        std::vector<std::string> arguments = _rig.Arguments("dep", more);
        arguments.insert(arguments.begin(), "mix");
        arguments.insert(arguments.end(), {"--fov", fov, "--out", Out()});
        return ScanProcess(arguments).Finish();
    }

    std::string Out() const { return _rig.Depository("mixed.png").utf8_string(); }

    // The picture of a run that has nothing to say.
    wxImage Mixed(std::vector<std::string> const & more) const
    {
        RunResult const run = Mix(more);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, "");
        wxImage picture;
        EXPECT_TRUE(picture.LoadFile(Out(), wxBITMAP_TYPE_PNG));
        return picture;
    }

    void ExpectFailure(std::vector<std::string> const & more, std::string const & errors,
                       std::string const & fov = "1") const
    {
        RunResult const run = Mix(more, fov);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.errors, errors);
        EXPECT_FALSE(std::filesystem::exists(Out()));
    }

    // Changes a channel's corrections in the record.
    void Correct(long channel, std::function<void(VELM_CorrectionSettings &)> const & change)
    {
        VELM_Depository & depository = _rig.Open();
        VELM_FOV fov;
        ASSERT_TRUE(depository.FOV_Load(1, fov));
        change(fov.GetCorrSettingsById(channel));
        ASSERT_TRUE(depository.FOV_Save(fov));
    }

    ScanRig _rig;
    Stack _first; // of channel 1
    Stack _third; // of channel 3
};

// One pixel's shades.
std::array<int, 3> At(wxImage const & picture, int x, int y)
{
    return {picture.GetRed(x, y), picture.GetGreen(x, y), picture.GetBlue(x, y)};
}

} // namespace

TEST_F(MixTest, ASliceShowsEachChannelInItsColourByTheLastBitOfItsSetting)
{
    wxImage const picture = Mixed({"--rgb", "3,-1,1", "--slice", "1"});
    ASSERT_EQ(picture.GetSize(), wxSize(width, height));
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            ASSERT_EQ(
                At(picture, static_cast<int>(x), static_cast<int>(y)),
                (std::array<int, 3>{Shade(_third.GetVoxel(x, y, 1)), 0, Shade(_first.GetVoxel(x, y, 1))}));
        }
    }
}

TEST_F(MixTest, WithoutASliceTheBrightestOfAllIsShownAndSoItIsInTheAfImages)
{
    wxImage const picture = Mixed({"--rgb", "1,3,1"});
    wxImage const af = Mixed({"--rgb", "1,3,1", "--af"});
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            auto const brightest = [=](Stack const & stack) {
                return Shade(
                    std::max({stack.GetVoxel(x, y, 0), stack.GetVoxel(x, y, 1), stack.GetVoxel(x, y, 2)}));
            };
            std::array<int, 3> const expected{brightest(_first), brightest(_third), brightest(_first)};
            ASSERT_EQ(At(picture, static_cast<int>(x), static_cast<int>(y)), expected);
            ASSERT_EQ(At(af, static_cast<int>(x), static_cast<int>(y)), expected);
        }
    }
}

TEST_F(MixTest, ARectangleIsCutFromThePicture)
{
    wxImage const whole = Mixed({"--rgb", "1,1,3", "--slice", "0"});
    wxImage const part = Mixed({"--rgb", "1,1,3", "--slice", "0", "--rect", "10,20,30,40"});
    ASSERT_EQ(part.GetSize(), wxSize(30, 40));
    EXPECT_EQ(At(part, 0, 0), At(whole, 10, 20));
    EXPECT_EQ(At(part, 29, 39), At(whole, 39, 59));
    EXPECT_EQ(Mixed({"--rgb", "1,1,3", "--rect", "90,60,30,40"}).GetSize(), wxSize(6, 4));
}

TEST_F(MixTest, CorrectionsThatAreAppliedTakePartWhenNamed)
{
    Correct(3, [](VELM_CorrectionSettings & settings) {
        settings.GetManualShiftCorrection()->SetShift({4, 2, 0});
        settings.GetManualShiftCorrection()->Apply(true);
    });
    EXPECT_EQ(Mixed({"--rgb", "1,3,-1", "--slice", "0"}).GetSize(), wxSize(width, height));
    wxImage const shifted = Mixed({"--rgb", "1,3,-1", "--slice", "0", "--correct", "manual"});
    ASSERT_EQ(shifted.GetSize(), wxSize(width - 2, height - 1));
    EXPECT_EQ(At(shifted, 0, 0),
              (std::array<int, 3>{Shade(_first.GetVoxel(2, 1, 0)), Shade(_third.GetVoxel(0, 0, 0)), 0}));
}

TEST_F(MixTest, CorrectionsThatShowNowhereAreWarnedOf)
{
    RunResult const run = Mix({"--rgb", "1,3,-1", "--correct", "manual,automatic,illumination,chromatic"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "Warning: Manual shift: applied to none of the channels.\n"
                          "Warning: Automatic shift: applied to none of the channels.\n"
                          "Warning: Illumination correction: applied to none of the channels.\n"
                          "Warning: Chromatic aberration: applied to none of the channels.\n");
    EXPECT_TRUE(std::filesystem::exists(Out()));
}

TEST_F(MixTest, WhatIsNotThereIsTold)
{
    ExpectFailure({"--rgb", "1,-1,-1"}, "Error: The depository has no FOV 2.\n", "2");
    ExpectFailure({"--rgb", "1,2,-1"}, "Error: FOV 1 has no channel 2.\n");
    ExpectFailure({"--rgb", "1,3,-1", "--slice", "3"},
                  "Error: There is no slice 3: the channels have 3 in common, counted from 0.\n");
    ExpectFailure({"--rgb", "1,3,-1", "--rect", "96,0,1,1"},
                  "Error: The rectangle lies outside the picture of 96 x 64 pixels.\n");
    Correct(3, [](VELM_CorrectionSettings & settings) {
        settings.GetAutomaticShiftCorrection()->SetShift({0, 128, 0});
        settings.GetAutomaticShiftCorrection()->Apply(true);
    });
    ExpectFailure({"--rgb", "1,3,-1", "--correct", "automatic"},
                  "Error: The channels have no part of the chip in common.\n");
    std::filesystem::remove(_rig.Depository().utf8_string() + "/rawdata/0001/03.ics");
    RunResult const run = Mix({"--rgb", "1,3,-1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::EndsWith("Error: The images of FOV 1 could not be read.\n"));
}

TEST_F(MixTest, APictureThatCannotBeWrittenFails)
{
    std::filesystem::create_directory(Out());
    RunResult const run = Mix({"--rgb", "1,3,-1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::StartsWith("Error: The picture " + Out() + " could not be written: "));
}

} // namespace velm::test
