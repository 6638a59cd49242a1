#include "drivers/base/camera.h"

#include "drivers/base/sensor_region.h"
#include "velm_frame_buffer.h"
#include "velm_log_macros.h"

#include <wx/debug.h>

namespace velm {

VELM_CameraControl::VELM_CameraControl(VELM_HWDriver * driver) : VELM_HWControl(driver) {}

VELM_CameraControl::~VELM_CameraControl()
{
    delete _default_setting;
}

void VELM_CameraControl::ValidateRegion(VELM_CameraSetting * s)
{
    wxASSERT(s);
    int s1 = 0;
    int p1 = 0;
    int s2 = 0;
    int p2 = 0;
    s->GetRegion(s1, p1, s2, p2);
    ValidateRegion(s->GetSBin(), s->GetPBin(), s1, p1, s2, p2);
    s->SetRegion(s1, p1, s2, p2);
}

void VELM_CameraControl::ValidateRegion(int sbin, int pbin, int & s1, int & p1, int & s2, int & p2)
{
    wxASSERT(s1 <= s2);
    wxASSERT(p1 <= p2);
    VELM_TRACE_AT(5, "BEFORE VELM_CameraControl::ValidateRegion(%d, %d, %d, %d, %d, %d)", sbin, pbin, s1, p1,
                  s2, p2);
    detail::FitRegion(_CCD_ser_size, _CCD_par_size, sbin, pbin, s1, p1, s2, p2);
    VELM_TRACE_AT(5, "AFTER VELM_CameraControl::ValidateRegion(%d, %d, %d, %d, %d, %d)", sbin, pbin, s1, p1,
                  s2, p2);
}

unsigned short VELM_CameraControl::GetCCDSerSize() const
{
    wxASSERT(_CCD_ser_size != 0);
    return _CCD_ser_size;
}

unsigned short VELM_CameraControl::GetCCDParSize() const
{
    // A driver sets both or none, so the width tells for the height too.
    wxASSERT(_CCD_ser_size != 0);
    return _CCD_par_size;
}

void VELM_CameraControl::SetFullFrame()
{
    wxASSERT(_setting);
    _setting->SetRegion(0, 0, _CCD_ser_size - 1, _CCD_par_size - 1);
    ValidateRegion(_setting);
}

void VELM_CameraControl::StartSnap(VELM_FrameBuffer * buffer)
{
    wxASSERT(_setting);
    wxASSERT(buffer);
    ValidateRegion(_setting);
    auto const width = static_cast<unsigned int>(_setting->GetSerSize());
    auto const height = static_cast<unsigned int>(_setting->GetParSize());
    buffer->Resize(width, height, _setting->GetSBin(), _setting->GetPBin(), _setting->GetS1(),
                   _setting->GetP1());
    StartFrameCapture(buffer->GetAddr(), width * height, buffer->GetFlipX(), buffer->GetFlipY());
}

void VELM_CameraControl::SetCCDSize(unsigned short ser_size, unsigned short par_size)
{
    SetCCDSerSize(ser_size);
    SetCCDParSize(par_size);
}

void VELM_CameraControl::SetPixelSizes(unsigned short x, unsigned short y)
{
    SetPixelSizeX(x);
    SetPixelSizeY(y);
}

} // namespace velm
