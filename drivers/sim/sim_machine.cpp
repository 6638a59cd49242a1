#include "sim_machine.h"

#include "sim_hash.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace velm::sim {

namespace {

constexpr double MICROMETRES = 0.1; // in a unit of position
constexpr double SECONDS = 1.0e-6;  // in a microsecond

constexpr Microseconds POLL = 1000.0; // what asking a hanging device takes, when the clock jumps

char const * NameOf(Device device)
{
    switch (device) {
    case Device::ZDRIVE:
        return "ZDrive";
    case Device::STAGE:
        return "Stage";
    case Device::SHUTTER:
        return "Shutter";
    case Device::EX_FILTER:
        return "ExFilter";
    case Device::EM_FILTER:
        return "EmFilter";
    }
    return "";
}

bool Is(std::optional<Fault> const & fault, FaultKind kind)
{
    return fault && fault->kind == kind;
}

// Where a move to a target ends when it stops short.
double Shortened(double origin, double target, std::optional<Fault> const & fault)
{
    double const lack = Is(fault, FaultKind::SHORT) ? fault->amount : 0.0;
    return target > origin ? target - lack : target + lack;
}

double HangOf(std::optional<Fault> const & fault)
{
    return Is(fault, FaultKind::HANG) ? fault->amount : 0.0;
}

std::string Number(double value)
{
    return std::to_string(std::lround(value));
}

} // namespace

Machine::Machine(SimConfig const & config) : Machine(config, Clock(config.time_scale))
{
    if (!_clock.IsAtOnce()) {
        _worker = std::thread([this] { Work(); });
    }
}

Machine::Machine(SimConfig const & config, Clock clock)
    : _config(config), _clock(std::move(clock)), _faults(Join(config.seed, 77)),
      _z(config.z_axis, static_cast<double>(config.z_start)), _stage_x(config.stage_axis, 0.0),
      _stage_y(config.stage_axis, 0.0), _shutter(config.shutter_time), _ex_filter(config.filter_time, 0),
      _em_filter(config.filter_time, 0), _to_camera(!config.starts_at_eyepiece), _specimen(config.specimen),
      _renderer(_specimen, config.light, config.vignetting)
{
    for (auto const & [entry, line] : config.faults) {
        _faults.Add(entry, line);
    }
    Draws draws(Join(config.seed, 78));
    for (int i = 0; i < config.camera.hot_pixels; ++i) {
        auto const x = static_cast<int>(draws.Between(0.0, config.camera.width));
        auto const y = static_cast<int>(draws.Between(0.0, config.camera.height));
        _hot_pixels.push_back({x, y, static_cast<float>(draws.Between(100.0, 3000.0))});
    }
}

Machine::~Machine()
{
    {
        Lock const lock(_mutex);
        _ends = true;
    }
    _changed.notify_all();
    if (_worker.joinable()) {
        _worker.join();
    }
    if (!_config.state_file.empty()) {
        WriteState();
    }
}

void Machine::Settle(Lock & lock)
{
    if (!_clock.IsAtOnce()) {
        return;
    }
    if (_capture.stage == Stage::RUNNING) {
        _clock.JumpTo(_capture.read);
        Finish(lock);
    }
    for (Motion const & motion : _motions) {
        if (!motion.early && _clock.Now() >= motion.hangs_until) {
            _clock.JumpTo(motion.arrival);
        }
    }
}

std::optional<Fault> Machine::Begin(std::string const & operation, Lock & lock)
{
    Settle(lock);
    std::optional<Fault> fault = _faults.Call(operation);
    if (Is(fault, FaultKind::THROW)) {
        throw MachineFailure(fault->text);
    }
    return fault;
}

bool Machine::Hangs(Microseconds hangs_until)
{
    if (_clock.Now() >= hangs_until) {
        return false;
    }
    _clock.JumpTo(_clock.Now() + POLL);
    return true;
}

void Machine::StartMotion(Device device, Microseconds arrival, std::optional<Fault> const & fault)
{
    Motion & motion = MotionOf(device);
    motion.arrival = arrival;
    motion.early = Is(fault, FaultKind::EARLY);
    motion.hangs_until = Is(fault, FaultKind::HANG) ? arrival + fault->amount : 0.0;
}

void Machine::Call(std::string const & operation)
{
    Lock lock(_mutex);
    Begin(operation, lock);
}

