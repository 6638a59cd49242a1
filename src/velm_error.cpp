#include "velm_error.h"

#include <typeinfo>

namespace velm {

VELM_Error::VELM_Error(wxString const & message) : _message(message), _narrow(message.utf8_str()) {}

VELM_Error::~VELM_Error() = default;

VELM_Class::~VELM_Class() = default;

wxString VELM_Class::GetClassName() const
{
    return wxString::FromUTF8(typeid(*this).name());
}

} // namespace velm
