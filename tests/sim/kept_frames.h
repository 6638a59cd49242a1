#ifndef SIM_KEPT_FRAMES_H
#define SIM_KEPT_FRAMES_H

#include "support/temp_directory.h"
#include "velm_calib_img.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace velm::sim::test {

using FramePixels = std::vector<unsigned short>;

// A frame that the camera delivered, from 1, as the driver keeps it in its frame directory.
inline FramePixels ReadKeptFrame(wxString const & directory, int number)
{
    std::string const bytes = velm::test::ReadFile(directory + wxString::Format("/%06d.raw", number));
    FramePixels pixels(bytes.size() / sizeof(unsigned short));
    std::memcpy(pixels.data(), bytes.data(), bytes.size());
    return pixels;
}

// What count frames from first on make, pixel by pixel, as the definition of the method says.
inline FramePixels JoinKeptFrames(wxString const & directory, int first, int count, VELM_CalibMethod method)
{
    std::vector<FramePixels> frames;
    frames.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        frames.push_back(ReadKeptFrame(directory, first + i));
    }
    FramePixels joined;
    for (std::size_t i = 0; i < frames[0].size(); ++i) {
        FramePixels values;
        for (FramePixels const & frame : frames) {
            values.push_back(frame[i]);
        }
        std::sort(values.begin(), values.end());
        double sum = 0.0;
        for (unsigned short const value : values) {
            sum += value;
        }
        std::size_t const middle = values.size() / 2;
        double const median =
            values.size() % 2 == 1 ? values[middle] : (double{1} * values[middle - 1] + values[middle]) * 0.5;
        joined.push_back(static_cast<unsigned short>(method == CALIB_MEAN ? sum / count : median));
    }
    return joined;
}

} // namespace velm::sim::test

#endif
