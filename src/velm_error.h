#ifndef VELM_ERROR_H
#define VELM_ERROR_H

#include "velm_export.h"

#include <exception>
#include <string>
#include <wx/string.h>

namespace velm {

// Root of the library's own exceptions; thrown by value, caught by reference.
class VELM_API VELM_Error : public std::exception {
  public:
    explicit VELM_Error(wxString const & message);
    ~VELM_Error() override;

    wxString const & GetMessage() const { return _message; }

    // The message as UTF-8; valid as long as the exception.
    char const * what() const noexcept override { return _narrow.c_str(); }

  private:
    wxString _message;
    std::string _narrow; // _message for what(), which has to hand out memory that stays
};

// Root of the long-lived objects.
class VELM_API VELM_Class {
  public:
    VELM_Class() = default;
    VELM_Class(VELM_Class const &) = default;
    VELM_Class & operator=(VELM_Class const &) = default;
    virtual ~VELM_Class();

    // The run-time type's name, as the platform's typeid gives it.
    virtual wxString GetClassName() const;
};

} // namespace velm

#endif
