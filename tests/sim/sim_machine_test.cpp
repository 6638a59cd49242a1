#include "sim_machine.h"

#include "sim/sim_rig.h"

#include <algorithm>
#include <cmath>

namespace velm::sim::test {

// A machine on a clock that the test sets.
struct Timed {
    explicit Timed(SimConfig const & config) : machine(config, Clock([this] { return time; })) {}

    // Starts a full frame into the pixels.
    void Start(Microseconds exposure = 100000.0)
    {
        CaptureRequest request = FullFrame(machine.Config(), exposure);
        request.pixels = pixels.data();
        machine.StartCapture(request);
    }

    double time = 0.0;
    Machine machine;
    Pixels pixels = Pixels(320 * 240, 7);
};

Pixels const DARK(320 * 240, 100); // a frame of the offset alone

// The part is what the request, without binning, cuts out of the full frame.
void ExpectCutFrom(Pixels const & full, CaptureRequest const & request, Pixels const & part)
{
    Pixels expected;
    for (int y = request.first_y; y <= request.last_y; ++y) {
        auto const row = full.begin() + static_cast<std::ptrdiff_t>(y) * 320;
        expected.insert(expected.end(), row + request.first_x, row + request.last_x + 1);
    }
    EXPECT_EQ(part, expected);
}

TEST(SimMachine, ANucleusShinesInItsOwnFilters)
{
    Machine machine(QuietConfig());
    Pixels const pixels = TakeNucleus(machine);
    EXPECT_GT(*std::max_element(pixels.begin(), pixels.end()), 500);
}

TEST(SimMachine, AWrongFilterGivesNothingButOffsetAndDark)
{
    SimConfig config = QuietConfig();
    config.camera.dark_current = 440.0;
    Machine machine(config);
    GoTo(machine, SomeNucleus(machine));
    Illuminate(machine, 1);
    double const dark = 440.0 * 0.1 / (18000.0 / 4096.0);
    Pixels const expected(320 * 240, static_cast<std::uint16_t>(std::lround(100.0 + dark)));
    for (auto const & [ex, em] : std::vector<std::pair<long, long>>{{1, 2}, {2, 1}, {1, 3}, {0, 0}}) {
        machine.MoveFilter(Device::EX_FILTER, ex);
        machine.MoveFilter(Device::EM_FILTER, em);
        EXPECT_EQ(Take(machine, FullFrame(config)), expected) << ex << " " << em;
    }
}

TEST(SimMachine, AClosedShutterGivesNothingButOffset)
{
    Machine machine(QuietConfig());
    EXPECT_NE(TakeNucleus(machine), DARK);
    machine.MoveShutter(false);
    EXPECT_EQ(Take(machine, FullFrame(machine.Config())), DARK);
}

TEST(SimMachine, TheEyepieceTakesTheLightFromTheCamera)
{
    SimConfig config = QuietConfig();
    config.starts_at_eyepiece = true;
    Machine machine(config);
    EXPECT_EQ(TakeNucleus(machine), DARK);
    machine.SetLightPathToCamera();
    EXPECT_NE(TakeNucleus(machine), DARK);
}

TEST(SimMachine, AShutterThatOpensLateGivesPartOfTheLight)
{
    auto const light = [](Microseconds wait, Microseconds late) {
        Timed timed(QuietConfig());
        GoTo(timed.machine, SomeNucleus(timed.machine));
        timed.machine.MoveFilter(Device::EX_FILTER, 1);
        timed.machine.MoveFilter(Device::EM_FILTER, 1);
        timed.time = 1e8;
        if (wait > 0.0) {
            timed.machine.MoveShutter(true);
            timed.time += wait;
        }
        timed.Start();
        if (late > 0.0) {
            timed.time += late;
            timed.machine.MoveShutter(true);
        }
        timed.time += 1e6;
        EXPECT_EQ(timed.machine.GetCameraState(), CameraState::READY);
        return SumOf(timed.pixels, 100.0);
    };
    // Half of the exposure passes, then 10 ms of opening count half.
    EXPECT_NEAR(light(0.0, 50000.0) / light(1e6, 0.0), 0.45, 0.01);
}

TEST(SimMachine, AFilterThatArrivesLateGivesPartOfTheLight)
{
    Timed timed(QuietConfig());
    GoTo(timed.machine, SomeNucleus(timed.machine));
    timed.machine.MoveShutter(true);
    timed.machine.MoveFilter(Device::EM_FILTER, 1);
    timed.time = 1e8;
    timed.machine.MoveFilter(Device::EX_FILTER, 1); // takes 60 ms
    timed.Start();
    timed.time += 1e6;
    timed.machine.GetCameraState();
    double const late = SumOf(timed.pixels, 100.0);
    timed.Start();
    timed.time += 1e6;
    timed.machine.GetCameraState();
    EXPECT_NEAR(late / SumOf(timed.pixels, 100.0), 0.4, 0.01);
}

TEST(SimMachine, TheCameraExposesReadsAndIsReady)
{
    Timed timed(QuietConfig());
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::IDLE);
    timed.Start(5000.0);
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::EXPOSING);
    timed.time = 4999.0;
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::EXPOSING);
    timed.time = 5000.0;
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::READING);
    timed.time = 5000.0 + 320 * 240 / 20.0;
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::READY);
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::READY);
}

