#include "acquisition/progress.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace velm::acquisition {

namespace {

constexpr long bar_width = 30;
constexpr std::chrono::milliseconds redraw_interval{100};

} // namespace

std::string DurationText(std::chrono::seconds duration)
{
    long const seconds = static_cast<long>(duration.count());
    char text[32];
    if (seconds >= 3600) {
        std::snprintf(text, sizeof text, "%ld h %02ld min", seconds / 3600, seconds / 60 % 60);
    } else if (seconds >= 60) {
        std::snprintf(text, sizeof text, "%ld min %02ld s", seconds / 60, seconds % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld s", seconds);
    }
    return text;
}

Progress::Progress(std::FILE * out, bool terminal, long frames, long fovs)
    : _out(out), _terminal(terminal), _frames(frames), _fovs(fovs)
{
}

Progress::~Progress()
{
    if (_terminal && _frames_taken > 0) {
        std::fputc('\n', _out);
        std::fflush(_out);
    }
}

void Progress::FrameTaken()
{
    ++_frames_taken;
    auto const now = std::chrono::steady_clock::now();
    if (_terminal && (now - _drawn > redraw_interval || _frames_taken == _frames)) {
        _drawn = now;
        Draw();
    }
}

void Progress::FovSaved(long id)
{
    ++_fovs_saved;
    if (_terminal) {
        Draw();
    } else {
        std::fprintf(_out, "FOV %ld saved\n", id);
        std::fflush(_out);
    }
}

void Progress::Draw()
{
    std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - _start;
    double const rate = static_cast<double>(_frames_taken) / std::max(elapsed.count(), 1e-3);
    auto const left = std::chrono::seconds(
        std::lround(static_cast<double>(_frames - _frames_taken) / std::max(rate, 1e-6)));
    long const filled = bar_width * _frames_taken / std::max(_frames, 1L);
    std::string const bar = std::string(static_cast<std::size_t>(filled), '#') +
                            std::string(static_cast<std::size_t>(bar_width - filled), '.');
    // The last sequence clears what a longer line left behind.
    std::fprintf(_out, "\r[%s] FOV %ld of %ld, frame %ld of %ld, %.1f frames/s, %s left\x1b[K", bar.c_str(),
                 std::min(_fovs_saved + 1, _fovs), _fovs, _frames_taken, _frames, rate,
                 DurationText(left).c_str());
    std::fflush(_out);
}

} // namespace velm::acquisition
