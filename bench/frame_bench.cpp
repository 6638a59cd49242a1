// The way of one frame of 2048 x 2048 pixels from the camera to the stack, the screen and the histogram. All
// on one core.

#include "camera_stack.h"
#include "nubo/histogram.h"
#include "side_by_side.h"
#include "velm_frame_buffer.h"
#include "velm_image_mapper.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

namespace {

using namespace velm::bench;
using Stack = vexa::Image3d<unsigned short>;
using Table8 = vexa::VELM_LUT<unsigned short, unsigned char>;

constexpr unsigned int side = 2048;
constexpr int camera_bits = 12;

// A buffer that holds the frame as a camera delivers it that reads it out in that direction.
std::unique_ptr<velm::VELM_FrameBuffer> BufferOf(Stack const & frame, bool flip_x, bool flip_y)
{
    auto buffer = std::make_unique<velm::VELM_FrameBuffer>(side, side, 1, 1, 0, 0, flip_x, flip_y);
    std::copy(frame.begin(), frame.end(), buffer->GetAddr());
    Stack turned(frame);
    buffer->Map(turned, 0); // turned once more it is the frame again
    std::copy(turned.begin(), turned.end(), buffer->GetAddr());
    return buffer;
}

void MeasureCopy(Table & table, Stack const & frame)
{
    struct Direction {
        char const * name;
        bool flip_x;
        bool flip_y;
        double goal;
    };
    for (Direction const & direction :
         {Direction{"frame into slice, as it is / memcpy", false, false, 0.9},
          Direction{"frame into slice, rows flipped / memcpy", true, false, 0.7},
          Direction{"frame into slice, columns flipped / memcpy", false, true, 0.7},
          Direction{"frame into slice, both flipped / memcpy", true, true, 0.7}}) {
        auto const buffer = BufferOf(frame, direction.flip_x, direction.flip_y);
        Stack slice(frame);
        table.Row(
            direction.name, AtLeast(direction.goal), [&] { buffer->Map(slice, 0); },
            [&] {
                std::memcpy(slice.GetFirstVoxelAddr(), buffer->GetAddr(),
                            sizeof(unsigned short) * side * side);
                Keep(slice.GetFirstVoxelAddr());
            });
    }
}

// How a frame is shown, besides its pixels.
struct View {
    Table8 const * lut;
    Stack const * calibration; // null for none
    double mean;
    velm::VELM_Channel_VisType vis;
    int first;
    int step;
    int row_jump;
};

// The frame as a programmer shows it who follows the definition: each pixel is calibrated, looked up,
// coloured, and followed by a step to the next one, which is another at the end of a row.
void PaintNaively(velm::VELM_FrameBuffer const & buffer, View const & view, unsigned char * target)
{
    unsigned short const * pixel = buffer.GetAddr() + view.first;
    int const dx = static_cast<int>(buffer.GetSizeX());
    velm::VELM_Channel_VisType const colour = velm::GetVisTypeColour(view.vis);
    for (unsigned int i = 0; i < buffer.GetSize(); ++i) {
        unsigned short value = *pixel;
        if (view.calibration != nullptr) {
            value = static_cast<unsigned short>(static_cast<double>(value) / view.calibration->GetVoxel(i) *
                                                view.mean);
        }
        unsigned char const grey = view.lut->Get(value);
        if (colour == velm::VIS_GREY && grey == 0 && (view.vis & velm::VIS_BACKGROUND_SATURATION) != 0) {
            target[0] = 0;
            target[1] = 0;
            target[2] = 255;
        } else if (colour == velm::VIS_GREY && grey == 255 &&
                   (view.vis & velm::VIS_FOREGROUND_SATURATION) != 0) {
            target[0] = 255;
            target[1] = 0;
            target[2] = 0;
        } else {
            target[0] = colour == velm::VIS_GREY || colour == velm::VIS_RED ? grey : 0;
            target[1] = colour == velm::VIS_GREY || colour == velm::VIS_GREEN ? grey : 0;
            target[2] = colour == velm::VIS_GREY || colour == velm::VIS_BLUE ? grey : 0;
        }
        target += 3;
        pixel += (i + 1) % buffer.GetSizeX() == 0 ? view.step + view.row_jump * dx * 2 : view.step;
    }
}

void PaintByOpenCv(velm::VELM_FrameBuffer & buffer, unsigned char * target)
{
    int const rows = static_cast<int>(side);
    cv::Mat const frame(rows, rows, CV_16U, buffer.GetAddr());
    cv::Mat picture(rows, rows, CV_8UC3, target);
    cv::Mat grey;
    frame.convertTo(grey, CV_8U, 1.0 / 16.0);
    cv::cvtColor(grey, picture, cv::COLOR_GRAY2RGB);
    picture.setTo(cv::Scalar(0, 0, 255), grey == 0);
    picture.setTo(cv::Scalar(255, 0, 0), grey == 255);
}

void MeasurePaint(Table & table, Stack const & frame)
{
    auto const buffer = BufferOf(frame, false, false);
    wxImage picture(static_cast<int>(side), static_cast<int>(side));
    auto const marks = static_cast<velm::VELM_Channel_VisType>(
        velm::VIS_GREY | velm::VIS_BACKGROUND_SATURATION | velm::VIS_FOREGROUND_SATURATION);
    Table8 bits;
    bits.Select8Bits(camera_bits);
    Table8 stretch;
    stretch.CreateLinearMapping(100, 3000, 0, 255);
    auto const map = [&](Table8 const & lut) { buffer->Map(&picture, lut, nullptr, 0.0, marks, false); };
    auto const naive = [&](Table8 const & lut) {
        PaintNaively(*buffer, {&lut, nullptr, 0.0, marks, 0, 1, 0}, picture.GetData());
    };
    table.Row(
        "frame to RGB with marks / naive loop", AtLeast(7.0), [&] { map(bits); }, [&] { naive(bits); });
    table.Row(
        "frame to RGB with marks / OpenCV", AtLeast(2.0), [&] { map(bits); },
        [&] { PaintByOpenCv(*buffer, picture.GetData()); });
    table.Row(
        "frame to RGB with marks, any table / naive loop", AtLeast(2.0), [&] { map(stretch); },
        [&] { naive(stretch); });
}

// Whether the toolkit's nearest neighbours are exactly ours: its steps are in parts of 65536.
bool IsExact(int factor)
{
    return (factor & (factor - 1)) == 0;
}

// One step of the zoom; the picture's side can be divided by all factors.
bool MeasureZoom(Table & table, wxImage & picture, int zoom)
{
    int const full = picture.GetWidth();
    int const factor = zoom < 1 ? 1 - zoom : zoom + 1;
    int const shown = zoom < 1 ? full / factor : full;
    std::string const name = "image mapper, zoom " + std::to_string(zoom) + " / wxImage::";
    wxImage target(shown, shown);
    wxImage scaled;
    auto const map = [&] { velm::VELM_ImageMapper(&picture).Map(&target, 0, 0, zoom, 1, 1); };
    auto const visible = [&] {
        return zoom < 1 ? picture : picture.GetSubImage(wxRect(0, 0, full / factor, full / factor));
    };
    table.Row(name + "Scale", AtLeast(3.0), map,
              [&] { scaled = visible().Scale(shown, shown, wxIMAGE_QUALITY_NEAREST); });
    // Scaling down by whole factors, Scale takes the mean of each block all the same.
    std::string const same = name + "ResampleNearest";
    table.Row(same, AtLeast(1.0), map, [&] { scaled = visible().ResampleNearest(shown, shown); });
    return !table.Wants(same) || !IsExact(factor) ||
           std::memcmp(target.GetData(), scaled.GetData(), static_cast<std::size_t>(shown * shown) * 3) == 0;
}

bool MeasureMapper(Table & table)
{
    wxImage picture(1680, 1680);
    std::uint32_t state = 1;
    std::generate_n(picture.GetData(), 1680 * 1680 * 3, [&] {
        state = state * 1664525U + 1013904223U;
        return static_cast<unsigned char>(state >> 24);
    });
    bool same = true;
    for (int const zoom : {-7, -4, -3, -2, -1, 1, 2, 3, 4, 7}) {
        same = MeasureZoom(table, picture, zoom) && same;
    }
    wxImage target(1680, 1680);
    wxImage copied;
    table.Row(
        "image mapper, zoom 0 / wxImage::Copy", AtLeast(0.9),
        [&] { velm::VELM_ImageMapper(&picture).Map(&target, 0, 0, 0, 1, 1); },
        [&] { copied = picture.Copy(); });
    return same;
}

void CountNaively(Stack const & frame, nubo::Histogram<unsigned short> & histogram)
{
    histogram.Init(0, 0xFFFF, 0x10000);
    std::vector<std::uint32_t> & bins = histogram.GetBins();
    for (unsigned short const voxel : frame) {
        ++bins[voxel];
    }
}

bool MeasureHistogram(Table & table, char const * name, Goal goal, Stack const & frame)
{
    nubo::Histogram<unsigned short> ours;
    nubo::Histogram<unsigned short> theirs;
    table.Row(
        name, goal,
        [&] {
            ours.Init(0, 0xFFFF, 0x10000);
            ours.Count(frame.GetFirstVoxelAddr(), frame.GetCount());
        },
        [&] { CountNaively(frame, theirs); });
    return ours.GetBins() == theirs.GetBins();
}

} // namespace

int main(int argc, char ** argv)
{
    Table table(argc, argv);
    vexa::SetThreadCount(1);
    cv::setNumThreads(1);
    Stack const frame = CameraStack(side, side, 1);
    Stack constant(frame);
    std::fill(constant.begin(), constant.end(), static_cast<unsigned short>(1234));
    MeasureCopy(table, frame);
    MeasurePaint(table, frame);
    bool right = MeasureMapper(table);
    right = MeasureHistogram(table, "histogram of a frame / naive loop", AtLeast(1.0), frame) && right;
    right = MeasureHistogram(table, "histogram of a constant frame / naive loop", AtLeast(3.0), constant) &&
            right;
    return right ? 0 : 1;
}