TEST(SimMachine, ASecondFrameIsRefusedWhileOneIsTaken)
{
    Timed timed(QuietConfig());
    timed.Start();
    EXPECT_THROW(timed.Start(), MachineFailure);
}

TEST(SimMachine, AnAbortLeavesTheBlockAloneAndTheCameraIdle)
{
    Timed timed(QuietConfig());
    timed.Start();
    timed.time = 50000.0;
    timed.machine.AbortCapture();
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::IDLE);
    timed.time = 1e9;
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::IDLE);
    EXPECT_EQ(timed.pixels, Pixels(320 * 240, 7));
    timed.Start();
    timed.time = 2e9;
    EXPECT_EQ(timed.machine.GetCameraState(), CameraState::READY);
}

TEST(SimMachine, ARealClockHasTheSameFrameDrawnInTheBackground)
{
    SimConfig config = QuietConfig();
    Machine quick(config);
    config.time_scale = 0.001;
    Machine real(config);
    GoTo(real, SomeNucleus(real));
    Illuminate(real, 1);
    while (real.IsMoving(Device::STAGE) || real.IsMoving(Device::ZDRIVE) || real.IsMoving(Device::SHUTTER) ||
           real.IsMoving(Device::EX_FILTER) || real.IsMoving(Device::EM_FILTER)) {
    }
    EXPECT_EQ(Take(real, FullFrame(config)), TakeNucleus(quick));
}

TEST(SimMachine, AMachineCanGoInTheMiddleOfAnExposure)
{
    SimConfig config = QuietConfig();
    config.time_scale = 1.0;
    Pixels pixels(320 * 240, 7);
    {
        Machine machine(config);
        CaptureRequest request = FullFrame(config, 1e9);
        request.pixels = pixels.data();
        machine.StartCapture(request);
    }
    EXPECT_EQ(pixels, Pixels(320 * 240, 7));
}

TEST(SimMachine, FlipXReversesTheRowsAndFlipYEachRow)
{
    SimConfig const config = QuietConfig();
    Machine first(config);
    Pixels const straight = TakeNucleus(first);
    for (int const flips : {0, 1, 2, 3}) {
        Machine machine(config);
        GoTo(machine, SomeNucleus(machine));
        Illuminate(machine, 1);
        CaptureRequest request = FullFrame(config);
        request.flip_x = (flips & 1) != 0;
        request.flip_y = (flips & 2) != 0;
        Pixels const flipped = Take(machine, request);
        for (std::size_t y = 0; y < 240; ++y) {
            for (std::size_t x = 0; x < 320; ++x) {
                std::size_t const row = request.flip_x ? 239 - y : y;
                std::size_t const column = request.flip_y ? 319 - x : x;
                ASSERT_EQ(flipped[row * 320 + column], straight[y * 320 + x]) << flips;
            }
        }
    }
}

