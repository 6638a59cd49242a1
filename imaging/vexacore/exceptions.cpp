#include "vexacore/exceptions.h"

namespace vexa {

LibException::LibException(std::string message) : _message(std::move(message)) {}

// Defined here, so that one copy of each type's run-time information serves all libraries.
LibException::~LibException() = default;
IOException::~IOException() = default;
InternalException::~InternalException() = default;

} // namespace vexa