bool Machine::IsMoving(Device device)
{
    Lock lock(_mutex);
    std::optional<Fault> const fault = Begin(std::string(NameOf(device)) + ".IsMoving", lock);
    Motion & motion = MotionOf(device);
    if (Is(fault, FaultKind::HANG)) {
        motion.hangs_until = _clock.Now() + fault->amount;
    }
    return Hangs(motion.hangs_until) || (!motion.early && _clock.Now() < motion.arrival);
}

void Machine::MoveZ(double target, bool relative)
{
    Lock lock(_mutex);
    std::optional<Fault> const fault = Begin(relative ? "ZDrive.MoveRel" : "ZDrive.Move", lock);
    Microseconds const now = _clock.Now();
    double const origin = _z.Position(now);
    double const goal = relative ? origin + target : target;
    if (goal < static_cast<double>(_config.z_lower) || goal > static_cast<double>(_config.z_upper)) {
        throw MachineFailure("The Z drive can't reach the position " + Number(goal));
    }
    StartMotion(Device::ZDRIVE, _z.Move(now, Shortened(origin, goal, fault)), fault);
}

double Machine::ReadZ()
{
    Lock lock(_mutex);
    Begin("ZDrive.ReadPos", lock);
    return _z.Position(_clock.Now());
}

void Machine::MoveStage(double x, double y, bool relative)
{
    Lock lock(_mutex);
    std::optional<Fault> const fault = Begin(relative ? "Stage.MoveRel" : "Stage.Move", lock);
    Microseconds const now = _clock.Now();
    double const from_x = _stage_x.Position(now);
    double const from_y = _stage_y.Position(now);
    double const to_x = relative ? from_x + x : x;
    double const to_y = relative ? from_y + y : y;
    auto const limit = static_cast<double>(_config.stage_limit);
    if (std::abs(to_x) > limit || std::abs(to_y) > limit) {
        throw MachineFailure("The stage can't reach the position " + Number(to_x) + ", " + Number(to_y));
    }
    Microseconds const arrival_x = _stage_x.Move(now, Shortened(from_x, to_x, fault));
    Microseconds const arrival_y = _stage_y.Move(now, Shortened(from_y, to_y, fault));
    StartMotion(Device::STAGE, std::max(arrival_x, arrival_y), fault);
}

std::pair<double, double> Machine::ReadStage()
{
    Lock lock(_mutex);
    Begin("Stage.ReadPos", lock);
    return {_stage_x.Position(_clock.Now()), _stage_y.Position(_clock.Now())};
}

void Machine::MoveShutter(bool open)
{
    Lock lock(_mutex);
    std::optional<Fault> const fault = Begin(open ? "Shutter.Open" : "Shutter.Close", lock);
    // Blades that hang are late; blades of an axis that hangs would only be told late.
    Microseconds const arrival = _shutter.Move(_clock.Now(), open, HangOf(fault));
    StartMotion(Device::SHUTTER, arrival - HangOf(fault), fault);
}

bool Machine::IsShutterOpen()
{
    Lock lock(_mutex);
    Begin("Shutter.IsOpened", lock);
    return _shutter.Opening(_clock.Now()) >= 1.0;
}

void Machine::MoveFilter(Device device, long position)
{
    Lock lock(_mutex);
    std::optional<Fault> const fault = Begin(std::string(NameOf(device)) + ".Move", lock);
    if (position < 0 || position > _config.filter_positions) {
        throw MachineFailure(std::string(NameOf(device)) + " has no position " + std::to_string(position));
    }
    Revolver & revolver = RevolverOf(device);
    auto const from = static_cast<double>(revolver.Position());
    long const target = std::lround(Shortened(from, static_cast<double>(position), fault));
    Microseconds const arrival = revolver.Move(_clock.Now(), target, HangOf(fault));
    StartMotion(device, arrival - HangOf(fault), fault);
}

long Machine::ReadFilter(Device device)
{
    Lock lock(_mutex);
    Begin(std::string(NameOf(device)) + ".ReadPos", lock);
    return RevolverOf(device).Position();
}

void Machine::SetObjective(std::size_t index)
{
    Lock lock(_mutex);
    Settle(lock);
    if (index >= _config.objectives.size()) {
        throw MachineFailure("There is no objective " + std::to_string(index));
    }
    _objective = index;
}

