#ifndef VELM_DB_H
#define VELM_DB_H

#include "velm_error.h"
#include "velm_export.h"

#include <vector>
#include <wx/arrstr.h>
#include <wx/dynarray.h>
#include <wx/string.h>

namespace velm {

// A database file that is missing or damaged, or a revolver position that no filter has.
class VELM_API VELM_DBError : public VELM_Error {
  public:
    using VELM_Error::VELM_Error;
    ~VELM_DBError() override;
};

// One filter of a revolver.
struct VELM_FilterInfo {
    wxString desc; // the text by which channels refer to it
    long pos = -1; // revolver position
};

// One objective.
struct VELM_ObjectiveInfo {
    wxString desc;
    float magnification = 0.0f; // the camera's pixel size is divided by it
    long pos = -1;              // revolver position
};

// One fluorescent marker with the catalogue ids of the filters that suit it.
struct VELM_MarkerInfo {
    wxString name;
    wxArrayLong ex_filters;
    wxArrayLong em_filters;
};

// The catalogue of what the microscope has mounted: filters, markers and objectives, read from four text
// files of one directory and never written.
//
// An id below 1000 is an index into the catalogue, in load order; it is not a revolver position. An id of
// 1000 or more is 1000 plus an index into a table of texts that the catalogue doesn't know, which grows by
// every unknown text asked for, so that records of another microscope stay readable. The tables of unknown
// filters serve both kinds of filter. The getters don't check their ids: hand in only ids that this object
// gave out. Not locked; looking up an unknown text changes the object.
class VELM_API VELM_Database : public VELM_Class {
  public:
    static int const UNKNOWN_FILTER_ID = 1000;
    static int const UNKNOWN_MARKER_ID = 1000;

    // Loads the directory. Throws VELM_DBError.
    explicit VELM_Database(wxString const & directory);
    VELM_Database(VELM_Database const &) = default;
    VELM_Database & operator=(VELM_Database const &) = default;
    ~VELM_Database() override;

    // Loads all tables again. Unknown filters are forgotten; unknown markers keep their ids. Throws
    // VELM_DBError, with the tables loaded so far in place and the later ones empty.
    void ReloadDB(wxString const & directory);

    // Sizes of the catalogue, unknown entries not counted.
    unsigned int GetNumMarkers() const;
    unsigned int GetNumExFilterDescs() const;
    unsigned int GetNumEmFilterDescs() const;

    wxString GetMarkerName(long id) const;
    wxString GetExFilterDesc(long id) const;
    wxString GetEmFilterDesc(long id) const;

    // Revolver position; an unknown filter's position is its id.
    long GetExFilterPos(long id) const;
    long GetEmFilterPos(long id) const;

    // The first filter of the catalogue at the position. Throws VELM_DBError when there is none.
    wxString GetExFilterDescByPos(long pos) const;
    wxString GetEmFilterDescByPos(long pos) const;

    // The id of a text, compared case-sensitively; found tells whether it is in the catalogue, and if not,
    // the id is 1000 or more.
    long GetMarkerId(wxString const & name, bool & found);
    long GetExFilterId(wxString const & desc, bool & found);
    long GetEmFilterId(wxString const & desc, bool & found);

    // Appends the descriptions of the filters that suit a marker of the catalogue.
    void GetSuitableExFilterDescs(long marker_id, wxArrayString & descs) const;
    void GetSuitableEmFilterDescs(long marker_id, wxArrayString & descs) const;

    // The table itself; valid until the next ReloadDB.
    std::vector<VELM_ObjectiveInfo> const & GetObjectiveList() const { return _objectives; }

  private:
    // Index in the table, or the id as an unknown filter.
    long FindFilter(std::vector<VELM_FilterInfo> const & table, wxString const & desc, bool & found);

    // 1000 or more for a text that the catalogue lacks, registered on first sight.
    long FindUnknownFilter(wxString const & desc);
    long FindUnknownMarker(wxString const & name);

    // Lets the user choose the mounted filter that replaces an unknown one; its id.
    long SubstituteUnknownExFilter(wxString const & desc);
    long SubstituteUnknownEmFilter(wxString const & desc);

    void LoadFilterFile(wxString const & path, std::vector<VELM_FilterInfo> & table);
    void LoadObjectiveFile(wxString const & path, std::vector<VELM_ObjectiveInfo> & table);
    void LoadMarkerDB(wxString const & path);

    std::vector<VELM_FilterInfo> _ex_filters;
    std::vector<VELM_FilterInfo> _em_filters;
    std::vector<VELM_FilterInfo> _unknown_filters; // of both kinds
    std::vector<VELM_MarkerInfo> _markers;
    std::vector<VELM_MarkerInfo> _unknown_markers;
    std::vector<VELM_ObjectiveInfo> _objectives;
};

} // namespace velm

#endif
