#include "support/stub_rig.h"

#include <wx/fileconf.h>

namespace velm::test {

namespace {

template <typename... Numbers>
std::string Join(Numbers... numbers)
{
    std::string text;
    ((text += (text.empty() ? "" : ",") + std::to_string(numbers)), ...);
    return text;
}

std::string PathOf(wxFileConfig const & config)
{
    return std::string(config.GetPath().utf8_str());
}

} // namespace

StubRig & Rig()
{
    static StubRig rig;
    return rig;
}

void StubRig::Call(std::string const & name, std::string const & arguments)
{
    calls.push_back(name + "(" + arguments + ")");
    auto const found = on_call.find(name);
    if (found != on_call.end()) {
        found->second();
    }
}

std::vector<std::string> StubRig::TakeCalls()
{
    std::vector<std::string> taken;
    taken.swap(calls);
    return taken;
}

void StubSetting::CreateAdvSettingPanel(wxWindow *, VELM_CameraControl const * camera)
{
    Rig().Call("setting.CreateAdvSettingPanel", camera == Rig().camera ? "camera" : "");
}

bool StubSetting::LoadCameraSetting(wxFileConfig & config)
{
    Rig().Call("setting.LoadCameraSetting", PathOf(config));
    return VELM_CameraSetting::LoadCameraSetting(config) && config.Read("GAIN", &gain, 0L);
}

bool StubSetting::SaveCameraSetting(wxFileConfig & config) const
{
    return VELM_CameraSetting::SaveCameraSetting(config) && config.Write("GAIN", gain);
}

StubCamera::StubCamera(VELM_HWDriver * driver, unsigned short ser, unsigned short par)
    : Stub("camera", driver)
{
    SetCCDSize(ser, par);
    SetPixelSizes(6450, 6450);
    Rig().camera = this;
}

StubCamera::~StubCamera()
{
    Rig().camera = nullptr;
}

bool StubCamera::LoadGlobalSetting(wxFileConfig const & config)
{
    Rig().Call("camera.LoadGlobalSetting", PathOf(config));
    return true;
}

bool StubCamera::SaveGlobalSetting(wxFileConfig & config) const
{
    Rig().Call("camera.SaveGlobalSetting", PathOf(config));
    return true;
}

bool StubCamera::IsReady(wxString * text)
{
    Rig().Call("camera.IsReady");
    if (text != nullptr) {
        *text = "ready";
    }
    return true;
}

VELM_CameraStatusType StubCamera::GetStatus(wxString * text)
{
    Rig().Call("camera.GetStatus", text != nullptr ? "text" : "null");
    auto & states = Rig().camera_status;
    if (states.empty()) {
        return CAMERA_IDLE;
    }
    auto const state = states.front();
    states.pop_front();
    return state;
}

void StubCamera::StartFrameCapture(void * pixels, unsigned int num_pixels, bool flip_x, bool flip_y)
{
    Rig().Call("camera.StartFrameCapture", Join(num_pixels, int{flip_x}, int{flip_y}));
    if (Rig().expose) {
        Rig().expose(static_cast<unsigned short *>(pixels), num_pixels);
    }
}

StubZDrive::StubZDrive(VELM_HWDriver * driver, long lower, long upper, long init_pos)
    : Stub("zdrive", lower, upper, 20L, init_pos, driver)
{
    Rig().zdrive = this;
}

StubZDrive::~StubZDrive()
{
    Rig().zdrive = nullptr;
}

void StubZDrive::SWLowerLimitChanged(long limit)
{
    Rig().Call("zdrive.SWLowerLimitChanged", Join(limit));
}

void StubZDrive::SWUpperLimitChanged(long limit)
{
    Rig().Call("zdrive.SWUpperLimitChanged", Join(limit));
}

void StubZDrive::Move(long target)
{
    Rig().Call("zdrive.Move", Join(target));
    pos = target;
    StartMotion();
}

void StubZDrive::MoveRel(long step)
{
    Rig().Call("zdrive.MoveRel", Join(step));
    pos += step;
    StartMotion();
}

long StubZDrive::ReadPos()
{
    Rig().Call("zdrive.ReadPos");
    return pos;
}

StubStage::StubStage(VELM_HWDriver * driver) : Stub("stage", driver)
{
    Rig().stage = this;
}

StubStage::~StubStage()
{
    Rig().stage = nullptr;
}

void StubStage::Move(long x, long y)
{
    Rig().Call("stage.Move", Join(x, y));
    hw_x = x;
    hw_y = y;
    StartMotion();
}

void StubStage::MoveRel(long dx, long dy)
{
    Rig().Call("stage.MoveRel", Join(dx, dy));
    hw_x += dx;
    hw_y += dy;
    StartMotion();
}

void StubStage::ReadPos(long & x, long & y)
{
    Rig().Call("stage.ReadPos");
    x = hw_x;
    y = hw_y;
}

void StubStage::SetLimits(long lower_x, long upper_x, long lower_y, long upper_y)
{
    _lower_x = lower_x;
    _upper_x = upper_x;
    _lower_y = lower_y;
    _upper_y = upper_y;
}

void StubStage::GetMembers(std::vector<long> & members) const
{
    members = {_x, _y, _offset_x, _offset_y, _lower_x, _lower_y, _upper_x, _upper_y};
}

StubShutter::StubShutter(VELM_HWDriver * driver) : Stub("shutter", driver)
{
    Rig().shutter = this;
}

StubShutter::~StubShutter()
{
    Rig().shutter = nullptr;
}

void StubShutter::Open()
{
    Rig().Call("shutter.Open");
    opened = true;
    StartMotion();
}

void StubShutter::Close()
{
    Rig().Call("shutter.Close");
    opened = false;
    StartMotion();
}

StubFilter::StubFilter(std::string const & name, VELM_HWDriver * driver) : Stub(name, driver)
{
    (name == "ex" ? Rig().ex : Rig().em) = this;
}

StubFilter::~StubFilter()
{
    (_name == "ex" ? Rig().ex : Rig().em) = nullptr;
}

long StubFilter::ReadPos()
{
    Rig().Call(_name + ".ReadPos");
    return hw_pos;
}

void StubFilter::Move(long pos)
{
    Rig().Call(_name + ".Move", Join(pos));
    hw_pos = pos;
    StartMotion();
}

StubBody::StubBody(VELM_HWDriver * driver)
    : Stub("body", wxString("Stub stand"), std::cref(Rig().objectives), driver)
{
    Rig().body = this;
}

StubBody::~StubBody()
{
    Rig().body = nullptr;
}

void StubPackage::CreateDriver(VELM_Database const *, wxFileConfig & config)
{
    Rig().Call(_name + ".CreateDriver", PathOf(config));
    _driver = new StubDriver;
}

template <typename Device, typename... Arguments>
Device * StubPackage::Create(char const * factory, char const * device, wxFileConfig & config,
                             Arguments const &... arguments)
{
    Rig().Call(_name + "." + factory, PathOf(config));
    return Rig().absent.count(device) == 0 ? new Device(arguments..., _driver) : nullptr;
}

VELM_CameraControl * StubPackage::CreateCameraControl(wxFileConfig & config)
{
    return Create<StubCamera>("CreateCameraControl", "camera", config);
}

VELM_ZDriveControl * StubPackage::CreateZDriveControl(wxFileConfig & config)
{
    return Create<StubZDrive>("CreateZDriveControl", "zdrive", config);
}

VELM_StageControl * StubPackage::CreateStageControl(wxFileConfig & config)
{
    return Create<StubStage>("CreateStageControl", "stage", config);
}

VELM_ShutterControl * StubPackage::CreateShutterControl(wxFileConfig & config)
{
    return Create<StubShutter>("CreateShutterControl", "shutter", config);
}

VELM_FilterControl * StubPackage::CreateExFilterControl(wxFileConfig & config)
{
    return Create<StubFilter>("CreateExFilterControl", "ex", config, std::string("ex"));
}

VELM_FilterControl * StubPackage::CreateEmFilterControl(wxFileConfig & config)
{
    return Create<StubFilter>("CreateEmFilterControl", "em", config, std::string("em"));
}

VELM_MicroscopeBodyControl * StubPackage::CreateMicroscopeBodyControl(wxFileConfig & config)
{
    return Create<StubBody>("CreateMicroscopeBodyControl", "body", config);
}

VELM_CameraSetting * StubPackage::CreateCameraSetting()
{
    Rig().Call(_name + ".CreateCameraSetting");
    return Rig().absent.count("setting") == 0 ? new StubSetting(GetName()) : nullptr;
}

} // namespace velm::test
