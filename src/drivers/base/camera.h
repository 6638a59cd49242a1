#ifndef DRIVERS_BASE_CAMERA_H
#define DRIVERS_BASE_CAMERA_H

#include "drivers/base/camera_setting.h"
#include "drivers/base/hw_control.h"

#include <cstdint>

class wxFileConfig;
class wxWindow;

namespace velm {

class VELM_FrameBuffer;

// What a camera does. Idle and frame ready each end the wait for a frame.
enum VELM_CameraStatusType {
    CAMERA_IDLE = 0,
    CAMERA_FRAME_READY = 1,
    CAMERA_EXPOSING = 2,
    CAMERA_READING = 3,
    CAMERA_FAILED = 4
};

// A camera with 16-bit pixels. x is the serial axis (the sensor's rows), y the parallel axis.
class VELM_API VELM_CameraControl : public VELM_HWControl {
  public:
    explicit VELM_CameraControl(VELM_HWDriver * driver);
    ~VELM_CameraControl() override;
    VELM_CameraControl(VELM_CameraControl const &) = delete;
    VELM_CameraControl & operator=(VELM_CameraControl const &) = delete;

    // Validates the region of the setting for this sensor and stores it in the setting.
    virtual void ValidateRegion(VELM_CameraSetting * setting);

    // Clamps the region, in sensor pixels with both ends included, to the sensor and widens it to whole bins;
    // an incomplete bin at the sensor's edge is dropped. -1 in all four gives the whole sensor.
    virtual void ValidateRegion(int sbin, int pbin, int & s1, int & p1, int & s2, int & p2);

    // A new object of the driver's own setting class, owned by the caller.
    virtual VELM_CameraSetting * CreateNewSetting() const = 0;

    // Settings of the camera as a whole.
    virtual bool LoadGlobalSetting(wxFileConfig const & config) = 0;
    virtual bool SaveGlobalSetting(wxFileConfig & config) const = 0;

    virtual wxString GetStatusText() = 0;

    // Offers the camera-wide settings to the user.
    virtual void GetGlobalSetting(wxWindow * parent) = 0;

    // text, when not null, receives what there is to say.
    virtual bool IsReady(wxString * text) = 0;
    virtual VELM_CameraStatusType GetStatus(wxString * text) = 0;

    virtual void AbortAcquisition() = 0;

    // Starts one exposure with the setting in force and fills the block of num_pixels 16-bit pixels, row by
    // row; flip_x: rows come from the last to the first, flip_y: each row comes reversed. Returns at once;
    // the block belongs to the camera until GetStatus tells idle or frame ready.
    virtual void StartFrameCapture(void * pixels, unsigned int num_pixels, bool flip_x, bool flip_y) = 0;

    // Sensor size in pixels. Assert that the driver has set it.
    unsigned short GetCCDSerSize() const;
    unsigned short GetCCDParSize() const;

    // Physical size of a sensor pixel, in nanometres.
    unsigned short GetPixelSizeX() const { return static_cast<unsigned short>(_pixel_size_x); }
    unsigned short GetPixelSizeY() const { return static_cast<unsigned short>(_pixel_size_y); }

    // The setting in force; not owned.
    VELM_CameraSetting * GetSetting() const { return _setting; }

    // The setting has to live as long as the camera holds it; null is allowed.
    void SetCameraSetting(VELM_CameraSetting * setting) { _setting = setting; }

    // Puts the camera's own default setting in force, which drops the reference to any other.
    void SetDefaultSetting() { _setting = _default_setting; }

    // Gives the setting in force the whole sensor, less an incomplete bin at the edge.
    void SetFullFrame();

    // Validates the region of the setting in force, sizes the buffer for it and starts the exposure into it.
    // Returns while the exposure runs.
    void StartSnap(VELM_FrameBuffer * buffer);

  protected:
    void SetCCDSerSize(unsigned short size) { _CCD_ser_size = size; }
    void SetCCDParSize(unsigned short size) { _CCD_par_size = size; }
    void SetCCDSize(unsigned short ser_size, unsigned short par_size);
    void SetPixelSizeX(unsigned short nanometres) { _pixel_size_x = nanometres; }
    void SetPixelSizeY(unsigned short nanometres) { _pixel_size_y = nanometres; }
    void SetPixelSizes(unsigned short x, unsigned short y);

    friend class VELM_BaseControl;

    unsigned short _CCD_ser_size = 0;          // 0 until the driver sets it
    unsigned short _CCD_par_size = 0;          // 0 until the driver sets it
    std::uint32_t _pixel_size_x = 0xFFFFFFFFu; // nanometres; all ones until the driver sets it
    std::uint32_t _pixel_size_y = 0xFFFFFFFFu;
    VELM_CameraSetting * _default_setting = nullptr; // owned
    VELM_CameraSetting * _setting = nullptr;         // in force; not owned
};

} // namespace velm

#endif
