// Both the plain and the 64-bit names are to be defined here, so the one must not stand for the other.
#undef _FILE_OFFSET_BITS

#include "support/failing_files.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <string_view>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace velm::test {

namespace {

// The armed failure. Files are told by their descriptors once they are open.
class Plan {
  public:
    void Arm(std::string const & directory, long n, FileFailure failure)
    {
        std::lock_guard const lock(_mutex);
        _directory = directory + "/";
        _left = n;
        _failure = failure;
        _failed.clear();
        for (std::atomic<bool> & descriptor : _ours) {
            descriptor = false;
        }
        _armed = true;
    }

    void Disarm() { _armed = false; }

    std::string GetFailed()
    {
        std::lock_guard const lock(_mutex);
        return _failed;
    }

    bool IsOurs(char const * path) const
    {
        return _armed && path != nullptr && std::string_view(path).substr(0, _directory.size()) == _directory;
    }

    bool IsOurs(int descriptor) const
    {
        return _armed && descriptor >= 0 && static_cast<std::size_t>(descriptor) < _ours.size() &&
               _ours[static_cast<std::size_t>(descriptor)];
    }

    void Opened(int descriptor)
    {
        if (descriptor >= 0 && static_cast<std::size_t>(descriptor) < _ours.size()) {
            _ours[static_cast<std::size_t>(descriptor)] = true;
        }
    }

    void Closed(int descriptor) { _ours[static_cast<std::size_t>(descriptor)] = false; }

    // Counts an operation: what goes wrong with it, nothing for most.
    struct Verdict {
        int error = 0;
        bool is_short = false;
    };
    Verdict Count(char const * operation, bool needs_room)
    {
        std::lock_guard const lock(_mutex);
        if (_left > 0 && --_left > 0) {
            return {};
        }
        bool const is_first = _failed.empty();
        if (is_first) {
            _failed = operation;
        }
        switch (_failure) {
        case FileFailure::NoSpace:
            return {is_first ? ENOSPC : 0, false};
        case FileFailure::InputOutput:
            return {is_first ? EIO : 0, false};
        case FileFailure::ShortWrite:
            return {0, is_first};
        default:
            return {needs_room ? ENOSPC : 0, false};
        }
    }

  private:
    std::mutex _mutex;
    std::atomic<bool> _armed{false};
    std::string _directory;
    long _left = 0; // until the failure
    FileFailure _failure = FileFailure::NoSpace;
    std::string _failed;
    std::array<std::atomic<bool>, 1024> _ours{};
};

Plan plan;

// The function that this program's own hides.
template <typename Function>
Function * Next(char const * name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// Carries an operation out unless it is the one to fail: -1 then.
template <typename Call>
auto Perform(char const * operation, bool ours, bool needs_room, Call call) -> decltype(call())
{
    if (ours) {
        if (int const error = plan.Count(operation, needs_room).error; error != 0) {
            errno = error;
            return -1;
        }
    }
    return call();
}

template <typename Call>
int Open(char const * path, int flags, Call call)
{
    bool const ours = plan.IsOurs(path);
    int const descriptor = Perform("open", ours, (flags & O_CREAT) != 0, call);
    if (ours) {
        plan.Opened(descriptor);
    }
    return descriptor;
}

// call(count): the write of so many bytes.
template <typename Call>
ssize_t Write(int descriptor, std::size_t count, Call call)
{
    if (!plan.IsOurs(descriptor)) {
        return call(count);
    }
    auto const verdict = plan.Count("write", true);
    if (verdict.error != 0) {
        errno = verdict.error;
        return -1;
    }
    return call(verdict.is_short ? (count + 1) / 2 : count);
}

mode_t ModeOf(va_list arguments, int flags)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

} // namespace

FailingFiles::FailingFiles(std::string const & directory, long n, FileFailure failure)
{
    plan.Arm(directory, n, failure);
}

FailingFiles::~FailingFiles()
{
    plan.Disarm();
}

std::string FailingFiles::GetFailed()
{
    return plan.GetFailed();
}

} // namespace velm::test

using namespace velm::test;

#define VELM_INTERPOSED extern "C" __attribute__((visibility("default")))

