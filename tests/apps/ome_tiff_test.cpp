// The export as another program reads it.

#include "export/ome_tiff.h"

#include "drivers/base/general_camera_setting.h"
#include "export/ome_xml.h"
#include "support/log_recorder.h"
#include "support/python.h"
#include "support/temp_depository.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::ome {

namespace {

using namespace test;
using Stack = vexa::Image3d<unsigned short>;

// 2026-03-04 05:06:07.250 in UTC.
wxDateTime Moment()
{
    wxDateTime moment(static_cast<time_t>(1772600767));
    moment.SetMillisecond(250);
    return moment;
}

// A depository with one FOV of three channels: grey, green and red, at (123.4, -56.7, 800) microns, each
// started two seconds after the one before and one second long.
class OmeTiff : public testing::Test {
  protected:
    OmeTiff()
    {
        EXPECT_TRUE(_depository->Open());
        VELM_FOV fov;
        fov.SetCoord(VELM_Coord(7, 1234, -567, 8000));
        fov.SetNumSlices(4);
        fov.SetStepZ(2);
        VELM_HardwareParams hardware;
        hardware.SetHWDesc("Rig 3");
        hardware.SetObjDesc("10x dry");
        fov.SetHardwareParams(hardware);
        VELM_Channel_VisType const colours[] = {VIS_GREY, VIS_GREEN, VIS_RED};
        for (unsigned int i = 0; i < 3; ++i) {
            VELM_Channel channel = TestChannel(i + 1, wxString::Format("Channel %u", i + 1));
            channel.SetMarkerId(i % 2);
            channel.SetExId(i % 2);
            channel.SetEmId(i % 2);
            channel.SetVisType(colours[i]);
            channel.GetCameraSetting()->SetExposure(12345 * (i + 1));
            fov.AddChannel(channel);
            wxDateTime const start = Moment() + wxTimeSpan::Seconds(2 * i);
            fov.SetTimeInterval(i, VELM_TimeInterval(start, start + wxTimeSpan::Seconds(1)));
            SaveStack(i + 1, PatternStack(70, 50, 4));
        }
        EXPECT_TRUE(_depository->FOV_Save(fov));
    }

    void SaveStack(long channel_id, Stack stack)
    {
        stack.SetVoxel(0, static_cast<unsigned short>(channel_id));
        EXPECT_TRUE(_depository->FOV_SaveImage(1, channel_id, stack));
    }

    // Changes the record.
    template <typename Change>
    void Edit(Change change)
    {
        VELM_FOV fov;
        ASSERT_TRUE(_depository->FOV_Load(1, fov));
        change(fov);
        ASSERT_TRUE(_depository->FOV_Save(fov));
    }

    // The voxels of the channels one behind the other, for the script.
    void WriteExpected(char const * name, std::vector<long> const & channels)
    {
        std::string bytes;
        for (long const id : channels) {
            Stack stack;
            EXPECT_TRUE(_depository->FOV_LoadImage(1, id, stack, nullptr));
            bytes.append(reinterpret_cast<char const *>(stack.begin()), 2 * stack.GetCount());
        }
        _out.Write(name, bytes);
    }

    void Export(ExportOptions const & options = {}, ExportProgress const & progress = {})
    {
        ExportFov(*_depository, 1, _out / "out.ome.tif", options, progress);
    }

    std::string ErrorOf(long fov_id, ExportOptions const & options = {})
    {
        try {
            ExportFov(*_depository, fov_id, _out / "out.ome.tif", options);
        } catch (std::exception const & error) {
            return error.what();
        }
        return "no error";
    }

    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (auto const & entry : std::filesystem::directory_iterator(_out.GetPath().utf8_str().data())) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    // Opens the file as "tif" and its checked document as "root".
    void RunPython(std::string const & script) const
    {
        test::RunPython(_out, R"(
import ome_schema
tif = tifffile.TiffFile('out.ome.tif')
root = ome_schema.check(tif.ome_metadata)
)" + script);
    }

    TempDepository _depository;
    TempDirectory _out;
};

} // namespace

