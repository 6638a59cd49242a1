// Stacks, AF images and histograms of FOVs and VOIs.

#include "velm_depository.h"
#include "velm_depository_kind.h"
#include "velm_log_macros.h"
#include "velm_prefs.h"
#include "velm_prompt.h"
#include "vexaalgo/projection.h"

#include <new>
#include <wx/filefn.h>
#include <wx/wfstream.h>

namespace velm {

using Stack = vexa::Image3d<unsigned short>;
using GreyHistogram = nubo::Histogram<unsigned short>;

namespace {

constexpr int thumbnail_size = 128;

// Counts every voxel, one bin per grey value.
void CountVoxels(Stack const & image, GreyHistogram & histogram)
{
    histogram.Init(0, 0xFFFF, 0x10000);
    histogram.Count(image.GetFirstVoxelAddr(), image.GetCount());
}

// Without the toolkit's own line about a failure.
bool RemoveQuietly(wxString const & path)
{
    wxLogNull const quiet;
    return wxRemoveFile(path);
}

// Opens a stream on the file; null when it can't.
template <typename Stream>
Stream * OpenStream(wxString const & path)
{
    wxLogNull const quiet;
    auto stream = std::make_unique<Stream>(path);
    return stream->IsOk() ? stream.release() : nullptr;
}

} // namespace

// --- reading any image

namespace {

// Runs the read, and turns whatever goes wrong into one error line in the name of the caller.
template <typename Image, typename Read>
bool ReadGuarded(wxString const & name, Image & image, char const * function, Read read)
{
    auto const failed = [function](wxString const & text) {
        wxLogger(wxLOG_Error, __FILE__, __LINE__, function, wxLOG_COMPONENT).Log("%s", text);
        return false;
    };
    try {
        read();
        return image.resolution.IsDefined() ||
               failed(wxString::Format("The image '%s' has undefined resolution!", name));
    } catch (vexa::IOException const & error) {
        return failed("IO error: " + detail::ExceptionText(error));
    } catch (std::bad_alloc const & error) {
        return failed(wxString::Format("Not enough memory to complete operation (%s)!", error.what()));
    } catch (...) {
        return failed("Cannot read input image (unknown exception caught)!");
    }
}

} // namespace

bool VELM_Depository::LoadImage(wxString const & name, Stack & image, vexa::Box * box) const
{
    return ReadGuarded(name, image, VELM_FUNCTION,
                       [&] { image.ReadImage(name.fn_str(), box, false, -1, nullptr, nullptr); });
}

bool VELM_Depository::LoadImage(wxString const & name, vexa::LabeledImage3d<unsigned short, bool> & image,
                                vexa::Box * box) const
{
    return ReadGuarded(name, image, VELM_FUNCTION,
                       [&] { image.ReadImage(name.fn_str(), box, false, 0xFFFFFFFFu); });
}

// --- writing a channel's image

bool VELM_Depository::SaveImage(wxString const & name, Stack const & image, vexa::ImageNotes const & notes)
{
    try {
        image.SaveImage(name.fn_str(), vexa::FileFormat::FromName,
                        VELM_Preferences::GetInstance()->GetEnableCompression(), nullptr, notes);
        return true;
    } catch (vexa::IOException const & error) {
        VELM_LOG_ERROR("%s", detail::ExceptionText(error));
        return false;
    }
}

vexa::ImageNotes VELM_Depository::NotesOf(Kind const & kind, long id, long channel_id) const
{
    vexa::ImageNotes notes;
    try {
        notes =
            vexa::ReadImageNotes(ImageFileName(kind, id, channel_id).fn_str(), vexa::FileFormat::FromName);
    } catch (vexa::IOException const &) {
        // A first stack has nothing to keep, nor has one that replaces a damaged file.
    }
    if (_channels.Contains(channel_id)) {
        notes.channel = _channels.GetById(channel_id).GetName().utf8_string();
    }
    return notes;
}

// --- file names

wxString VELM_Depository::ImageFileName(Kind const & kind, long id, long channel_id) const
{
    return wxString::Format("%s%02ld.ics", RecordDir(kind, id, true), channel_id);
}

wxString VELM_Depository::AFImageFileName(Kind const & kind, long id, long channel_id) const
{
    return wxString::Format("%s%02ld_af.ics", RecordDir(kind, id, true), channel_id);
}

wxString VELM_Depository::OldAFImageFileName(Kind const & kind, long id, long channel_id) const
{
    return wxString::Format("%s%02ld_af.tif", RecordDir(kind, id, true), channel_id);
}

wxString VELM_Depository::HistFileName(Kind const & kind, long id, long channel_id) const
{
    return wxString::Format("%s%02ld.hist", RecordDir(kind, id, true), channel_id);
}

wxString VELM_Depository::FOV_GetImageFileName(long id, long channel_id) const
{
    return ImageFileName(FOV, id, channel_id);
}

wxString VELM_Depository::VOI_GetImageFileName(long id, long channel_id) const
{
    return ImageFileName(VOI, id, channel_id);
}

wxString VELM_Depository::FOV_GetAFImageFileName(long id, long channel_id) const
{
    return AFImageFileName(FOV, id, channel_id);
}

wxString VELM_Depository::VOI_GetAFImageFileName(long id, long channel_id) const
{
    return AFImageFileName(VOI, id, channel_id);
}

wxString VELM_Depository::FOV_GetOldAFImageFileName(long id, long channel_id) const
{
    return OldAFImageFileName(FOV, id, channel_id);
}

wxString VELM_Depository::VOI_GetOldAFImageFileName(long id, long channel_id) const
{
    return OldAFImageFileName(VOI, id, channel_id);
}

wxString VELM_Depository::FOV_GetHistFileName(long id, long channel_id) const
{
    return HistFileName(FOV, id, channel_id);
}

wxString VELM_Depository::VOI_GetHistFileName(long id, long channel_id) const
{
    return HistFileName(VOI, id, channel_id);
}

// --- stacks

bool VELM_Depository::FOV_LoadImage(long id, long channel_id, Stack & image, vexa::Box * box)
{
    return LoadImage(FOV_GetImageFileName(id, channel_id), image, box);
}

bool VELM_Depository::VOI_LoadImage(long id, long channel_id, Stack & image, vexa::Box * box)
{
    return LoadImage(VOI_GetImageFileName(id, channel_id), image, box);
}

bool VELM_Depository::SaveStack(Kind const & kind, long id, long channel_id, Stack const & image,
                                wxDateTime const & acquired)
{
    vexa::ImageNotes notes = NotesOf(kind, id, channel_id);
    if (acquired.IsValid()) {
        notes.acquired = acquired.Format("%Y-%m-%dT%H:%M:%S.%lZ", wxDateTime::UTC).utf8_string();
    }
    // First, so that no failure leaves the histogram of another image; a missing one is made when it is asked
    // for.
    wxString const histogram_file = HistFileName(kind, id, channel_id);
    RemoveQuietly(histogram_file);
    if (!SaveImage(ImageFileName(kind, id, channel_id), image, notes)) {
        return false;
    }
    GreyHistogram histogram;
    CountVoxels(image, histogram);
    if (!histogram.Save(histogram_file)) {
        VELM_LOG_WARNING("%s_SaveImage: Unable to save image histogram (%s=%ld ch_id=%ld)", kind.name,
                         kind.id_name, id, channel_id);
    }
    return true;
}

bool VELM_Depository::FOV_SaveImage(long id, long channel_id, Stack & image)
{
    return SaveStack(FOV, id, channel_id, image, wxDateTime());
}

bool VELM_Depository::FOV_SaveImage(long id, long channel_id, Stack & image, wxDateTime const & acquired)
{
    return SaveStack(FOV, id, channel_id, image, acquired);
}

bool VELM_Depository::VOI_SaveImage(long id, long channel_id, Stack & image)
{
    return SaveStack(VOI, id, channel_id, image, wxDateTime());
}

bool VELM_Depository::VOI_SaveImage(long id, long channel_id, Stack & image, wxDateTime const & acquired)
{
    return SaveStack(VOI, id, channel_id, image, acquired);
}

// --- AF images

bool VELM_Depository::SaveAF(Kind const & kind, long id, long channel_id, Stack const & image)
{
    if (!SaveImage(AFImageFileName(kind, id, channel_id), image, NotesOf(kind, id, channel_id))) {
        return false;
    }
    kind.make_thumbnail(this, id)->CreateThumbnail(channel_id, thumbnail_size, image);
    return true;
}

bool VELM_Depository::FOV_SaveAFImage(long id, long channel_id, Stack & image)
{
    return SaveAF(FOV, id, channel_id, image);
}

bool VELM_Depository::VOI_SaveAFImage(long id, long channel_id, Stack & image)
{
    return SaveAF(VOI, id, channel_id, image);
}

bool VELM_Depository::LoadOldAF(Kind const & kind, long id, long channel_id, Stack & image)
{
    wxString const old_file = OldAFImageFileName(kind, id, channel_id);
    if (!wxFileExists(old_file)) {
        VELM_LOG_MESSAGE("AF image for %s=%ld, ch_id=%ld is missing!", kind.id_name, id, channel_id);
        return false;
    }
    VELM_LOG_MESSAGE(
        "Please wait - AF image for %s=%ld, ch_id=%ld is in old format, trying to re-create it...",
        kind.id_name, id, channel_id);
    if (!LoadImage(old_file, image, nullptr)) {
        VELM_LOG_ERROR("Unable to load old AF image for %s=%ld, ch_id=%ld", kind.id_name, id, channel_id);
        return false;
    }
    return true;
}

bool VELM_Depository::MakeAF(Kind const & kind, long id, long channel_id, Stack & image)
{
    VELM_LOG_MESSAGE("Please wait - Trying to recreate AF image for %s=%ld, ch_id=%ld from 3D image...",
                     kind.id_name, id, channel_id);
    Stack stack;
    if (!LoadImage(ImageFileName(kind, id, channel_id), stack, nullptr)) {
        VELM_LOG_ERROR(
            "VELM_Depository::%s_LoadAFImage: Unable to create AF from 3D image, %s=%ld, ch_id=%ld",
            kind.name, kind.id_name, id, channel_id);
        return false;
    }
    vexa::Get_AF_XY(stack, image);
    return true;
}

void VELM_Depository::KeepMadeAF(Kind const & kind, long id, long channel_id, Stack const & image,
                                 bool from_old_file) const
{
    try {
        image.SaveImage(AFImageFileName(kind, id, channel_id).fn_str(), vexa::FileFormat::FromName, true,
                        nullptr, NotesOf(kind, id, channel_id));
    } catch (vexa::IOException const & error) {
        VELM_LOG_ERROR("Unable to save recreated AF image (%s)", detail::ExceptionText(error));
        return;
    }
    wxString const old_file = OldAFImageFileName(kind, id, channel_id);
    if (from_old_file && !RemoveQuietly(old_file)) {
        VELM_LOG_WARNING("Old AF image file '%s' cannot be removed! Try to do it manually.", old_file);
    }
}

bool VELM_Depository::LoadAF(Kind const & kind, long id, long channel_id, Stack & image, vexa::Box * box)
{
    wxString const file = AFImageFileName(kind, id, channel_id);
    if (wxFileExists(file)) {
        return LoadImage(file, image, box);
    }
    Stack made;
    bool const from_old_file = LoadOldAF(kind, id, channel_id, made);
    if (!from_old_file && !MakeAF(kind, id, channel_id, made)) {
        return false;
    }
    KeepMadeAF(kind, id, channel_id, made, from_old_file);
    try {
        image = Stack(made, box);
        return true;
    } catch (vexa::LibException const & error) {
        VELM_LOG_ERROR("%s", detail::ExceptionText(error));
        return false;
    }
}

bool VELM_Depository::FOV_LoadAFImage(long id, long channel_id, Stack & image, vexa::Box * box)
{
    return LoadAF(FOV, id, channel_id, image, box);
}

bool VELM_Depository::VOI_LoadAFImage(long id, long channel_id, Stack & image, vexa::Box * box)
{
    return LoadAF(VOI, id, channel_id, image, box);
}

// --- histograms

bool VELM_Depository::LoadHist(Kind const & kind, long id, long channel_id, GreyHistogram & histogram)
{
    wxString const file = HistFileName(kind, id, channel_id);
    if (histogram.Load(file)) {
        return true;
    }
    prompt::BusyBox const busy("Creating histogram...");
    Stack image;
    if (!LoadImage(ImageFileName(kind, id, channel_id), image, nullptr)) {
        VELM_LOG_ERROR("%s_LoadHistogram: Unable to load channel image (%s=%ld ch_id=%ld)", kind.name,
                       kind.id_name, id, channel_id);
        return false;
    }
    CountVoxels(image, histogram);
    if (!histogram.Save(file)) {
        VELM_LOG_WARNING("%s_LoadHistogram: Unable to save histogram (%s=%ld ch_id=%ld)", kind.name,
                         kind.id_name, id, channel_id);
    }
    return true;
}

bool VELM_Depository::FOV_LoadHistogram(long id, long channel_id, GreyHistogram & histogram)
{
    return LoadHist(FOV, id, channel_id, histogram);
}

bool VELM_Depository::VOI_LoadHistogram(long id, long channel_id, GreyHistogram & histogram)
{
    return LoadHist(VOI, id, channel_id, histogram);
}

// --- headers and streams

bool VELM_Depository::ReadDimensions(Kind const & kind, long id, long channel_id,
                                     vexa::Vector3d<unsigned int> & size, vexa::Vector3d<float> & offset,
                                     vexa::Vector3d<float> & resolution) const
{
    wxString const file = ImageFileName(kind, id, channel_id);
    try {
        vexa::ImageHeader const header = vexa::ReadImageHeader(file.fn_str(), vexa::FileFormat::FromName);
        size = header.size;
        offset = header.offset;
        resolution = header.resolution.GetRes();
        return true;
    } catch (vexa::IOException const & error) {
        VELM_LOG_ERROR("VELM_Depository::%s_GetDimensions: %s", kind.name, detail::ExceptionText(error));
    } catch (...) {
        VELM_LOG_ERROR("VELM_Depository::%s_GetDimensions: Unknown exception when loading %s", kind.name,
                       file);
    }
    return false;
}

bool VELM_Depository::FOV_GetDimensions(long id, long channel_id, vexa::Vector3d<unsigned int> & size,
                                        vexa::Vector3d<float> & offset, vexa::Vector3d<float> & resolution)
{
    return ReadDimensions(FOV, id, channel_id, size, offset, resolution);
}

bool VELM_Depository::VOI_GetDimensions(long id, long channel_id, vexa::Vector3d<unsigned int> & size,
                                        vexa::Vector3d<float> & offset, vexa::Vector3d<float> & resolution)
{
    return ReadDimensions(VOI, id, channel_id, size, offset, resolution);
}

wxInputStream * VELM_Depository::FOV_GetImageInputStream(long id, long channel_id) const
{
    wxInputStream * const stream = OpenStream<wxFileInputStream>(FOV_GetImageFileName(id, channel_id));
    if (stream == nullptr) {
        VELM_LOG_ERROR("VELM_Depository::FOV_GetImageInputStream: Cannot create input stream for fov_id=%ld, "
                       "ch_id=%ld!",
                       id, channel_id);
    }
    return stream;
}

wxOutputStream * VELM_Depository::FOV_GetImageOutputStream(long id, long channel_id)
{
    wxOutputStream * const stream = OpenStream<wxFileOutputStream>(FOV_GetImageFileName(id, channel_id));
    if (stream == nullptr) {
        VELM_LOG_ERROR(
            "VELM_Depository::FOV_GetImageOutputStream: Cannot create output stream for fov_id=%ld, "
            "ch_id=%ld!",
            id, channel_id);
    }
    return stream;
}

// --- resolution

bool VELM_Depository::ChangeChannelResolution(Kind const & kind, long id, long channel_id,
                                              vexa::Vector3d<float> const & resolution)
{
    Stack image;
    if (!LoadAF(kind, id, channel_id, image, nullptr)) {
        return false;
    }
    image.resolution = vexa::Resolution(resolution);
    if (!SaveAF(kind, id, channel_id, image) ||
        !LoadImage(ImageFileName(kind, id, channel_id), image, nullptr)) {
        return false;
    }
    image.resolution = vexa::Resolution(resolution);
    if (!SaveStack(kind, id, channel_id, image, wxDateTime())) {
        return false;
    }
    kind.make_thumbnail(this, id)->Delete(channel_id);
    return true;
}

bool VELM_Depository::ChangeResolution(Kind const & kind, long id, VELM_ChannelList const & channels,
                                       vexa::Vector3d<float> const & resolution)
{
    for (unsigned int i = 0; i < channels.GetCount(); ++i) {
        if (!ChangeChannelResolution(kind, id, channels[i].GetId(), resolution)) {
            VELM_LOG_ERROR("Unable to update images in %s %s", kind.name,
                           wxString::Format(IdFormat(this->*kind.id_width), id));
            return false;
        }
    }
    return true;
}

bool VELM_Depository::FOV_ChangeResolution(VELM_FOV & fov, vexa::Vector3d<float> & resolution)
{
    return ChangeResolution(FOV, fov.GetId(), fov.GetChannelListRef(), resolution);
}

// --- thumbnails

wxString VELM_Depository::FOV_GetThumbnailURL(long fov_id, long channel_id)
{
    return FOV.make_thumbnail(this, fov_id)->GetURL(channel_id, thumbnail_size);
}

wxString VELM_Depository::VOI_GetThumbnailURL(long voi_id, long channel_id)
{
    return VOI.make_thumbnail(this, voi_id)->GetURL(channel_id, thumbnail_size);
}

} // namespace velm
