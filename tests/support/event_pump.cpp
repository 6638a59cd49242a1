#include "support/event_pump.h"

#include <wx/evtloop.h>

namespace velm::test {

void PumpEvents()
{
    auto * const loop = wxEventLoopBase::GetActive();
    loop->YieldFor(wxEVT_CATEGORY_ALL);
    loop->ProcessIdle();
}

} // namespace velm::test
