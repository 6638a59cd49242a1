#ifndef DRIVERS_BASE_MICROSCOPE_BODY_H
#define DRIVERS_BASE_MICROSCOPE_BODY_H

#include "drivers/base/hw_control.h"
#include "velm_db.h"

#include <vector>
#include <wx/event.h>

class wxWindow;

namespace velm {

// The microscope's stand: its model and its nosepiece of objectives. Works as it is for a stand without a
// driver; a driver's body also receives window events.
class VELM_API VELM_MicroscopeBodyControl : public wxEvtHandler, public VELM_HWControl {
  public:
    // objectives: the catalogue's table, which has to outlive the control. Throws
    // VELM_MicroscopeBodyControlError when it is empty.
    VELM_MicroscopeBodyControl(wxString const & model, std::vector<VELM_ObjectiveInfo> const & objectives,
                               VELM_HWDriver * driver);
    ~VELM_MicroscopeBodyControl() override;

    // Fills the parent with what is known: model and objective, as texts.
    virtual void CreateControlWindow(wxWindow * parent);
    virtual void RefreshControlWindow();

    // Sends the light to the camera rather than to the eyepieces.
    virtual void SetLightPathToCamera();

    // Nothing calls this; it keeps its place in the table of virtual operations.
    virtual void SpareBodyOperation(long argument);

    wxString HWInfo() const override;

    wxString GetObjectiveDescription() const;

  protected:
    void InitHW() override;
    void CloseHW() override;

    friend class VELM_BaseControl;

    // The objective in force.
    VELM_ObjectiveInfo const & GetObjective() const;

    wxString _model;
    std::vector<VELM_ObjectiveInfo> const * _objectives; // not owned
    long _objective = 0;                                 // index of the objective in force
};

} // namespace velm

#endif
