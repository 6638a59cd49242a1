#ifndef VELM_DEPOSITORY_KIND_H
#define VELM_DEPOSITORY_KIND_H

// What tells the two kinds of image set apart. Internal to the sources of VELM_Depository.

#include "velm_depository.h"
#include "velm_thumbnail.h"

#include <memory>

namespace velm {

struct VELM_Depository::Kind {
    char const * name;      // in messages and names of operations
    char const * id_name;   // of the id, in messages
    char const * directory; // of all records, in the depository
    int VELM_Depository::*id_width;
    std::unique_ptr<VELM_Thumbnail> (*make_thumbnail)(VELM_Depository * depository, long id);
};

} // namespace velm

#endif
