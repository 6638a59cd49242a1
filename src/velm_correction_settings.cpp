#include "velm_correction_settings.h"

#include "velm_config.h"

namespace velm {

namespace {

// The place of each correction in the settings.
enum Place : std::size_t { MANUAL_SHIFT, AUTOMATIC_SHIFT, ILLUMINATION, CHROM_ABER };

// The coefficients of a surface with their keys, in the order of the file.
template <typename Surface, typename Visit>
void ForEachCoefficient(Surface & surface, Visit const & visit)
{
    auto const row = [&](char const * prefix, auto & coefficients) {
        int i = 0;
        for (auto & coefficient : coefficients) {
            visit(wxString::Format("%s_%d", prefix, i++), coefficient);
        }
    };
    row("X_PLANE", surface.x_plane);
    row("Y_PLANE", surface.y_plane);
    row("Z_SURF", surface.z_surface);
}

// The correction at a place, which always is of the class; both forms of the settings' pointers.
template <typename Correction, typename Corrections>
auto * At(Corrections & corrections, Place place)
{
    return static_cast<Correction *>(corrections[place].get());
}

} // namespace

VELM_ShiftCorrection::~VELM_ShiftCorrection() = default;

VELM_ShiftCorrection * VELM_ShiftCorrection::Clone() const
{
    return new VELM_ShiftCorrection(*this);
}

bool VELM_ShiftCorrection::SaveParams(wxFileConfig & config) const
{
    return config::Write(config, "X", _shift.x) && config::Write(config, "Y", _shift.y) &&
           config::Write(config, "Z", _shift.z);
}

void VELM_ShiftCorrection::LoadParams(wxFileConfig const & config)
{
    _shift.x = config::ReadOr(config, "X", 0);
    _shift.y = config::ReadOr(config, "Y", 0);
    _shift.z = config::ReadOr(config, "Z", 0);
}

void VELM_ShiftCorrection::ResetParams()
{
    _shift = {};
}

VELM_ManualShiftCorrection::VELM_ManualShiftCorrection() : VELM_ShiftCorrection("Manual shift") {}

VELM_ManualShiftCorrection::~VELM_ManualShiftCorrection() = default;

VELM_ManualShiftCorrection * VELM_ManualShiftCorrection::Clone() const
{
    return new VELM_ManualShiftCorrection(*this);
}

VELM_AutomaticShiftCorrection::VELM_AutomaticShiftCorrection() : VELM_ShiftCorrection("Automatic shift") {}

VELM_AutomaticShiftCorrection::~VELM_AutomaticShiftCorrection() = default;

VELM_AutomaticShiftCorrection * VELM_AutomaticShiftCorrection::Clone() const
{
    return new VELM_AutomaticShiftCorrection(*this);
}

VELM_ChromAberCorrection::VELM_ChromAberCorrection() : VELM_Correction("Chromatic aberration") {}

VELM_ChromAberCorrection::~VELM_ChromAberCorrection() = default;

VELM_ChromAberCorrection * VELM_ChromAberCorrection::Clone() const
{
    return new VELM_ChromAberCorrection(*this);
}

bool VELM_ChromAberCorrection::SaveParams(wxFileConfig & config) const
{
    bool ok = true;
    ForEachCoefficient(
        _surface, [&](wxString const & key, double value) { ok = ok && config::Write(config, key, value); });
    return ok;
}

void VELM_ChromAberCorrection::LoadParams(wxFileConfig const & config)
{
    ForEachCoefficient(
        _surface, [&](wxString const & key, double & value) { value = config::ReadOr(config, key, 0.0); });
}

void VELM_ChromAberCorrection::ResetParams()
{
    _surface.SetIdentity();
}

VELM_CorrectionSettings::VELM_CorrectionSettings()
{
    _corrections.push_back(std::make_unique<VELM_ManualShiftCorrection>());
    _corrections.push_back(std::make_unique<VELM_AutomaticShiftCorrection>());
    _corrections.push_back(std::make_unique<VELM_IlluminationCorrection>());
    _corrections.push_back(std::make_unique<VELM_ChromAberCorrection>());
}

VELM_CorrectionSettings::VELM_CorrectionSettings(VELM_CorrectionSettings const & other)
{
    for (auto const & correction : other._corrections) {
        _corrections.emplace_back(correction->Clone());
    }
}

VELM_CorrectionSettings & VELM_CorrectionSettings::operator=(VELM_CorrectionSettings const & other)
{
    _corrections = VELM_CorrectionSettings(other)._corrections;
    return *this;
}

VELM_CorrectionSettings::~VELM_CorrectionSettings() = default;

VELM_Correction const * VELM_CorrectionSettings::Get(unsigned int i) const
{
    if (i >= GetCount()) {
        VELM_LOG_ERROR("%s: Index is out of bounds!", VELM_FUNCTION);
        return nullptr;
    }
    return _corrections[i].get();
}

VELM_Correction * VELM_CorrectionSettings::Get(unsigned int i)
{
    return const_cast<VELM_Correction *>(std::as_const(*this).Get(i));
}

VELM_ManualShiftCorrection * VELM_CorrectionSettings::GetManualShiftCorrection()
{
    return At<VELM_ManualShiftCorrection>(_corrections, MANUAL_SHIFT);
}

VELM_ManualShiftCorrection const * VELM_CorrectionSettings::GetManualShiftCorrection() const
{
    return At<VELM_ManualShiftCorrection>(_corrections, MANUAL_SHIFT);
}

VELM_AutomaticShiftCorrection * VELM_CorrectionSettings::GetAutomaticShiftCorrection()
{
    return At<VELM_AutomaticShiftCorrection>(_corrections, AUTOMATIC_SHIFT);
}

VELM_AutomaticShiftCorrection const * VELM_CorrectionSettings::GetAutomaticShiftCorrection() const
{
    return At<VELM_AutomaticShiftCorrection>(_corrections, AUTOMATIC_SHIFT);
}

VELM_IlluminationCorrection * VELM_CorrectionSettings::GetIlluminationCorrection()
{
    return At<VELM_IlluminationCorrection>(_corrections, ILLUMINATION);
}

VELM_IlluminationCorrection const * VELM_CorrectionSettings::GetIlluminationCorrection() const
{
    return At<VELM_IlluminationCorrection>(_corrections, ILLUMINATION);
}

VELM_ChromAberCorrection * VELM_CorrectionSettings::GetChromAberCorrection()
{
    return At<VELM_ChromAberCorrection>(_corrections, CHROM_ABER);
}

VELM_ChromAberCorrection const * VELM_CorrectionSettings::GetChromAberCorrection() const
{
    return At<VELM_ChromAberCorrection>(_corrections, CHROM_ABER);
}

void VELM_CorrectionSettings::SetManualShiftCorrection(VELM_ManualShiftCorrection const * correction)
{
    _corrections[MANUAL_SHIFT].reset(correction->Clone());
}

void VELM_CorrectionSettings::SetAutomaticShiftCorrection(VELM_AutomaticShiftCorrection const * correction)
{
    _corrections[AUTOMATIC_SHIFT].reset(correction->Clone());
}

void VELM_CorrectionSettings::SetIlluminationCorrection(VELM_IlluminationCorrection const * correction)
{
    _corrections[ILLUMINATION].reset(correction->Clone());
}

void VELM_CorrectionSettings::SetChromAberCorrection(VELM_ChromAberCorrection const * correction)
{
    _corrections[CHROM_ABER].reset(correction->Clone());
}

void VELM_CorrectionSettings::Load(wxFileConfig & config)
{
    for (auto const & correction : _corrections) {
        correction->Load(config);
    }
}

bool VELM_CorrectionSettings::Save(wxFileConfig & config) const
{
    bool ok = true;
    for (auto const & correction : _corrections) {
        if (!correction->Save(config)) {
            VELM_LOG_ERROR("%s: A correction method '%s' was not saved properly!", VELM_FUNCTION,
                           correction->GetName());
            ok = false;
        }
    }
    return ok;
}

} // namespace velm
