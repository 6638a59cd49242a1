#include "velm_illumination_correction.h"

#include "velm_config.h"

#include <array>
#include <utility>

namespace velm {

namespace {

// The homomorphic parameters with their keys, in the order of the file.
constexpr std::array<std::pair<char const *, double vexa::HomomorphicFilterParams::*>, 4> HOM_ENTRIES = {{
    {"HOM_GAMMA_LOW", &vexa::HomomorphicFilterParams::gamma_low},
    {"HOM_GAMMA_HIGH", &vexa::HomomorphicFilterParams::gamma_high},
    {"HOM_C", &vexa::HomomorphicFilterParams::c},
    {"HOM_D0", &vexa::HomomorphicFilterParams::d0},
}};

constexpr vexa::HomomorphicFilterParams NEUTRAL = {1.0, 1.0, 1.0, 1.0};

} // namespace

VELM_IlluminationCorrectionMethod::VELM_IlluminationCorrectionMethod()
{
    for (char const * name :
         {"None", "Calibration image", "B-spline approximation", "Homomorphic filtering"}) {
        _names.push_back(name);
    }
}

VELM_IlluminationCorrectionMethod::VELM_IlluminationCorrectionMethod(Method method)
    : VELM_IlluminationCorrectionMethod()
{
    _method = method;
}

void VELM_IlluminationCorrectionMethod::Set(wxString const & name)
{
    int const index = _names.Index(name);
    _method = index == wxNOT_FOUND ? NONE : static_cast<Method>(index);
}

wxString VELM_IlluminationCorrectionMethod::GetName() const
{
    auto const index = static_cast<std::size_t>(_method);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wtype-limits" // the condition is shown to whoever trips it
    wxASSERT(index >= 0 && index < _names.GetCount());
#pragma GCC diagnostic pop
    return index < _names.GetCount() ? _names[index] : wxString();
}

VELM_IlluminationCorrection::VELM_IlluminationCorrection()
    : VELM_Correction("Illumination correction"), _hom_filter(NEUTRAL)
{
}

VELM_IlluminationCorrection::~VELM_IlluminationCorrection() = default;

VELM_IlluminationCorrection * VELM_IlluminationCorrection::Clone() const
{
    return new VELM_IlluminationCorrection(*this);
}

bool VELM_IlluminationCorrection::SaveParams(wxFileConfig & config) const
{
    bool ok = config::Write(config, "METHOD", _method.GetName());
    for (auto const & [key, param] : HOM_ENTRIES) {
        ok = ok && config::Write(config, key, _hom_filter.*param);
    }
    return ok;
}

void VELM_IlluminationCorrection::LoadParams(wxFileConfig const & config)
{
    _method.Set(config::ReadOr(config, "METHOD", ""));
    for (auto const & [key, param] : HOM_ENTRIES) {
        _hom_filter.*param = config::ReadOr(config, key, _hom_filter.*param);
    }
}

void VELM_IlluminationCorrection::ResetParams()
{
    _method.Set(VELM_IlluminationCorrectionMethod::NONE);
    _hom_filter = NEUTRAL;
}

} // namespace velm
