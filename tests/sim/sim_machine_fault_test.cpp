#include "sim_machine.h"

#include "sim/sim_rig.h"

#include <algorithm>

namespace velm::sim::test {

SimConfig WithFaults(std::vector<std::string> const & lines)
{
    SimConfig config = QuietConfig();
    for (std::string const & line : lines) {
        config.faults.emplace_back("Fault" + std::to_string(config.faults.size() + 1), line);
    }
    return config;
}

void Start(Machine & machine, Device device)
{
    switch (device) {
    case Device::ZDRIVE:
        return machine.MoveZ(5100.0, false);
    case Device::STAGE:
        return machine.MoveStage(10.0, 10.0, false);
    case Device::SHUTTER:
        return machine.MoveShutter(true);
    default:
        return machine.MoveFilter(device, 1);
    }
}

void StartFrame(Machine & machine, Pixels & pixels)
{
    CaptureRequest request = FullFrame(machine.Config());
    request.pixels = pixels.data();
    machine.StartCapture(request);
}

// The first frame with the fault leaves the camera in that state and the block as it was; the second is
// there.
void ExpectFirstFrameMissing(std::string const & fault, CameraState state)
{
    Machine machine(WithFaults({"Camera.StartFrameCapture " + fault + " at 1"}));
    Pixels pixels(320 * 240, 7);
    StartFrame(machine, pixels);
    EXPECT_EQ(machine.GetCameraState(), state);
    EXPECT_EQ(pixels, Pixels(320 * 240, 7));
    StartFrame(machine, pixels);
    EXPECT_EQ(machine.GetCameraState(), CameraState::READY);
    EXPECT_EQ(pixels, Pixels(320 * 240, 100));
}

std::vector<std::pair<Device, std::string>> const MOVES = {{Device::ZDRIVE, "ZDrive.Move"},
                                                           {Device::STAGE, "Stage.Move"},
                                                           {Device::SHUTTER, "Shutter.Open"},
                                                           {Device::EX_FILTER, "ExFilter.Move"},
                                                           {Device::EM_FILTER, "EmFilter.Move"}};

TEST(SimMachineFault, AHangingDeviceCountsDownWithEachPoll)
{
    for (auto const & [device, operation] : MOVES) {
        Machine machine(WithFaults({operation + " hang 500 at 1"}));
        Start(machine, device);
        int polls = 0;
        while (machine.IsMoving(device)) {
            ++polls;
        }
        // The time of the move itself comes on top.
        EXPECT_GE(polls, 500) << operation;
        EXPECT_LE(polls, 800) << operation;
        EXPECT_FALSE(machine.IsMoving(device)) << operation;
    }
}

TEST(SimMachineFault, ADeviceCanHangInAPollForEver)
{
    Machine machine(WithFaults({"ZDrive.IsMoving hang at 3"}));
    machine.MoveZ(5100.0, false);
    EXPECT_FALSE(machine.IsMoving(Device::ZDRIVE));
    EXPECT_FALSE(machine.IsMoving(Device::ZDRIVE));
    for (int i = 0; i < 10000; ++i) {
        ASSERT_TRUE(machine.IsMoving(Device::ZDRIVE));
    }
}

TEST(SimMachineFault, AHangingShutterCostsLight)
{
    Machine late(WithFaults({"Shutter.Open hang 50 at 1"}));
    Machine sound(QuietConfig());
    // 50 ms of a tenth of a second are lost, and half of the 10 ms of opening.
    double const share = SumOf(TakeNucleus(late), 100.0) / SumOf(TakeNucleus(sound), 100.0);
    EXPECT_NEAR(share, 0.45, 0.01);
}

TEST(SimMachineFault, AnEarlyDeviceIsStillOnItsWay)
{
    for (auto const & [device, operation] : MOVES) {
        Machine machine(WithFaults({operation + " early at 1"}));
        Start(machine, device);
        EXPECT_FALSE(machine.IsMoving(device)) << operation;
    }
    Machine machine(WithFaults({"Stage.Move early at 1"}));
    machine.MoveStage(10000.0, 0.0, false);
    EXPECT_FALSE(machine.IsMoving(Device::STAGE));
    EXPECT_LT(machine.ReadStage().first, 10000.0);
    machine.MoveStage(20000.0, 0.0, false);
    EXPECT_EQ(machine.ReadStage().first, 20000.0);
    Machine shutter(WithFaults({"Shutter.Open early at 1"}));
    shutter.MoveShutter(true);
    EXPECT_FALSE(shutter.IsShutterOpen());
}

TEST(SimMachineFault, AMoveCanStopShortOrGoTooFar)
{
    Machine machine(WithFaults({"ZDrive.MoveRel short 20 at 1"}));
    machine.MoveZ(100.0, true);
    EXPECT_EQ(machine.ReadZ(), 5080.0);
    machine.MoveZ(100.0, true);
    EXPECT_EQ(machine.ReadZ(), 5180.0);
    Machine stage(WithFaults({"Stage.Move short -3 at 1"}));
    stage.MoveStage(-100.0, 100.0, false);
    EXPECT_EQ(stage.ReadStage(), (std::pair<double, double>{-103.0, 103.0}));
    Machine filter(WithFaults({"EmFilter.Move short 1 at 1"}));
    filter.MoveFilter(Device::EM_FILTER, 4);
    EXPECT_EQ(filter.ReadFilter(Device::EM_FILTER), 3);
}

TEST(SimMachineFault, ADroppedFrameLeavesTheBlockAndTheCameraIdle)
{
    ExpectFirstFrameMissing("drop", CameraState::IDLE);
}

TEST(SimMachineFault, AnEarlyFrameIsReadyButNeverThere)
{
    ExpectFirstFrameMissing("early", CameraState::READY);
}

TEST(SimMachineFault, ACorruptFrameHasRowsOfRubbish)
{
    Machine machine(WithFaults({"Camera.StartFrameCapture corrupt at 1"}));
    Pixels const pixels = Take(machine, FullFrame(machine.Config()));
    int spoilt = 0;
    for (auto row = pixels.begin(); row != pixels.end(); row += 320) {
        spoilt += std::count(row, row + 320, 100) < 320 ? 1 : 0;
    }
    EXPECT_LT(std::count(pixels.begin(), pixels.begin() + 320, 100), 320);
    EXPECT_GT(spoilt, 10);
    EXPECT_LT(spoilt, 60);
    EXPECT_EQ(Take(machine, FullFrame(machine.Config())), Pixels(320 * 240, 100));
}

TEST(SimMachineFault, AHangingExposureEndsWhenItsTimeIsOver)
{
    Machine machine(WithFaults({"Camera.StartFrameCapture hang 200 at 1"}));
    Pixels pixels(320 * 240);
    StartFrame(machine, pixels);
    int polls = 0;
    while (machine.GetCameraState() == CameraState::EXPOSING) {
        ++polls;
    }
    EXPECT_EQ(polls, 200);
    EXPECT_EQ(machine.GetCameraState(), CameraState::READY);
}

TEST(SimMachineFault, AStatusThatHangsIsBusyWithoutAFrame)
{
    Machine machine(WithFaults({"Camera.GetStatus hang 3 at 2"}));
    EXPECT_EQ(machine.GetCameraState(), CameraState::IDLE);
    EXPECT_EQ(machine.GetCameraState(), CameraState::EXPOSING);
    EXPECT_EQ(machine.GetCameraState(), CameraState::EXPOSING);
    EXPECT_EQ(machine.GetCameraState(), CameraState::EXPOSING);
    EXPECT_EQ(machine.GetCameraState(), CameraState::IDLE);
}

TEST(SimMachineFault, AnAbortEndsAHang)
{
    Machine machine(WithFaults({"Camera.StartFrameCapture hang at 1"}));
    Pixels pixels(320 * 240);
    StartFrame(machine, pixels);
    EXPECT_EQ(machine.GetCameraState(), CameraState::EXPOSING);
    machine.AbortCapture();
    EXPECT_EQ(machine.GetCameraState(), CameraState::IDLE);
    StartFrame(machine, pixels);
    EXPECT_EQ(machine.GetCameraState(), CameraState::READY);
}

TEST(SimMachineFault, ACallThatThrowsChangesNothing)
{
    Machine machine(
        WithFaults({"Stage.Move throw at 1", "Shutter.Open throw at 1", "ExFilter.Move throw at 1",
                    "ZDrive.Move throw at 1", "Camera.StartFrameCapture throw at 1"}));
    EXPECT_THROW(machine.MoveStage(10.0, 10.0, false), MachineFailure);
    EXPECT_THROW(machine.MoveShutter(true), MachineFailure);
    EXPECT_THROW(machine.MoveFilter(Device::EX_FILTER, 1), MachineFailure);
    EXPECT_THROW(machine.MoveZ(1.0, false), MachineFailure);
    Pixels pixels(320 * 240, 7);
    EXPECT_THROW(StartFrame(machine, pixels), MachineFailure);
    EXPECT_EQ(machine.ReadStage(), (std::pair<double, double>{0.0, 0.0}));
    EXPECT_FALSE(machine.IsShutterOpen());
    EXPECT_EQ(machine.ReadFilter(Device::EX_FILTER), 0);
    EXPECT_EQ(machine.ReadZ(), 5000.0);
    EXPECT_EQ(machine.GetCameraState(), CameraState::IDLE);
    EXPECT_EQ(pixels, Pixels(320 * 240, 7));
}

} // namespace velm::sim::test
