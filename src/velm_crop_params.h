#ifndef VELM_CROP_PARAMS_H
#define VELM_CROP_PARAMS_H

#include "velm_export.h"

class wxConfigBase;

namespace velm {

// Where an image set was cut from: the record that it is a part of, -1 for none, and the box. This library
// stores the numbers; their unit is settled between the programs that write and read them.
class VELM_API VELM_CropParams {
  public:
    long GetParentId() const { return _parent_id; }
    void SetParentId(long id) { _parent_id = id; }

    float GetOffsetX() const { return _offset_x; }
    float GetOffsetY() const { return _offset_y; }
    void SetOffset(float x, float y)
    {
        _offset_x = x;
        _offset_y = y;
    }

    float GetSizeX() const { return _size_x; }
    float GetSizeY() const { return _size_y; }
    void SetSize(float x, float y)
    {
        _size_x = x;
        _size_y = y;
    }

    // Reads from the current path; a missing entry gives 0, for the parent too.
    void Load(wxConfigBase const & config);

    // Writes to the current path. Each refused entry logs "<prefix>Entry <key> not saved." and makes the
    // result false.
    bool Save(wxConfigBase & config, char const * prefix) const;

  private:
    long _parent_id = -1;
    float _offset_x = 0.0f;
    float _offset_y = 0.0f;
    float _size_x = 0.0f;
    float _size_y = 0.0f;
};

} // namespace velm

#endif
