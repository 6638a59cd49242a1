#ifndef VEXACORE_EXCEPTIONS_H
#define VEXACORE_EXCEPTIONS_H

#include "vexacore/export.h"

#include <exception>
#include <string>

namespace vexa {

// Root of everything that the image libraries throw of their own. A failing call may also throw
// std::bad_alloc.
class VEXA_API LibException : public std::exception {
  public:
    // message: UTF-8, one line, without a full stop.
    explicit LibException(std::string message);
    ~LibException() override;

    std::string const & GetMessage() const { return _message; }
    char const * what() const noexcept override { return _message.c_str(); }

  private:
    std::string _message;
};

// A file that is missing, unreadable, damaged or cannot be written.
class VEXA_API IOException : public LibException {
  public:
    using LibException::LibException;
    ~IOException() override;
};

// A failure inside an algorithm: impossible arguments, such as a box outside its image.
class VEXA_API InternalException : public LibException {
  public:
    using LibException::LibException;
    ~InternalException() override;
};

} // namespace vexa

#endif
