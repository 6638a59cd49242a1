#include "velm_tools.h"

#include <algorithm>

namespace velm {

bool Tools::ParseIdListString(wxString const & text, wxArrayLong & ids, wxArrayLong const * allowed,
                              wchar_t const & separator)
{
    bool failed = false;
    wxString token;
    for (wxUniChar const c : text) {
        if (c != separator) {
            token << c;
            continue;
        }
        long id = 0;
        if (!token.ToLong(&id, 10)) {
            failed = true;
        } else if (allowed == nullptr || std::find(allowed->begin(), allowed->end(), id) != allowed->end()) {
            ids.push_back(id);
        }
        token.clear();
    }
    return failed;
}

wxString Tools::CreateIdListString(wxArrayLong const & ids, wchar_t const & separator)
{
    wxString text;
    for (long const id : ids) {
        text << wxString::Format("%ld%c", id, separator);
    }
    return text;
}

} // namespace velm
