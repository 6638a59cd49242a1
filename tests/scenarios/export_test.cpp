// velm-scan export, as a user runs it.

#include "scenarios/scan_rig.h"
#include "support/python.h"
#include "support/voxels.h"
#include "velm_depository.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::test {

namespace {

namespace fs = std::filesystem;

class ExportTest : public testing::Test {
  protected:
    std::vector<std::string> Arguments(std::string const & fov, std::vector<std::string> const & more = {})
    {
        std::vector<std::string> arguments = _rig.Arguments("dep", more);
        arguments.insert(arguments.begin(), "export");
        arguments.insert(arguments.end(), {"--fov", fov, "--out", OutFile()});
        return arguments;
    }

    RunResult Export(std::string const & fov, std::vector<std::string> const & more = {})
    {
        return ScanProcess(Arguments(fov, more)).Finish();
    }

    std::string OutFile() const { return (_out / "out.ome.tif").utf8_string(); }

    // Of a run that ends with status 1: what it said.
    static std::string ErrorsOfFailure(RunResult const & run)
    {
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.output, "");
        return run.errors;
    }

    bool NothingIsThere() const { return fs::is_empty(_out.GetPath().utf8_string()); }

    void Scan()
    {
        RunResult const run =
            _rig.Scan("dep", {"--grid", "2x1", "--slices", "3", "--step", "5", "--channels", "1,3"});
        ASSERT_EQ(run.status, 0) << run.errors;
    }

    ScanRig _rig;
    TempDirectory _out;
};

} // namespace

TEST_F(ExportTest, AScannedFovOpensInAnotherProgramWithAllThatIsKnown)
{
    Scan();
    RunResult const run = Export("2");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "FOV 2 exported\n");
    EXPECT_EQ(run.errors, "");

    VELM_Depository & depository = _rig.Open();
    std::string voxels;
    for (long const channel : {1L, 3L}) {
        vexa::Image3d<unsigned short> stack;
        ASSERT_TRUE(depository.FOV_LoadImage(2, channel, stack, nullptr));
        voxels.append(reinterpret_cast<char const *>(stack.begin()), 2 * stack.GetCount());
    }
    _out.Write("expected.raw", voxels);
    VELM_FOV fov;
    ASSERT_TRUE(depository.FOV_Load(2, fov));
    long x = 0;
    long y = 0;
    long z = 0;
    fov.GetCoord().GetPosition(x, y, z);
    RunPython(_out, wxString::Format("stage = [%ld, %ld, %ld]\n", x, y, z).ToStdString() + R"(
import ome_schema
tif = tifffile.TiffFile('out.ome.tif')
assert tif.series[0].axes == 'CZYX', tif.series
assert tif.asarray().tobytes() == open('expected.raw', 'rb').read()
root = ome_schema.check(tif.ome_metadata)
pixels = root.find('Image/Pixels')
# Pixels of 6450 nm, binned two by two, through an objective of 63x; slices every half micron
assert [round(float(pixels.get('PhysicalSize' + a)), 6) for a in 'XYZ'] == [0.204762, 0.204762, 0.5], pixels.attrib
channels = pixels.findall('Channel')
assert [c.get('Name') for c in channels] == ['DAPI', 'TRITC']
assert [c.get('Color') for c in channels] == ['65535', str(0xFF0000FF - 2**32)]
assert [c.get('ExcitationWavelength') for c in channels] == ['365', '545']
assert [c.get('EmissionWavelength') for c in channels] == ['445', '600']
for p in pixels.findall('Plane'):
    assert (p.get('ExposureTime'), p.get('ExposureTimeUnit')) == ('40', 'ms')
    assert [float(p.get('Position' + a)) for a in 'XY'] == [stage[0] / 10, stage[1] / 10], p.attrib
    assert float(p.get('PositionZ')) == stage[2] / 10 + (int(p.get('TheZ')) - 1) * 0.5, p.attrib
assert root.find('Instrument/Microscope').get('Model') == 'Simulated microscope'
objective = root.find('Instrument/Objective')
assert [objective.get(k) for k in ('Model', 'NominalMagnification', 'LensNA')] == ['63x/1.40 oil', '63', '1.4']
)");
}

TEST_F(ExportTest, DrawsABarOnATerminal)
{
    Scan();
    RunResult const run = ScanProcess(Arguments("1"), {0, true}).Finish();
    EXPECT_EQ(run.status, 0) << run.errors;
    std::string const full = "\r[" + std::string(30, '#') + "] FOV 1, slice 6 of 6, ";
    EXPECT_THAT(run.output, testing::StartsWith("\r["));
    EXPECT_THAT(run.output, testing::HasSubstr(full)) << "two channels of three slices";
    EXPECT_THAT(run.output, testing::EndsWith(" slices/s, 0 s left\x1b[K\n"));
}

TEST_F(ExportTest, OfAFovThatIsNotThereFailsWithoutAFile)
{
    Scan();
    EXPECT_EQ(ErrorsOfFailure(Export("3")), "Error: The depository has no FOV 3.\n");
    EXPECT_TRUE(NothingIsThere());
}

TEST_F(ExportTest, FromADirectoryThatIsNoDepositoryFails)
{
    EXPECT_THAT(ErrorsOfFailure(Export("1")), testing::EndsWith("dep is not a depository.\n"));
}

TEST_F(ExportTest, WithoutRoomForTheFileFailsAndLeavesNothing)
{
    Scan();
    RunResult const run = ScanProcess(Arguments("1"), {5000}).Finish();
    EXPECT_THAT(ErrorsOfFailure(run), testing::HasSubstr("Error: Cannot write '" + OutFile() + "': "));
    EXPECT_TRUE(NothingIsThere());
}

TEST_F(ExportTest, ThatIsInterruptedLeavesNothing)
{
    Scan();
    auto stack = PatternImage<unsigned short>(1024, 1024, 64); // takes seconds to compress
    stack.resolution = vexa::Resolution(10.0F, 10.0F, 5.0F);
    stack.SaveImage((_rig.Depository() + "/rawdata/0001/01.ics").utf8_str(), vexa::FileFormat::FromName,
                    false, nullptr);
    ScanProcess process(Arguments("1"));
    while (NothingIsThere()) {
        ASSERT_TRUE(process.IsRunning());
    }
    process.Signal(SIGINT);
    RunResult const run = process.Finish();
    EXPECT_EQ(run.status, 130);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "Warning: Interrupted; no file was written.\n");
    EXPECT_TRUE(NothingIsThere());
}

TEST_F(ExportTest, WithWrongUsageExitsWithTwo)
{
    ScanProcess process({"export", "--depository", "dep"});
    RunResult const run = process.Finish();
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.errors, "velm-scan: --fov is missing\nTry \"velm-scan --help\".\n");
}

} // namespace velm::test
