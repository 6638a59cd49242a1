#ifndef DRIVERS_BASE_CAMERA_SETTING_H
#define DRIVERS_BASE_CAMERA_SETTING_H

#include "drivers/base/camera_setting_binder.h"
#include "velm_export.h"

#include <wx/arrstr.h>
#include <wx/string.h>

class wxFileConfig;
class wxWindow;

namespace velm {

class VELM_CameraControl;

// How a frame is to be taken: rectangle of the sensor, binning, exposure, bits. A value that is stored with
// every channel and calibration image; a driver derives its own class and adds entries.
//
// The region is in sensor pixels (unbinned), first and last included; -1 in all four stands for the full
// frame. s is the serial axis (x), p the parallel axis (y).
class VELM_API VELM_CameraSetting {
  public:
    // The region comes as s1, s2, p1, p2 here, and as s1, p1, s2, p2 everywhere else. exposure: in the
    // driver's unit. max_bitdepth: bits that the camera delivers. last_bit: the highest bit shown, counted
    // from 1.
    VELM_CameraSetting(wxString const & driver, int sbin, int pbin, int s1, int s2, int p1, int p2,
                       unsigned long exposure, int max_bitdepth, int last_bit, int CCD_ser_size,
                       int CCD_par_size);
    VELM_CameraSetting(VELM_CameraSetting const &) = default;
    VELM_CameraSetting & operator=(VELM_CameraSetting const &) = default;
    virtual ~VELM_CameraSetting();

    // As the camera's own operation of that name, on the sensor size held here.
    virtual void ValidateRegion(int sbin, int pbin, int & s1, int & p1, int & s2, int & p2) const;

    // The panel of a driver's additional entries.
    virtual void CreateAdvSettingPanel(wxWindow * parent, VELM_CameraControl const * camera);
    virtual void CopyAdvSettingFromPanel(wxWindow const * panel, VELM_CameraControl const * camera);
    virtual void PutAdvSettingToPanel(wxWindow * panel, VELM_CameraControl const * camera);

    // A new binder with nothing bound, owned by the caller.
    virtual VELM_CameraSettingBinder * CreateBinder();

    // Reads from the current path; what is missing takes its default. Always true here.
    virtual bool LoadCameraSetting(wxFileConfig & config);

    // Writes to the current path; false at the first refused entry.
    virtual bool SaveCameraSetting(wxFileConfig & config) const;

    // All members equal; false for null.
    virtual bool operator==(VELM_CameraSetting const * other) const;

    // Whether frames of the two settings can be compared pixel by pixel: all but region and last bit equal;
    // false for null.
    virtual bool IsSameButRegionAndLastBit(VELM_CameraSetting const * other) const;

    // A copy of the object's own class, owned by the caller.
    virtual VELM_CameraSetting * Clone() const = 0;

    // Names the entries that a driver's class adds, as "name|text|text|" for each, so that another program
    // can keep them; empty for none.
    virtual wxString GetExtraString() const = 0;

    int GetSBin() const { return _sbin; }
    void SetSBin(int sbin) { _sbin = sbin; }
    int GetPBin() const { return _pbin; }
    void SetPBin(int pbin) { _pbin = pbin; }
    void GetBinning(int & sbin, int & pbin) const;
    void SetBinning(int sbin, int pbin);

    unsigned long GetExposure() const { return _exposure; }
    void SetExposure(unsigned long exposure);

    int GetMaxBitDepth() const { return _max_bitdepth; }
    void SetMaxBitDepth(int bits) { _max_bitdepth = bits; }
    int GetLastBit() const { return _last_bit; }

    // Asserts that the bit lies within the bit depth, and stores it in any case.
    void SetLastBit(int last_bit);

    int GetS1() const { return _s1; }
    int GetS2() const { return _s2; }
    int GetP1() const { return _p1; }
    int GetP2() const { return _p2; }
    void SetS1(int s1) { _s1 = s1; }
    void SetS2(int s2) { _s2 = s2; }
    void SetP1(int p1) { _p1 = p1; }
    void SetP2(int p2) { _p2 = p2; }
    void GetRegion(int & s1, int & p1, int & s2, int & p2) const;
    void SetRegion(int s1, int p1, int s2, int p2);
    bool HasSameRegion(VELM_CameraSetting const * other) const;
    bool IsFullFrame() const;

    int GetCCDSerSize() const { return _CCD_ser_size; }
    int GetCCDParSize() const { return _CCD_par_size; }
    void SetCCDSizes(int ser_size, int par_size);

    wxString GetDriverName() const { return _driver_name; }

    // Frame size in image pixels (binned).
    int GetSerSize() const { return static_cast<int>((long{_s2} - _s1 + 1) / _sbin); }
    int GetParSize() const { return static_cast<int>((long{_p2} - _p1 + 1) / _pbin); }

    // The second and third texts of each entry in the extra string.
    void GetAdditionalParams(wxArrayString & second, wxArrayString & third) const;

  protected:
    // Splits the extra string into the three texts of each entry. False, with an error line, when the string
    // isn't made of whole groups of three.
    bool ParseExtraString(wxArrayString & first, wxArrayString & second, wxArrayString & third) const;

    int _s1;
    int _s2;
    int _p1;
    int _p2;
    int _sbin;
    int _pbin;
    unsigned long _exposure; // in the driver's unit
    int _max_bitdepth;
    int _last_bit; // 1 to _max_bitdepth
    int _CCD_ser_size;
    int _CCD_par_size;
    wxString _driver_name; // of the driver package; "None" for none
};

} // namespace velm

#endif
