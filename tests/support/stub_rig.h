#ifndef TESTS_SUPPORT_STUB_RIG_H
#define TESTS_SUPPORT_STUB_RIG_H

// A microscope of fake devices that write down every call in order. A library of its own, so that a test and
// the stub plug-ins that it loads see the same rig.

#include "drivers/base/camera.h"
#include "drivers/base/filter.h"
#include "drivers/base/microscope_body.h"
#include "drivers/base/shutter.h"
#include "drivers/base/stage.h"
#include "drivers/base/zdrive.h"
#include "velm_driver_package.h"

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace velm::test {

class StubCamera;
class StubZDrive;
class StubStage;
class StubShutter;
class StubFilter;
class StubBody;

struct StubRig {
    // Every call, as "zdrive.Move(12)".
    std::vector<std::string> calls;

    // What happens inside a call of that name, such as "zdrive.Move"; may throw.
    std::map<std::string, std::function<void()>> on_call;

    // What the packages don't serve: camera, zdrive, stage, shutter, ex, em, body, setting.
    std::set<std::string> absent;

    // How many times IsMoving tells true after each start of a motion.
    int moving_polls = 0;

    // What GetStatus gives, one after the other; idle when nothing is left.
    std::deque<VELM_CameraStatusType> camera_status;

    // Fills a frame; none leaves it as it is.
    std::function<void(unsigned short * pixels, unsigned int num_pixels)> expose;

    // The catalogue that a package's body gets.
    std::vector<VELM_ObjectiveInfo> objectives{{"Plan 10x", 10.0f, 1}, {"Apo 60x", 60.0f, 2}};

    // The newest device of each kind; null when it is gone.
    StubCamera * camera = nullptr;
    StubZDrive * zdrive = nullptr;
    StubStage * stage = nullptr;
    StubShutter * shutter = nullptr;
    StubFilter * ex = nullptr;
    StubFilter * em = nullptr;
    StubBody * body = nullptr;

    void Call(std::string const & name, std::string const & arguments = "");

    // The calls so far, which are then forgotten.
    std::vector<std::string> TakeCalls();
};

// The one rig; put it into its first state with "Rig() = StubRig()".
StubRig & Rig();

class StubDriver : public VELM_HWDriver {
  public:
    ~StubDriver() override { Rig().Call("driver.~"); }
    wxString GetInfo() override { return "Stub driver"; }
    void InitDriver() override { Rig().Call("driver.InitDriver"); }
};

// A setting with one additional entry, GAIN.
class StubSetting : public VELM_CameraSetting {
  public:
    explicit StubSetting(wxString const & driver = "StubA")
        : VELM_CameraSetting(driver, 1, 1, -1, -1, -1, -1, 100, 12, 12, 1392, 1040)
    {
    }
    ~StubSetting() override { Rig().Call("setting.~"); }
    void CreateAdvSettingPanel(wxWindow * parent, VELM_CameraControl const * camera) override;
    bool LoadCameraSetting(wxFileConfig & config) override;
    bool SaveCameraSetting(wxFileConfig & config) const override;
    VELM_CameraSetting * Clone() const override { return new StubSetting(*this); }
    wxString GetExtraString() const override { return "GAIN|Gain|dB|"; }

    long gain = 7;
};

// What the fake of any device class does alike.
template <typename Control>
class Stub : public Control {
  public:
    wxString HWInfo() const override { return "Stub " + wxString::FromUTF8(_name.c_str()); }
    void EnableUserInteraction(bool enable) override
    {
        Rig().Call(_name + ".EnableUserInteraction", enable ? "1" : "0");
    }
    bool IsActive() override
    {
        Rig().Call(_name + ".IsActive");
        return active;
    }
    bool IsInitialized() const { return this->_initialized; }
    void SetInitialized(bool initialized) { this->_initialized = initialized; }

    bool active = true;

  protected:
    template <typename... Arguments>
    explicit Stub(std::string name, Arguments const &... arguments)
        : Control(arguments...), _name(std::move(name))
    {
    }
    ~Stub() override { Rig().Call(_name + ".~"); }

    void InitHW() override { Rig().Call(_name + ".InitHW"); }
    void CloseHW() override { Rig().Call(_name + ".CloseHW"); }

    void StartMotion() { _polls = Rig().moving_polls; }
    bool PollMotion()
    {
        Rig().Call(_name + ".IsMoving");
        return _polls-- > 0;
    }

    std::string _name;

  private:
    int _polls = 0;
};

// Sensor 1392 by 1040 unless said otherwise, pixels of 6450 nm.
class StubCamera : public Stub<VELM_CameraControl> {
  public:
    explicit StubCamera(VELM_HWDriver * driver = nullptr, unsigned short ser = 1392,
                        unsigned short par = 1040);
    ~StubCamera() override;

    VELM_CameraSetting * CreateNewSetting() const override { return new StubSetting; }
    bool LoadGlobalSetting(wxFileConfig const & config) override;
    bool SaveGlobalSetting(wxFileConfig & config) const override;
    wxString GetStatusText() override { return "Stub status"; }
    void GetGlobalSetting(wxWindow *) override { Rig().Call("camera.GetGlobalSetting"); }
    bool IsReady(wxString * text) override;
    VELM_CameraStatusType GetStatus(wxString * text) override;
    void AbortAcquisition() override { Rig().Call("camera.AbortAcquisition"); }
    void StartFrameCapture(void * pixels, unsigned int num_pixels, bool flip_x, bool flip_y) override;

    void GiveDefaultSetting(VELM_CameraSetting * setting) { _default_setting = setting; }
    using VELM_CameraControl::SetCCDSize;
};

// Hardware range -1000 to 1000 unless said otherwise.
class StubZDrive : public Stub<VELM_ZDriveControl> {
  public:
    explicit StubZDrive(VELM_HWDriver * driver = nullptr, long lower = -1000, long upper = 1000,
                        long init_pos = 0);
    ~StubZDrive() override;

    bool IsMoving() override { return PollMotion(); }
    void SWLowerLimitChanged(long limit) override;
    void SWUpperLimitChanged(long limit) override;

    long GetSWLower() const { return _sw_lower; }
    long GetSWUpper() const { return _sw_upper; }
    void SetOffset(long offset) { _offset = offset; }

    long pos = 0;

  private:
    void Move(long target) override;
    void MoveRel(long step) override;
    long ReadPos() override;
};

class StubStage : public Stub<VELM_StageControl> {
  public:
    explicit StubStage(VELM_HWDriver * driver = nullptr);
    ~StubStage() override;

    bool IsMoving() override { return PollMotion(); }
    void Move(long x, long y) override;
    void MoveRel(long dx, long dy) override;
    void ReadPos(long & x, long & y) override;

    void SetLimits(long lower_x, long upper_x, long lower_y, long upper_y);
    void GetMembers(std::vector<long> & members) const;

    long hw_x = 0;
    long hw_y = 0;
};

class StubShutter : public Stub<VELM_ShutterControl> {
  public:
    explicit StubShutter(VELM_HWDriver * driver = nullptr);
    ~StubShutter() override;

    bool IsMoving() override { return PollMotion(); }
    void Open() override;
    bool IsOpened() override { return opened; }
    void Close() override;

    bool HasEconomyMode() const { return _economy; }

    bool opened = false;
};

// name: "ex" or "em".
class StubFilter : public Stub<VELM_FilterControl> {
  public:
    explicit StubFilter(std::string const & name, VELM_HWDriver * driver = nullptr);
    ~StubFilter() override;

    bool IsMoving() override { return PollMotion(); }
    long ReadPos() override;
    void Move(long pos) override;

    long GetAskedPos() const { return _pos; }

    long hw_pos = 0;
};

class StubBody : public Stub<VELM_MicroscopeBodyControl> {
  public:
    explicit StubBody(VELM_HWDriver * driver = nullptr);
    ~StubBody() override;

    void CreateControlWindow(wxWindow *) override { Rig().Call("body.CreateControlWindow"); }
    void RefreshControlWindow() override { Rig().Call("body.RefreshControlWindow"); }
    void SetLightPathToCamera() override { Rig().Call("body.SetLightPathToCamera"); }

    void TurnNosepiece(long objective) { _objective = objective; }
};

// A driver package of the rig; what it is asked is recorded with its name, as "StubA.CreateDriver(/SecA)",
// the configuration's path in brackets.
class StubPackage : public VELM_DriverPackage {
  public:
    explicit StubPackage(std::string name) : _name(std::move(name)) {}
    ~StubPackage() override { Rig().Call(_name + ".~"); }

    void CreateDriver(VELM_Database const * db, wxFileConfig & config) override;
    bool IsDriverReady() override { return _driver != nullptr && _driver->_initialized; }
    wxString GetName() override { return wxString::FromUTF8(_name.c_str()); }
    VELM_CameraControl * CreateCameraControl(wxFileConfig & config) override;
    VELM_ZDriveControl * CreateZDriveControl(wxFileConfig & config) override;
    VELM_StageControl * CreateStageControl(wxFileConfig & config) override;
    VELM_ShutterControl * CreateShutterControl(wxFileConfig & config) override;
    VELM_FilterControl * CreateExFilterControl(wxFileConfig & config) override;
    VELM_FilterControl * CreateEmFilterControl(wxFileConfig & config) override;
    VELM_MicroscopeBodyControl * CreateMicroscopeBodyControl(wxFileConfig & config) override;
    VELM_CameraSetting * CreateCameraSetting() override;

    VELM_HWDriver * GetDriver() const { return _driver; }
    void ForgetDriver() { _driver = nullptr; }

  private:
    template <typename Device, typename... Arguments>
    Device * Create(char const * factory, char const * device, wxFileConfig & config,
                    Arguments const &... arguments);

    std::string _name;
};

} // namespace velm::test

#endif
