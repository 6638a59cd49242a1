#include "sim_config.h"

#include "drivers/base/hw_control.h"
#include "support/temp_directory.h"
#include "velm_db.h"

namespace velm::sim::test {

using velm::test::TempDirectory;

// An installation with a driver section of the given lines.
class SimConfigTest : public testing::Test {
  protected:
    SimConfigTest()
    {
        _dir.Write("ex_filters.ini", "3=Ex blue\n5=Ex green\n6=Ex wide\n");
        _dir.Write("em_filters.ini", "1=Em blue\n2=Em green\n");
        _dir.Write("markers.ini", "Blue dye\n0,2\n0\nGreen dye\n1\n1\n");
        _dir.Write("objectives.ini", "4=20x/0.50, 20\n2=10x/0.30, 10\n");
    }

    SimConfig Read(std::string const & section, std::string const & root = "")
    {
        wxString const path = _dir.Write("hw.ini", root + "[Sim]\n" + section);
        wxFileConfig config("", "", path, "", wxCONFIG_USE_RELATIVE_PATH, wxConvAuto());
        config.SetPath("/Sim");
        VELM_Database const db(_dir.GetPath());
        SimConfig sim = ReadConfig(config, db);
        EXPECT_EQ(config.GetPath(), "/Sim");
        return sim;
    }

    std::string Refusal(std::string const & section)
    {
        try {
            Read(section);
        } catch (VELM_HWError const & error) {
            return error.what();
        }
        return {};
    }

