#include "vexacore/tiff_handle.h"

#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace vexa {

namespace {

int KeepFirstError(TIFF *, void * text, char const *, char const * format, va_list arguments)
{
    auto & kept = *static_cast<std::string *>(text);
    if (kept.empty()) {
        char line[256];
        std::vsnprintf(line, sizeof(line), format, arguments);
        kept = line;
    }
    return 1; // handled: nothing goes to the standard error stream
}

int IgnoreWarning(TIFF *, void *, char const *, char const *, va_list)
{
    return 1;
}

} // namespace

TiffHandle::TiffHandle(int descriptor, std::string const & path, char const * mode)
{
    TIFFOpenOptions * const options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, &KeepFirstError, &_error);
    TIFFOpenOptionsSetWarningHandlerExtR(options, &IgnoreWarning, nullptr);
    _tiff = TIFFFdOpenExt(descriptor, path.c_str(), mode, options);
    TIFFOpenOptionsFree(options);
    if (_tiff == nullptr) {
        ::close(descriptor);
    }
}

TiffHandle::~TiffHandle()
{
    if (_tiff != nullptr) {
        TIFFClose(_tiff);
    }
}

} // namespace vexa
