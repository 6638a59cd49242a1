#include "velm_db.h"

#include "velm_config.h"
#include "velm_filter_substitution.h"
#include "velm_prompt.h"

#include <cmath>
#include <fstream>
#include <limits>
#include <wx/convauto.h>
#include <wx/filefn.h>

namespace velm {

namespace {

// The record that an id means: an id below the first unknown one indexes the catalogue's table.
template <typename Info>
Info const & InfoOf(std::vector<Info> const & catalogue, std::vector<Info> const & unknown, long id,
                    long first_unknown)
{
    return id < first_unknown ? catalogue[static_cast<std::size_t>(id)]
                              : unknown[static_cast<std::size_t>(id - first_unknown)];
}

// Index of the first record with exactly that text, or -1.
template <typename Info>
long IndexOf(std::vector<Info> const & table, wxString Info::*text, wxString const & wanted)
{
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (table[i].*text == wanted) {
            return static_cast<long>(i);
        }
    }
    return -1;
}

wxString DescByPos(std::vector<VELM_FilterInfo> const & table, long pos, detail::FilterWords const & words)
{
    for (VELM_FilterInfo const & filter : table) {
        if (filter.pos == pos) {
            return filter.desc;
        }
    }
    throw VELM_DBError(wxString::Format(
        "Description of position #\"%ld\" in %s revolver not found in database.", pos, words.name));
}

// A revolver position, from an entry's name.
long PositionFrom(wxString const & entry, wxString const & path)
{
    unsigned long pos = 0;
    // The conversion takes a minus sign and wraps.
    if (entry.StartsWith("-") || !entry.ToULong(&pos, 10) ||
        pos > static_cast<unsigned long>(std::numeric_limits<long>::max())) {
        throw VELM_DBError(
            wxString::Format("Error in file '%s' at entry '%s' (must be ULong).", path, entry));
    }
    return static_cast<long>(pos);
}

// An objective from "description,magnification"; false when the text has another form.
bool ParseObjective(wxString const & value, VELM_ObjectiveInfo & objective)
{
    std::size_t const comma = value.find(',');
    if (comma == wxString::npos || comma == 0 || comma + 1 == value.length()) {
        return false;
    }
    double magnification = 0.0;
    bool const is_number = value.Mid(comma + 1).ToCDouble(&magnification);
    if (!is_number || !(std::fabs(magnification) <= double{std::numeric_limits<float>::max()})) {
        return false;
    }
    objective.desc = value.Left(comma);
    objective.magnification = static_cast<float>(magnification);
    return true;
}

// Numbers separated by commas, at least one; false when any part is not a number.
bool ParseIdList(wxString const & line, wxArrayLong & ids)
{
    std::size_t begin = 0;
    while (true) {
        std::size_t const comma = line.find(',', begin);
        long id = 0;
        if (!line.substr(begin, comma == wxString::npos ? comma : comma - begin).ToLong(&id, 10)) {
            return false;
        }
        ids.push_back(id);
        if (comma == wxString::npos) {
            return true;
        }
        begin = comma + 1;
    }
}

// The next line, decoded as the toolkit decodes the other files of the catalogue, so that a name reads alike
// in all of them. A carriage return at its end belongs to the line end of a file from another platform.
wxString NextLine(std::istream & in)
{
    std::string line;
    std::getline(in, line);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return wxString(line.data(), wxConvAuto(), line.size());
}

// The ids on the next line; throws when it isn't a list of them.
wxArrayLong NextIdList(std::istream & in, char const * kind, wxString const & path, wxString const & marker)
{
    wxArrayLong ids;
    if (!ParseIdList(NextLine(in), ids)) {
        throw VELM_DBError(
            wxString::Format("%s definition error (file: %s, marker: %s)", kind, path, marker));
    }
    return ids;
}

} // namespace

detail::FilterWords const detail::EX_FILTER_WORDS = {"Excitation filter", "excitation filter"};
detail::FilterWords const detail::EM_FILTER_WORDS = {"Emission filter", "emission filter"};

