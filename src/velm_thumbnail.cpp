#include "velm_thumbnail.h"

#include "velm_convert.h"
#include "velm_depository.h"
#include "velm_log_macros.h"
#include "velm_paths.h"
#include "vexaalgo/resample.h"

#include <wx/dir.h>
#include <wx/filefn.h>
#include <wx/filename.h>

namespace velm {

namespace {

// The largest size that fits a square and keeps the aspect ratio, in single precision and cut down to whole
// pixels, but never to none.
vexa::Vector3d<unsigned int> FitSquare(vexa::Vector3d<unsigned int> const & size, int side)
{
    auto const scaled = [](unsigned int length, float scale) {
        return std::max(1u, static_cast<unsigned int>(static_cast<float>(length) * scale));
    };
    auto const longer = static_cast<unsigned int>(side);
    if (size.x < size.y) {
        return {scaled(size.x, static_cast<float>(side) / static_cast<float>(size.y)), longer, size.z};
    }
    return {longer, scaled(size.y, static_cast<float>(side) / static_cast<float>(size.x)), size.z};
}

} // namespace

VELM_Thumbnail::VELM_Thumbnail(VELM_Depository * depository, long pos_id)
    : _depository(depository), _pos_id(pos_id)
{
}

VELM_Thumbnail::~VELM_Thumbnail() = default;

bool VELM_Thumbnail::CheckThumbnailDir()
{
    wxString const directory = GetThumbnailDir();
    if (wxDir::Exists(directory) || Path::MakeDirectory(directory)) {
        return true;
    }
    _temp_dir = wxFileName::GetTempDir();
    return !_temp_dir.empty();
}

wxString VELM_Thumbnail::GetThumbnailFile(long channel_id, int size) const
{
    return wxString::Format("%s%c%02ld_%d_s8.tif", _temp_dir.empty() ? GetThumbnailDir() : _temp_dir,
                            wxFileName::GetPathSeparator(), channel_id, size);
}

void VELM_Thumbnail::Delete(long channel_id)
{
    if (_pos_id < 1) {
        return;
    }
    wxString const directory = GetThumbnailDir();
    if (!wxDir::Exists(directory)) {
        return;
    }
    wxArrayString files;
    wxDir::GetAllFiles(directory, &files, wxString::Format("%02ld_*", channel_id),
                       wxDIR_FILES | wxDIR_DIRS | wxDIR_HIDDEN);
    wxLogNull const quiet; // a thumbnail that stays is harmless
    for (wxString const & file : files) {
        wxRemoveFile(file);
    }
}

bool VELM_Thumbnail::Create(long channel_id, int size, vexa::Image3d<unsigned short> const & image) const
{
    try {
        vexa::Image3d<unsigned short> small;
        vexa::Resize(image, small, FitSquare(image.size, size), vexa::SamplingMode(0));
        vexa::Image3d<unsigned char> grey;
        VELM_Convert::LinearStretch(small, grey);
        grey.SaveImage(GetThumbnailFile(channel_id, size).fn_str(), vexa::FileFormat::FromName, true,
                       nullptr);
        return true;
    } catch (vexa::LibException const & error) {
        VELM_LOG_ERROR("%s: VEXA exception - %s", VELM_FUNCTION, detail::ExceptionText(error));
        wxLogNull const quiet;
        wxRemoveFile(
            GetThumbnailFile(channel_id, size)); // of another image; one is made when it is asked for
        return false;
    }
}

bool VELM_Thumbnail::CreateThumbnail(long channel_id, int size, vexa::Image3d<unsigned short> const & image)
{
    return CheckThumbnailDir() && Create(channel_id, size, image);
}

wxString VELM_Thumbnail::GetURL(long channel_id, int size)
{
    if (_pos_id < 1) {
        VELM_LOG_ERROR("%s: Position number %ld invalid or not set", VELM_FUNCTION, _pos_id);
        return {};
    }
    wxString const existing = GetThumbnailFile(channel_id, size);
    if (wxFileExists(existing)) {
        return existing;
    }
    if (!CheckThumbnailDir()) {
        return {};
    }
    vexa::Image3d<unsigned short> image;
    if (!LoadSourceImage(channel_id, image)) {
        VELM_LOG_ERROR("%s: Unable to create thumbnail for pos_id=%ld, ch_id=%ld", VELM_FUNCTION, _pos_id,
                       channel_id);
        return {};
    }
    return Create(channel_id, size, image) ? GetThumbnailFile(channel_id, size) : wxString();
}

wxString VELM_FOV_Thumbnail::GetThumbnailDir() const
{
    return wxString::Format("%s%s", _depository->FOV_GetDir(_pos_id), "thumbnails");
}

bool VELM_FOV_Thumbnail::LoadSourceImage(long channel_id, vexa::Image3d<unsigned short> & image)
{
    return _depository->FOV_LoadAFImage(_pos_id, channel_id, image, nullptr);
}

wxString VELM_VOI_Thumbnail::GetThumbnailDir() const
{
    return wxString::Format("%s%c%s", _depository->VOI_GetDir(_pos_id, true), wxFileName::GetPathSeparator(),
                            "thumbnails");
}

bool VELM_VOI_Thumbnail::LoadSourceImage(long channel_id, vexa::Image3d<unsigned short> & image)
{
    return _depository->VOI_LoadAFImage(_pos_id, channel_id, image, nullptr);
}

} // namespace velm
