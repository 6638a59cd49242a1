#ifndef TESTS_SUPPORT_FAILING_FILES_H
#define TESTS_SUPPORT_FAILING_FILES_H

#include <string>

namespace velm::test {

enum class FileFailure {
    NoSpace,     // ENOSPC
    InputOutput, // EIO
    ShortWrite,  // half of what was to be written is, and told so; an operation that writes nothing succeeds
    FullFromThen // ENOSPC for this operation and all after it that need room
};

// Lets the n-th file operation (from 1) below a directory fail, for as long as it lives; one object at a
// time.
//
// It counts what the libraries of this process call: opening and making files and directories, writing,
// cutting, flushing, closing, renaming and removing; not reading, and not what stdio does inside. A close
// that fails has closed the file all the same, as on Linux; anything else that fails has done nothing. Works
// by defining these functions in the program, which the linker finds before those of the C library, so that
// no environment is needed and the sanitizers' own functions still come behind.
class FailingFiles {
  public:
    FailingFiles(std::string const & directory, long n, FileFailure failure);
    ~FailingFiles();
    FailingFiles(FailingFiles const &) = delete;
    FailingFiles & operator=(FailingFiles const &) = delete;

    // The operation that failed, such as "rename"; empty while there were fewer than n.
    static std::string GetFailed();
};

} // namespace velm::test

#endif
