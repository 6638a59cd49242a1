#include "velm_object_param.h"

#include "velm_config.h"
#include "velm_depository.h"
#include "velm_max_id_list.h"

#include <charconv>
#include <istream>
#include <ostream>
#include <string>

namespace velm {

template class VELM_List<VELM_ObjectParamDesc>;

VELM_ObjectParam::~VELM_ObjectParam() = default;

void VELM_ObjectParam::WriteToStream(std::ostream & out) const
{
    out << _id << ' ';
    WriteValueToStream(out);
}

void VELM_ObjectParam::ReadFromStream(std::istream & in)
{
    ReadValueFromStream(in);
}

wxString VELM_ObjectParam_Int::GetStrValue() const
{
    return wxString::Format("%d", _value);
}

VELM_ObjectParam_Int * VELM_ObjectParam_Int::Clone() const
{
    return new VELM_ObjectParam_Int(*this);
}

void VELM_ObjectParam_Int::WriteValueToStream(std::ostream & out) const
{
    out << _value;
}

void VELM_ObjectParam_Int::ReadValueFromStream(std::istream & in)
{
    in >> _value;
}

wxString VELM_ObjectParam_Float::GetStrValue() const
{
    return wxString::Format("%f", _value);
}

VELM_ObjectParam_Float * VELM_ObjectParam_Float::Clone() const
{
    return new VELM_ObjectParam_Float(*this);
}

void VELM_ObjectParam_Float::WriteValueToStream(std::ostream & out) const
{
    out << _value;
}

void VELM_ObjectParam_Float::ReadValueFromStream(std::istream & in)
{
    // A stream writes "nan" and "inf", which measurements can be, but doesn't read them; the conversion that
    // does takes no plus sign.
    std::string word;
    in >> word;
    bool const has_plus = word.size() > 1 && word[0] == '+' && word[1] != '-';
    char const * const end = word.data() + word.size();
    auto const [behind, error] = std::from_chars(word.data() + (has_plus ? 1 : 0), end, _value);
    if (error != std::errc() || behind != end) {
        in.setstate(std::ios::failbit);
    }
}

VELM_ObjectParamList::VELM_ObjectParamList(VELM_ObjectParamList const & other)
{
    for (auto const & param : other._params) {
        _params.emplace_back(param->Clone());
    }
}

VELM_ObjectParamList & VELM_ObjectParamList::operator=(VELM_ObjectParamList other) noexcept
{
    _params = std::move(other._params);
    return *this;
}

VELM_ObjectParamList::~VELM_ObjectParamList() = default;

VELM_ObjectParam const * VELM_ObjectParamList::Get(long id) const
{
    int const index = Find(id);
    return index >= 0 ? _params[static_cast<std::size_t>(index)].get() : nullptr;
}

VELM_ObjectParam const * VELM_ObjectParamList::Get(unsigned int index) const
{
    if (index >= GetCount()) {
        VELM_LOG_ERROR("%s: Index is out of bounds!", VELM_FUNCTION);
        return nullptr;
    }
    return _params[index].get();
}

void VELM_ObjectParamList::Add(VELM_ObjectParam const & param)
{
    std::unique_ptr<VELM_ObjectParam> copy(param.Clone());
    int const index = Find(param.GetId());
    if (index >= 0) {
        _params[static_cast<std::size_t>(index)] = std::move(copy);
    } else {
        _params.push_back(std::move(copy));
    }
}

void VELM_ObjectParamList::Delete(long id)
{
    int const index = Find(id);
    if (index >= 0) {
        _params.erase(_params.begin() + index);
    }
}

int VELM_ObjectParamList::Find(long id) const
{
    for (std::size_t i = 0; i < _params.size(); ++i) {
        if (_params[i]->GetId() == id) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void VELM_ObjectParamList::WriteToStream(std::ostream & out) const
{
    out << _params.size() << ' ';
    for (auto const & param : _params) {
        param->WriteToStream(out);
        out << ' ';
    }
}

bool VELM_ObjectParamList::ReadFromStream(std::istream & in, VELM_Depository const * depository)
{
    Clear();
    unsigned int count = 0;
    in >> count;
    for (unsigned int i = 0; i < count && in; ++i) {
        long id = 0;
        if (!(in >> id)) {
            break;
        }
        std::unique_ptr<VELM_ObjectParam> param(depository->GetObjectParamDescListRef().CreateParam(id));
        if (!param) {
            VELM_LOG_ERROR("%s: Invalid object parameter id=%ld", VELM_FUNCTION, id);
            Clear();
            return false;
        }
        param->ReadFromStream(in);
        _params.push_back(std::move(param));
    }
    if (!in) {
        Clear();
        return false;
    }
    return true;
}

VELM_ObjectParamDesc::~VELM_ObjectParamDesc() = default;

bool VELM_ObjectParamDesc::Load(wxFileConfig & config)
{
    _name = "Unknown";
    int type = INT_PARAM;
    bool const ok = config::RecordReader(config, "velm::VELM_ObjectParamDesc::Load: ")
                        .Required("PARAM_ID", _id, "Object parameter id not defined.")
                        .Required("NAME", _name, "Object parameter name not defined.")
                        .Required("TYPE", type, "Object parameter type not defined.")
                        .Optional("PRINT", _print, false)
                        .IsOk();
    _type = static_cast<ParamType>(type);
    return ok;
}

bool VELM_ObjectParamDesc::Save(wxFileConfig & config) const
{
    return config::Write(config, "PARAM_ID", _id) && config::Write(config, "NAME", _name) &&
           config::Write(config, "TYPE", static_cast<int>(_type)) && config::Write(config, "PRINT", _print);
}

long VELM_ObjectParamDescList::GetDescId(ParamType type, wxString const & name)
{
    for (VELM_ObjectParamDesc const & desc : _items) {
        if (desc.GetType() == type && desc.GetName() == name) {
            return desc.GetId();
        }
    }
    VELM_ObjectParamDesc desc(-1, name, type);
    Add(desc);
    return desc.GetId();
}

bool VELM_ObjectParamDescList::HasParam(VELM_ObjectParam const & param) const
{
    std::unique_ptr<VELM_ObjectParam> const described(CreateParam(param.GetId()));
    if (!described) {
        return false;
    }
    VELM_ObjectParam const & wanted = *described;
    return typeid(wanted) == typeid(param);
}

VELM_ObjectParam * VELM_ObjectParamDescList::CreateParam(long id) const
{
    if (!Contains(id)) {
        return nullptr;
    }
    switch (GetById(id).GetType()) {
    case INT_PARAM:
        return new VELM_ObjectParam_Int(id);
    case FLOAT_PARAM:
        return new VELM_ObjectParam_Float(id);
    }
    return nullptr;
}

bool VELM_ObjectParamDescList::Load(wxFileConfig & config)
{
    return detail::LoadWithMaxId(config, *this, _max_id, VELM_FUNCTION, "Object parameter");
}

bool VELM_ObjectParamDescList::Save(wxFileConfig & config) const
{
    char const * const function = VELM_FUNCTION;
    return detail::SaveWithMaxId(
        config, *this, _max_id, "ObjectParam%04ld", [&](VELM_ObjectParamDesc const & desc) {
            VELM_LOG_ERROR("%s: Object parameter with id=%ld not saved.", function, desc.GetId());
        });
}

} // namespace velm
