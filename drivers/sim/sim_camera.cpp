#include "sim_camera.h"

#include "sim_camera_setting.h"
#include "sim_devices.h"
#include "sim_truth.h"

namespace velm::sim {

namespace {

using Guard = DeviceGuard<VELM_CameraControlError>;

wxString TextOf(VELM_CameraStatusType status)
{
    switch (status) {
    case CAMERA_IDLE:
        return "Idle";
    case CAMERA_FRAME_READY:
        return "Frame ready";
    case CAMERA_EXPOSING:
        return "Exposing";
    case CAMERA_READING:
        return "Reading out";
    case CAMERA_FAILED:
        return "Failed";
    }
    return wxEmptyString;
}

} // namespace

SimCamera::SimCamera(Machine & machine, VELM_HWDriver * driver)
    : VELM_CameraControl(driver), _machine(&machine)
{
    CameraParams const & camera = machine.Config().camera;
    SetCCDSize(static_cast<unsigned short>(camera.width), static_cast<unsigned short>(camera.height));
    SetPixelSizes(static_cast<unsigned short>(camera.pixel_x_nm),
                  static_cast<unsigned short>(camera.pixel_y_nm));
    _default_setting = new SimCameraSetting(camera);
    SetDefaultSetting();
}

wxString SimCamera::HWInfo() const
{
    CameraParams const & camera = _machine->Config().camera;
    return wxString::Format("Simulated camera, %d x %d pixels, %d bits (%s)", camera.width, camera.height,
                            camera.bit_depth, GetDriverInfo());
}

VELM_CameraSetting * SimCamera::CreateNewSetting() const
{
    return new SimCameraSetting(_machine->Config().camera);
}

bool SimCamera::LoadGlobalSetting(wxFileConfig const &)
{
    return true;
}

bool SimCamera::SaveGlobalSetting(wxFileConfig &) const
{
    return true;
}

void SimCamera::GetGlobalSetting(wxWindow *) {}

wxString SimCamera::GetStatusText()
{
    return TextOf(GetStatus(nullptr));
}

bool SimCamera::IsReady(wxString * text)
{
    VELM_CameraStatusType const status = GetStatus(text);
    return status == CAMERA_IDLE || status == CAMERA_FRAME_READY;
}

VELM_CameraStatusType SimCamera::GetStatus(wxString * text)
{
    CameraState const state = Guard::Run([&] { return _machine->GetCameraState(); });
    VELM_CameraStatusType const status = state == CameraState::IDLE       ? CAMERA_IDLE
                                         : state == CameraState::READY    ? CAMERA_FRAME_READY
                                         : state == CameraState::EXPOSING ? CAMERA_EXPOSING
                                                                          : CAMERA_READING;
    if (text != nullptr) {
        *text = TextOf(status);
    }
    return status;
}

void SimCamera::AbortAcquisition()
{
    Guard::Run([&] { _machine->AbortCapture(); });
}

CaptureRequest SimCamera::MakeRequest()
{
    if (_setting == nullptr) {
        throw VELM_CameraControlError("The simulated camera has no setting");
    }
    CaptureRequest request;
    _setting->GetBinning(request.bin_x, request.bin_y);
    _setting->GetRegion(request.first_x, request.first_y, request.last_x, request.last_y);
    ValidateRegion(request.bin_x, request.bin_y, request.first_x, request.first_y, request.last_x,
                   request.last_y);
    request.exposure = static_cast<double>(_setting->GetExposure());
    if (auto const * const own = dynamic_cast<SimCameraSetting const *>(_setting)) {
        request.gain = own->GetGain();
        request.temperature = own->GetCooling();
    }
    return request;
}

void SimCamera::StartFrameCapture(void * pixels, unsigned int num_pixels, bool flip_x, bool flip_y)
{
    CaptureRequest request = MakeRequest();
    request.pixels = static_cast<std::uint16_t *>(pixels);
    request.flip_x = flip_x;
    request.flip_y = flip_y;
    long const width = request.Width();
    long const height = request.Height();
    if (width < 1 || height < 1 || width * height != static_cast<long>(num_pixels)) {
        throw VELM_CameraControlError(
            wxString::Format("The simulated camera's frame is %ld x %ld pixels, but there is room for %u",
                             width, height, num_pixels));
    }
    Guard::Run([&] { _machine->StartCapture(request); });
}

void SimCamera::InitHW()
{
    Guard::Run([&] { _machine->Call("Camera.Init"); });
}

void SimCamera::CloseHW()
{
    Guard::Run([&] { _machine->AbortCapture(); });
    std::string const & path = _machine->Config().truth_file;
    if (!path.empty() && !WriteTruthOfLitCells(*_machine, path)) {
        throw VELM_CameraControlError(
            wxString::Format("Can't write the truth file '%s'", wxString::FromUTF8(path)));
    }
}

} // namespace velm::sim
