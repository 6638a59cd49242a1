// The picture that velm-scan draws of a depository.

#include "scenarios/scan_rig.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wx/image.h>

namespace velm::test {

namespace {

class OverviewTest : public testing::Test {
  protected:
    // Two places side by side, in the one channel that is shown blue.
    OverviewTest()
    {
        RunResult const run = _rig.Scan("dep", {"--grid", "2x1", "--slices", "1", "--channels", "1"});
        EXPECT_EQ(run.status, 0) << run.errors;
        wxImage::AddHandler(new wxPNGHandler);
    }
    ~OverviewTest() override { wxImage::CleanUpHandlers(); }

    RunResult Draw(std::string const & depository, wxString const & picture) const
    {
        std::vector<std::string> arguments = _rig.Arguments(depository, {"--out", picture.utf8_string()});
        arguments.insert(arguments.begin(), "overview");
        return ScanProcess(arguments).Finish();
    }

    ScanRig _rig;
    wxString _picture = _rig.Depository("overview.png");
};

} // namespace

TEST_F(OverviewTest, ShowsEachPlaceBesideItsNeighbourInTheChannelsColour)
{
    RunResult const run = Draw("dep", _picture);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    wxImage image;
    ASSERT_TRUE(image.LoadFile(_picture, wxBITMAP_TYPE_PNG));
    // The sensor has 192 x 128 pixels and is binned by 2.
    ASSERT_EQ(image.GetWidth(), 2 * 96);
    ASSERT_EQ(image.GetHeight(), 64);
    // The scale bar lies in the lower half.
    for (int const left : {0, 96}) {
        int brightest = 0;
        for (int y = 0; y < 32; ++y) {
            for (int x = left; x < left + 96; ++x) {
                brightest = std::max(brightest, static_cast<int>(image.GetBlue(x, y)));
                ASSERT_EQ(image.GetRed(x, y) + image.GetGreen(x, y), 0);
            }
        }
        EXPECT_GT(brightest, 0);
    }
    EXPECT_EQ(image.GetRed(image.GetWidth() - 6, image.GetHeight() - 6), 255) << "the bar is white";
}

TEST_F(OverviewTest, IsCorrectedAsTheFieldsSay)
{
    // An empty slide under a light that falls off to the sides.
    _rig.Set("Density", "0");
    _rig.Set("BackgroundLight", "4e6");
    _rig.Set("Vignetting", "0.8");
    // How much brighter the middle of the picture is than its upper corners.
    auto const falloff = [&](std::string const & name, std::vector<std::string> const & more) {
        std::vector<std::string> plan{"--grid", "1x1", "--slices", "1", "--channels", "1"};
        plan.insert(plan.end(), more.begin(), more.end());
        RunResult const run = _rig.Scan(name, plan);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(Draw(name, _picture).errors, "");
        wxImage image;
        EXPECT_TRUE(image.LoadFile(_picture, wxBITMAP_TYPE_PNG));
        auto const mean = [&](int left) {
            int sum = 0;
            for (int y = 0; y < 12; ++y) {
                for (int x = left; x < left + 12; ++x) {
                    sum += image.GetBlue(x, left == 42 ? y + 20 : y);
                }
            }
            return sum / 144;
        };
        return mean(42) - (mean(0) + mean(84)) / 2;
    };
    EXPECT_GT(falloff("plain", {}), 80);
    EXPECT_LT(std::abs(falloff("corrected", {"--calibrate", "9,mean"})), 30);
}

TEST_F(OverviewTest, LeavesOutWhatAKilledRunLeft)
{
    std::filesystem::create_directory((_rig.Depository() + "/rawdata/0003").utf8_string());
    RunResult const run = Draw("dep", _picture);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "Warning: FOV 3 was never finished and is left out.\n");
    EXPECT_TRUE(std::filesystem::exists(_picture.utf8_string()));
}

TEST_F(OverviewTest, ToldNoDepositoryOrNoPlaceForThePictureItFails)
{
    RunResult const nothing = Draw("none", _picture);
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(nothing.errors, "Error: " + _rig.Depository("none").utf8_string() + " is not a depository.\n");
    EXPECT_FALSE(std::filesystem::exists(_rig.Depository("none").utf8_string()));
    RunResult const nowhere = Draw("dep", _rig.Depository("none") + "/o.png");
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_THAT(nowhere.errors,
                testing::StartsWith("Error: The picture " + _rig.Depository("none").utf8_string() +
                                    "/o.png could not be written: "));
}

} // namespace velm::test
