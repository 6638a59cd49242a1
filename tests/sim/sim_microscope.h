#ifndef SIM_MICROSCOPE_H
#define SIM_MICROSCOPE_H

// The driver as an application meets it: a library in a directory, the rig's files, and the base control.
// VELM_RIG_DIR and VELM_SIM_DRIVER_DIR tell where these are.

#include "drivers/base/velm_base.h"
#include "support/log_recorder.h"
#include "support/temp_directory.h"
#include "velm_channel.h"
#include "velm_db.h"
#include "velm_driver_manager.h"
#include "velm_driver_package.h"
#include "velm_frame_buffer.h"

#include <memory>
#include <string>
#include <wx/dynlib.h>

namespace velm::sim::test {

using velm::test::LogRecorder;
using velm::test::ReadFile;
using velm::test::TempDirectory;

// One microscope at a time; all that is logged meanwhile is recorded.
class SimMicroscope {
  public:
    SimMicroscope() : _db(wxString(VELM_RIG_DIR) + "/optics")
    {
        _manager = VELM_DriverManager::CreateInstance(VELM_SIM_DRIVER_DIR, "velm_driver_entry");
    }

    ~SimMicroscope()
    {
        _base.reset();
        VELM_DriverManager::DeleteInstance();
    }

    SimMicroscope(SimMicroscope const &) = delete;
    SimMicroscope & operator=(SimMicroscope const &) = delete;

    // The rig's hardware ini on a machine that works at once and takes full frames, with more lines in the
    // driver's section; they win over those of the file.
    static std::string HardwareIni(std::string const & more)
    {
        std::string ini = ReadFile(wxString(VELM_RIG_DIR) + "/hw/simulated.ini");
        std::string const pace = "TimeScale=1\nBinning=2\nExposure=40000\n";
        return ini.replace(ini.find(pace), pace.size(), "TimeScale=0\n" + more);
    }

    // Builds the rig with those lines.
    VELM_BaseControl & Build(std::string const & more = "") { return BuildFrom(HardwareIni(more)); }

    // Builds the rig of a whole hardware ini.
    VELM_BaseControl & BuildFrom(std::string const & ini)
    {
        _ini = _dir.Write("hw.ini", ini);
        _base = std::make_unique<VELM_BaseControl>(_ini, &_db, _manager);
        return *_base;
    }

    VELM_BaseControl & Start(std::string const & more = "")
    {
        Build(more).Init();
        return *_base;
    }

    // A channel of the marker of that number with its first filters and the camera's own setting.
    VELM_Channel ChannelOf(int marker) const
    {
        VELM_Channel channel(_db.GetMarkerName(static_cast<unsigned int>(marker)), marker, marker, marker);
        channel.TakeCameraSetting(_base->Camera_CreateNewSetting());
        return channel;
    }

    // A frame with the setting, region and filters in force, the right way round; leaves the shutter open.
    vexa::Image3d<unsigned short> TakeFrame()
    {
        _base->Shutter_Open();
        VELM_FrameBuffer buffer(_base->GetImgFlipX(), _base->GetImgFlipY());
        _base->Camera_StartSnap(&buffer);
        while (_base->Camera_GetStatus(nullptr) != CAMERA_FRAME_READY &&
               _base->Camera_GetStatus(nullptr) != CAMERA_IDLE) {
        }
        vexa::Image3d<unsigned short> image;
        image.MakeRoom(buffer.GetSizeX(), buffer.GetSizeY(), 1);
        buffer.Map(image, 0);
        return image;
    }

    // A function that the loaded driver exports.
    template <typename Function>
    static Function Exported(char const * name)
    {
        wxLogNull const quiet;
        wxDynamicLibrary library(wxString(VELM_SIM_DRIVER_DIR) + "/velm_sim.so", wxDL_NOW | wxDL_VERBATIM);
        void * const symbol = library.GetSymbol(name);
        library.Detach();
        return reinterpret_cast<Function>(symbol);
    }

  protected:
    TempDirectory _dir;
    LogRecorder _log;
    VELM_Database _db;
    VELM_DriverManager * _manager;
    std::unique_ptr<VELM_BaseControl> _base;
    wxString _ini;
};

} // namespace velm::sim::test

#endif
