#include "support/temp_depository.h"

#include "drivers/base/general_camera_setting.h"
#include "support/log_recorder.h"
#include "velm_driver_manager.h"
#include "velm_prefs.h"

namespace velm::test {

void WriteOptics(TempDirectory const & directory)
{
    directory.Write("optics/ex_filters.ini", "1=360/40\n2=480/30\n");
    directory.Write("optics/em_filters.ini", "1=460/50\n2=535/40\n");
    directory.Write("optics/objectives.ini", "1=10x dry, 10\n");
    directory.Write("optics/markers.ini", "Blue\n0\n0\nGreen\n1\n1\n");
}

TempDepository::TempDepository()
{
    WriteOptics(_directory);
    _directory.Write("profiles.txt",
                     "Test=" + std::string((_directory / "optics").utf8_str()) + ";hardware.ini\n");
    wxString const ini =
        _directory.Write("velm.ini", "ProfileFile=" + std::string((_directory / "profiles.txt").utf8_str()) +
                                         "\nPluginDir=/none\nDriverDir=/none\nAcqModeDir=/none\n");
    {
        LogRecorder const quiet; // the search for drivers logs its progress
        VELM_Preferences::CreateInstance(ini);
        VELM_DriverManager::CreateInstance(_directory / "drivers", "velm_driver_entry");
    }
    _db = std::make_unique<VELM_Database>(_directory / "optics");
    _depository = std::make_unique<VELM_Depository>(GetDir(), _db.get());
}

TempDepository::~TempDepository()
{
    _depository.reset();
    VELM_DriverManager::DeleteInstance();
    VELM_Preferences::DeleteInstance();
}

VELM_Depository & TempDepository::Reopen()
{
    _depository = std::make_unique<VELM_Depository>(GetDir(), _db.get());
    EXPECT_TRUE(_depository->Open());
    return *_depository;
}

wxString TempDepository::Write(wxString const & name, std::string const & content) const
{
    return _directory.Write("dep/" + name, content);
}

std::string TempDepository::Read(wxString const & name) const
{
    return _directory.Read("dep/" + name);
}

vexa::Image3d<unsigned short> PatternStack(unsigned int x, unsigned int y, unsigned int z)
{
    vexa::Image3d<unsigned short> stack;
    stack.MakeRoom(x, y, z);
    stack.resolution = vexa::Resolution(10.0f, 10.0f, 5.0f);
    stack.offset = {1.0f, 2.0f, 3.0f};
    for (std::size_t i = 0; i < stack.GetCount(); ++i) {
        stack.SetVoxel(i, static_cast<unsigned short>(i * 7919 + 13));
    }
    return stack;
}

VELM_Channel TestChannel(long id, wxString const & name)
{
    VELM_Channel channel(name, 0, 0, 0);
    channel.SetId(id);
    channel.TakeCameraSetting(
        new VELM_GeneralCameraSetting("None", 2, 2, -1, -1, -1, -1, 50000, 12, 12, 1392, 1040));
    return channel;
}

} // namespace velm::test
