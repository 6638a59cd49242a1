#include "velm_profile.h"

#include "velm_config.h"
#include "velm_prompt.h"

#include <wx/filefn.h>

namespace velm {

void VELM_Profile::Set(wxString const & name, wxString const & db_dir, wxString const & hw_file)
{
    *this = VELM_Profile(name, db_dir, hw_file);
}

VELM_Profile const & VELM_ProfileList::Get(unsigned int i) const
{
    wxASSERT(i < _prof_list.size());
    return _prof_list[i];
}

void VELM_ProfileList::GetProfileNames(wxArrayString & names) const
{
    names.clear();
    for (VELM_Profile const & profile : _prof_list) {
        names.push_back(profile.GetName());
    }
}

bool VELM_ProfileList::Load(wxString const & file)
{
    if (!wxFileExists(file)) {
        wxString const text = wxString::Format("Cannot find the profile file '%s'. HW disabled!", file);
        VELM_LOG_ERROR("%s", text);
        prompt::ShowLogged(text);
        return false;
    }
    config::DescriptionFile const config(file, config::Expansion::On);
    for (wxString const & name : config::EntryNames(config)) {
        wxString const value = config::ReadOr(config, name, "");
        std::size_t const semicolon = value.find(';');
        if (semicolon == wxString::npos || semicolon == 0 || semicolon + 1 == value.length()) {
            VELM_LOG_WARNING("Error in file '%s' at entry '%s' (unknown format).", file, name);
            continue;
        }
        _prof_list.emplace_back(name, value.Left(semicolon), value.Mid(semicolon + 1));
    }
    if (_prof_list.empty()) {
        wxString const text = wxString::Format("No profile defined in '%s'. HW disabled!", file);
        VELM_LOG_WARNING("%s", text);
        prompt::ShowLogged(text);
        return false;
    }
    return true;
}

} // namespace velm