TEST_F(OmeTiff, HoldsTheVoxelsOfEveryChannelAndSlice)
{
    WriteExpected("expected.raw", {1, 2, 3});
    for (bool const compress : {true, false}) {
        ExportOptions options;
        options.compress = compress;
        Export(options);
        RunPython(R"(
expected = numpy.fromfile('expected.raw', dtype='<u2').reshape(3, 4, 50, 70)
assert len(tif.series) == 1 and tif.series[0].axes == 'CZYX', tif.series
assert tif.asarray().dtype == numpy.uint16
assert (tif.asarray() == expected).all()
assert not tif.is_bigtiff
assert (tif.pages[0].compression != 1) == )" +
                  std::string(compress ? "True" : "False"));
    }
}

TEST_F(OmeTiff, TellsWhatTheRecordKnowsOfTheChannels)
{
    Export();
    RunPython(R"(
image, = root.findall('Image')
channels = image.findall('Pixels/Channel')
values = lambda name: [channel.get(name) for channel in channels]
assert values('Name') == ['Channel 1', 'Channel 2', 'Channel 3']
assert values('Fluor') == ['Blue', 'Green', 'Blue']
assert values('Color') == ['-1', str(0x00FF00FF), str(0xFF0000FF - 2**32)]
assert values('ExcitationWavelength') == ['360', '480', '360']
assert values('EmissionWavelength') == ['460', '535', '460']
assert values('ExcitationWavelengthUnit') == values('EmissionWavelengthUnit') == ['nm'] * 3
assert values('SamplesPerPixel') == ['1'] * 3
assert [c.find('DetectorSettings').get('Binning') for c in channels] == ['2x2'] * 3
filters = {f.get('ID'): f for f in root.findall('Instrument/Filter')}
paths = [[filters[ref.get('ID')].get('Model') for ref in c.find('LightPath')] for c in channels]
assert paths == [['360/40', '460/50'], ['480/30', '535/40'], ['360/40', '460/50']], paths
assert len(filters) == 4
bands = {f.get('Model'): (f[0].get('CutIn'), f[0].get('CutOut')) for f in filters.values()}
assert bands['535/40'] == ('515', '555') and bands['360/40'] == ('340', '380'), bands
)");
}

TEST_F(OmeTiff, TellsScalePlaceAndTimesOfEveryPlane)
{
    Export();
    RunPython(R"(
image, = root.findall('Image')
assert image.findtext('AcquisitionDate') == '2026-03-04T05:06:07.250Z', image.findtext('AcquisitionDate')
pixels = image.find('Pixels')
assert [pixels.get('Size' + a) for a in 'XYZCT'] == ['70', '50', '4', '3', '1']
assert [pixels.get('PhysicalSize' + a) for a in 'XY'] == [repr(1 / 10.0)] * 2
assert pixels.get('PhysicalSizeZ') == '0.2'
assert [pixels.get('PhysicalSize' + a + 'Unit') for a in 'XYZ'] == ['\u00b5m'] * 3
planes = pixels.findall('Plane')
assert [(p.get('TheC'), p.get('TheZ')) for p in planes] == [(str(c), str(z)) for c in range(3) for z in range(4)]
for p in planes:
    c, z = int(p.get('TheC')), int(p.get('TheZ'))
    assert p.get('ExposureTime') == ('12.345', '24.69', '37.035')[c] and p.get('ExposureTimeUnit') == 'ms', p.attrib
    assert float(p.get('DeltaT')) == 2 * c + z / 4 and p.get('DeltaTUnit') == 's', p.attrib
    assert (p.get('PositionX'), p.get('PositionY')) == ('123.4', '-56.7'), p.attrib
    assert abs(float(p.get('PositionZ')) - (800 + (z - 1.5) * 0.2)) < 1e-9, p.attrib
    assert {p.get('Position' + a + 'Unit') for a in 'XYZ'} == {'\u00b5m'}
label = image.find('StageLabel')
assert [label.get(k) for k in ('Name', 'X', 'Y', 'Z')] == ['Coordinate 7', '123.4', '-56.7', '800'], label.attrib
)");
}

