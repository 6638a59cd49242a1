#ifndef SIM_BASE_CONTROL_H
#define SIM_BASE_CONTROL_H

// The driver as an application meets it: a library in a directory, the rig's files, and the base control.

#include "drivers/base/velm_base.h"
#include "support/log_recorder.h"
#include "support/temp_directory.h"
#include "velm_db.h"
#include "velm_driver_manager.h"
#include "velm_driver_package.h"
#include "velm_frame_buffer.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <wx/dynlib.h>

namespace velm::sim::test {

using velm::test::LogRecorder;
using velm::test::ReadFile;
using velm::test::TempDirectory;

class SimRig : public testing::Test {
  protected:
    SimRig() : _db(wxString(VELM_RIG_DIR) + "/optics")
    {
        _manager = VELM_DriverManager::CreateInstance(VELM_SIM_DRIVER_DIR, "velm_driver_entry");
    }

    ~SimRig() override
    {
        _base.reset();
        VELM_DriverManager::DeleteInstance();
    }

    // The rig's hardware ini on a machine that works at once and takes full frames, with more lines in the
    // driver's section; they win over those of the file.
    static std::string HardwareIni(std::string const & more)
    {
        std::string ini = ReadFile(wxString(VELM_RIG_DIR) + "/hw/simulated.ini");
        std::string const pace = "TimeScale=1\nBinning=2\nExposure=40000\n";
        return ini.replace(ini.find(pace), pace.size(), "TimeScale=0\n" + more);
    }

    // Builds the rig with those lines.
    VELM_BaseControl & Build(std::string const & more = "")
    {
        _ini = _dir.Write("hw.ini", HardwareIni(more));
        _base = std::make_unique<VELM_BaseControl>(_ini, &_db, _manager);
        return *_base;
    }

    VELM_BaseControl & Start(std::string const & more = "")
    {
        Build(more).Init();
        return *_base;
    }

    // A sharp frame of the first marker, the right way round.
    vexa::Image3d<unsigned short> Snap()
    {
        _base->ExFilter_SetPos(1);
        _base->EmFilter_SetPos(1);
        _base->Shutter_Open();
        VELM_FrameBuffer buffer(_base->GetImgFlipX(), _base->GetImgFlipY());
        _base->Camera_SetFullFrame();
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

    TempDirectory _dir;
    LogRecorder _log;
    VELM_Database _db;
    VELM_DriverManager * _manager;
    std::unique_ptr<VELM_BaseControl> _base;
    wxString _ini;
};

} // namespace velm::sim::test

#endif
