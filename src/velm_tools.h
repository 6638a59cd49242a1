#ifndef VELM_TOOLS_H
#define VELM_TOOLS_H

#include "velm_export.h"

#include <wx/dynarray.h>
#include <wx/string.h>

namespace velm {

// Lists of ids as text.
class VELM_API Tools {
  public:
    // Appends to ids the decimal numbers of the text, each of which counts only when a separator closes it;
    // what follows the last separator is ignored. With allowed given, a number that it lacks is dropped
    // silently. The result is true when something went wrong: at least one token was not a number.
    static bool ParseIdListString(wxString const & text, wxArrayLong & ids, wxArrayLong const * allowed,
                                  wchar_t const & separator);

    // Each id followed by the separator; empty for no ids. What it writes, ParseIdListString reads.
    static wxString CreateIdListString(wxArrayLong const & ids, wchar_t const & separator);
};

} // namespace velm

#endif