TEST_F(OmeTiff, TellsMicroscopeObjectiveAndWhereTheImageComesFrom)
{
    Export();
    RunPython(R"(
assert root.get('Creator').startswith('velm ')
image, = root.findall('Image')
assert image.get('Name') == 'dep FOV 0001', image.get('Name')
instrument = root.find('Instrument')
assert instrument.find('Microscope').get('Model') == 'Rig 3'
objective = instrument.find('Objective')
assert (objective.get('Model'), objective.get('NominalMagnification')) == ('10x dry', '10'), objective.attrib
assert objective.get('LensNA') is None
assert image.find('ObjectiveSettings').get('ID') == objective.get('ID')
)");
}

TEST_F(OmeTiff, LeavesOutWhatIsNotKnown)
{
    Edit([](VELM_FOV & fov) {
        fov.SetHardwareParams(VELM_HardwareParams());
        fov.GetChannel(0).GetCameraSetting()->SetExposure(0);
    });
    Export();
    RunPython(R"(
assert root.find('Instrument/Microscope') is None and root.find('Instrument/Objective') is None
assert root.find('Image/ObjectiveSettings') is None
planes = root.findall('Image/Pixels/Plane')
assert [p.get('ExposureTime') is None for p in planes] == [True] * 4 + [False] * 8
)");
}

TEST_F(OmeTiff, KeepsNamesThatNoMarkupCouldHold)
{
    Edit([](VELM_FOV & fov) {
        fov.GetChannel(0).SetName(wxString::FromUTF8("<\"\xC2\xB5-Gr\xC3\xBCn\" & 'more'>"));
        fov.GetChannel(1).SetName(wxString("a\x01z"));
    });
    Export();
    RunPython(R"(
names = [c.get('Name') for c in root.iter('Channel')]
assert names[:2] == ['<"\u00b5-Gr\u00fcn" & \'more\'>', 'a z'], names
)");
}

TEST_F(OmeTiff, GivesChannelsOfAnotherGeometryAnImageOfTheirOwn)
{
    SaveStack(2, PatternStack(35, 25, 2));
    WriteExpected("first.raw", {1, 3});
    WriteExpected("second.raw", {2});
    Export();
    RunPython(R"(
assert [series.axes for series in tif.series] == ['CZYX', 'ZYX'], tif.series
assert (tif.series[0].asarray() == numpy.fromfile('first.raw', '<u2').reshape(2, 4, 50, 70)).all()
assert (tif.series[1].asarray() == numpy.fromfile('second.raw', '<u2').reshape(2, 25, 35)).all()
names = [[c.get('Name') for c in image.iter('Channel')] for image in root.findall('Image')]
assert names == [['Channel 1', 'Channel 3'], ['Channel 2']], names
data = [image.find('Pixels/TiffData').attrib for image in root.findall('Image')]
assert data == [{'IFD': '0', 'PlaneCount': '8'}, {'IFD': '8', 'PlaneCount': '2'}], data
)");
}

TEST_F(OmeTiff, OfOneChannelHoldsThatOneOnly)
{
    WriteExpected("expected.raw", {2});
    ExportOptions options;
    options.channels = {2};
    Export(options);
    RunPython(R"(
assert (tif.asarray() == numpy.fromfile('expected.raw', '<u2').reshape(4, 50, 70)).all()
assert [c.get('Name') for c in root.iter('Channel')] == ['Channel 2']
assert root.find('Image/Pixels/Plane').get('DeltaT') == '0'
assert root.findtext('Image/AcquisitionDate') == '2026-03-04T05:06:09.250Z'
)");
}

TEST_F(OmeTiff, OfMoreVoxelsThanTheClassicFormHoldsIsBigTiff)
{
    WriteExpected("expected.raw", {1, 2, 3});
    ExportOptions options;
    std::uint64_t const bytes = std::uint64_t{3} * 4 * 50 * 70 * 2;
    options.largest_classic_file = bytes - 1;
    Export(options);
    RunPython(R"(
assert tif.is_bigtiff
assert (tif.asarray() == numpy.fromfile('expected.raw', '<u2').reshape(3, 4, 50, 70)).all()
)");
    options.largest_classic_file = bytes;
    Export(options);
    RunPython("assert not tif.is_bigtiff\n");
}

