#include "velm_group.h"

#include "velm_config.h"
#include "velm_max_id_list.h"

namespace velm {

template class VELM_List<VELM_Group>;

bool VELM_Group::Load(wxFileConfig & config)
{
    _name = "Unknown";
    return config::RecordReader(config, "VELM_Group::Load: ")
        .Required("GROUP_ID", _id, "Group id not defined.")
        .Required("NAME", _name, "Group name not defined.")
        .IsOk();
}

bool VELM_Group::Save(wxFileConfig & config) const
{
    return config::Write(config, "GROUP_ID", _id) && config::Write(config, "NAME", _name);
}

bool VELM_GroupList::Load(wxFileConfig & config)
{
    return detail::LoadWithMaxId(config, *this, _max_id, VELM_FUNCTION, "Group");
}

bool VELM_GroupList::Save(wxFileConfig & config) const
{
    char const * const function = VELM_FUNCTION;
    return detail::SaveWithMaxId(config, *this, _max_id, "Group%04ld", [&](VELM_Group const & group) {
        VELM_LOG_ERROR("%s: Group %s not saved.", function, group.GetName());
    });
}

} // namespace velm