long detail::ChooseFilterSubstitute(std::vector<VELM_FilterInfo> const & mounted, FilterWords const & words,
                                    wxString const & desc)
{
    if (mounted.empty() || !prompt::IsInteractive()) {
        throw VELM_DBError(wxString::Format("No substitution can be chosen for %s '%s'.", words.name, desc));
    }
    wxArrayString choices;
    for (VELM_FilterInfo const & filter : mounted) {
        choices.push_back(filter.desc);
    }
    wxString const message = wxString::Format(
        "%s '%s' is not actually installed.\nPlease select its substitution:", words.title, desc);
    wxString const caption = wxString::Format("%s substitution control", words.title);
    wxString const reminder = wxString::Format("You must select one %s!", words.name);

    int choice = prompt::ChooseOne(message, caption, choices);
    while (choice == -1) {
        prompt::ShowMessage(reminder, caption);
        choice = prompt::ChooseOne(message, caption, choices);
    }
    return choice;
}

VELM_DBError::~VELM_DBError() = default;

int const VELM_Database::UNKNOWN_FILTER_ID;
int const VELM_Database::UNKNOWN_MARKER_ID;

VELM_Database::VELM_Database(wxString const & directory)
{
    ReloadDB(directory);
}

VELM_Database::~VELM_Database() = default;

void VELM_Database::ReloadDB(wxString const & directory)
{
    _ex_filters.clear();
    _em_filters.clear();
    _unknown_filters.clear();
    _markers.clear();
    _objectives.clear();

    LoadFilterFile(wxString::Format("%s/ex_filters.ini", directory), _ex_filters);
    LoadFilterFile(wxString::Format("%s/em_filters.ini", directory), _em_filters);
    LoadMarkerDB(wxString::Format("%s/markers.ini", directory));
    LoadObjectiveFile(wxString::Format("%s/objectives.ini", directory), _objectives);
}

unsigned int VELM_Database::GetNumMarkers() const
{
    return static_cast<unsigned int>(_markers.size());
}

unsigned int VELM_Database::GetNumExFilterDescs() const
{
    return static_cast<unsigned int>(_ex_filters.size());
}

unsigned int VELM_Database::GetNumEmFilterDescs() const
{
    return static_cast<unsigned int>(_em_filters.size());
}

wxString VELM_Database::GetMarkerName(long id) const
{
    return InfoOf(_markers, _unknown_markers, id, UNKNOWN_MARKER_ID).name;
}

wxString VELM_Database::GetExFilterDesc(long id) const
{
    return InfoOf(_ex_filters, _unknown_filters, id, UNKNOWN_FILTER_ID).desc;
}

wxString VELM_Database::GetEmFilterDesc(long id) const
{
    return InfoOf(_em_filters, _unknown_filters, id, UNKNOWN_FILTER_ID).desc;
}

long VELM_Database::GetExFilterPos(long id) const
{
    return InfoOf(_ex_filters, _unknown_filters, id, UNKNOWN_FILTER_ID).pos;
}

long VELM_Database::GetEmFilterPos(long id) const
{
    return InfoOf(_em_filters, _unknown_filters, id, UNKNOWN_FILTER_ID).pos;
}

wxString VELM_Database::GetExFilterDescByPos(long pos) const
{
    return DescByPos(_ex_filters, pos, detail::EX_FILTER_WORDS);
}

wxString VELM_Database::GetEmFilterDescByPos(long pos) const
{
    return DescByPos(_em_filters, pos, detail::EM_FILTER_WORDS);
}

long VELM_Database::GetMarkerId(wxString const & name, bool & found)
{
    long const index = IndexOf(_markers, &VELM_MarkerInfo::name, name);
    found = index >= 0;
    return found ? index : FindUnknownMarker(name);
}

long VELM_Database::GetExFilterId(wxString const & desc, bool & found)
{
    return FindFilter(_ex_filters, desc, found);
}

long VELM_Database::GetEmFilterId(wxString const & desc, bool & found)
{
    return FindFilter(_em_filters, desc, found);
}

