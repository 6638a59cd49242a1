#ifndef VELM_FILTER_SUBSTITUTION_H
#define VELM_FILTER_SUBSTITUTION_H

// The choice of a mounted filter in place of one that isn't. Internal to the library.

#include "velm_db.h"

namespace velm::detail {

// What a kind of filter is called where the user meets it.
struct FilterWords {
    char const * title; // at the start of a sentence
    char const * name;  // within a sentence
};

VELM_API extern FilterWords const EX_FILTER_WORDS;
VELM_API extern FilterWords const EM_FILTER_WORDS;

// Asks the user until a filter of the table is chosen, and gives its index. Throws VELM_DBError, which names
// the filter, when nobody can be asked or the table is empty.
VELM_API long ChooseFilterSubstitute(std::vector<VELM_FilterInfo> const & mounted, FilterWords const & words,
                                     wxString const & desc);

} // namespace velm::detail

#endif
