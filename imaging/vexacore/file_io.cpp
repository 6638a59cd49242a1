#include "vexacore/file_io.h"

#include "vexacore/exceptions.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

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

constexpr char const * part_ending = ".part";

// Whether a file that is open is still the one of some name.
bool IsStillNamed(int descriptor)
{
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

// Removes a file unless somebody holds its lock.
void RemoveIfUnlocked(std::string const & path)
{
    int const descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (descriptor < 0) {
        return;
    }
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0 && IsStillNamed(descriptor)) {
        ::unlink(path.c_str());
    }
    ::close(descriptor);
}

// Removes what writers of the name have left behind that didn't live to give their file its name.
void RemoveLeftovers(std::string const & path)
{
    std::size_t const slash = path.rfind('/');
    std::string const directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    std::string const beginning = path.substr(directory.size()) + part_ending;
    std::unique_ptr<DIR, int (*)(DIR *)> const entries(::opendir(directory.empty() ? "." : directory.c_str()),
                                                       &::closedir);
    while (dirent const * const entry = entries != nullptr ? ::readdir(entries.get()) : nullptr) {
        std::string_view const name = entry->d_name;
        if (name.size() > beginning.size() && name.substr(0, beginning.size()) == beginning &&
            name.find_first_not_of("0123456789_", beginning.size()) == std::string_view::npos) {
            RemoveIfUnlocked(directory + entry->d_name);
        }
    }
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
    RemoveLeftovers(_path);
    Create();
}

OutputFile::~OutputFile()
{
    if (!_temporary.empty()) {
        ::unlink(_temporary.c_str());
    }
    if (_descriptor >= 0) {
        ::close(_descriptor);
    }
}

// Another writer may take a file that isn't locked yet for a leftover.
void OutputFile::Create()
{
    static std::atomic<unsigned int> count{0};
    for (;;) {
        std::string const name =
            _path + part_ending + std::to_string(::getpid()) + "_" + std::to_string(count++);
        // Readable, too: libtiff goes back to link its pages.
        _descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (_descriptor < 0 && errno == EEXIST) {
            continue;
        }
        if (_descriptor < 0) {
            ThrowSystemError("write", _path, errno);
        }
        // A file system without locks has no leftovers that anybody could remove, either.
        if (::flock(_descriptor, LOCK_EX | LOCK_NB) == 0 ? IsStillNamed(_descriptor) : errno != EWOULDBLOCK) {
            _temporary = name;
            return;
        }
        ::close(_descriptor);
    }
}

void OutputFile::Write(void const * source, std::size_t count)
{
    WriteAt(_position, source, count);
    _position += count;
}

void OutputFile::WriteAt(std::uint64_t position, void const * source, std::size_t count)
{
    char const * in = static_cast<char const *>(source);
    while (count > 0) {
        ssize_t const put =
            ::pwrite(_descriptor, in, std::min(count, largest_transfer), static_cast<off_t>(position));
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            ThrowSystemError("write", _path, put < 0 ? errno : EIO);
        }
        in += put;
        position += static_cast<std::uint64_t>(put);
        count -= static_cast<std::size_t>(put);
    }
}

// Some file systems tell only when a file is closed that it couldn't be written. A second descriptor keeps
// the lock until the file has its name.
void OutputFile::Commit()
{
    int const lock = ::fcntl(_descriptor, F_DUPFD_CLOEXEC, 0);
    if (lock < 0) {
        ThrowSystemError("write", _path, errno);
    }
    int const closed = ::close(std::exchange(_descriptor, lock));
    if (closed != 0 || std::rename(_temporary.c_str(), _path.c_str()) != 0) {
        ThrowSystemError("write", _path, errno);
    }
    _temporary.clear();
    ::close(std::exchange(_descriptor, -1));
}

void OutputFile::Reject(std::string const & reason) const
{
    throw IOException("Cannot write '" + _path + "': " + reason);
}

void UseLargePages(void * block, std::size_t bytes)
{
    constexpr std::size_t page = std::size_t{1} << 21;
    constexpr std::size_t worth_it = 4 * page;
    auto const address = reinterpret_cast<std::uintptr_t>(block);
    std::size_t const skip = (page - address % page) % page; // up to the first that lies in it as a whole
    if (bytes >= worth_it) {
        ::madvise(static_cast<char *>(block) + skip, (bytes - skip) / page * page, MADV_HUGEPAGE);
    }
}

} // namespace vexa
