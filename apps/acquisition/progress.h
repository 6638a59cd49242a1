#ifndef ACQUISITION_PROGRESS_H
#define ACQUISITION_PROGRESS_H

#include "acquisition/scanner.h"

#include <chrono>
#include <cstdio>

namespace velm::acquisition {

// Shows a run's progress: on a terminal one line that is drawn again and again, with a bar, the rate and the
// time left; otherwise plain lines, each written out at once.
class Progress : public ScanObserver {
  public:
    // frames, fovs: what the plan has in all. out isn't owned.
    Progress(std::FILE * out, bool terminal, long frames, long fovs);
    ~Progress() override;
    Progress(Progress const &) = delete;
    Progress & operator=(Progress const &) = delete;

    void FrameTaken() override;
    void FovSaved(long id) override;

  private:
    void Draw();

    std::FILE * _out;
    bool _terminal;
    long _frames;
    long _fovs;
    long _frames_taken = 0;
    long _fovs_saved = 0;
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point _drawn{};
};

// "1 h 02 min", "3 min 20 s" or "45 s".
std::string DurationText(std::chrono::seconds duration);

} // namespace velm::acquisition

#endif
