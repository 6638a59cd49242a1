#include "drivers/base/velm_base.h"

#include "drivers/base/filter.h"
#include "drivers/base/microscope_body.h"
#include "drivers/base/shutter.h"
#include "drivers/base/stage.h"
#include "drivers/base/zdrive.h"
#include "velm_channel.h"
#include "velm_coords.h"
#include "velm_db.h"

#include <memory>
#include <typeinfo>

namespace velm {

// ---- Z drive

long VELM_BaseControl::ZDrive_GetHWLowerLimit() const
{
    return _zdrive->_hw_lower;
}

long VELM_BaseControl::ZDrive_GetHWUpperLimit() const
{
    return _zdrive->_hw_upper;
}

long VELM_BaseControl::ZDrive_GetCalibOffset() const
{
    return _zdrive->_calib_offset;
}

bool VELM_BaseControl::ZDrive_HasOffset() const
{
    return _zdrive->_offset != 0;
}

void VELM_BaseControl::ZDrive_AddOffset(long offset)
{
    _zdrive->_offset += offset;
}

void VELM_BaseControl::ZDrive_ClearOffset()
{
    _zdrive->_offset = 0;
}

long VELM_BaseControl::ZDrive_GetCurPos()
{
    long const pos = _zdrive->ReadPos() - _zdrive->_offset;
    _seen->z = pos;
    return pos;
}

bool VELM_BaseControl::ZDrive_IsMoving()
{
    return _zdrive->IsMoving();
}

void VELM_BaseControl::ZDrive_WaitPos()
{
    while (_zdrive->IsMoving()) {
    }
}

void VELM_BaseControl::ZDrive_SetPos(long pos)
{
    long const hw_pos = pos + _zdrive->_offset;
    _zdrive->CheckPos(hw_pos);
    _zdrive->Move(hw_pos);
    _seen->z = pos;
}

void VELM_BaseControl::ZDrive_SetRelPos(long step)
{
    long const hw_pos = _zdrive->ReadPos() + step;
    _zdrive->CheckPos(hw_pos);
    _zdrive->MoveRel(step);
    _seen->z = hw_pos - _zdrive->_offset;
}

// ---- Stage

void VELM_BaseControl::Stage_GetPos(long & x, long & y) const
{
    x = _stage->_x;
    y = _stage->_y;
}

void VELM_BaseControl::Stage_GetCurPos(long & x, long & y)
{
    _stage->ReadPos(x, y);
    x -= _stage->_offset_x;
    y -= _stage->_offset_y;
}

bool VELM_BaseControl::Stage_IsMoving()
{
    return _stage->IsMoving();
}

void VELM_BaseControl::Stage_WaitPos()
{
    while (_stage->IsMoving()) {
    }
}

void VELM_BaseControl::Stage_SetPos(long x, long y)
{
    _stage->CheckPos(x, y);
    _stage->Move(x + _stage->_offset_x, y + _stage->_offset_y);
    _stage->_x = x;
    _stage->_y = y;
}

void VELM_BaseControl::Stage_SetRelPos(long dx, long dy)
{
    _stage->CheckPos(_stage->_x + dx, _stage->_y + dy);
    _stage->MoveRel(dx, dy);
    _stage->_x += dx;
    _stage->_y += dy;
}

void VELM_BaseControl::Stage_SetPosOffset(long dx, long dy)
{
    _stage->_offset_x += dx;
    _stage->_offset_y += dy;
}

bool VELM_BaseControl::Stage_IsOffsetSet() const
{
    return _stage->_offset_x != 0 || _stage->_offset_y != 0;
}

void VELM_BaseControl::Stage_RemovePosOffset()
{
    _stage->_offset_x = 0;
    _stage->_offset_y = 0;
}

// ---- Shutter

void VELM_BaseControl::Shutter_Open()
{
    _seen->shutter = VELM_LastSeen::Shutter::OPEN; // before, since it may open and then hang
    _shutter->Open();
}

void VELM_BaseControl::Shutter_RequestClose()
{
    _shutter->Close();
    _seen->shutter = VELM_LastSeen::Shutter::CLOSED;
}

void VELM_BaseControl::Shutter_DemandClose()
{
    if (_shutter->_economy) {
        Shutter_RequestClose();
    }
}

void VELM_BaseControl::Shutter_EconomyMode(bool economy)
{
    _shutter->_economy = economy;
}

bool VELM_BaseControl::Shutter_IsOpened()
{
    bool const opened = _shutter->IsOpened();
    _seen->shutter = opened ? VELM_LastSeen::Shutter::OPEN : VELM_LastSeen::Shutter::CLOSED;
    return opened;
}

bool VELM_BaseControl::Shutter_IsMoving()
{
    return _shutter->IsMoving();
}

void VELM_BaseControl::Shutter_WaitPos()
{
    while (_shutter->IsMoving()) {
    }
}

bool VELM_BaseControl::Shutter_IsActive()
{
    return _shutter->IsActive();
}

// ---- Filter exchangers

long VELM_BaseControl::ExFilter_GetPos() const
{
    return _ex_filter->_pos;
}

long VELM_BaseControl::ExFilter_GetHWPos()
{
    return _ex_filter->ReadPos();
}

bool VELM_BaseControl::ExFilter_IsMoving()
{
    return _ex_filter->IsMoving();
}

void VELM_BaseControl::ExFilter_SetPos(long pos)
{
    SetFilterPos(*_ex_filter, pos);
}

long VELM_BaseControl::EmFilter_GetPos() const
{
    return _em_filter->_pos;
}

long VELM_BaseControl::EmFilter_GetHWPos()
{
    return _em_filter->ReadPos();
}

bool VELM_BaseControl::EmFilter_IsMoving()
{
    return _em_filter->IsMoving();
}

void VELM_BaseControl::EmFilter_SetPos(long pos)
{
    SetFilterPos(*_em_filter, pos);
}

void VELM_BaseControl::SetFilterPos(VELM_FilterControl & filter, long pos)
{
    filter.Move(pos);
    filter._pos = pos;
}

// ---- Microscope body

void VELM_BaseControl::MicroscopeBody_CreateControlWindow(wxWindow * parent)
{
    _microscope_body->CreateControlWindow(parent);
}

void VELM_BaseControl::MicroscopeBody_RefreshControlWindow()
{
    _microscope_body->RefreshControlWindow();
}

void VELM_BaseControl::MicroscopeBody_SetLightPathToCamera()
{
    _microscope_body->SetLightPathToCamera();
}

wxString VELM_BaseControl::MicroscopeBody_GetObjectiveDescription() const
{
    return _microscope_body->GetObjectiveDescription();
}

// ---- Channel

void VELM_BaseControl::Channel_Set(VELM_Channel const & channel, VELM_Database const * db)
{
    ExFilter_SetPos(db->GetExFilterPos(channel.GetExId()));
    EmFilter_SetPos(db->GetEmFilterPos(channel.GetEmId()));
}

bool VELM_BaseControl::Channel_IsMoving()
{
    return _ex_filter->IsMoving() || _em_filter->IsMoving();
}

void VELM_BaseControl::Channel_Wait()
{
    bool ex_moves = true;
    bool em_moves = true;
    while (ex_moves || em_moves) {
        ex_moves = _ex_filter->IsMoving();
        em_moves = _em_filter->IsMoving();
    }
}

// ---- Coordinate

void VELM_BaseControl::Coordinate_Set(VELM_Coord const & coord)
{
    long x = 0;
    long y = 0;
    long z = 0;
    coord.GetPosition(x, y, z);
    Stage_SetPos(x, y);
    ZDrive_SetPos(z);
    if (coord.IsFullFrame()) {
        Camera_SetFullFrame();
    } else {
        SetRegionOf(coord, *_camera->GetSetting());
    }
    Stage_WaitPos();
    ZDrive_WaitPos();
}

void VELM_BaseControl::Coordinate_Get(VELM_Coord & coord)
{
    long x = 0;
    long y = 0;
    Stage_GetCurPos(x, y);
    coord.SetStagePosition(x, y);
    coord.SetZDrivePosition(ZDrive_GetCurPos());
    VELM_CameraSetting const & setting = *_camera->GetSetting();
    coord.SetCameraRegion(setting.GetS1(), setting.GetP1(), setting.GetS2(), setting.GetP2());
}

void VELM_BaseControl::SetRegionOf(VELM_Coord const & coord, VELM_CameraSetting & setting)
{
    int x1 = 0;
    int y1 = 0;
    int x2 = 0;
    int y2 = 0;
    coord.GetCameraRegion(x1, y1, x2, y2);
    setting.SetRegion(x1, y1, x2, y2);
}

// ---- Camera

unsigned short VELM_BaseControl::Camera_GetCCDSerSize() const
{
    return _camera->GetCCDSerSize();
}

unsigned short VELM_BaseControl::Camera_GetCCDParSize() const
{
    return _camera->GetCCDParSize();
}

unsigned short VELM_BaseControl::Camera_GetPixelSizeX() const
{
    return _camera->GetPixelSizeX();
}

unsigned short VELM_BaseControl::Camera_GetPixelSizeY() const
{
    return _camera->GetPixelSizeY();
}

bool VELM_BaseControl::Camera_LoadGlobalSetting(wxFileConfig const & config)
{
    return _camera->LoadGlobalSetting(config);
}

bool VELM_BaseControl::Camera_SaveGlobalSetting(wxFileConfig & config) const
{
    return _camera->SaveGlobalSetting(config);
}

wxString VELM_BaseControl::Camera_GetStatusText()
{
    return _camera->GetStatusText();
}

void VELM_BaseControl::Camera_GetGlobalSetting(wxWindow * parent)
{
    _camera->GetGlobalSetting(parent);
}

bool VELM_BaseControl::Camera_IsReady(wxString * text)
{
    return _camera->IsReady(text);
}

VELM_CameraStatusType VELM_BaseControl::Camera_GetStatus(wxString * text)
{
    return _camera->GetStatus(text);
}

void VELM_BaseControl::Camera_AbortAcquisition()
{
    _camera->AbortAcquisition();
}

void VELM_BaseControl::Camera_SetDefaultSetting() const
{
    _camera->SetDefaultSetting();
}

VELM_CameraSetting * VELM_BaseControl::Camera_CreateNewSetting() const
{
    return _camera->CreateNewSetting();
}

VELM_CameraSetting * VELM_BaseControl::Camera_GetSetting() const
{
    return _camera->GetSetting();
}

void VELM_BaseControl::Camera_ValidateRegion(int sbin, int pbin, int & s1, int & p1, int & s2, int & p2)
{
    _camera->ValidateRegion(sbin, pbin, s1, p1, s2, p2);
}

void VELM_BaseControl::Camera_ValidateRegion(VELM_CameraSetting * setting)
{
    _camera->ValidateRegion(setting);
}

void VELM_BaseControl::Camera_ValidateRegion()
{
    _camera->ValidateRegion(_camera->GetSetting());
}

void VELM_BaseControl::Camera_SetFullFrame()
{
    _camera->SetFullFrame();
}

void VELM_BaseControl::Camera_StartSnap(VELM_FrameBuffer * buffer)
{
    ++_seen->exposures;
    _camera->StartSnap(buffer);
}

void VELM_BaseControl::Camera_StartFrameCapture(void * pixels, unsigned int num_pixels)
{
    _camera->StartFrameCapture(pixels, num_pixels, _mic_flip_x, _mic_flip_y);
}

void VELM_BaseControl::Camera_Set(VELM_CameraSetting * s, VELM_Coord const * coord)
{
    wxASSERT(!s || Camera_CheckCameraSettingType(s));
    _camera->SetCameraSetting(s);
    if (coord != nullptr && s != nullptr) {
        SetRegionOf(*coord, *s);
    }
}

bool VELM_BaseControl::Camera_CheckCameraSettingType(VELM_CameraSetting * setting)
{
    std::unique_ptr<VELM_CameraSetting const> const own(_camera->CreateNewSetting());
    VELM_CameraSetting const & expected = *own;
    VELM_CameraSetting const & given = *setting;
    return typeid(given) == typeid(expected);
}

void VELM_BaseControl::Camera_CreateControlWindow(wxWindow * parent)
{
    std::unique_ptr<VELM_CameraSetting> const setting(_camera->CreateNewSetting());
    setting->CreateAdvSettingPanel(parent, _camera);
}

// ---- Scale

namespace {

// The steps of the scale are taken in double precision, and each result that has a name is a float: images of
// one place must carry the same numbers whichever operation worked them out.
float PixelSize(int mic_res, float magnification)
{
    return static_cast<float>(mic_res / double{magnification});
}

float PixelsPerMicron(float pixel_size, int bin)
{
    return static_cast<float>(1000.0 / (double{pixel_size} * bin));
}

float OffsetInMicrons(float pixel_size, int first_pixel)
{
    return static_cast<float>(double{pixel_size} * first_pixel / 1000.0);
}

} // namespace

float VELM_BaseControl::GetImgPixelSizeX() const
{
    return PixelSize(_mic_res_x, _microscope_body->GetObjective().magnification);
}

float VELM_BaseControl::GetImgPixelSizeY() const
{
    return PixelSize(_mic_res_y, _microscope_body->GetObjective().magnification);
}

vexa::Resolution VELM_BaseControl::GetResolution(int sbin, int pbin, int step) const
{
    return vexa::Resolution(PixelsPerMicron(GetImgPixelSizeX(), sbin),
                            PixelsPerMicron(GetImgPixelSizeY(), pbin), static_cast<float>(10.0 / step));
}

void VELM_BaseControl::AlterImageOffsetAndResolution(vexa::Image3d<unsigned short> & image,
                                                     VELM_CameraSetting const * s, int step) const
{
    wxASSERT(s);
    image.resolution = GetResolution(s->GetSBin(), s->GetPBin(), step);
    image.offset = vexa::Vector3d<float>(OffsetInMicrons(GetImgPixelSizeX(), s->GetS1()),
                                         OffsetInMicrons(GetImgPixelSizeY(), s->GetP1()), 0.0f);
}

} // namespace velm
