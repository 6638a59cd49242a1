// Calibration images: a description and an image each, shared by all channels.

#include "velm_config.h"
#include "velm_depository.h"
#include "velm_log_macros.h"
#include "vexacore/file_mask.h"

#include <string>
#include <vector>
#include <wx/filename.h>

namespace velm {

wxString VELM_Depository::CI_GetDir() const
{
    return PathOf("calib_images");
}

wxString VELM_Depository::CI_GetImageFileName(long id) const
{
    return wxString::Format("%s%cci_%04ld.ics", CI_GetDir(), wxFileName::GetPathSeparator(), id);
}

wxString VELM_Depository::CI_GetDescFileName(long id) const
{
    return wxString::Format("%s%cci_%04ld.txt", CI_GetDir(), wxFileName::GetPathSeparator(), id);
}

bool VELM_Depository::CI_Save(VELM_Calibration_Image & image) const
{
    if (image.IsSaved()) {
        return true;
    }
    if (image.GetId() < 1) {
        image.SetId(CI_FindMaxId() + 1);
        CI_SaveDesc(image);
    }
    if (image.GetFullImage() == nullptr || !CI_SaveImage(image.GetId(), *image.GetFullImage())) {
        VELM_LOG_ERROR("Saving of the calibration image data for id %ld failed!", image.GetId());
        return false;
    }
    return true;
}

bool VELM_Depository::CI_SaveImage(long id, vexa::Image3d<unsigned short> const & image) const
{
    return SaveImage(CI_GetImageFileName(id), image, vexa::ImageNotes());
}

bool VELM_Depository::CI_LoadImage(long id, vexa::Image3d<unsigned short> & image, vexa::Box * box) const
{
    if (!LoadImage(CI_GetImageFileName(id), image, box)) {
        VELM_LOG_ERROR("Cannot load calibration image data for id=%ld", id);
        return false;
    }
    return true;
}

bool VELM_Depository::CI_SaveDesc(VELM_Calibration_Image const & image) const
{
    config::DescriptionFile file(CI_GetDescFileName(image.GetId()));
    bool const saved = image.SaveDesc(file);
    if (!file.Close() || !saved) {
        VELM_LOG_ERROR("Saving of the calibration image description for id %ld failed!", image.GetId());
        return false;
    }
    return true;
}

bool VELM_Depository::CI_LoadDesc(long id, VELM_Calibration_Image & image) const
{
    config::DescriptionFile file(CI_GetDescFileName(id));
    if (!image.LoadDesc(file)) {
        VELM_LOG_ERROR("Loading of the calibration image description for id %ld failed!", id);
        return false;
    }
    return true;
}

long VELM_Depository::CI_FindMaxId() const
{
    wxString const mask =
        wxString::Format("%s%cci_[0-9][0-9][0-9][0-9].txt", CI_GetDir(), wxFileName::GetPathSeparator());
    std::string const narrow_mask(mask.fn_str());
    std::vector<std::string> names;
    vexa::MaskExpand(narrow_mask.c_str(), names, false);
    if (names.empty() || (names.size() == 1 && names.front() == narrow_mask)) {
        return 0;
    }
    // Names come in ascending order, so the last one has the highest number: the four digits after "ci_".
    wxString const last = wxFileName(wxString(names.back().c_str(), *wxConvFileName)).GetFullName();
    long id = 0;
    last.Mid(3, 4).ToLong(&id, 10);
    return id;
}

} // namespace velm
