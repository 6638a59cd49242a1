#ifndef SIM_DEVICES_H
#define SIM_DEVICES_H

#include "drivers/base/filter.h"
#include "drivers/base/microscope_body.h"
#include "drivers/base/shutter.h"
#include "drivers/base/stage.h"
#include "drivers/base/zdrive.h"
#include "sim_machine.h"

namespace velm::sim {

// Runs an operation of the machine and turns its failure into the error class of the device.
template <typename Error>
struct DeviceGuard {
    template <typename Operation>
    static auto Run(Operation operation)
    {
        try {
            return operation();
        } catch (MachineFailure const & failure) {
            throw Error(wxString::FromUTF8(failure.what()));
        }
    }
};

// The controls but the camera's. Each belongs to its caller, the machine to the driver.

class SimZDrive : public VELM_ZDriveControl {
  public:
    SimZDrive(Machine & machine, VELM_HWDriver * driver);

    wxString HWInfo() const override;
    bool IsMoving() override;

  protected:
    void InitHW() override;
    void CloseHW() override;

  private:
    void Move(long pos) override;
    void MoveRel(long step) override;
    long ReadPos() override;

    Machine * _machine;
};

class SimStage : public VELM_StageControl {
  public:
    SimStage(Machine & machine, VELM_HWDriver * driver);

    wxString HWInfo() const override;
    bool IsMoving() override;
    void Move(long x, long y) override;
    void MoveRel(long dx, long dy) override;
    void ReadPos(long & x, long & y) override;

  protected:
    void InitHW() override;
    void CloseHW() override;

  private:
    Machine * _machine;
};

class SimShutter : public VELM_ShutterControl {
  public:
    SimShutter(Machine & machine, VELM_HWDriver * driver);

    wxString HWInfo() const override;
    bool IsMoving() override;
    void Open() override;
    bool IsOpened() override;
    void Close() override;

  protected:
    void InitHW() override;
    void CloseHW() override;

  private:
    Machine * _machine;
};

class SimFilter : public VELM_FilterControl {
  public:
    // which: one of the two exchangers.
    SimFilter(Machine & machine, Device which, VELM_HWDriver * driver);

    wxString HWInfo() const override;
    bool IsMoving() override;
    long ReadPos() override;
    void Move(long pos) override;

  protected:
    void InitHW() override;
    void CloseHW() override;

  private:
    Machine * _machine;
    Device _which;
};

// The stand. Its control window lets the user turn the nosepiece.
class SimBody : public VELM_MicroscopeBodyControl {
  public:
    SimBody(Machine & machine, std::vector<VELM_ObjectiveInfo> const & objectives, VELM_HWDriver * driver);

    wxString HWInfo() const override;
    void CreateControlWindow(wxWindow * parent) override;
    void SetLightPathToCamera() override;

    // Puts the objective of the catalogue's index into the light. Throws VELM_MicroscopeBodyControlError when
    // there is none.
    void TurnTo(long index);

  protected:
    void InitHW() override;
    void CloseHW() override;

  private:
    Machine * _machine;
};

} // namespace velm::sim

#endif
