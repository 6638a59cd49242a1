#ifndef VELM_OBJECT_PARAM_H
#define VELM_OBJECT_PARAM_H

#include "velm_export.h"
#include "velm_list.h"

#include <iosfwd>
#include <memory>
#include <vector>
#include <wx/string.h>

class wxFileConfig;

namespace velm {

class VELM_Depository;

// The kinds of value that a parameter can have, as numbered in the file.
enum ParamType : int { INT_PARAM = 0, FLOAT_PARAM = 1 };

// One measurement of an object: the id of its description and a value.
class VELM_API VELM_ObjectParam {
  public:
    virtual ~VELM_ObjectParam();

    virtual wxString GetStrValue() const = 0;

    // A copy of the object's own class, owned by the caller.
    virtual VELM_ObjectParam * Clone() const = 0;

    long GetId() const { return _id; }
    void SetId(long id) { _id = id; }

    // Writes the id, a blank and the value. Reading takes the value only: whoever chose the class has read
    // the id.
    void WriteToStream(std::ostream & out) const;
    void ReadFromStream(std::istream & in);

  protected:
    explicit VELM_ObjectParam(long id) : _id(id) {}
    VELM_ObjectParam(VELM_ObjectParam const &) = default;
    VELM_ObjectParam & operator=(VELM_ObjectParam const &) = default;

    virtual void WriteValueToStream(std::ostream & out) const = 0;
    virtual void ReadValueFromStream(std::istream & in) = 0;

  private:
    long _id;
};

class VELM_API VELM_ObjectParam_Int : public VELM_ObjectParam {
  public:
    explicit VELM_ObjectParam_Int(long id = -1, int value = 0) : VELM_ObjectParam(id), _value(value) {}

    int GetValue() const { return _value; }
    void SetValue(int value) { _value = value; }

    wxString GetStrValue() const override;
    VELM_ObjectParam_Int * Clone() const override;

  protected:
    void WriteValueToStream(std::ostream & out) const override;
    void ReadValueFromStream(std::istream & in) override;

  private:
    int _value;
};

class VELM_API VELM_ObjectParam_Float : public VELM_ObjectParam {
  public:
    explicit VELM_ObjectParam_Float(long id = -1, float value = 0.0f) : VELM_ObjectParam(id), _value(value) {}

    float GetValue() const { return _value; }
    void SetValue(float value) { _value = value; }

    wxString GetStrValue() const override;
    VELM_ObjectParam_Float * Clone() const override;

  protected:
    void WriteValueToStream(std::ostream & out) const override;
    void ReadValueFromStream(std::istream & in) override;

  private:
    float _value;
};

// The measurements of one object, in the order of adding, no two with the same id. It owns them; copies are
// deep.
class VELM_API VELM_ObjectParamList {
  public:
    VELM_ObjectParamList() = default;
    VELM_ObjectParamList(VELM_ObjectParamList const & other);
    VELM_ObjectParamList(VELM_ObjectParamList &&) noexcept = default;
    VELM_ObjectParamList & operator=(VELM_ObjectParamList other) noexcept;
    ~VELM_ObjectParamList();

    unsigned int GetCount() const { return static_cast<unsigned int>(_params.size()); }

    // Null when there is no such parameter; an index out of range also gives an error line.
    VELM_ObjectParam const * Get(long id) const;
    VELM_ObjectParam const * Get(unsigned int index) const;

    // Stores a copy, in the place of a parameter with the same id if there is one.
    void Add(VELM_ObjectParam const & param);

    // An absent id is ignored.
    void Delete(long id);

    // The number of parameters, then each with its id, every number followed by a blank. Reading asks the
    // depository's descriptions for the kind of each parameter. False, with an empty list, when one has no
    // description, which also gives an error line, or when the stream fails.
    void WriteToStream(std::ostream & out) const;
    bool ReadFromStream(std::istream & in, VELM_Depository const * depository);

  private:
    // Position of the parameter with the id, or -1.
    int Find(long id) const;
    void Clear() { _params.clear(); }

    std::vector<std::unique_ptr<VELM_ObjectParam>> _params;
};

// What a parameter id means: a name for the user and the kind of value.
class VELM_API VELM_ObjectParamDesc {
  public:
    explicit VELM_ObjectParamDesc(long id = -1, wxString const & name = wxEmptyString,
                                  ParamType type = INT_PARAM)
        : _id(id), _name(name), _type(type)
    {
    }
    VELM_ObjectParamDesc(VELM_ObjectParamDesc const &) = default;
    VELM_ObjectParamDesc & operator=(VELM_ObjectParamDesc const &) = default;
    virtual ~VELM_ObjectParamDesc();

    long GetId() const { return _id; }
    void SetId(long id) { _id = id; }

    wxString const & GetName() const { return _name; }
    void SetName(wxString const & name) { _name = name; }

    ParamType GetType() const { return _type; }
    void SetType(ParamType type) { _type = type; }

    // Whether the parameter is to be printed.
    bool GetPrint() const { return _print; }
    void SetPrint(bool print) { _print = print; }

    // Entries at the current path. Loading goes on after a missing entry, with an error line and the result
    // false; a missing id stays as it was. Saving stops at a refused entry.
    bool Load(wxFileConfig & config);
    bool Save(wxFileConfig & config) const;

  private:
    friend class VELM_List<VELM_ObjectParamDesc>;

    long _id;
    wxString _name;
    ParamType _type;
    bool _print = false;
};

extern template class VELM_API VELM_List<VELM_ObjectParamDesc>;

// The parameter descriptions of a depository. The highest id ever given out is kept in the file, so that the
// id of a deleted description, which objects may still carry, is never given to another.
class VELM_API VELM_ObjectParamDescList : public VELM_List<VELM_ObjectParamDesc> {
  public:
    // The id of the description with this type and exactly this name, which is added when there is none. The
    // caller saves the list.
    long GetDescId(ParamType type, wxString const & name);

    // Whether the parameter's id is described here, with the type that fits its class.
    bool HasParam(VELM_ObjectParam const & param) const;

    // A new parameter of the described kind with value 0, owned by the caller; null when the id isn't
    // described or its type is none of the known ones.
    VELM_ObjectParam * CreateParam(long id) const;

    // Replaces the list by the groups at the current path. One that loads badly is kept, with an error line
    // and the result false.
    bool Load(wxFileConfig & config);

    // Writes all descriptions and flushes. False, with an error line for each, when some weren't saved. The
    // path is inside the last group afterwards.
    bool Save(wxFileConfig & config) const;
};

} // namespace velm

#endif