TEST_F(OmeTiff, TellsItsProgressPageByPage)
{
    std::vector<std::pair<long, long>> told;
    Export({}, [&told](long written, long all) { told.emplace_back(written, all); });
    ASSERT_EQ(told.size(), 12u);
    EXPECT_EQ(told.front(), std::make_pair(1L, 12L));
    EXPECT_EQ(told.back(), std::make_pair(12L, 12L));
}

TEST_F(OmeTiff, ThatIsStoppedLeavesTheFileBeforeItAndNothingElse)
{
    struct Stop {};
    _out.Write("out.ome.tif", "the file before");
    EXPECT_THROW(Export({},
                        [](long written, long) {
                            if (written == 5) {
                                throw Stop();
                            }
                        }),
                 Stop);
    EXPECT_EQ(Files(), std::vector<std::string>{"out.ome.tif"});
    EXPECT_EQ(_out.Read("out.ome.tif"), "the file before");
}

TEST_F(OmeTiff, OfAFovOrChannelThatIsNotThereSaysSo)
{
    EXPECT_EQ(ErrorOf(2), "The depository has no FOV 2.");
    ExportOptions options;
    options.channels = {1, 9};
    EXPECT_EQ(ErrorOf(1, options), "FOV 1 has no channel 9.");
    Edit([](VELM_FOV & fov) { fov.SetChannelList(VELM_ChannelList()); });
    EXPECT_EQ(ErrorOf(1), "FOV 1 has no channels.");
    EXPECT_EQ(Files(), std::vector<std::string>());
}

TEST_F(OmeTiff, WithAStackMissingOrDamagedIsRefusedAndTheOthersCanBeChosen)
{
    std::string const name(_depository->FOV_GetDir(1).utf8_str());
    std::string const stack = ReadFile(name + "02.ics");
    LogRecorder log;
    WriteFile(name + "02.ics", stack.substr(0, stack.size() / 2));
    EXPECT_EQ(ErrorOf(1), "The stack of channel 2 of FOV 1 could not be read.");
    EXPECT_EQ(log.Texts('E').size(), 1u) << "why, in the depository's words";
    std::filesystem::remove(name + "02.ics");
    EXPECT_EQ(ErrorOf(1), "The stack of channel 2 of FOV 1 could not be read.");
    EXPECT_EQ(Files(), std::vector<std::string>());
    ExportOptions options;
    options.channels = {1, 3};
    Export(options);
    EXPECT_EQ(Files(), std::vector<std::string>{"out.ome.tif"});
}

TEST_F(OmeTiff, OfADamagedRecordIsRefused)
{
    _depository.Write("rawdata/0001/fov.txt", "VERSION=1.6\n");
    LogRecorder const log;
    EXPECT_EQ(ErrorOf(1), "FOV 1 could not be loaded.");
}

TEST_F(OmeTiff, ThatCannotBeWrittenIsAnIOException)
{
    EXPECT_THROW(ExportFov(*_depository, 1, _out / "none/out.ome.tif"), vexa::IOException);
}

TEST(OmeXml, ReadsPassBandsFromFilterDescriptions)
{
    for (char const * const text : {"525/40", "Em 525/40", "ET525/40 nm", "BP 525/40M"}) {
        auto const band = ParsePassBand(text);
        ASSERT_TRUE(band) << text;
        EXPECT_EQ(band->centre, 525.0) << text;
        EXPECT_EQ(band->width, 40.0) << text;
    }
    for (char const * const text : {"", "Unknown", "525", "LP 525", "63x/1.40", "52/40", "525/0", "1/2",
                                    "150/10", "12345/6", "525/1234"}) {
        EXPECT_FALSE(ParsePassBand(text)) << text;
    }
}

TEST(OmeXml, ReadsAperturesFromObjectiveDescriptions)
{
    EXPECT_EQ(ParseAperture("63x/1.40 oil"), 1.4);
    EXPECT_EQ(ParseAperture("Plan 10x / 0.30"), 0.3);
    for (char const * const text : {"", "10x dry", "63x", "63x/0.0", "63x/14", "x/1.4", "63x/1.4.2"}) {
        EXPECT_FALSE(ParseAperture(text)) << text;
    }
}

} // namespace velm::ome