void VELM_Database::GetSuitableExFilterDescs(long marker_id, wxArrayString & descs) const
{
    wxASSERT(marker_id >= 0 && marker_id < UNKNOWN_MARKER_ID);
    for (long const id : _markers[static_cast<std::size_t>(marker_id)].ex_filters) {
        descs.push_back(GetExFilterDesc(id));
    }
}

void VELM_Database::GetSuitableEmFilterDescs(long marker_id, wxArrayString & descs) const
{
    wxASSERT(marker_id >= 0 && marker_id < UNKNOWN_MARKER_ID);
    for (long const id : _markers[static_cast<std::size_t>(marker_id)].em_filters) {
        descs.push_back(GetEmFilterDesc(id));
    }
}

long VELM_Database::FindFilter(std::vector<VELM_FilterInfo> const & table, wxString const & desc,
                               bool & found)
{
    long const index = IndexOf(table, &VELM_FilterInfo::desc, desc);
    found = index >= 0;
    return found ? index : FindUnknownFilter(desc);
}

long VELM_Database::FindUnknownFilter(wxString const & desc)
{
    long index = IndexOf(_unknown_filters, &VELM_FilterInfo::desc, desc);
    if (index < 0) {
        index = static_cast<long>(_unknown_filters.size());
        _unknown_filters.push_back({desc, UNKNOWN_FILTER_ID + index});
    }
    return UNKNOWN_FILTER_ID + index;
}

long VELM_Database::FindUnknownMarker(wxString const & name)
{
    long index = IndexOf(_unknown_markers, &VELM_MarkerInfo::name, name);
    if (index < 0) {
        index = static_cast<long>(_unknown_markers.size());
        _unknown_markers.push_back({name, {}, {}});
    }
    return UNKNOWN_MARKER_ID + index;
}

long VELM_Database::SubstituteUnknownExFilter(wxString const & desc)
{
    return detail::ChooseFilterSubstitute(_ex_filters, detail::EX_FILTER_WORDS, desc);
}

long VELM_Database::SubstituteUnknownEmFilter(wxString const & desc)
{
    return detail::ChooseFilterSubstitute(_em_filters, detail::EM_FILTER_WORDS, desc);
}

void VELM_Database::LoadFilterFile(wxString const & path, std::vector<VELM_FilterInfo> & table)
{
    config::DescriptionFile const file(path, config::Expansion::On);
    for (wxString const & entry : config::EntryNames(file)) {
        long const pos = PositionFrom(entry, path);
        table.push_back({config::ReadOr(file, entry, ""), pos});
    }
}

void VELM_Database::LoadObjectiveFile(wxString const & path, std::vector<VELM_ObjectiveInfo> & table)
{
    if (!wxFileExists(path)) {
        throw VELM_DBError(wxString::Format("Cannot find the database file '%s'.", path));
    }
    config::DescriptionFile const file(path, config::Expansion::On);
    wxArrayString const entries = config::EntryNames(file);
    if (entries.empty()) {
        throw VELM_DBError(
            wxString::Format("Database error: At least one objective must be defined in file '%s'.", path));
    }
    for (wxString const & entry : entries) {
        VELM_ObjectiveInfo objective;
        objective.pos = PositionFrom(entry, path);
        if (!ParseObjective(config::ReadOr(file, entry, ""), objective)) {
            throw VELM_DBError(
                wxString::Format("Error in file '%s' at entry '%s' (unknown format).", path, entry));
        }
        table.push_back(objective);
    }
}

void VELM_Database::LoadMarkerDB(wxString const & path)
{
    std::ifstream in(static_cast<char const *>(path.fn_str()));
    if (in.fail()) {
        throw VELM_DBError(wxString::Format("Can't open file '%s'.", path));
    }
    // A name that ends the file without a line feed opens no record.
    for (wxString name = NextLine(in); !in.eof(); name = NextLine(in)) {
        VELM_MarkerInfo marker;
        marker.name = name;
        marker.ex_filters = NextIdList(in, "ExFilter", path, name);
        marker.em_filters = NextIdList(in, "EmFilter", path, name);
        _markers.push_back(marker);
    }
}

} // namespace velm
