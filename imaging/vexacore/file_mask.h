#ifndef VEXACORE_FILE_MASK_H
#define VEXACORE_FILE_MASK_H

#include "vexacore/export.h"

#include <string>
#include <vector>

namespace vexa {

// Expands a file mask to the names that match it, in ascending byte order, with the mask's directory part in
// front. Only the part behind the last "/" may hold wild cards: "*", "?", "[0-9]" and "[!0-9]", and "\" takes
// the meaning from the character behind it. A name that begins with "." matches only a mask that does.
// Directories count when with_directories is true. When nothing matches, out holds the mask itself.
// Replaces the content of out and returns its size.
VEXA_API unsigned int MaskExpand(char const * mask, std::vector<std::string> & out, bool with_directories);

} // namespace vexa

#endif
