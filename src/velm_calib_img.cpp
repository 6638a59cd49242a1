#include "velm_calib_img.h"

#include "drivers/base/camera_setting.h"
#include "velm_camset_reader.h"
#include "velm_config.h"
#include "velm_depository.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace velm {

namespace {

constexpr char const * UNKNOWN = "Unknown";
constexpr char const * CAMERA_SETTING = "CameraSetting";

// The setting's region as it normalises it itself: sensor pixels, both ends included.
struct Region {
    int x1 = 0;
    int y1 = 0;
    int x2 = 0;
    int y2 = 0;

    explicit Region(VELM_CameraSetting const & setting)
    {
        setting.GetRegion(x1, y1, x2, y2);
        setting.ValidateRegion(setting.GetSBin(), setting.GetPBin(), x1, y1, x2, y2);
    }
};

unsigned int BinnedSize(int first, int last, int bin)
{
    return static_cast<unsigned int>(std::max((last - first + 1) / bin, 0));
}

} // namespace

wxString GetCalibMethodName(VELM_CalibMethod method)
{
    switch (method) {
    case CALIB_MEAN:
        return "Mean";
    case CALIB_MEDIAN:
        return "Median";
    }
    return UNKNOWN;
}

VELM_CalibMethod GetCalibMethodId(wxString const & text)
{
    for (VELM_CalibMethod const method : {CALIB_MEAN, CALIB_MEDIAN}) {
        if (text == GetCalibMethodName(method)) {
            return method;
        }
    }
    VELM_LOG_ERROR("Cannot convert string '%s' to valid calibration method. Setting 'Median'.", text);
    return CALIB_MEDIAN;
}

wxString GetCalibImgName(long id)
{
    return id < 1 ? wxString(UNKNOWN) : wxString::Format("%04ld", id);
}

long GetCalibImgId(wxString const & text)
{
    if (text == UNKNOWN) {
        return 0;
    }
    long id = 0;
    if (!text.ToLong(&id, 10)) {
        VELM_LOG_ERROR("Cannot convert string '%s' to valid calibration image id! Setting 'Unknown'.", text);
        return 0;
    }
    if (id < 0) {
        VELM_LOG_ERROR("Invalid calibration image id (%ld)! Setting 'Unknown'.", id);
        return 0;
    }
    return id;
}

VELM_Calibration_Image::VELM_Calibration_Image() = default;

VELM_Calibration_Image::VELM_Calibration_Image(VELM_Calibration_Image const & other)
    : _id(other._id), _cam(other._cam ? other._cam->Clone() : nullptr), _mean(other._mean),
      _full(other._full ? std::make_unique<Image>(*other._full) : nullptr),
      _region(other._region ? std::make_unique<Image>(*other._region) : nullptr)
{
}

VELM_Calibration_Image::VELM_Calibration_Image(VELM_Calibration_Image && other) noexcept = default;

VELM_Calibration_Image & VELM_Calibration_Image::operator=(VELM_Calibration_Image other) noexcept
{
    std::swap(_id, other._id);
    std::swap(_cam, other._cam);
    std::swap(_mean, other._mean);
    std::swap(_full, other._full);
    std::swap(_region, other._region);
    return *this;
}

VELM_Calibration_Image::~VELM_Calibration_Image() = default;

void VELM_Calibration_Image::SetCameraSetting(VELM_CameraSetting const * setting)
{
    _cam.reset(setting->Clone());
}

void VELM_Calibration_Image::TakeCameraSetting(VELM_CameraSetting * setting)
{
    _cam.reset(setting);
}

void VELM_Calibration_Image::SetImage(Image * img)
{
    wxASSERT(img);
    _full.reset(img);
    CutRegion(*_full, MakeVOI().get());
}

VELM_Calibration_Image::Image const * VELM_Calibration_Image::GetImageRegion() const
{
    if (!_region) {
        return nullptr;
    }
    vexa::Box const slice(0, 0, 0, _region->GetSizeX(), _region->GetSizeY(),
                          std::min(_region->GetSizeZ(), 1u));
    return new Image(*_region, &slice);
}

bool VELM_Calibration_Image::GetImageRegion(VELM_Depository * depository, int x, int y, int width, int height,
                                            Image * out)
{
    if (!_region && !LoadImageRegion(depository)) {
        return false;
    }
    int x1 = 0;
    int y1 = 0;
    if (!_cam->IsFullFrame()) {
        Region const region(*_cam);
        x1 = region.x1;
        y1 = region.y1;
    }
    if (x < x1 || y < y1) {
        return false;
    }
    vexa::Box const part((x - x1) / _cam->GetSBin(), (y - y1) / _cam->GetPBin(), 0,
                         static_cast<unsigned int>(width), static_cast<unsigned int>(height), 1);
    out->CopyFromVOI(*_region, part, false, 0);
    return true;
}

