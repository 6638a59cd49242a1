#include "acquisition/progress.h"

#include <algorithm>
#include <cmath>
#include <utility>

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

ProgressLine::ProgressLine(std::FILE * out, std::string unit, long steps)
    : _out(out), _unit(std::move(unit)), _steps(steps)
{
}

ProgressLine::~ProgressLine()
{
    if (_done > 0) {
        std::fputc('\n', _out);
        std::fflush(_out);
    }
}

void ProgressLine::Advance(std::string const & doing)
{
    ++_done;
    auto const now = std::chrono::steady_clock::now();
    if (now - _drawn > redraw_interval || _done == _steps) {
        _drawn = now;
        Draw(doing);
    }
}

void ProgressLine::Draw(std::string const & doing)
{
    std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - _start;
    double const rate = static_cast<double>(_done) / std::max(elapsed.count(), 1e-3);
    auto const left =
        std::chrono::seconds(std::lround(static_cast<double>(_steps - _done) / std::max(rate, 1e-6)));
    long const filled = bar_width * _done / std::max(_steps, 1L);
    std::string const bar = std::string(static_cast<std::size_t>(filled), '#') +
                            std::string(static_cast<std::size_t>(bar_width - filled), '.');
    // The last sequence clears what a longer line left behind.
    std::fprintf(_out, "\r[%s] %s, %s %ld of %ld, %.1f %ss/s, %s left\x1b[K", bar.c_str(), doing.c_str(),
                 _unit.c_str(), _done, _steps, rate, _unit.c_str(), DurationText(left).c_str());
    std::fflush(_out);
}

Progress::Progress(std::FILE * out, bool terminal, long frames, long fovs) : _out(out), _fovs(fovs)
{
    if (terminal) {
        _line.emplace(out, "frame", frames);
    }
}

std::string Progress::Doing() const
{
    return "FOV " + std::to_string(std::min(_fovs_saved + 1, _fovs)) + " of " + std::to_string(_fovs);
}

void Progress::FrameTaken()
{
    if (_line) {
        _line->Advance(Doing());
    }
}

void Progress::FovSaved(long id)
{
    ++_fovs_saved;
    if (_line) {
        _line->Draw(Doing());
    } else {
        std::fprintf(_out, "FOV %ld saved\n", id);
        std::fflush(_out);
    }
}

} // namespace velm::acquisition
