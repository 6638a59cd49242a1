#include "velm_hardware_params.h"

#include "velm_config.h"

namespace velm {

void VELM_HardwareParams::Load(wxConfigBase const & config)
{
    _hw_desc = config::ReadOr(config, "HW_DESC", "Unknown");
    _obj_desc = config::ReadOr(config, "OBJ_DESC", "Unknown");
}

bool VELM_HardwareParams::Save(wxConfigBase & config, char const * prefix) const
{
    return config::RecordWriter(config, prefix)
        .Entry("HW_DESC", _hw_desc)
        .Entry("OBJ_DESC", _obj_desc)
        .IsOk();
}

} // namespace velm
