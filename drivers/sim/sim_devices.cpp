#include "sim_devices.h"

#include <cmath>
#include <wx/choice.h>
#include <wx/sizer.h>

namespace velm::sim {

namespace {

using ZDriveGuard = DeviceGuard<VELM_ZDriveControlError>;
using StageGuard = DeviceGuard<VELM_StageControlError>;
using ShutterGuard = DeviceGuard<VELM_ShutterControlError>;
using FilterGuard = DeviceGuard<VELM_FilterControlError>;
using BodyGuard = DeviceGuard<VELM_MicroscopeBodyControlError>;

// Where it stands at the start is set in the configuration; it needs no move.
constexpr long START = static_cast<long>(VELM_ZDriveControl::INIT_POS_CURRENT);

} // namespace

SimZDrive::SimZDrive(Machine & machine, VELM_HWDriver * driver)
    : VELM_ZDriveControl(machine.Config().z_lower, machine.Config().z_upper, machine.Config().calib_offset,
                         START, driver),
      _machine(&machine)
{
}

wxString SimZDrive::HWInfo() const
{
    return wxString::Format("Simulated Z drive, %ld to %ld (%s)", _hw_lower, _hw_upper, GetDriverInfo());
}

bool SimZDrive::IsMoving()
{
    return ZDriveGuard::Run([&] { return _machine->IsMoving(Device::ZDRIVE); });
}

void SimZDrive::Move(long pos)
{
    ZDriveGuard::Run([&] { _machine->MoveZ(static_cast<double>(pos), false); });
}

void SimZDrive::MoveRel(long step)
{
    ZDriveGuard::Run([&] { _machine->MoveZ(static_cast<double>(step), true); });
}

long SimZDrive::ReadPos()
{
    return ZDriveGuard::Run([&] { return std::lround(_machine->ReadZ()); });
}

void SimZDrive::InitHW()
{
    ZDriveGuard::Run([&] { _machine->Call("ZDrive.Init"); });
}

void SimZDrive::CloseHW() {}

SimStage::SimStage(Machine & machine, VELM_HWDriver * driver) : VELM_StageControl(driver), _machine(&machine)
{
}

wxString SimStage::HWInfo() const
{
    return wxString::Format("Simulated stage, +-%ld (%s)", _machine->Config().stage_limit, GetDriverInfo());
}

bool SimStage::IsMoving()
{
    return StageGuard::Run([&] { return _machine->IsMoving(Device::STAGE); });
}

void SimStage::Move(long x, long y)
{
    StageGuard::Run([&] { _machine->MoveStage(static_cast<double>(x), static_cast<double>(y), false); });
}

void SimStage::MoveRel(long dx, long dy)
{
    StageGuard::Run([&] { _machine->MoveStage(static_cast<double>(dx), static_cast<double>(dy), true); });
}

void SimStage::ReadPos(long & x, long & y)
{
    auto const place = StageGuard::Run([&] { return _machine->ReadStage(); });
    x = std::lround(place.first);
    y = std::lround(place.second);
}

void SimStage::InitHW()
{
    StageGuard::Run([&] { _machine->Call("Stage.Init"); });
}

void SimStage::CloseHW() {}

SimShutter::SimShutter(Machine & machine, VELM_HWDriver * driver)
    : VELM_ShutterControl(driver), _machine(&machine)
{
}

wxString SimShutter::HWInfo() const
{
    return wxString::Format("Simulated shutter (%s)", GetDriverInfo());
}

bool SimShutter::IsMoving()
{
    return ShutterGuard::Run([&] { return _machine->IsMoving(Device::SHUTTER); });
}

void SimShutter::Open()
{
    ShutterGuard::Run([&] { _machine->MoveShutter(true); });
}

bool SimShutter::IsOpened()
{
    return ShutterGuard::Run([&] { return _machine->IsShutterOpen(); });
}

void SimShutter::Close()
{
    ShutterGuard::Run([&] { _machine->MoveShutter(false); });
}

void SimShutter::InitHW()
{
    ShutterGuard::Run([&] { _machine->Call("Shutter.Init"); });
}

void SimShutter::CloseHW() {}

SimFilter::SimFilter(Machine & machine, Device which, VELM_HWDriver * driver)
    : VELM_FilterControl(driver), _machine(&machine), _which(which)
{
}

wxString SimFilter::HWInfo() const
{
    return wxString::Format("Simulated filter exchanger, positions 0 to %ld (%s)",
                            _machine->Config().filter_positions, GetDriverInfo());
}

bool SimFilter::IsMoving()
{
    return FilterGuard::Run([&] { return _machine->IsMoving(_which); });
}

long SimFilter::ReadPos()
{
    return FilterGuard::Run([&] { return _machine->ReadFilter(_which); });
}

void SimFilter::Move(long pos)
{
    FilterGuard::Run([&] { _machine->MoveFilter(_which, pos); });
}

void SimFilter::InitHW()
{
    FilterGuard::Run(
        [&] { _machine->Call(_which == Device::EX_FILTER ? "ExFilter.Init" : "EmFilter.Init"); });
}

void SimFilter::CloseHW() {}

SimBody::SimBody(Machine & machine, std::vector<VELM_ObjectiveInfo> const & objectives,
                 VELM_HWDriver * driver)
    : VELM_MicroscopeBodyControl("Simulated microscope", objectives, driver), _machine(&machine)
{
    long const position = machine.Config().objective;
    for (std::size_t i = 0; i < objectives.size(); ++i) {
        if (objectives[i].pos == position) {
            TurnTo(static_cast<long>(i));
        }
    }
}

wxString SimBody::HWInfo() const
{
    return wxString::Format("Simulated microscope body (%s)", GetDriverInfo());
}

void SimBody::CreateControlWindow(wxWindow * parent)
{
    wxArrayString names;
    for (VELM_ObjectiveInfo const & objective : *_objectives) {
        names.Add(objective.desc);
    }
    auto * const choice = new wxChoice(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, names);
    choice->SetSelection(static_cast<int>(_objective));
    // Bound to the choice, not to this control, so that a window that outlives a click does no harm to it.
    choice->Bind(wxEVT_CHOICE, [this](wxCommandEvent & event) { TurnTo(event.GetSelection()); });
    auto * const sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(choice, 0, wxALL, 5);
    parent->SetSizer(sizer);
    sizer->SetSizeHints(parent);
}

void SimBody::SetLightPathToCamera()
{
    BodyGuard::Run([&] { _machine->SetLightPathToCamera(); });
}

void SimBody::TurnTo(long index)
{
    BodyGuard::Run([&] { _machine->SetObjective(static_cast<std::size_t>(index)); });
    _objective = index;
}

void SimBody::InitHW()
{
    BodyGuard::Run([&] { _machine->Call("Body.Init"); });
}

void SimBody::CloseHW() {}

} // namespace velm::sim
