// FOV records, and the channels' calibration in the file.

#include "velm_config.h"
#include "velm_depository.h"
#include "velm_log_macros.h"

#include <algorithm>

namespace velm {

bool VELM_Depository::FOV_Load(long id, VELM_FOV & fov)
{
    if (!std::binary_search(_fov_ids.begin(), _fov_ids.end(), id)) {
        VELM_LOG_ERROR("VELM_Depository::FOV_Load: Invalid FOV id - %ld", id);
        return false;
    }
    config::DescriptionFile file(FOV_GetDescFileName(id));
    fov.SetId(id);
    if (!fov.Load(file, _db, this)) {
        VELM_LOG_ERROR("VELM_Depository::FOV_Load: Loading FOV %s failed", FOV_IdToString(id));
        return false;
    }
    return true;
}

bool VELM_Depository::FOV_Save(VELM_FOV & fov)
{
    bool const is_new = fov.GetId() == -1;
    if (is_new) {
        long const id = FOV_GetLastID() + 1;
        if (id > FOV_GetMaxId()) {
            VELM_LOG_ERROR("VELM_Depository::FOV_Save: Id overflow");
            return false;
        }
        fov.SetId(id);
    }
    config::DescriptionFile file(FOV_GetDescFileName(fov.GetId()), config::Expansion::Off,
                                 wxCONFIG_USE_RELATIVE_PATH,
                                 is_new ? config::Content::Kept : config::Content::Replaced);
    bool const saved = fov.Save(file, _db, this);
    if (!file.Close() || !saved) {
        VELM_LOG_ERROR("saving FOV failed");
        return false;
    }
    if (is_new) {
        _fov_ids.push_back(fov.GetId());
    }
    return true;
}

void VELM_Depository::RemoveCalibFromChannels()
{
    config::DescriptionFile file(GetChannelFileName());
    config::ForEachGroup(file, [&file](wxString const &) {
        config::Write(file, "CalibImg", GetCalibImgName(0));
        config::Write(file, "CalibType", GetCalibrationTypeName(VELM_CalibrationType(0)));
    });
    file.Close();
}

} // namespace velm
