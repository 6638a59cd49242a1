#include "support/stub_microscope.h"

#include "support/log_recorder.h"

namespace velm::test {

std::string const StubMicroscope::known_scale = "MicResX=6000\nMicResY=6300\n";

StubMicroscope::StubMicroscope()
{
    Rig() = StubRig();
    _directory.Write("optics/ex_filters.ini", "1=BP 480\n2=BP 546\n");
    _directory.Write("optics/em_filters.ini", "0=LP 515\n3=BP 600\n");
    _directory.Write("optics/markers.ini", "FITC\n0\n0\n");
    _directory.Write("optics/objectives.ini", "1=Plan 10x,10\n2=Apo 60x,60\n");
    _db = std::make_unique<VELM_Database>(_directory / "optics");
}

StubMicroscope::~StubMicroscope()
{
    LogRecorder const progress;
    _control.reset();
}

std::string StubMicroscope::WholeRig(std::string const & root)
{
    std::string ini = root;
    for (char const * device :
         {"Camera", "ZDrive", "Stage", "Shutter", "ExFilter", "EmFilter", "MicroscopeBody"}) {
        ini += "[" + std::string(device) + "]\nDriver=SecA\n";
    }
    return ini + "[SecA]\nName=StubA\n";
}

VELM_BaseControl & StubMicroscope::Build(std::string const & ini)
{
    _control.reset();
    _directory.Write("hardware.ini", ini);
    _control = std::make_unique<VELM_BaseControl>(GetIniPath(), _db.get(), _drivers.Get());
    return *_control;
}

VELM_BaseControl & StubMicroscope::Start()
{
    LogRecorder const progress;
    Build(WholeRig()).Init();
    Rig().TakeCalls();
    return *_control;
}

} // namespace velm::test
