#ifndef SIM_MACHINE_H
#define SIM_MACHINE_H

#include "sim_clock.h"
#include "sim_config.h"
#include "sim_fading.h"
#include "sim_faults.h"
#include "sim_motion.h"
#include "sim_noise.h"
#include "sim_renderer.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <unordered_map>
#include <vector>

namespace velm::sim {

// A device refused or failed; the controls turn it into the error of their device.
class MachineFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The moving devices.
enum class Device { ZDRIVE, STAGE, SHUTTER, EX_FILTER, EM_FILTER };

// One exposure as it is asked for.
struct CaptureRequest {
    std::uint16_t * pixels = nullptr; // the caller's; untouched once the capture has ended
    int bin_x = 1;
    int bin_y = 1;
    int first_x = 0; // sensor pixels; whole bins, both ends included
    int first_y = 0;
    int last_x = 0;
    int last_y = 0;
    Microseconds exposure = 0.0;
    double gain = 1.0;
    double temperature = 0.0; // of the sensor, in degrees
    bool flip_x = false;      // rows from the last to the first
    bool flip_y = false;      // each row reversed

    int Width() const { return (last_x - first_x + 1) / bin_x; }
    int Height() const { return (last_y - first_y + 1) / bin_y; }
};

enum class CameraState { IDLE, READY, EXPOSING, READING };

// The whole simulated microscope: slide, optics, camera and mechanics on one clock.
//
// A frame is a function of the seed, of what is set and where, of the light that the place has seen, and of
// how many frames have been taken of it in the same way before. It doesn't depend on anything that was done
// elsewhere on the slide.
//
// With a clock that jumps, every call finds all moves and exposures that were begun before it finished. With
// a real clock a thread of its own draws the frames. Every operation may be called from any thread.
class Machine {
  public:
    // Throws std::invalid_argument for a fault line that makes no sense.
    explicit Machine(SimConfig const & config);
    Machine(SimConfig const & config, Clock clock);
    ~Machine();
    Machine(Machine const &) = delete;
    Machine & operator=(Machine const &) = delete;

    SimConfig const & Config() const { return _config; }

    // Counts a call of an operation that has no other effect here; throws MachineFailure when it is to fail.
    void Call(std::string const & operation);

    // Tells whether the device has arrived and settled. A hanging device counts down one millisecond of its
    // time with each call when the clock jumps.
    bool IsMoving(Device device);

    void MoveZ(double target, bool relative);
    double ReadZ();
    void MoveStage(double x, double y, bool relative);
    std::pair<double, double> ReadStage();
    void MoveShutter(bool open);
    bool IsShutterOpen();
    void MoveFilter(Device device, long position);
    long ReadFilter(Device device);

    // The objective in the light, an index into the list of the configuration.
    void SetObjective(std::size_t index);
    std::size_t GetObjective() const;
    void SetLightPathToCamera();

    void StartCapture(CaptureRequest const & request);
    CameraState GetCameraState();
    void AbortCapture();

    // What the camera would have read on average in the last frame, in electrons, the right way round; empty
    // before the first. Its width is given out.
    std::vector<float> LastMean(unsigned int & width) const;

    // Runs something that looks at slide and fading, while nobody else does.
    template <typename Function>
    auto WithSlide(Function function)
    {
        std::lock_guard<std::mutex> const lock(_slide_mutex);
        return function(_specimen, static_cast<Fading const &>(_fading));
    }

  private:
    // What IsMoving tells of a device.
    struct Motion {
        Microseconds arrival = 0.0;
        Microseconds hangs_until = 0.0;
        bool early = false; // tells that it has arrived as soon as it moves
    };

    enum class Stage { NONE, RUNNING, DEVELOPING, DONE };

    // The exposure under way or the last one.
    struct Capture {
        CaptureRequest request;
        Microseconds start = 0.0;
        Microseconds exposed = 0.0;
        Microseconds read = 0.0;
        Microseconds hangs_until = 0.0;
        Stage stage = Stage::NONE;
        std::optional<Fault> fault;
        unsigned long number = 0;
    };

    // All that a frame is made from, taken while nothing moves on.
    struct Scene {
        CaptureRequest request;
        FrameGeometry geometry;
        Objective objective;
        double lit_s = 0.0;
        double exposure_s = 0.0;
        bool to_camera = true;
        long ex_position = 0;
        long em_position = 0;
        std::uint64_t key = 0; // of the way in which the frame is taken
        std::optional<Fault> fault;
    };

    using Lock = std::unique_lock<std::mutex>;

    // A frame and what it would have been without noise.
    struct Frame {
        std::vector<std::uint16_t> pixels; // the right way round
        std::vector<float> electrons;
    };

    // A sensor pixel whose dark current is so many times the others'.
    struct HotPixel {
        int x;
        int y;
        float factor;
    };

    // Lets a clock that jumps go on to the end of all that was begun, and counts the call.
    std::optional<Fault> Begin(std::string const & operation, Lock & lock);
    void Settle(Lock & lock);
    void StartMotion(Device device, Microseconds arrival, std::optional<Fault> const & fault);

    // Whether something still hangs; with a clock that jumps, asking takes a millisecond.
    bool Hangs(Microseconds hangs_until);
    Motion & MotionOf(Device device) { return _motions[static_cast<std::size_t>(device)]; }
    Revolver & RevolverOf(Device device) { return device == Device::EX_FILTER ? _ex_filter : _em_filter; }

    // Draws the frame whose exposure is over. Gives the lock away while it draws.
    void Finish(Lock & lock);
    void Deliver(std::vector<std::uint16_t> const & pixels);
    void KeepFrame(std::vector<std::uint16_t> const & pixels);
    void WriteState() const;
    Scene TakeScene() const;
    FrameGeometry GeometryAt(Microseconds time) const;
    Frame Develop(Scene const & scene);
    std::vector<float> DrawElectrons(Scene const & scene);
    void AddDark(Scene const & scene, std::vector<float> & electrons) const;
    Readout ReadoutOf(Scene const & scene) const;
    std::vector<std::uint16_t> ReadOut(Scene const & scene, std::vector<float> const & electrons,
                                       std::uint64_t seed);
    void Spoil(Scene const & scene, std::uint64_t seed, std::vector<std::uint16_t> & pixels) const;
    void Work();

    SimConfig _config;
    std::vector<HotPixel> _hot_pixels;

    mutable std::mutex _mutex; // guards everything down to the next mutex
    Clock _clock;
    FaultScript _faults;
    Axis _z;
    Axis _stage_x;
    Axis _stage_y;
    Blades _shutter;
    Revolver _ex_filter;
    Revolver _em_filter;
    std::array<Motion, 5> _motions;
    std::size_t _objective = 0;
    bool _to_camera;
    Capture _capture;
    Microseconds _status_hangs_until = 0.0;
    std::vector<float> _last_mean;
    unsigned int _last_width = 0;
    unsigned int _kept_frames = 0;
    bool _ends = false;
    std::condition_variable _changed; // a capture began or ended, or the machine ends

    std::mutex _slide_mutex; // guards what draws; never taken while _mutex is held
    Specimen _specimen;
    Fading _fading;
    Renderer _renderer;
    NoiseSource _noise;
    std::unordered_map<std::uint64_t, std::uint64_t> _taken; // frames, by the way in which they are taken

    std::thread _worker; // draws, when the clock is real
};

} // namespace velm::sim

#endif
