#include "velm_channel.h"

#include "drivers/base/camera_setting.h"
#include "velm_calib_img.h"
#include "velm_camset_reader.h"
#include "velm_config.h"
#include "velm_db.h"
#include "velm_depository.h"
#include "velm_prompt.h"

#include <algorithm>

namespace velm {

template class VELM_List<VELM_Channel>;

namespace {

// Trace lines about the owned pointers, to hunt ownership faults.
void TracePointers(char const * format, void const * pointer)
{
    VELM_TRACE(format, pointer);
}

void TracePointers(char const * format, void const * first, void const * second)
{
    VELM_TRACE(format, first, second);
}

// What a copy owns in place of the original's object.
VELM_CameraSetting * NewCopy(VELM_CameraSetting const & setting)
{
    return setting.Clone();
}

VELM_Calibration_Image * NewCopy(VELM_Calibration_Image const & image)
{
    return new VELM_Calibration_Image(image);
}

template <typename T>
std::unique_ptr<T> CopyOf(std::unique_ptr<T> const & original, char const * format)
{
    TracePointers(format, original.get());
    std::unique_ptr<T> copy(original ? NewCopy(*original) : nullptr);
    TracePointers("CC %p -> %p", original.get(), copy.get());
    return copy;
}

template <typename T>
void SetCopy(std::unique_ptr<T> & owner, T const * original)
{
    TracePointers("D %p S %p", owner.get(), original);
    owner.reset(NewCopy(*original));
    TracePointers("%p -> %p", original, owner.get());
}

template <typename T>
void Take(std::unique_ptr<T> & owner, T * object)
{
    TracePointers("D %p T %p", owner.get(), object);
    owner.reset(object);
}

} // namespace

wxString GetCalibrationTypeName(VELM_CalibrationType type)
{
    VELM_TRACE("GetCalibrationTypeName(%d)", static_cast<int>(type));
    switch (type) {
    case CALIBRATION_NO:
        return "No";
    case CALIBRATION_YES:
        return "Yes";
    }
    return "Unknown";
}

VELM_CalibrationType GetCalibrationTypeId(wxString const & text)
{
    VELM_TRACE("GetCalibrationTypeId(%s)", text);
    if (text == "No") {
        return CALIBRATION_NO;
    }
    if (text == "Yes") {
        return CALIBRATION_YES;
    }
    VELM_LOG_ERROR("Cannot convert string '%s' to valid calibration type. Setting 'No'.", text);
    return CALIBRATION_NO;
}

VELM_Channel::VELM_Channel(wxString const & name, int marker_id, long em_id, long ex_id)
    : _name(name), _marker_id(marker_id), _em_id(em_id), _ex_id(ex_id)
{
    TracePointers("C cam %p", _cam.get());
    TracePointers("C calib_img %p", _calib_img.get());
}

VELM_Channel::VELM_Channel(VELM_Channel const & other)
    : _id(other._id), _name(other._name), _marker_id(other._marker_id), _em_id(other._em_id),
      _ex_id(other._ex_id), _cam(CopyOf(other._cam, "CC cam %p")),
      _calib_img(CopyOf(other._calib_img, "CC calib_img %p")), _calib_type(other._calib_type),
      _vis_type(other._vis_type)
{
}

VELM_Channel::VELM_Channel(VELM_Channel && other) noexcept = default;

VELM_Channel & VELM_Channel::operator=(VELM_Channel other) noexcept
{
    std::swap(_id, other._id);
    std::swap(_name, other._name);
    std::swap(_marker_id, other._marker_id);
    std::swap(_em_id, other._em_id);
    std::swap(_ex_id, other._ex_id);
    std::swap(_cam, other._cam);
    std::swap(_calib_img, other._calib_img);
    std::swap(_calib_type, other._calib_type);
    std::swap(_vis_type, other._vis_type);
    return *this;
}

VELM_Channel::~VELM_Channel()
{
    TracePointers("D cam %p", _cam.get());
    TracePointers("D calib_img %p", _calib_img.get());
}

VELM_CalibrationType VELM_Channel::GetCalibType() const
{
    VELM_TRACE("GetCalibType() -> %d", static_cast<int>(_calib_type));
    return _calib_type;
}

void VELM_Channel::SetCalibType(VELM_CalibrationType type)
{
    VELM_TRACE("SetCalibType(%d)", static_cast<int>(type));
    _calib_type = type;
}

void VELM_Channel::SetCameraSetting(VELM_CameraSetting const * setting)
{
    SetCopy(_cam, setting);
}

void VELM_Channel::TakeCameraSetting(VELM_CameraSetting * setting)
{
    Take(_cam, setting);
}

void VELM_Channel::SetCalibImage(VELM_Calibration_Image const * image)
{
    SetCopy(_calib_img, image);
}

void VELM_Channel::TakeCalibImage(VELM_Calibration_Image * image)
{
    Take(_calib_img, image);
}

bool VELM_Channel::Calibrate(VELM_Depository const * depository, bool create_new)
{
    wxASSERT(_calib_img);
    if (_calib_type == CALIBRATION_NO) {
        return true;
    }
    // A damaged file can leave a corrected channel without an image or a camera setting.
    if (!_calib_img || !_cam || !_calib_img->IsValid(_cam.get())) {
        if (create_new && _cam) {
            auto image = std::make_unique<VELM_Calibration_Image>();
            image->SetCameraSetting(_cam.get());
            TakeCalibImage(image.release());
        }
        return false;
    }
    bool const same_region = _calib_img->HasValidRegion(_cam.get());
    if (same_region && _calib_img->IsImageLoaded()) {
        return true;
    }
    if (!same_region) {
        int s1 = 0;
        int p1 = 0;
        int s2 = 0;
        int p2 = 0;
        _cam->GetRegion(s1, p1, s2, p2);
        _calib_img->GetCameraSetting()->SetRegion(s1, p1, s2, p2);
    }
    if (_calib_img->LoadImageRegion(depository)) {
        return true;
    }
    return prompt::ShowMessage("Calibration image data cannot be loaded!\n\n"
                               "Do you want to capture new image?\n"
                               "Yes: \tThe new image will be captured.\n"
                               "No: \tThe calibration will be ignored.",
                               "Warning", wxYES_NO | wxICON_EXCLAMATION) != wxYES;
}

bool VELM_Channel::Load(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository,
                        bool load_calib, bool & all_known)
{
    wxString marker = "Unknown";
    wxString ex_filter;
    wxString em_filter;
    _id = config::ReadOr(config, "CHANNEL_ID", -1l);
    _name = "None";
    bool ok = config::RecordReader(config, "")
                  .Required("Name", _name, "Channel name not defined.")
                  .Required("Marker", marker, "Marker not defined.")
                  .Required("ExFilter", ex_filter, "ExFilter not defined.")
                  .Required("EmFilter", em_filter, "EmFilter not defined.")
                  .IsOk();

    bool marker_known = false;
    bool ex_known = false;
    bool em_known = false;
    _marker_id = db->GetMarkerId(marker, marker_known);
    _ex_id = config.HasEntry("ExFilter") ? db->GetExFilterId(ex_filter, ex_known) : 0;
    _em_id = config.HasEntry("EmFilter") ? db->GetEmFilterId(em_filter, em_known) : 0;
    all_known = marker_known && ex_known && em_known;

    _vis_type = static_cast<VELM_Channel_VisType>(config::ReadOr(config, "VisType", 1));
    _calib_type = GetCalibrationTypeId(config::ReadOr(config, "CalibType", "No"));
    long const calib_id = GetCalibImgId(config::ReadOr(config, "CalibImg", "Unknown"));

    std::unique_ptr<VELM_Calibration_Image> image;
    if (load_calib && calib_id > 0) {
        image = std::make_unique<VELM_Calibration_Image>();
        if (!depository->CI_LoadDesc(calib_id, *image)) {
            image.reset();
            ok = false;
        }
    }
    TakeCalibImage(image.release());

    VELM_CameraSetting * setting = nullptr;
    if (!VELM_CameraSetting_Reader().Load(config, &setting)) {
        VELM_LOG_ERROR("%s: Unable to load camera setting for channel id=%ld", VELM_FUNCTION, _id);
        ok = false;
    }
    TakeCameraSetting(setting);
    return ok;
}

bool VELM_Channel::Save(wxFileConfig & config, VELM_Database const * db, VELM_Depository const * depository,
                        bool save_calib) const
{
    using config::Write;
    bool const texts_saved = Write(config, "VERSION", "1.6") && Write(config, "CHANNEL_ID", _id) &&
                             Write(config, "Name", _name) &&
                             Write(config, "Marker", db->GetMarkerName(_marker_id)) &&
                             Write(config, "ExFilter", db->GetExFilterDesc(_ex_id)) &&
                             Write(config, "EmFilter", db->GetEmFilterDesc(_em_id)) &&
                             Write(config, "VisType", static_cast<int>(_vis_type)) &&
                             Write(config, "CalibType", GetCalibrationTypeName(_calib_type));
    if (!texts_saved || (save_calib && _calib_img && !depository->CI_Save(*_calib_img))) {
        return false;
    }
    if (!Write(config, "CalibImg", GetCalibImgName(_calib_img ? _calib_img->GetId() : 0))) {
        return false;
    }
    if (!_cam) {
        return true;
    }
    config.SetPath("CameraSetting");
    if (!_cam->SaveCameraSetting(config)) {
        return false;
    }
    config.SetPath("..");
    return true;
}

void VELM_ChannelList::Clear()
{
    VELM_List<VELM_Channel>::Clear();
    _unknown.clear();
}

bool VELM_ChannelList::Load(wxFileConfig & config, VELM_Database * db, VELM_Depository const * depository,
                            bool take_unknown, bool load_calib)
{
    Clear();
    bool ok = true;
    config::ForEachGroup(config, [&](wxString const & group) {
        VELM_Channel channel(wxEmptyString, 0, 0, 0);
        bool all_known = false;
        if (!channel.Load(config, db, depository, load_calib, all_known)) {
            VELM_LOG_ERROR("Channel [%s] loading failed.", group);
            ok = false;
        }
        if (take_unknown || all_known) {
            Add(channel);
        } else {
            _max_id = std::max(_max_id, channel.GetId());
            _unknown.push_back(std::move(channel));
        }
    });
    return ok;
}

bool VELM_ChannelList::Save(wxFileConfig & config, VELM_Database const * db,
                            VELM_Depository const * depository, wxArrayInt const * ids) const
{
    wxString const path = config.GetPath();
    bool ok = true;
    auto known = _items.begin();
    auto unknown = _unknown.begin();
    while (known != _items.end() || unknown != _unknown.end()) {
        bool const take_unknown =
            known == _items.end() || (unknown != _unknown.end() && unknown->GetId() <= known->GetId());
        VELM_Channel const & channel = take_unknown ? *unknown++ : *known++;
        long const id = channel.GetId();
        bool const save_calib = !take_unknown && channel.UseCalibration() && ids != nullptr &&
                                std::find(ids->begin(), ids->end(), id) != ids->end();

        config.SetPath(wxString::Format("Channel%02ld", id));
        if (!channel.Save(config, db, depository, save_calib)) {
            VELM_LOG_ERROR("%s: Channel id=%ld not saved.", VELM_FUNCTION, id);
            ok = false;
        }
        config.SetPath(path); // a failed channel may leave it deeper
    }
    return ok;
}

void VELM_ChannelList::CopyUnknownChannels(VELM_ChannelList const & other)
{
    auto const channels = other._unknown; // a copy: other may be this list
    for (VELM_Channel const & channel : channels) {
        _unknown.push_back(channel);
        _max_id = std::max(_max_id, channel.GetId());
    }
}

} // namespace velm