    TempDirectory _dir;
};

TEST_F(SimConfigTest, AnEmptySectionGivesAWorkingMicroscope)
{
    SimConfig const sim = Read("Name=Simulated microscope\n");
    EXPECT_EQ(sim.seed, 1u);
    EXPECT_EQ(sim.time_scale, 1.0);
    EXPECT_EQ(sim.camera.width, 1392);
    EXPECT_EQ(sim.camera.height, 1040);
    EXPECT_EQ(sim.camera.bit_depth, 12);
    EXPECT_TRUE(sim.camera.noise);
    EXPECT_TRUE(sim.faults.empty());
}

TEST_F(SimConfigTest, TheEnvironmentOverrulesTheSeedOfTheFile)
{
    wxSetEnv("VELM_SIM_SEED", "42");
    EXPECT_EQ(Read("").seed, 42u);
    EXPECT_EQ(Read("").specimen.seed, 42u);
    EXPECT_EQ(Read("Seed=7\n").seed, 42u);
    wxSetEnv("VELM_SIM_SEED", "many");
    EXPECT_EQ(Refusal(""),
              "Error in the simulated microscope's entry 'VELM_SIM_SEED' (many): must be a whole "
              "number from 0 to 1e+15");
    wxUnsetEnv("VELM_SIM_SEED");
    EXPECT_EQ(Read("").seed, 1u);
    EXPECT_EQ(Read("Seed=7\n").seed, 7u);
}

TEST_F(SimConfigTest, ScaleAndOrientationsComeFromTheRoot)
{
    SimConfig const sim = Read("", "MicResX=7000\nMicResY=6900\nStageOrientationX=-1\nStageOrientationY=0\n");
    EXPECT_EQ(sim.pixel_x_nm, 7000.0);
    EXPECT_EQ(sim.pixel_y_nm, 6900.0);
    EXPECT_EQ(sim.orientation_x, -1);
    EXPECT_EQ(sim.orientation_y, -1);
    EXPECT_EQ(Read("").orientation_x, 1);
}

TEST_F(SimConfigTest, MarkersTakeTheirFilterPositionsFromTheCatalogue)
{
    SimConfig const sim = Read("");
    ASSERT_EQ(sim.markers.size(), 2u);
    EXPECT_EQ(sim.markers[0].name, "Blue dye");
    EXPECT_EQ(sim.markers[0].ex_positions, (std::vector<long>{3, 6}));
    EXPECT_EQ(sim.markers[0].em_positions, (std::vector<long>{1}));
    EXPECT_EQ(sim.markers[1].ex_positions, (std::vector<long>{5}));
    EXPECT_EQ(sim.markers[1].em_positions, (std::vector<long>{2}));
}

TEST_F(SimConfigTest, TheFirstMarkerStainsNucleiAndTheOthersSpotsUnlessTold)
{
    SimConfig sim = Read("");
    EXPECT_EQ(sim.markers[0].structure, Structure::NUCLEI);
    EXPECT_EQ(sim.markers[1].structure, Structure::SPOTS);
    EXPECT_EQ(sim.specimen.spot_kinds, 1u);
    sim = Read("[Sim/Green dye]\nStructure=nuclei\nBrightness=2.5\nShiftX=-0.25\nFadePlateau=0.75\n");
    EXPECT_EQ(sim.markers[1].structure, Structure::NUCLEI);
    EXPECT_EQ(sim.markers[1].brightness, 2.5);
    EXPECT_EQ(sim.markers[1].shift_x_um, -0.25);
    EXPECT_EQ(sim.markers[1].fade_plateau, 0.75);
    EXPECT_EQ(sim.specimen.spot_kinds, 0u);
}

TEST_F(SimConfigTest, MarkersCanLabelTheSameSpots)
{
    _dir.Write("markers.ini", "Blue dye\n0,2\n0\nGreen dye\n1\n1\nRed dye\n1\n1\n");
    SimConfig sim = Read("");
    EXPECT_EQ(sim.markers[2].spot_kind, 1u);
    EXPECT_EQ(sim.specimen.spot_kinds, 2u);
    sim = Read("[Sim/Red dye]\nSpotKind=0\n");
    EXPECT_EQ(sim.markers[2].spot_kind, sim.markers[1].spot_kind);
    EXPECT_EQ(sim.specimen.spot_kinds, 1u);
}

TEST_F(SimConfigTest, ObjectivesKeepTheOrderOfTheCatalogue)
{
    SimConfig const sim = Read("Objective=4\n");
    ASSERT_EQ(sim.objectives.size(), 2u);
    EXPECT_EQ(sim.objectives[0].description, "10x/0.30");
    EXPECT_EQ(sim.objectives[0].position, 2);
    EXPECT_EQ(sim.objectives[1].magnification, 20.0);
    EXPECT_EQ(sim.objective, 4);
}

TEST_F(SimConfigTest, TimesAreGivenInMilliseconds)
{
    SimConfig const sim = Read("ShutterTime=25\nFilterTime=1.5\nZSettling=7\nStageSettling=0\n");
    EXPECT_EQ(sim.shutter_time, 25000.0);
    EXPECT_EQ(sim.filter_time, 1500.0);
    EXPECT_EQ(sim.z_axis.settling, 7000.0);
    EXPECT_EQ(sim.stage_axis.settling, 0.0);
}

TEST_F(SimConfigTest, FaultsAreReadUpToTheFirstGap)
{
    SimConfig const sim = Read("Fault1=Stage.Move throw at 5\nFault2=Camera.StartFrameCapture drop p 0.01\n"
                               "Fault4=Stage.Move throw at 6\n");
    ASSERT_EQ(sim.faults.size(), 2u);
    EXPECT_EQ(sim.faults[1].first, "Fault2");
    EXPECT_EQ(sim.faults[1].second, "Camera.StartFrameCapture drop p 0.01");
}

TEST_F(SimConfigTest, AnEntryThatMakesNoSenseIsNamed)
{
    std::string const start = "Error in the simulated microscope's entry ";
    EXPECT_EQ(Refusal("SensorWidth=wide\n"),
              start + "'SensorWidth' (wide): must be a whole number from 16 to 8192");
    EXPECT_EQ(Refusal("SensorHeight=7\n"),
              start + "'SensorHeight' (7): must be a whole number from 16 to 8192");
    EXPECT_EQ(Refusal("BitDepth=12.5\n"), start + "'BitDepth' (12.5): must be a whole number from 8 to 16");
    EXPECT_EQ(Refusal("TimeScale=-1\n"), start + "'TimeScale' (-1): must be a number from 0 to 1000");
    EXPECT_EQ(Refusal("ZStart=20000\n"),
              start + "'ZStart' (20000): must lie between ZLower (0) and ZUpper (10000)");
    EXPECT_EQ(Refusal("[Sim/Blue dye]\nStructure=cheese\n"),
              start + "'Blue dye/Structure' (cheese): must be nuclei or spots");
    EXPECT_EQ(Refusal("Fault1=Stage.Move burn at 5\n"),
              start + "'Fault1' (Stage.Move burn at 5): there is no fault 'burn'");
}

TEST_F(SimConfigTest, AnObjectiveThatMagnifiesNothingIsRefused)
{
    _dir.Write("objectives.ini", "1=Pinhole, 0\n");
    EXPECT_EQ(Refusal(""), "The objective 'Pinhole' magnifies nothing");
}

} // namespace velm::sim::test
