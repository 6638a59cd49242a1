#ifndef VELM_DEPOSITORY_KIND_H
#define VELM_DEPOSITORY_KIND_H

// What tells the two kinds of image set apart. Internal to the sources of VELM_Depository.

#include "velm_depository.h"

namespace velm {

struct VELM_Depository::Kind {
    char const * name;      // in messages and names of operations
    char const * id_name;   // of the id, in messages
    char const * directory; // of all records, in the depository
    int VELM_Depository::*id_width;
};

} // namespace velm

#endif