std::size_t Machine::GetObjective() const
{
    Lock const lock(_mutex);
    return _objective;
}

void Machine::SetLightPathToCamera()
{
    Lock lock(_mutex);
    Begin("Body.SetLightPathToCamera", lock);
    _to_camera = true;
}

void Machine::StartCapture(CaptureRequest const & request)
{
    Lock lock(_mutex);
    std::optional<Fault> const fault = Begin("Camera.StartFrameCapture", lock);
    bool const early = Is(_capture.fault, FaultKind::EARLY);
    if (!early && (_capture.stage == Stage::RUNNING || _capture.stage == Stage::DEVELOPING)) {
        throw MachineFailure("The camera is still taking a frame");
    }
    ++_capture.number;
    _capture.request = request;
    _capture.fault = fault;
    _capture.start = _clock.Now();
    _capture.exposed = _capture.start + request.exposure;
    double const pixels = static_cast<double>(request.Width()) * request.Height();
    _capture.read = _capture.exposed + pixels / _config.camera.megapixels_s;
    _capture.hangs_until = Is(fault, FaultKind::HANG) ? _capture.read + fault->amount : 0.0;
    _capture.stage = Stage::RUNNING;
    _shutter.Forget(_capture.start);
    _changed.notify_all();
}

CameraState Machine::GetCameraState()
{
    Lock lock(_mutex);
    std::optional<Fault> const fault = Begin("Camera.GetStatus", lock);
    if (Is(fault, FaultKind::HANG)) {
        _status_hangs_until = _clock.Now() + fault->amount;
    }
    if (Hangs(_status_hangs_until) || Hangs(_capture.hangs_until)) {
        return CameraState::EXPOSING;
    }
    if (_capture.stage == Stage::NONE) {
        return CameraState::IDLE;
    }
    if (Is(_capture.fault, FaultKind::EARLY)) {
        return CameraState::READY;
    }
    Microseconds const now = _clock.Now();
    if (now < _capture.exposed) {
        return CameraState::EXPOSING;
    }
    if (_capture.stage == Stage::RUNNING && !_worker.joinable()) {
        Finish(lock);
    }
    if (now < _capture.read || _capture.stage != Stage::DONE) {
        return CameraState::READING;
    }
    return Is(_capture.fault, FaultKind::DROP) ? CameraState::IDLE : CameraState::READY;
}

void Machine::AbortCapture()
{
    Lock lock(_mutex);
    // An abort doesn't wait for the frame, not even when the clock jumps.
    std::optional<Fault> const fault = _faults.Call("Camera.AbortAcquisition");
    if (Is(fault, FaultKind::THROW)) {
        throw MachineFailure(fault->text);
    }
    ++_capture.number;
    _capture.stage = Stage::NONE;
    _capture.fault.reset();
    _capture.hangs_until = 0.0;
    _status_hangs_until = 0.0;
    _changed.notify_all();
}

std::vector<float> Machine::LastMean(unsigned int & width) const
{
    Lock const lock(_mutex);
    width = _last_width;
    return _last_mean;
}

void Machine::Work()
{
    Lock lock(_mutex);
    while (!_ends) {
        if (_capture.stage != Stage::RUNNING) {
            _changed.wait(lock);
        } else if (_clock.Now() < _capture.exposed) {
            _changed.wait_for(lock, _clock.RealSpan(_capture.exposed - _clock.Now()) +
                                        std::chrono::microseconds(1));
        } else {
            Finish(lock);
        }
    }
}

void Machine::Finish(Lock & lock)
{
    _capture.stage = Stage::DEVELOPING;
    unsigned long const number = _capture.number;
    Scene const scene = TakeScene();
    lock.unlock();
    Frame frame = Develop(scene);
    lock.lock();
    if (_capture.number != number) {
        return; // aborted meanwhile: the block may be gone
    }
    if (!Is(scene.fault, FaultKind::DROP) && !Is(scene.fault, FaultKind::EARLY)) {
        Deliver(frame.pixels);
    }
    _last_mean = std::move(frame.electrons);
    _last_width = static_cast<unsigned int>(scene.geometry.width);
    _capture.stage = Stage::DONE;
}