TEST(SimMachine, ARegionIsCutOutOfTheFullFrameExactly)
{
    SimConfig config = QuietConfig();
    config.vignetting = Vignetting();
    Machine one(config);
    Pixels const full = TakeNucleus(one);
    Machine other(config);
    GoTo(other, SomeNucleus(other));
    Illuminate(other, 1);
    CaptureRequest request = FullFrame(config);
    request.first_x = 37;
    request.first_y = 51;
    request.last_x = 290;
    request.last_y = 222;
    ExpectCutFrom(full, request, Take(other, request));
}

TEST(SimMachine, BinningAddsPixelsUpBeforeTheOffset)
{
    SimConfig config = QuietConfig();
    config.camera.bit_depth = 16;
    config.camera.full_well = 1e6;
    Machine one(config);
    Pixels const full = TakeNucleus(one);
    Machine other(config);
    GoTo(other, SomeNucleus(other));
    Illuminate(other, 1);
    CaptureRequest request = FullFrame(config);
    request.bin_x = 2;
    request.bin_y = 2;
    Pixels const binned = Take(other, request);
    ASSERT_EQ(binned.size(), full.size() / 4);
    EXPECT_NEAR(SumOf(binned, 100.0) / SumOf(full, 100.0), 1.0, 0.002);
}

TEST(SimMachine, ShotNoiseHasTheVarianceOfTheMean)
{
    SimConfig config = QuietConfig();
    config.camera.noise = true;
    config.camera.read_noise = 0.0;
    config.camera.bit_depth = 16;
    config.specimen.density = 0.0;
    Machine machine(config);
    Illuminate(machine, 1);
    CaptureRequest const request = FullFrame(config, 2e6);
    Pixels const one = Take(machine, request);
    Pixels const two = Take(machine, request);
    // The difference of two frames is rid of the structure.
    double mean = 0.0, square = 0.0;
    double const electrons = 18000.0 / 65536.0;
    for (std::size_t i = 0; i < one.size(); ++i) {
        mean += 0.5 * electrons * (one[i] + two[i] - 200.0);
        square += 0.5 * electrons * electrons * (one[i] - two[i]) * (one[i] - two[i]);
    }
    ASSERT_GT(mean / static_cast<double>(one.size()), 200.0);
    EXPECT_NEAR(square / mean, 1.0, 0.02);
}

TEST(SimMachine, FramesOfOnePlaceDifferOnlyByNoise)
{
    SimConfig config = QuietConfig();
    config.camera.noise = true;
    Machine machine(config);
    Pixels const one = TakeNucleus(machine);
    Pixels const two = TakeNucleus(machine);
    EXPECT_NE(one, two);
    EXPECT_NEAR(MeanOf(one), MeanOf(two), 0.5);
}

TEST(SimMachine, AFrameDoesNotDependOnWhatWasDoneElsewhere)
{
    SimConfig config = QuietConfig();
    config.camera.noise = true;
    Machine straight(config);
    Pixels const expected = TakeNucleus(straight);
    Machine wandering(config);
    wandering.MoveStage(50000.0, -30000.0, false);
    Illuminate(wandering, 1);
    for (int i = 0; i < 5; ++i) {
        Take(wandering, FullFrame(config));
    }
    EXPECT_EQ(TakeNucleus(wandering), expected);
}

TEST(SimMachine, OtherSeedsGiveOtherFrames)
{
    SimConfig config = QuietConfig();
    Machine one(config);
    config.seed = config.specimen.seed = 2;
    Machine other(config);
    EXPECT_NE(TakeNucleus(one), TakeNucleus(other));
}