VELM_INTERPOSED int open(char const * path, int flags, ...)
{
    static auto * const next = Next<int(char const *, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = ModeOf(arguments, flags);
    va_end(arguments);
    return Open(path, flags, [&] { return next(path, flags, mode); });
}

VELM_INTERPOSED int open64(char const * path, int flags, ...)
{
    static auto * const next = Next<int(char const *, int, ...)>("open64");
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = ModeOf(arguments, flags);
    va_end(arguments);
    return Open(path, flags, [&] { return next(path, flags, mode); });
}

VELM_INTERPOSED int mkstemp(char * path)
{
    static auto * const next = Next<int(char *)>("mkstemp");
    return Open(path, O_CREAT, [&] { return next(path); });
}

VELM_INTERPOSED int mkstemp64(char * path)
{
    static auto * const next = Next<int(char *)>("mkstemp64");
    return Open(path, O_CREAT, [&] { return next(path); });
}

VELM_INTERPOSED ssize_t write(int descriptor, void const * data, size_t count)
{
    static auto * const next = Next<ssize_t(int, void const *, size_t)>("write");
    return Write(descriptor, count, [&](size_t part) { return next(descriptor, data, part); });
}

VELM_INTERPOSED ssize_t pwrite(int descriptor, void const * data, size_t count, off_t position)
{
    static auto * const next = Next<ssize_t(int, void const *, size_t, off_t)>("pwrite");
    return Write(descriptor, count, [&](size_t part) { return next(descriptor, data, part, position); });
}

VELM_INTERPOSED ssize_t pwrite64(int descriptor, void const * data, size_t count, off64_t position)
{
    static auto * const next = Next<ssize_t(int, void const *, size_t, off64_t)>("pwrite64");
    return Write(descriptor, count, [&](size_t part) { return next(descriptor, data, part, position); });
}

// A short one writes the first piece only.
VELM_INTERPOSED ssize_t writev(int descriptor, iovec const * pieces, int count)
{
    static auto * const next = Next<ssize_t(int, iovec const *, int)>("writev");
    return Write(descriptor, static_cast<std::size_t>(count),
                 [&](size_t part) { return next(descriptor, pieces, static_cast<int>(part)); });
}

VELM_INTERPOSED int close(int descriptor)
{
    static auto * const next = Next<int(int)>("close");
    bool const ours = plan.IsOurs(descriptor);
    if (ours) {
        plan.Closed(descriptor);
    }
    int const result = next(descriptor);
    return Perform("close", ours, false, [&] { return result; });
}

VELM_INTERPOSED int ftruncate(int descriptor, off_t size) noexcept
{
    static auto * const next = Next<int(int, off_t)>("ftruncate");
    return Perform("ftruncate", plan.IsOurs(descriptor), true, [&] { return next(descriptor, size); });
}

VELM_INTERPOSED int ftruncate64(int descriptor, off64_t size) noexcept
{
    static auto * const next = Next<int(int, off64_t)>("ftruncate64");
    return Perform("ftruncate", plan.IsOurs(descriptor), true, [&] { return next(descriptor, size); });
}

VELM_INTERPOSED int fsync(int descriptor)
{
    static auto * const next = Next<int(int)>("fsync");
    return Perform("fsync", plan.IsOurs(descriptor), true, [&] { return next(descriptor); });
}

VELM_INTERPOSED int fdatasync(int descriptor)
{
    static auto * const next = Next<int(int)>("fdatasync");
    return Perform("fdatasync", plan.IsOurs(descriptor), true, [&] { return next(descriptor); });
}

VELM_INTERPOSED int rename(char const * from, char const * to) noexcept
{
    static auto * const next = Next<int(char const *, char const *)>("rename");
    return Perform("rename", plan.IsOurs(to), true, [&] { return next(from, to); });
}

VELM_INTERPOSED int mkdir(char const * path, mode_t mode) noexcept
{
    static auto * const next = Next<int(char const *, mode_t)>("mkdir");
    return Perform("mkdir", plan.IsOurs(path), true, [&] { return next(path, mode); });
}

VELM_INTERPOSED int unlink(char const * path) noexcept
{
    static auto * const next = Next<int(char const *)>("unlink");
    return Perform("unlink", plan.IsOurs(path), false, [&] { return next(path); });
}

VELM_INTERPOSED int remove(char const * path) noexcept
{
    static auto * const next = Next<int(char const *)>("remove");
    return Perform("unlink", plan.IsOurs(path), false, [&] { return next(path); });
}