// Copies the frame into the caller's block in the order in which it is read out.
void Machine::Deliver(std::vector<std::uint16_t> const & pixels)
{
    if (!_config.frame_dir.empty()) {
        KeepFrame(pixels);
    }
    CaptureRequest const & request = _capture.request;
    std::ptrdiff_t const width = request.Width();
    std::ptrdiff_t const height = request.Height();
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        std::uint16_t const * const row = pixels.data() + y * width;
        std::uint16_t * const target = request.pixels + (request.flip_x ? height - 1 - y : y) * width;
        if (request.flip_y) {
            std::reverse_copy(row, row + width, target);
        } else {
            std::copy(row, row + width, target);
        }
    }
}

// Numbers the frames from 1, in the order of their delivery.
void Machine::KeepFrame(std::vector<std::uint16_t> const & pixels)
{
    char name[16];
    std::snprintf(name, sizeof name, "/%06u.raw", ++_kept_frames);
    std::ofstream file(_config.frame_dir + name, std::ios::binary);
    file.write(reinterpret_cast<char const *>(pixels.data()),
               static_cast<std::streamsize>(pixels.size() * sizeof(pixels[0])));
}

void Machine::WriteState() const
{
    Microseconds const now = _clock.Now();
    std::ofstream file(_config.state_file);
    file << "Shutter=" << (_shutter.Opening(now) > 0.0 ? "open" : "closed") << "\nZ=" << _z.Position(now)
         << "\nStageX=" << _stage_x.Position(now) << "\nStageY=" << _stage_y.Position(now) << '\n';
}

FrameGeometry Machine::GeometryAt(Microseconds time) const
{
    CaptureRequest const & request = _capture.request;
    FrameGeometry geometry;
    geometry.sensor_width = _config.camera.width;
    geometry.sensor_height = _config.camera.height;
    geometry.first_x = request.first_x;
    geometry.first_y = request.first_y;
    geometry.bin_x = request.bin_x;
    geometry.bin_y = request.bin_y;
    geometry.width = request.Width();
    geometry.height = request.Height();
    double const magnification = _config.objectives[_objective].magnification;
    geometry.pixel_x_um = _config.pixel_x_nm / magnification / 1000.0;
    geometry.pixel_y_um = _config.pixel_y_nm / magnification / 1000.0;
    geometry.orientation_x = _config.orientation_x;
    geometry.orientation_y = _config.orientation_y;
    geometry.centre = {_stage_x.Load(time) * MICROMETRES, _stage_y.Load(time) * MICROMETRES,
                       _z.Load(time) * MICROMETRES};
    return geometry;
}

Machine::Scene Machine::TakeScene() const
{
    Scene scene;
    scene.request = _capture.request;
    scene.fault = _capture.fault;
    Microseconds const middle = 0.5 * (_capture.start + _capture.exposed);
    scene.geometry = GeometryAt(middle);
    auto const & objective = _config.objectives[_objective];
    scene.objective = Objective::Of(objective.description, objective.magnification);
    Microseconds const filtered = std::max({_capture.start, _ex_filter.Arrival(), _em_filter.Arrival()});
    scene.lit_s = _shutter.OpenTime(filtered, _capture.exposed) * SECONDS;
    scene.exposure_s = scene.request.exposure * SECONDS;
    scene.to_camera = _to_camera;
    scene.ex_position = _ex_filter.Position();
    scene.em_position = _em_filter.Position();
    CaptureRequest const & r = scene.request;
    auto const fine = [](double value) { return Bits(std::lround(100.0 * value)); };
    scene.key = Join(
        Join(_config.seed, fine(scene.geometry.centre.x), fine(scene.geometry.centre.y),
             fine(scene.geometry.centre.z), _objective),
        Join(Bits(scene.ex_position), Bits(scene.em_position), fine(1.0e4 * scene.lit_s), fine(r.exposure)),
        Join(Bits(r.first_x), Bits(r.first_y), Bits(r.last_x), Bits(r.last_y), Bits(r.bin_x), Bits(r.bin_y)),
        Join(fine(r.gain), fine(r.temperature)));
    return scene;
}

Machine::Frame Machine::Develop(Scene const & scene)
{
    std::lock_guard<std::mutex> const lock(_slide_mutex);
    std::uint64_t const seed = Join(scene.key, _taken[scene.key]++);
    Frame frame;
    frame.electrons = DrawElectrons(scene);
    AddDark(scene, frame.electrons);
    frame.pixels = ReadOut(scene, frame.electrons, seed);
    if (Is(scene.fault, FaultKind::CORRUPT)) {
        Spoil(scene, seed, frame.pixels);
    }
    return frame;
}

