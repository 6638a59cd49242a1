// What is made of whole stacks: their projections and the thumbnails of these. All on one core.

#include "camera_stack.h"
#include "side_by_side.h"
#include "vexaalgo/projection.h"
#include "vexaalgo/resample.h"
#include "vexacore/parallel.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/core.hpp>
#include <vector>

namespace {

using namespace velm::bench;
using Stack = vexa::Image3d<unsigned short>;

// As OpenCV's users make a projection: slice by slice.
void ProjectByOpenCv(Stack & stack, cv::Mat & highest)
{
    auto const slice = [&](unsigned int z) {
        return cv::Mat(static_cast<int>(stack.size.y), static_cast<int>(stack.size.x), CV_16U,
                       stack.GetVoxelAddr(0, 0, z));
    };
    slice(0).copyTo(highest);
    for (unsigned int z = 1; z < stack.size.z; ++z) {
        cv::max(highest, slice(z), highest);
    }
}

bool MeasureProjection(Table & table, Stack & stack)
{
    Stack ours;
    cv::Mat theirs;
    table.Row(
        "AF projection of 16 slices / reading them", AtLeast(0.9), [&] { vexa::Get_AF_XY(stack, ours); },
        [&] { ReadAll(stack.GetFirstVoxelAddr(), stack.GetCount()); });
    char const * const name = "AF projection of 16 slices / OpenCV max";
    table.Row(
        name, AtLeast(1.4), [&] { vexa::Get_AF_XY(stack, ours); }, [&] { ProjectByOpenCv(stack, theirs); });
    return !table.Wants(name) ||
           std::memcmp(ours.GetFirstVoxelAddr(), theirs.data, ours.GetCount() * sizeof(unsigned short)) == 0;
}

// The mean over the area of each new pixel, as the definition says it: every old pixel counts by how much of
// it is covered.
void AverageNaively(Stack const & in, Stack & out, unsigned int width, unsigned int height)
{
    out.MakeRoom(width, height, 1);
    double const step_x = static_cast<double>(in.size.x) / width;
    double const step_y = static_cast<double>(in.size.y) / height;
    for (unsigned int j = 0; j < height; ++j) {
        double const top = j * step_y;
        double const bottom = std::min<double>(top + step_y, in.size.y);
        for (unsigned int i = 0; i < width; ++i) {
            double const left = i * step_x;
            double const right = std::min<double>(left + step_x, in.size.x);
            double sum = 0.0;
            for (auto y = static_cast<unsigned int>(top); y < bottom; ++y) {
                double const share = std::min(bottom, y + 1.0) - std::max<double>(top, y);
                for (auto x = static_cast<unsigned int>(left); x < right; ++x) {
                    sum +=
                        share * (std::min(right, x + 1.0) - std::max<double>(left, x)) * in.GetVoxel(x, y, 0);
                }
            }
            out.SetVoxel(i, j, 0, static_cast<unsigned short>(std::lround(sum / (step_x * step_y))));
        }
    }
}

bool MeasureThumbnail(Table & table, char const * name, Stack const & image, unsigned int width,
                      unsigned int height)
{
    Stack ours;
    Stack theirs;
    table.Row(
        name, AtLeast(6.0),
        [&] {
            vexa::Resize(image, ours, {width, height, 1}, vexa::SamplingMode::Default);
        },
        [&] { AverageNaively(image, theirs, width, height); });
    return std::equal(ours.begin(), ours.end(), theirs.begin(), theirs.end(),
                      [](int a, int b) { return std::abs(a - b) <= 1; });
}

} // namespace

int main(int argc, char ** argv)
{
    Table table(argc, argv);
    vexa::SetThreadCount(1);
    cv::setNumThreads(1);
    Stack stack = CameraStack(2048, 2048, 16);
    bool right = MeasureProjection(table, stack);
    Stack projection;
    vexa::Get_AF_XY(stack, projection);
    right = MeasureThumbnail(table, "thumbnail of 2048 x 2048 / naive area average", projection, 128, 128) &&
            right;
    Stack const cut(projection, &static_cast<vexa::Box const &>(vexa::Box(0, 0, 0, 1392, 1040, 1)));
    right = MeasureThumbnail(table, "thumbnail of 1392 x 1040 / naive area average", cut, 128, 95) && right;
    return right ? 0 : 1;
}
