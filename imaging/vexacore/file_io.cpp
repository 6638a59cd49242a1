#include "vexacore/file_io.h"

#include "vexacore/exceptions.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vexa {

namespace {

// Linux moves at most 0x7ffff000 bytes in one call.
constexpr std::size_t largest_transfer = std::size_t{1} << 30;

std::string ErrorText(int code)
{
    return std::generic_category().message(code);
}

[[noreturn]] void ThrowSystemError(char const * what, std::string const & path, int code)
{
    throw IOException(std::string("Cannot ") + what + " '" + path + "': " + ErrorText(code));
}

} // namespace

InputFile::InputFile(char const * path) : _path(path)
{
    // Without O_NONBLOCK the open of a named pipe would wait for a writer for ever.
    _descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (_descriptor < 0) {
        ThrowSystemError("open", _path, errno);
    }
    struct stat status {};
    int const failure = ::fstat(_descriptor, &status) != 0 ? errno
                        : S_ISDIR(status.st_mode)          ? EISDIR
                        : !S_ISREG(status.st_mode)         ? EINVAL
                                                           : 0;
    if (failure != 0) {
        ::close(_descriptor);
        ThrowSystemError("read", _path, failure);
    }
    _size = static_cast<std::uint64_t>(status.st_size);
}

InputFile::~InputFile()
{
    ::close(_descriptor);
}

void InputFile::ReadAt(std::uint64_t position, void * target, std::size_t count) const
{
    if (position > _size || count > _size - position) {
        Reject("the file ends too early");
    }
    char * out = static_cast<char *>(target);
    while (count > 0) {
        ssize_t const got =
            ::pread(_descriptor, out, std::min(count, largest_transfer), static_cast<off_t>(position));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            ThrowSystemError("read", _path, errno);
        }
        if (got == 0) {
            Reject("the file ends too early");
        }
        out += got;
        position += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
    }
}

std::string InputFile::ReadAll(std::uint64_t limit) const
{
    if (_size > limit) {
        Reject("the file is too large");
    }
    std::string content(static_cast<std::size_t>(_size), '\0');
    ReadAt(0, content.data(), content.size());
    return content;
}

void InputFile::Reject(std::string const & reason) const
{
    throw IOException("Cannot read '" + _path + "': " + reason);
}

OutputFile::OutputFile(char const * path) : _path(path)
{
    static std::atomic<unsigned int> count{0};
    do {
        _temporary = _path + ".part" + std::to_string(::getpid()) + "_" + std::to_string(count++);
        // Readable, too: libtiff goes back to link its pages.
        _descriptor = ::open(_temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (_descriptor < 0 && errno == EEXIST);
    if (_descriptor < 0) {
        ThrowSystemError("write", _path, errno);
    }
}

OutputFile::~OutputFile()
{
    if (_descriptor >= 0) {
        ::close(_descriptor);
    }
    if (!_temporary.empty()) {
        ::unlink(_temporary.c_str());
    }
}

void OutputFile::Write(void const * source, std::size_t count)
{
    char const * in = static_cast<char const *>(source);
    while (count > 0) {
        ssize_t const put = ::write(_descriptor, in, std::min(count, largest_transfer));
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put < 0) {
            ThrowSystemError("write", _path, errno);
        }
        in += put;
        count -= static_cast<std::size_t>(put);
    }
}

void OutputFile::Commit()
{
    int const descriptor = _descriptor;
    _descriptor = -1;
    if (::close(descriptor) != 0) {
        ThrowSystemError("write", _path, errno);
    }
    if (std::rename(_temporary.c_str(), _path.c_str()) != 0) {
        ThrowSystemError("write", _path, errno);
    }
    _temporary.clear();
}

void OutputFile::Reject(std::string const & reason) const
{
    throw IOException("Cannot write '" + _path + "': " + reason);
}

} // namespace vexa
