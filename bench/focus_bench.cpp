// What focus and calibration make of frames of 2048 x 2048 pixels. All on one core.

#include "camera_stack.h"
#include "drivers/base/velm_base_autofocus_steps.h"
#include "side_by_side.h"
#include "velm_frame_buffer.h"
#include "vexaalgo/slice_statistics.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace velm::bench;
using Stack = vexa::Image3d<unsigned short>;

constexpr unsigned int side = 2048;

// The median as a programmer makes it who follows the definition: each pixel's values are collected and
// sorted.
void MedianBySorting(Stack const & stack, Stack & out)
{
    out.MakeRoom(stack.size.x, stack.size.y, 1);
    std::size_t const plane = out.GetCount();
    std::size_t const middle = stack.size.z / 2;
    std::vector<unsigned short> values(stack.size.z);
    for (std::size_t i = 0; i < plane; ++i) {
        for (unsigned int z = 0; z < stack.size.z; ++z) {
            values[z] = stack.GetVoxel(i + z * plane);
        }
        std::sort(values.begin(), values.end());
        out.SetVoxel(i, values.size() % 2 == 1
                            ? values[middle]
                            : static_cast<unsigned short>((values[middle - 1] + values[middle]) * 0.5));
    }
}

void MeanNaively(Stack const & stack, Stack & out)
{
    out.MakeRoom(stack.size.x, stack.size.y, 1);
    std::size_t const plane = out.GetCount();
    for (std::size_t i = 0; i < plane; ++i) {
        double sum = 0.0;
        for (unsigned int z = 0; z < stack.size.z; ++z) {
            sum += stack.GetVoxel(i + z * plane);
        }
        out.SetVoxel(i, static_cast<unsigned short>(sum / stack.size.z));
    }
}

using Operation = void (*)(Stack const &, Stack &);

bool MeasureStack(Table & table, std::string const & name, Goal goal, Stack const & stack, Operation ours,
                  Operation baseline)
{
    Stack our_frame;
    Stack their_frame;
    table.Row(
        name, goal, [&] { ours(stack, our_frame); }, [&] { baseline(stack, their_frame); });
    return std::equal(our_frame.begin(), our_frame.end(), their_frame.begin(), their_frame.end());
}

bool MeasureCalibration(Table & table, Stack const & stack)
{
    struct Median {
        unsigned int frames;
        double goal;
    };
    bool right = true;
    for (Median const median : {Median{5, 30.0}, Median{9, 40.0}, Median{16, 45.0}}) {
        vexa::Box const frames(0, 0, 0, side, side, median.frames);
        std::string const name =
            "median of " + std::to_string(median.frames) + " frames / std::sort per pixel";
        right = MeasureStack(table, name, AtLeast(median.goal), Stack(stack, &frames), vexa::MedianOfSlices,
                             MedianBySorting) &&
                right;
    }
    return MeasureStack(table, "mean of 16 frames / plain double loop", AtLeast(3.0), stack,
                        vexa::MeanOfSlices, MeanNaively) &&
           right;
}

// The focus measure at the coarse binning, and the software's share of that binning, on a frame that the
// camera didn't bin so far.
void MeasureFocus(Table & table, Stack const & frame)
{
    velm::VELM_FrameBuffer buffer(side, side, 1, 1, 0, 0, false, false);
    std::copy(frame.begin(), frame.end(), buffer.GetAddr());
    double measure = 0.0;
    for (int const bin : {1, 2, 16}) {
        table.Row(
            "focus measure at binning " + std::to_string(bin) + " / reading the frame", AtLeast(0.9),
            [&] {
                measure = velm::OneEnvironsSqrFCE(&buffer, bin);
                Keep(&measure);
            },
            [&] { ReadAll(buffer.GetAddr(), buffer.GetSize()); });
    }
    for (int const bin : {2, 4, 8, 16}) {
        table.Row(
            "software binning by " + std::to_string(bin) + " / reading the frame", AtLeast(0.9),
            [&] { velm::Binning(&buffer, bin); }, [&] { ReadAll(buffer.GetAddr(), buffer.GetSize()); });
    }
}

} // namespace

int main(int argc, char ** argv)
{
    Table table(argc, argv);
    vexa::SetThreadCount(1);
    Stack const stack = CameraStack(side, side, 16);
    vexa::Box const first(0, 0, 0, side, side, 1);
    MeasureFocus(table, Stack(stack, &first));
    return MeasureCalibration(table, stack) ? 0 : 1;
}
