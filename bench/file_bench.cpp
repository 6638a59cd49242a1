// Image files beside the reference ICS library and beside bare reads and writes of the same bytes.
//
// Files lie in a directory of their own under /dev/shm where there is one, so that the rows tell what the
// programs do and not what the disk does.

#include "camera_stack.h"
#include "side_by_side.h"
#include "vexacore/image3d.h"
#include "vexacore/parallel.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <libics.h>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>
#include <zlib.h>

namespace {

using namespace velm::bench;
using Image = vexa::Image3d<unsigned short>;

// A directory that goes away with all in it.
class Scratch {
  public:
    Scratch()
    {
        std::string name =
            std::filesystem::exists("/dev/shm") ? "/dev/shm/file_bench_XXXXXX" : "file_bench_XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("No directory could be made at " + name);
        }
        _path = name;
    }
    ~Scratch() { std::filesystem::remove_all(_path); }
    Scratch(Scratch const &) = delete;
    Scratch & operator=(Scratch const &) = delete;

    std::string operator/(char const * name) const { return _path + '/' + name; }

  private:
    std::string _path;
};

void Check(Ics_Error error)
{
    if (error != IcsErr_Ok) {
        throw std::runtime_error(std::string("The reference library failed: ") + IcsGetErrorText(error));
    }
}

void SaveByReference(Image const & image, std::string const & path)
{
    ICS * file = nullptr;
    std::size_t const sizes[] = {image.GetSizeX(), image.GetSizeY(), image.GetSizeZ()};
    Check(IcsOpen(&file, path.c_str(), "w2"));
    Check(IcsSetLayout(file, Ics_uint16, 3, sizes));
    Check(IcsSetData(file, image.begin(), image.GetCount() * sizeof(unsigned short)));
    Check(IcsSetCompression(file, IcsCompr_gzip, 1));
    Check(IcsClose(file));
}

void ReadByReference(std::string const & path, Image & target)
{
    ICS * file = nullptr;
    Check(IcsOpen(&file, path.c_str(), "r"));
    Check(IcsGetData(file, target.begin(), target.GetCount() * sizeof(unsigned short)));
    Check(IcsClose(file));
}

void ReadByReference(std::string const & path, vexa::Box const & box, Image & target)
{
    ICS * file = nullptr;
    std::size_t const offset[] = {static_cast<std::size_t>(box.offset.x),
                                  static_cast<std::size_t>(box.offset.y),
                                  static_cast<std::size_t>(box.offset.z)};
    std::size_t const size[] = {box.size.x, box.size.y, box.size.z};
    Check(IcsOpen(&file, path.c_str(), "r"));
    Check(IcsGetROIData(file, offset, size, nullptr, target.begin(),
                        target.GetCount() * sizeof(unsigned short)));
    Check(IcsClose(file));
}

void WriteBare(Image const & image, std::string const & path)
{
    int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    char const * next = reinterpret_cast<char const *>(image.begin());
    for (std::size_t left = image.GetCount() * sizeof(unsigned short); left > 0;) {
        ssize_t const put = ::write(file, next, left);
        if (put <= 0) {
            throw std::runtime_error("A bare write failed");
        }
        next += put;
        left -= static_cast<std::size_t>(put);
    }
    ::close(file);
}

double SizeByZlib(Image const & image)
{
    uLongf length = compressBound(image.GetCount() * sizeof(unsigned short));
    std::vector<unsigned char> packed(length);
    auto const * const bytes = reinterpret_cast<unsigned char const *>(image.begin());
    constexpr int level = 6;
    if (compress2(packed.data(), &length, bytes, image.GetCount() * sizeof(unsigned short), level) != Z_OK) {
        throw std::runtime_error("zlib failed");
    }
    return static_cast<double>(length);
}

void Save(Image const & image, std::string const & path, bool compress)
{
    image.SaveImage(path.c_str(), vexa::FileFormat::Ics, compress, nullptr);
}