// The light of all markers that the filters show. It is what is left at the start of the exposure; what the
// exposure itself fades counts for the next.
std::vector<float> Machine::DrawElectrons(Scene const & scene)
{
    std::vector<Shine> shines;
    for (Marker const & marker : _config.markers) {
        if (!marker.IsExcitedBy(scene.ex_position) || scene.lit_s <= 0.0) {
            continue;
        }
        if (marker.Passes(scene.em_position) && scene.to_camera) {
            shines.push_back({&marker, scene.lit_s, [this, &marker](long cell_x, long cell_y) {
                                  return _fading.Remaining(marker, cell_x, cell_y);
                              }});
        }
    }
    std::vector<float> electrons = _renderer.Render(scene.geometry, scene.objective, shines);
    for (Marker const & marker : _config.markers) {
        if (marker.IsExcitedBy(scene.ex_position)) {
            _fading.Light(marker.name, scene.geometry.Field(), scene.lit_s);
        }
    }
    return electrons;
}

void Machine::AddDark(Scene const & scene, std::vector<float> & electrons) const
{
    FrameGeometry const & g = scene.geometry;
    // Dark current doubles every 7 degrees.
    double const current = _config.camera.dark_current * std::exp2(scene.request.temperature / 7.0);
    auto const dark = static_cast<float>(current * scene.exposure_s);
    float const bin_dark = dark * static_cast<float>(g.bin_x * g.bin_y);
    for (float & value : electrons) {
        value += bin_dark;
    }
    for (HotPixel const & hot : _hot_pixels) {
        int const x = hot.x - g.first_x;
        int const y = hot.y - g.first_y;
        if (x >= 0 && y >= 0 && x / g.bin_x < g.width && y / g.bin_y < g.height) {
            electrons[static_cast<std::size_t>(y / g.bin_y) * static_cast<std::size_t>(g.width) +
                      static_cast<std::size_t>(x / g.bin_x)] += dark * hot.factor;
        }
    }
}

Readout Machine::ReadoutOf(Scene const & scene) const
{
    CameraParams const & camera = _config.camera;
    bool const binned = scene.request.bin_x * scene.request.bin_y > 1;
    Readout readout;
    readout.max_value = (1u << camera.bit_depth) - 1u;
    readout.electrons_per_unit = camera.full_well / (readout.max_value + 1.0) / scene.request.gain;
    readout.offset = camera.offset;
    readout.read_noise = camera.read_noise;
    // The register that sums bins is built for twice what a pixel holds.
    readout.full_well = camera.full_well * (binned ? 2.0 : 1.0);
    readout.noisy = camera.noise;
    return readout;
}

std::vector<std::uint16_t> Machine::ReadOut(Scene const & scene, std::vector<float> const & electrons,
                                            std::uint64_t seed)
{
    Readout const readout = ReadoutOf(scene);
    auto const width = static_cast<unsigned int>(scene.geometry.width);
    std::vector<std::uint16_t> pixels(electrons.size());
    for (unsigned int y = 0; y < static_cast<unsigned int>(scene.geometry.height); ++y) {
        std::size_t const row = static_cast<std::size_t>(y) * width;
        _noise.ReadRow(electrons.data() + row, width, y, seed, readout, pixels.data() + row);
    }
    return pixels;
}

// Puts rubbish into about an eighth of the rows, the first always among them.
void Machine::Spoil(Scene const & scene, std::uint64_t seed, std::vector<std::uint16_t> & pixels) const
{
    auto const width = static_cast<std::size_t>(scene.geometry.width);
    auto const max_value = static_cast<std::uint64_t>(ReadoutOf(scene).max_value);
    for (std::size_t y = 0; y * width < pixels.size(); ++y) {
        std::uint64_t const row_seed = Join(seed, 79, y);
        for (std::size_t x = 0; (y == 0 || row_seed % 8 == 0) && x < width; ++x) {
            pixels[y * width + x] = static_cast<std::uint16_t>(Mix(row_seed + x) % (max_value + 1));
        }
    }
}

} // namespace velm::sim