bool VELM_Calibration_Image::SaveDesc(wxFileConfig & config) const
{
    if (!config::Write(config, "CALIB_IMG_ID", _id) || !config::Write(config, "Mean", _mean)) {
        return false;
    }
    if (!_cam) {
        return true;
    }
    config::GroupScope const group(config, CAMERA_SETTING);
    return _cam->SaveCameraSetting(config);
}

bool VELM_Calibration_Image::LoadDesc(wxFileConfig & config)
{
    _id = 0;
    bool ok = config::RecordReader(config, "VELM_Calibration_Image::Load: ")
                  .Required("CALIB_IMG_ID", _id, "Calibration image id not defined!")
                  .IsOk();
    // What can't be a mean grey value is computed anew, like a missing one.
    double const mean = config::ReadOr(config, "Mean", 0.0);
    _mean = std::isfinite(mean) && mean > 0.0 ? mean : 0.0;

    VELM_CameraSetting * setting = nullptr;
    if (!VELM_CameraSetting_Reader().Load(config, &setting) || setting == nullptr) {
        VELM_LOG_ERROR("%s: Loading of camera setting failed for calibration image with id %s", VELM_FUNCTION,
                       GetCalibImgName(_id));
        ok = false;
    }
    TakeCameraSetting(setting);
    return ok;
}

bool VELM_Calibration_Image::IsValid(VELM_CameraSetting const * cam_set) const
{
    wxASSERT(cam_set);
    return _cam && _cam->IsSameButRegionAndLastBit(cam_set);
}

bool VELM_Calibration_Image::HasValidRegion(VELM_CameraSetting const * setting) const
{
    wxASSERT(_cam);
    return _cam->HasSameRegion(setting);
}

bool VELM_Calibration_Image::HasValidRegion(long x1, long y1, long x2, long y2) const
{
    wxASSERT(_cam);
    return x1 == _cam->GetS1() && y1 == _cam->GetP1() && x2 == _cam->GetS2() && y2 == _cam->GetP2();
}

double VELM_Calibration_Image::ComputeMean(Image const & image)
{
    if (image.GetCount() == 0) {
        return 0.0;
    }
    // Whole numbers add up exactly far beyond any frame's sum.
    double const sum = static_cast<double>(std::accumulate(image.begin(), image.end(), 0ull));
    return sum / static_cast<double>(image.GetCount());
}

void VELM_Calibration_Image::GetVOI(vexa::Box ** voi) const
{
    delete *voi;
    *voi = nullptr;
    *voi = MakeVOI().release();
}

bool VELM_Calibration_Image::LoadImageRegion(VELM_Depository const * depository)
{
    bool const write_desc = _id > 0 && _mean == 0.0;
    std::unique_ptr<vexa::Box> const voi = MakeVOI();
    _region.reset();

    if (_full) {
        if (_mean == 0.0) {
            _mean = ComputeMean(*_full);
        }
        CutRegion(*_full, voi.get());
    } else if (_mean == 0.0) {
        Image full;
        if (!depository->CI_LoadImage(_id, full, nullptr)) {
            return false;
        }
        _mean = ComputeMean(full);
        CutRegion(full, voi.get());
    } else {
        auto region = std::make_unique<Image>();
        if (depository->CI_LoadImage(_id, *region, voi.get())) {
            _region = std::move(region);
        }
    }
    if (!_region) {
        return false;
    }
    if (write_desc) {
        depository->CI_SaveDesc(*this);
    }
    return true;
}

std::unique_ptr<vexa::Box> VELM_Calibration_Image::MakeVOI() const
{
    wxASSERT(_cam);
    if (_cam->IsFullFrame()) {
        return nullptr;
    }
    Region const region(*_cam);
    int const sbin = _cam->GetSBin();
    int const pbin = _cam->GetPBin();
    return std::make_unique<vexa::Box>(region.x1 / sbin, region.y1 / pbin, 0,
                                       BinnedSize(region.x1, region.x2, sbin),
                                       BinnedSize(region.y1, region.y2, pbin), 1);
}

void VELM_Calibration_Image::CutRegion(Image const & full, vexa::Box const * voi)
{
    _region.reset();
    try {
        _region = std::make_unique<Image>(full, voi);
    } catch (vexa::InternalException const & error) {
        VELM_LOG_ERROR("%s", detail::ExceptionText(error));
    }
}

} // namespace velm
