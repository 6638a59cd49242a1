#ifndef SIM_CAMERA_H
#define SIM_CAMERA_H

#include "drivers/base/camera.h"
#include "sim_machine.h"

namespace velm::sim {

// The simulated camera. Exposures are in microseconds; the picture is the right way round once the frame
// buffer has undone the flips, its columns and rows running as the stage's axes do, times their orientations.
class SimCamera : public VELM_CameraControl {
  public:
    // The machine belongs to the driver.
    SimCamera(Machine & machine, VELM_HWDriver * driver);

    wxString HWInfo() const override;

    VELM_CameraSetting * CreateNewSetting() const override;

    // The camera has no settings of its own: both succeed and do nothing.
    bool LoadGlobalSetting(wxFileConfig const & config) override;
    bool SaveGlobalSetting(wxFileConfig & config) const override;
    void GetGlobalSetting(wxWindow * parent) override;

    wxString GetStatusText() override;
    bool IsReady(wxString * text) override;
    VELM_CameraStatusType GetStatus(wxString * text) override;
    void AbortAcquisition() override;

    // Settings of other classes count as gain 1 and 0 degrees. Throws VELM_CameraControlError when there is
    // no setting in force, the block has another size than the setting's region, or a frame is under way.
    void StartFrameCapture(void * pixels, unsigned int num_pixels, bool flip_x, bool flip_y) override;

  protected:
    void InitHW() override;

    // Ends an exposure, and writes the truth file if the configuration asks for one.
    void CloseHW() override;

  private:
    CaptureRequest MakeRequest();

    Machine * _machine;
};

} // namespace velm::sim

#endif
