#include "drivers/base/microscope_body.h"

#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/window.h>

namespace velm {

VELM_MicroscopeBodyControl::VELM_MicroscopeBodyControl(wxString const & model,
                                                       std::vector<VELM_ObjectiveInfo> const & objectives,
                                                       VELM_HWDriver * driver)
    : VELM_HWControl(driver), _model(model), _objectives(&objectives)
{
    if (objectives.empty()) {
        throw VELM_MicroscopeBodyControlError("VELM_MicroscopeBodyControl::VELM_MicroscopeBodyControl: At "
                                              "least one objective must be defined!");
    }
}

VELM_MicroscopeBodyControl::~VELM_MicroscopeBodyControl() = default;

void VELM_MicroscopeBodyControl::CreateControlWindow(wxWindow * parent)
{
    auto * const sizer = new wxBoxSizer(wxVERTICAL);
    for (wxString const & text : {wxString::Format("Model:         %s", _model),
                                  wxString::Format("Objective:   %s", GetObjectiveDescription())}) {
        auto * const label = new wxStaticText(parent, wxID_ANY, wxControl::EscapeMnemonics(text));
        sizer->Add(label, 0, wxALL, 5);
    }
    parent->SetSizer(sizer);
}

void VELM_MicroscopeBodyControl::RefreshControlWindow() {}

void VELM_MicroscopeBodyControl::SetLightPathToCamera() {}

void VELM_MicroscopeBodyControl::SpareBodyOperation(long) {}

wxString VELM_MicroscopeBodyControl::HWInfo() const
{
    return wxString::Format("General MicroscopeBody Control (%s)", GetDriverInfo());
}

wxString VELM_MicroscopeBodyControl::GetObjectiveDescription() const
{
    return GetObjective().desc;
}

void VELM_MicroscopeBodyControl::InitHW() {}

void VELM_MicroscopeBodyControl::CloseHW() {}

VELM_ObjectiveInfo const & VELM_MicroscopeBodyControl::GetObjective() const
{
    return _objectives->at(static_cast<std::size_t>(_objective));
}

} // namespace velm