TEST(SimMachine, ExposureFadesThePlaceTowardsThePlateau)
{
    SimConfig config = QuietConfig();
    config.light.background = 0.0;
    config.camera.bit_depth = 16;
    config.markers[0].fade_s = 5.0;
    config.markers[0].fade_plateau = 0.4;
    Machine machine(config);
    double const fresh = SumOf(TakeNucleus(machine), 100.0);
    CaptureRequest const request = FullFrame(config);
    double previous = fresh;
    for (int i = 0; i < 20; ++i) {
        double const now = SumOf(Take(machine, request), 100.0);
        EXPECT_LT(now, previous);
        previous = now;
    }
    // Twenty frames of a tenth of a second came before the last.
    EXPECT_NEAR(previous / fresh, 0.4 + 0.6 * std::exp(-2.0 / 5.0), 0.01);
    Take(machine, FullFrame(config, 1e9));
    EXPECT_NEAR(SumOf(Take(machine, request), 100.0) / fresh, 0.4, 0.01);
}

TEST(SimMachine, FadingSparesOtherMarkersAndOtherPlaces)
{
    SimConfig const config = QuietConfig();
    Machine faded(config);
    Place const place = SomeNucleus(faded);
    GoTo(faded, place);
    Illuminate(faded, 1);
    Take(faded, FullFrame(config, 1e9));
    Machine fresh(config);
    GoTo(fresh, place);
    auto const compare = [&](long position) {
        Illuminate(faded, position);
        Illuminate(fresh, position);
        EXPECT_EQ(Take(faded, FullFrame(config)), Take(fresh, FullFrame(config))) << position;
    };
    compare(2);
    faded.MoveStage(20000.0, 0.0, true);
    fresh.MoveStage(20000.0, 0.0, true);
    compare(1);
}

TEST(SimMachine, GainAndCoolingActOnTheNumbers)
{
    SimConfig config = QuietConfig();
    config.camera.dark_current = 1000.0;
    Machine machine(config);
    CaptureRequest request = FullFrame(config, 1e6);
    double const base = MeanOf(Take(machine, request)) - 100.0;
    EXPECT_NEAR(base, 1000.0 / (18000.0 / 4096.0), 0.6);
    request.temperature = -14.0;
    EXPECT_NEAR((MeanOf(Take(machine, request)) - 100.0) / base, 0.25, 0.01);
    request.gain = 4.0;
    EXPECT_NEAR((MeanOf(Take(machine, request)) - 100.0) / base, 1.0, 0.01);
}

TEST(SimMachine, HotPixelsStayWhereTheyAre)
{
    SimConfig config = QuietConfig();
    config.camera.hot_pixels = 10;
    config.camera.dark_current = 20.0;
    Machine machine(config);
    Pixels const full = Take(machine, FullFrame(config, 1e6));
    EXPECT_EQ(std::count_if(full.begin(), full.end(), [](std::uint16_t pixel) { return pixel > 300; }), 10);
    CaptureRequest part = FullFrame(config, 1e6);
    part.first_x = 64;
    part.first_y = 64;
    ExpectCutFrom(full, part, Take(machine, part));
}

TEST(SimMachine, BacklashShowsInThePictureAndNotInTheReading)
{
    SimConfig config = QuietConfig();
    config.camera.bit_depth = 16;
    config.z_axis.backlash = 30.0;
    config.markers[0].fade_plateau = 1.0;
    Machine machine(config);
    Place const place = SomeNucleus(machine);
    GoTo(machine, place);
    Illuminate(machine, 1);
    double const z = 10.0 * place.z;
    auto const take_from = [&](double start, double goal) {
        machine.MoveZ(start, false);
        machine.MoveZ(goal, false);
        EXPECT_EQ(machine.ReadZ(), goal);
        return Take(machine, FullFrame(config));
    };
    Pixels const from_below = take_from(z - 500.0, z);
    Pixels const from_above = take_from(z + 500.0, z);
    EXPECT_NE(from_below, from_above);
    // Coming from below, the load is where it was when the drive goes on by the backlash.
    EXPECT_EQ(take_from(z - 500.0, z + 30.0), from_above);
}

