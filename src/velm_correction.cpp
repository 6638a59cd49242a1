#include "velm_correction.h"

#include "velm_config.h"

namespace velm {

VELM_Correction::~VELM_Correction() = default;

bool VELM_Correction::Save(wxFileConfig & config) const
{
    config::GroupScope const group(config, _name);
    return config::Write(config, "Apply", _applied) && SaveParams(config);
}

void VELM_Correction::Load(wxFileConfig & config)
{
    config::GroupScope const group(config, _name);
    _applied = config::ReadOr(config, "Apply", false);
    LoadParams(config);
}

} // namespace velm
