// Writes the seeds of all targets below a directory, by the library's own writers: "fuzz_make_seeds
// fuzz/seeds". Run it again when a format changes; it leaves other files alone, such as inputs kept because
// they once failed and files of other programs.

#include "drivers/base/general_camera_setting.h"
#include "fuzz_record.h"
#include "nubo/histogram.h"
#include "vexaalgo/labeled_image.h"
#include "vexacore/pixel_deflate.h"

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using namespace velm;
using Stack = vexa::Image3d<unsigned short>;

std::string ReadFile(std::string const & path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

// A directory of seeds.
class Seeds {
  public:
    explicit Seeds(std::string directory) : _directory(std::move(directory)) {}

    // The path of a seed; its directory is there.
    std::string operator()(std::string const & target, std::string const & name) const
    {
        fs::create_directories(_directory + "/" + target);
        return _directory + "/" + target + "/" + name;
    }

    void Write(std::string const & target, std::string const & name, std::string const & content) const
    {
        std::ofstream((*this)(target, name), std::ios::binary) << content;
    }

  private:
    std::string _directory;
};

template <typename T>
vexa::Image3d<T> Picture(unsigned int x, unsigned int y, unsigned int z)
{
    vexa::Image3d<T> image;
    image.MakeRoom(x, y, z);
    image.resolution = vexa::Resolution(10.0F, 10.0F, 2.0F);
    image.offset = {1.0F, 2.0F, 3.0F};
    for (std::size_t i = 0; i < image.GetCount(); ++i) {
        image.SetVoxel(i, static_cast<T>(i * i % 251));
    }
    return image;
}

void WriteImages(Seeds const & seeds)
{
    for (char const * const format : {"ics", "tif"}) {
        for (bool const compress : {false, true}) {
            std::string const name = std::string(compress ? "packed" : "plain") + "." + format;
            Picture<unsigned short>(9, 7, 3).SaveImage(seeds(format, "grey16_" + name).c_str(),
                                                       vexa::FileFormat::FromName, compress, nullptr);
            Picture<unsigned char>(9, 7, 3).SaveImage(seeds(format, "grey8_" + name).c_str(),
                                                      vexa::FileFormat::FromName, compress, nullptr);
        }
    }
}

void WriteHistograms(Seeds const & seeds)
{
    for (unsigned int const highest : {255U, 65535U}) {
        nubo::Histogram<unsigned short> histogram;
        histogram.Init(0, static_cast<unsigned short>(highest), highest + 1);
        for (unsigned short const voxel : Picture<unsigned short>(9, 7, 3)) {
            ++histogram.GetBins()[histogram.GetBinPos(voxel)];
        }
        histogram.Save(seeds("hist", "to_" + std::to_string(highest)));
    }
}

// The target adds the first two lines itself.
void WriteLabels(Seeds const & seeds, std::string const & scratch)
{
    vexa::LabeledImage3d<unsigned short, bool> labels;
    labels.MakeRoom(6, 5, 3);
    for (unsigned int i = 0; i < 90; ++i) {
        labels.SetVoxel(i, static_cast<unsigned short>(i < 30 ? i % 3 : 0));
    }
    labels.UpdateComponents();
    labels.SaveImage((scratch + "/labels").c_str(), vexa::FileFormat::Labeled);
    std::string const table = ReadFile(scratch + "/labels.l3d");
    seeds.Write("l3d", "table", table.substr(table.find("displacement")));
}

VELM_Channel MakeChannel(long id, wxString const & name)
{
    VELM_Channel channel(name, 0, 0, 1);
    channel.SetId(id);
    channel.TakeCameraSetting(
        new VELM_GeneralCameraSetting("None", 2, 2, -1, -1, -1, -1, 50000, 12, 12, 1392, 1040));
    return channel;
}

void WriteRecords(Seeds const & seeds, std::string const & scratch)
{
    VELM_Database db = fuzz::Surroundings::Get().GetDatabase();
    VELM_Depository depository(scratch + "/records", &db);
    depository.Open();
    VELM_Calibration_Image image;
    image.SetId(1);
    image.SetMean(2469.5);
    image.SetCameraSetting(MakeChannel(1, "").GetCameraSetting());
    depository.CI_SaveDesc(image);
    VELM_Channel calibrated = MakeChannel(2, "Spots");
    calibrated.SetCalibImage(&image);
    calibrated.SetCalibType(CALIBRATION_YES);
    VELM_FOV fov;
    fov.SetCoord(VELM_Coord(1, 1200, -350, 8000));
    fov.SetNumSlices(3);
    fov.SetStepZ(5);
    for (VELM_Channel const & channel : {MakeChannel(1, "Nuclei"), calibrated}) {
        depository.GetChannelListRef().Insert(channel);
    }
    fov.AddChannel(calibrated); // one is enough: time goes with the length of the file
    wxDateTime const moment(static_cast<time_t>(1763733600));
    fov.SetTimeInterval(0, VELM_TimeInterval(moment, moment));
    depository.GetCoordListRef().Insert(fov.GetCoord());
    depository.GetCoordListRef().Insert(VELM_Coord(2, 0, 0, 0, 100, 100, 611, 611));
    depository.FOV_Save(fov);
    depository.Save();
    seeds.Write("fov", "one_channel", ReadFile(scratch + "/records/rawdata/0001/fov.txt"));
    seeds.Write("channels", "two_channels", ReadFile(scratch + "/records/channels.cfg"));
    seeds.Write("coordinates", "two_places", ReadFile(scratch + "/records/coordinates.txt"));
    seeds.Write("calibration", "image", ReadFile(scratch + "/records/calib_images/ci_0001.txt"));
}

// The bytes that the target takes off one after the other, for an image of 32 x 60 x 2 voxels.
void WriteCorrections(Seeds const & seeds)
{
    std::string const geometry{"\x01\x3f\x00\x3b\x01\x64\x00\xc8\x00\x00\x00\x10\x27\x10\x27\xd0\x07", 17};
    std::string voxels;
    for (unsigned short const voxel : Picture<unsigned short>(16, 15, 1)) {
        voxels += static_cast<char>(voxel);
        voxels += '\x03';
    }
    std::string const number{"\x01\x20\x00", 3}; // 0.032
    std::string numbers;
    for (int i = 0; i < 12; ++i) {
        numbers += number;
    }
    seeds.Write("corrections", "spline", '\0' + geometry + "\x01\x0a\x01\x04\x01\x04\x01\x03" + voxels);
    seeds.Write("corrections", "filter", '\x01' + geometry + numbers.substr(0, 12) + voxels);
    seeds.Write("corrections", "chromatic", '\x02' + geometry + numbers + voxels);
}

// Any bytes are a field of view.
void WriteMixes(Seeds const & seeds)
{
    for (std::size_t const length : {300U, 1200U}) {
        std::string bytes(length, '\0');
        for (std::size_t i = 0; i < length; ++i) {
            bytes[i] = static_cast<char>(i * i % 251);
        }
        seeds.Write("mixer", std::to_string(length) + "_bytes", bytes);
    }
}

// The pieces that the target takes off: how many, what lies behind, the sizes of each, and their data.
class Pieces {
  public:
    void Add(std::size_t pixels, unsigned int (*pixel)(unsigned int))
    {
        std::string bytes;
        for (unsigned int i = 0; i < pixels; ++i) {
            bytes += static_cast<char>(pixel(i));
            bytes += static_cast<char>(pixel(i) >> 8);
        }
        std::string packed(vexa::PixelDeflater::GetRoom(pixels), '\0');
        packed.resize(vexa::PixelDeflater().Compress(reinterpret_cast<unsigned char const *>(bytes.data()),
                                                     pixels,
                                                     reinterpret_cast<unsigned char *>(packed.data())));
        for (std::size_t const size : {bytes.size(), packed.size()}) {
            _sizes += static_cast<char>(size);
            _sizes += static_cast<char>(size >> 8);
        }
        _data += packed;
        ++_count;
    }

    std::string Get() const { return static_cast<char>(_count - 1) + ('\0' + _sizes) + _data; }

  private:
    int _count = 0;
    std::string _sizes;
    std::string _data;
};

void WritePieces(Seeds const & seeds)
{
    struct {
        char const * name;
        unsigned int (*pixel)(unsigned int);
    } const kinds[] = {
        {"dark", [](unsigned int i) { return 100 + i * i % 7 * (i % 11) % 5; }},
        {"bright", [](unsigned int i) { return 900 + i * i % 251 + i % 7 * 16; }},
        {"one_value", [](unsigned int) { return 0x1234U; }},
        {"runs", [](unsigned int i) { return 100 + i / 97 * i / 97 % 300; }},
        {"stored", [](unsigned int i) { return i * 40503 % 65521; }},
    };
    for (auto const & kind : kinds) {
        Pieces one;
        one.Add(700, kind.pixel);
        seeds.Write("inflate", kind.name, one.Get());
    }
    Pieces some;
    for (std::size_t const i : {0, 3, 1}) {
        some.Add(500 - 100 * i, kinds[i].pixel);
    }
    seeds.Write("inflate", "three_pieces", some.Get());
}

// What comes with the simulated microscope.
void CopyInstallation(Seeds const & seeds)
{
    std::string const rig = VELM_SOURCE_ROOT "/rigs/simulated/";
    char const * const optics[] = {"ex_filters", "em_filters", "markers", "objectives"};
    for (std::size_t i = 0; i < 4; ++i) {
        seeds.Write("optics", optics[i], std::to_string(i) + ReadFile(rig + "optics/" + optics[i] + ".ini"));
    }
    seeds.Write("hardware", "simulated", ReadFile(rig + "hw/simulated.ini"));
    seeds.Write(
        "hardware", "combination",
        "MicResX=1\nMicResY=1\n[ZDrive]\nDriver=Combo\nSection=Both\nNumDrvs=2\nDriver1=One\nDriver2=Two\n"
        "[One]\nName=Simulated microscope\n[Two]\nName=General\n[Both]\nName=Simulated microscope\n"
        "[MicroscopeBody]\nDriver=Two\n");
    seeds.Write("profiles", "simulated", ReadFile(rig + "profiles.ini"));
}

} // namespace

int main(int argc, char ** argv)
{
    if (argc != 2) {
        std::fputs("usage: fuzz_make_seeds DIRECTORY\n", stderr);
        return 2;
    }
    Seeds const seeds(argv[1]);
    std::string const scratch = fuzz::Input::Get().GetDirectory();
    WriteImages(seeds);
    WriteHistograms(seeds);
    WriteLabels(seeds, scratch);
    WriteRecords(seeds, scratch);
    WriteCorrections(seeds);
    WriteMixes(seeds);
    WritePieces(seeds);
    CopyInstallation(seeds);
    return 0;
}
