#ifndef VELM_CAMSET_READER_H
#define VELM_CAMSET_READER_H

#include "velm_export.h"

class wxFileConfig;

namespace velm {

class VELM_CameraSetting;

// Reads a camera setting as an object of the class of its driver, or of the general class, which keeps what
// the driver added, when that driver isn't loaded. Needs the driver manager's instance.
class VELM_API VELM_CameraSetting_Reader {
  public:
    // Reads from the group CameraSetting, or from the current path when there is no such group. Deletes
    // *setting first; afterwards it is the new setting, owned by the caller, or null when the record has
    // none, which is a success. False, with an error line, when reading failed; *setting may then be set.
    bool Load(wxFileConfig & config, VELM_CameraSetting ** setting);

  private:
    // Reads from the current path into *setting, which is null.
    bool LoadCameraSetting(wxFileConfig & config, VELM_CameraSetting ** setting);
};

} // namespace velm

#endif