void Read(std::string const & path, vexa::Box const * box, Image & target)
{
    target.ReadImage(path.c_str(), box, false, -1, nullptr, nullptr);
}

// The rows of one stack, whose size ends their names.
class StackRows {
  public:
    StackRows(Table & table, Scratch const & scratch, Image const & stack)
        : _table(table), _stack(stack),
          _size(", " + std::to_string(stack.GetSizeZ()) + " x " + std::to_string(stack.GetSizeY()) + " x " +
                std::to_string(stack.GetSizeX())),
          _ours(scratch / "ours.ics"), _plain(scratch / "plain.ics"), _foreign(scratch / "foreign.ics"),
          _written(scratch / "written.ics")
    {
        Save(stack, _ours, true);
        Save(stack, _plain, false);
        SaveByReference(stack, _foreign);
        _box = vexa::Box(static_cast<int>(stack.GetSizeX() / 2 - 128),
                         static_cast<int>(stack.GetSizeY() / 2 - 128), static_cast<int>(stack.GetSizeZ() / 2),
                         256, 256, 1);
        _box_read.MakeRoom(256, 256, 1);
    }

    void Saves()
    {
        auto const reference = [&] { SaveByReference(_stack, _written); };
        auto const compressed = [&] { Save(_stack, _written, true); };
        OnCores(1,
                [&] { _table.Row("compressed save, one core" + _size, AtLeast(11), compressed, reference); });
        OnCores(
            2, [&] { _table.Row("compressed save, two cores" + _size, AtLeast(18), compressed, reference); });
        std::string const size = "compressed size beside zlib 6" + _size;
        if (_table.Wants(size)) {
            _table.Amounts(size, AtMost(1.14), static_cast<double>(std::filesystem::file_size(_ours)),
                           SizeByZlib(_stack), "bytes");
        }
        std::string const bare = _written + ".bare";
        _table.Row(
            "uncompressed save beside bare write" + _size, AtLeast(0.95),
            [&] { Save(_stack, _written, false); },
            [&] {
                ::unlink(bare.c_str()); // a save makes a new file, too
                WriteBare(_stack, bare);
            });
    }

    void Reads()
    {
        // Into an image that is new each time for both, as every user reads.
        auto const read = [&](std::string const & path) {
            Image image;
            Read(path, nullptr, image);
        };
        auto const reference = [&](std::string const & path) {
            Image image;
            image.MakeRoom(_stack.GetSizeX(), _stack.GetSizeY(), _stack.GetSizeZ());
            ReadByReference(path, image);
        };
        OnCores(2, [&] {
            _table.Row(
                "full read of own file, two cores" + _size, AtLeast(5), [&] { read(_ours); },
                [&] { reference(_ours); });
        });
        _table.Row(
            "full read of foreign file" + _size, AtLeast(2), [&] { read(_foreign); },
            [&] { reference(_foreign); });
        Box("box of own file", 100, _ours);
        Box("box of foreign file", 2.3, _foreign);
        Box("box of uncompressed file", 2, _plain);
    }

  private:
    void Box(std::string const & name, double goal, std::string const & path)
    {
        _table.Row(
            name + _size, AtLeast(goal), [&] { Read(path, &_box, _box_read); },
            [&] { ReadByReference(path, _box, _box_read); });
    }

    static void OnCores(unsigned int cores, std::function<void()> const & measure)
    {
        vexa::SetThreadCount(cores);
        measure();
        vexa::SetThreadCount(0);
    }

    Table & _table;
    Image const & _stack;
    std::string _size;
    std::string _ours;
    std::string _plain;
    std::string _foreign;
    std::string _written;
    vexa::Box _box;
    Image _box_read;
};

} // namespace

int main(int argc, char ** argv)
try {
    Table table(argc, argv);
    Scratch const scratch;
    for (Image const & stack : {CameraStack(2048, 2048, 16), CameraStack(1392, 1040, 20)}) {
        StackRows rows(table, scratch, stack);
        rows.Saves();
        rows.Reads();
    }
    return 0;
} catch (std::exception const & error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
