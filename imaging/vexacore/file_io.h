#ifndef VEXACORE_FILE_IO_H
#define VEXACORE_FILE_IO_H

// How the image libraries open, read and write files. Internal to them.

#include "vexacore/export.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace vexa {

// A regular file open for reading. Every failure is an IOException that names the file and the reason.
class VEXA_API InputFile {
  public:
    explicit InputFile(char const * path);
    ~InputFile();
    InputFile(InputFile const &) = delete;
    InputFile & operator=(InputFile const &) = delete;

    std::string const & GetPath() const { return _path; }

    // For libraries that read through a descriptor of their own; stays the file's.
    int GetDescriptor() const { return _descriptor; }

    // Bytes in the file when it was opened.
    std::uint64_t GetSize() const { return _size; }

    // Reads exactly count bytes from the position; throws when there are fewer.
    void ReadAt(std::uint64_t position, void * target, std::size_t count) const;

    // The whole file; throws when it is larger than limit.
    std::string ReadAll(std::uint64_t limit) const;

    // Throws the IOException that says what is wrong with the file's content.
    [[noreturn]] void Reject(std::string const & reason) const;

  private:
    std::string _path;
    int _descriptor;
    std::uint64_t _size = 0;
};

// A file that comes into being under its name only when it is complete: it is written under another name in
// the same directory, that name with ".part" and digits, and goes away when it is not committed. What writers
// of the same name have left that died before is removed; a file whose writer lives is locked and stays.
class VEXA_API OutputFile {
  public:
    explicit OutputFile(char const * path);
    ~OutputFile();
    OutputFile(OutputFile const &) = delete;
    OutputFile & operator=(OutputFile const &) = delete;

    // For libraries that write through a descriptor of their own; stays the file's.
    int GetDescriptor() const { return _descriptor; }

    // The bytes written so far by Write.
    std::uint64_t GetPosition() const { return _position; }

    void Write(void const * source, std::size_t count);

    // Replaces bytes that Write has written.
    void WriteAt(std::uint64_t position, void const * source, std::size_t count);

    // Closes the file and puts it in the place of any file of its name. Nothing may follow.
    void Commit();

    [[noreturn]] void Reject(std::string const & reason) const;

  private:
    void Create();

    std::string _path;
    std::string _temporary; // empty when there is none
    int _descriptor = -1;
    std::uint64_t _position = 0;
};

// Asks for large pages for a new block of memory that is going to be filled: the system then hands it out in
// fewer and cheaper steps. Has no effect on small ones.
VEXA_API void UseLargePages(void * block, std::size_t bytes);

} // namespace vexa

#endif