TEST(SimMachine, ReadingsFollowTheMove)
{
    Timed timed(QuietConfig());
    double const start = timed.machine.ReadZ();
    timed.machine.MoveZ(start + 2000.0, false);
    double last = start;
    int between = 0;
    while (timed.machine.IsMoving(Device::ZDRIVE)) {
        timed.time += 5000.0;
        double const now = timed.machine.ReadZ();
        EXPECT_GE(now, last);
        between += now > start && now < start + 2000.0 ? 1 : 0;
        last = now;
    }
    EXPECT_EQ(last, start + 2000.0);
    EXPECT_GT(between, 20);
}

TEST(SimMachine, AtScaleZeroEverythingHasArrivedAtTheNextCall)
{
    Machine machine(QuietConfig());
    machine.MoveStage(123456.0, -7890.0, false);
    machine.MoveZ(100.0, true);
    machine.MoveFilter(Device::EX_FILTER, 5);
    machine.MoveShutter(true);
    EXPECT_FALSE(machine.IsMoving(Device::STAGE));
    EXPECT_FALSE(machine.IsMoving(Device::ZDRIVE));
    EXPECT_FALSE(machine.IsMoving(Device::EX_FILTER));
    EXPECT_FALSE(machine.IsMoving(Device::SHUTTER));
    EXPECT_EQ(machine.ReadStage(), (std::pair<double, double>{123456.0, -7890.0}));
    EXPECT_EQ(machine.ReadZ(), 5100.0);
    EXPECT_TRUE(machine.IsShutterOpen());
}

TEST(SimMachine, WhatIsOutOfReachIsRefused)
{
    Machine machine(QuietConfig());
    EXPECT_THROW(machine.MoveZ(10001.0, false), MachineFailure);
    EXPECT_THROW(machine.MoveZ(-5001.0, true), MachineFailure);
    EXPECT_THROW(machine.MoveStage(500001.0, 0.0, false), MachineFailure);
    EXPECT_THROW(machine.MoveFilter(Device::EM_FILTER, 13), MachineFailure);
    EXPECT_THROW(machine.MoveFilter(Device::EM_FILTER, -1), MachineFailure);
    EXPECT_THROW(machine.SetObjective(2), MachineFailure);
    EXPECT_EQ(machine.ReadZ(), 5000.0);
}

// The standard deviation across of all that shines, in pixels.
double WidthOf(Pixels const & pixels)
{
    double sum = 0.0, sx = 0.0, sxx = 0.0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        double const value = std::max(0, pixels[i] - 110);
        double const x = static_cast<double>(i % 320);
        sum += value;
        sx += value * x;
        sxx += value * x * x;
    }
    return std::sqrt(sxx / sum - sx / sum * sx / sum);
}

TEST(SimMachine, TheObjectiveSetsTheScale)
{
    SimConfig config = QuietConfig();
    config.specimen.density = 0.05;
    config.light.background = 0.0;
    config.camera.bit_depth = 16;
    config.camera.full_well = 1e6;
    config.objectives = {{"60x/0.50", 60.0, 1}, {"30x/0.50", 30.0, 2}};
    Machine machine(config);
    double const large = WidthOf(TakeNucleus(machine));
    machine.SetObjective(1);
    EXPECT_NEAR(WidthOf(Take(machine, FullFrame(config))) / large, 0.5, 0.03);
}

TEST(SimMachine, TheMeanOfTheLastFrameCanBeHad)
{
    SimConfig const config = QuietConfig();
    Machine machine(config);
    unsigned int width = 5;
    EXPECT_TRUE(machine.LastMean(width).empty());
    Pixels const pixels = TakeNucleus(machine);
    std::vector<float> const mean = machine.LastMean(width);
    EXPECT_EQ(width, 320u);
    ASSERT_EQ(mean.size(), pixels.size());
    for (std::size_t i = 0; i < mean.size(); ++i) {
        ASSERT_NEAR(static_cast<double>(mean[i]) / (18000.0 / 4096.0) + 100.0, pixels[i], 0.51);
    }
}

} // namespace velm::sim::test
