#ifndef ACQUISITION_PROGRESS_H
#define ACQUISITION_PROGRESS_H

#include "acquisition/scanner.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

namespace velm::acquisition {

// One line of a terminal that is drawn again and again: a bar, what is being done, the rate and the time
// left.
class ProgressLine {
  public:
    // unit: what a step is called, in the singular. steps: in all. out isn't owned.
    ProgressLine(std::FILE * out, std::string unit, long steps);
    ~ProgressLine();
    ProgressLine(ProgressLine const &) = delete;
    ProgressLine & operator=(ProgressLine const &) = delete;

    // One step more. Drawn with the last one, and otherwise not too often.
    void Advance(std::string const & doing);

    void Draw(std::string const & doing);

  private:
    std::FILE * _out;
    std::string _unit;
    long _steps;
    long _done = 0;
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point _drawn{};
};

// Shows a scan's progress: on a terminal as such a line, otherwise as plain lines, each written out at once.
class Progress : public ScanObserver {
  public:
    // frames, fovs: what the plan has in all. out isn't owned.
    Progress(std::FILE * out, bool terminal, long frames, long fovs);

    void FrameTaken() override;
    void FovSaved(long id) override;

  private:
    std::string Doing() const;

    std::FILE * _out;
    std::optional<ProgressLine> _line; // on a terminal
    long _fovs;
    long _fovs_saved = 0;
};

// "1 h 02 min", "3 min 20 s" or "45 s".
std::string DurationText(std::chrono::seconds duration);

} // namespace velm::acquisition

#endif
