#ifndef SIM_CAMERA_SETTING_H
#define SIM_CAMERA_SETTING_H

#include "drivers/base/camera_setting.h"
#include "sim_config.h"

namespace velm::sim {

// The name of the driver, by which ini files and stored settings refer to it.
extern char const * const DRIVER_NAME;

// A setting of the simulated camera: the common entries, gain and sensor temperature. Exposures are in
// microseconds.
class SimCameraSetting : public VELM_CameraSetting {
  public:
    // Full frame of the sensor, with its usual binning and exposure.
    explicit SimCameraSetting(CameraParams const & camera);
    SimCameraSetting(SimCameraSetting const &) = default;
    SimCameraSetting & operator=(SimCameraSetting const &) = default;
    ~SimCameraSetting() override;

    // Amplification before the converter, 1 to 16.
    int GetGain() const { return _gain; }
    void SetGain(int gain);
    static constexpr int MAX_GAIN = 16;

    // Temperature that the sensor is cooled to, -40 to 20 degrees.
    int GetCooling() const { return _cooling; }
    void SetCooling(int degrees);
    static constexpr int COLDEST = -40;
    static constexpr int WARMEST = 20;

    void CreateAdvSettingPanel(wxWindow * parent, VELM_CameraControl const * camera) override;
    void CopyAdvSettingFromPanel(wxWindow const * panel, VELM_CameraControl const * camera) override;
    void PutAdvSettingToPanel(wxWindow * panel, VELM_CameraControl const * camera) override;

    // Values out of range are brought into it.
    bool LoadCameraSetting(wxFileConfig & config) override;
    bool SaveCameraSetting(wxFileConfig & config) const override;

    bool operator==(VELM_CameraSetting const * other) const override;
    bool IsSameButRegionAndLastBit(VELM_CameraSetting const * other) const override;
    VELM_CameraSetting * Clone() const override;

    // Name, label and unit of each entry.
    wxString GetExtraString() const override;

  private:
    bool HasSameExtras(VELM_CameraSetting const * other) const;

    int _gain = 1;
    int _cooling = 0;
};

} // namespace velm::sim

#endif
