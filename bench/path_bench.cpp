// The whole way of frames of 2048 x 2048 pixels through the library, on all cores: each is copied into its
// stack, counted and shown, and each stack of 16 is compressed and written.

#include "camera_stack.h"
#include "nubo/histogram.h"
#include "side_by_side.h"
#include "velm_frame_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using namespace velm::bench;
namespace fs = std::filesystem;
using Stack = vexa::Image3d<unsigned short>;

constexpr unsigned int side = 2048;
constexpr unsigned int slices = 16;
constexpr double camera_frames_s = 100.0; // of the fastest cameras of this size

// What the frames go through.
struct Path {
    std::vector<std::unique_ptr<velm::VELM_FrameBuffer>> frames; // as the camera leaves them
    Stack stack;
    vexa::VELM_LUT<unsigned short, unsigned char> lut;
    wxImage picture{static_cast<int>(side), static_cast<int>(side)};
    nubo::Histogram<unsigned short> histogram;
    std::string file;

    void TakeStack()
    {
        auto const marks = static_cast<velm::VELM_Channel_VisType>(
            velm::VIS_GREY | velm::VIS_BACKGROUND_SATURATION | velm::VIS_FOREGROUND_SATURATION);
        histogram.Init(0, 0xFFFF, 0x10000);
        for (unsigned int z = 0; z < slices; ++z) {
            frames[z]->Map(stack, z);
            histogram.Count(stack.GetVoxelAddr(0, 0, z), std::size_t{side} * side);
            frames[z]->Map(&picture, lut, nullptr, 0.0, marks, false);
        }
        stack.SaveImage(file.c_str(), vexa::FileFormat::FromName, true, nullptr);
    }
};

} // namespace

int main(int argc, char ** argv)
{
    Table table(argc, argv);
    char const * const name = "16 frames copied, counted, shown, compressed, written / 100 a second";
    if (!table.Wants(name)) {
        return 0;
    }
    std::string directory = (fs::temp_directory_path() / "velm-bench-XXXXXX").string();
    fs::path const root = mkdtemp(directory.data());
    Path path;
    path.file = (root / "stack.ics").string();
    path.lut.Select8Bits(12);
    path.stack = CameraStack(side, side, slices);
    for (unsigned int z = 0; z < slices; ++z) {
        path.frames.push_back(std::make_unique<velm::VELM_FrameBuffer>(side, side, 1, 1, 0, 0, false, false));
        std::copy_n(path.stack.GetVoxelAddr(0, 0, z), std::size_t{side} * side, path.frames[z]->GetAddr());
    }
    table.Row(
        name, AtLeast(1.4), [&] { path.TakeStack(); }, 1000.0 * slices / camera_frames_s);
    bool const whole = path.histogram.GetBins().size() == 0x10000 && fs::exists(path.file);
    fs::remove_all(root);
    return whole ? 0 : 1;
}
