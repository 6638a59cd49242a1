#ifndef VELM_COORDS_H
#define VELM_COORDS_H

#include "velm_export.h"
#include "velm_list.h"

#include <wx/string.h>

namespace velm {

// One place on the sample: stage and Z-drive position, camera region, and where the record came from.
//
// Positions are in the units of the stage and the Z drive. The region is in sensor pixels (unbinned), first
// and last included; -1 in all four numbers stands for the full frame.
class VELM_API VELM_Coord {
  public:
    enum CoordType : int {
        UNKNOWN = 0,
        USER_DEFINED = 1,
        AUTO_GENERATED = 2,
        TARN_IMPORT = 3,
        CROP_GENERATED = 4
    };

    explicit VELM_Coord(long id = -1, long x = -1, long y = -1, long z = -1, int x1 = -1, int y1 = -1,
                        int x2 = -1, int y2 = -1, CoordType type = USER_DEFINED)
        : _id(id), _x(x), _y(y), _z(z), _x1(x1), _x2(x2), _y1(y1), _y2(y2), _type(type)
    {
    }

    long GetId() const { return _id; }
    void SetId(long id) { _id = id; }

    void GetPosition(long & x, long & y, long & z) const;
    void GetStagePosition(long & x, long & y) const;
    void SetStagePosition(long x, long y);
    void GetZDrivePosition(long & z) const { z = _z; }
    long GetZDrivePosition() const { return _z; }
    void SetZDrivePosition(long z) { _z = z; }

    void GetCameraRegion(int & x1, int & y1, int & x2, int & y2) const;
    void SetCameraRegion(int x1, int y1, int x2, int y2);
    void SetFullFrame() { SetCameraRegion(-1, -1, -1, -1); }
    bool IsFullFrame() const;

    // "Full frame", or width and height in sensor pixels, such as "100 x 80".
    wxString GetCameraRegionToString() const;

    CoordType GetType() const { return _type; }
    void SetType(CoordType type) { _type = type; }

    // Asymmetric: the ids count only when other's id isn't -1, so that a probe without an id finds the place
    // whatever its id is.
    bool operator==(VELM_Coord const & other) const;

    // One word; "Unknown" for any value that has no name, and back.
    static wxString TypeToString(CoordType const & type);
    static CoordType StringToType(wxString const & text);

  private:
    friend class VELM_List<VELM_Coord>;

    long _id;
    long _x;
    long _y;
    long _z;
    int _x1;
    int _x2;
    int _y1;
    int _y2;
    CoordType _type;
};

extern template class VELM_API VELM_List<VELM_Coord>;

// The plan of places that an acquisition visits, kept in a text file of one line per place.
class VELM_API VELM_CoordList : public VELM_List<VELM_Coord> {
  public:
    // Writes the file; the one before stays as its name with ".old". False, with an error line, when it can't
    // be written.
    bool Save(wxString const & file) const;

    // Replaces the list by the file's places, numbered from 1 in their order: the ids in the file are not
    // taken, so hold none over a load. False, with an error line, when the file can't be read, which leaves
    // the list as it was, or at a line of another form, which leaves the places before it.
    bool Load(wxString const & file);

    // Whether a place equal to coord is in the list; see VELM_Coord's comparison.
    bool Exists(VELM_Coord const & coord) const;
};

} // namespace velm

#endif
