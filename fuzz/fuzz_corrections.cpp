// The corrections of images, by random arguments on images from one voxel up: the first byte says which of
// them, the next ones give the size, then come the arguments and the voxels.

#include "fuzz_bytes.h"
#include "vexaalgo/chromatic.h"
#include "vexaalgo/illumination.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sanitizer/allocator_interface.h>

namespace {

using Image = vexa::Image3d<unsigned short>;

// A correction may need so much beside the images it is given. The lengths of an image's axes count, too: a
// transform of a prime length takes room for several of more than twice that length, in vectors.
constexpr std::size_t bytes_at_least = 1U << 20; // tables that are made once among them
constexpr std::size_t bytes_per_image_byte = 64;

// The bytes that are allocated now, and the most there were.
std::atomic<std::ptrdiff_t> live_bytes{0};
std::atomic<std::ptrdiff_t> most_bytes{0};

void CountAllocated(void const volatile *, std::size_t size)
{
    std::ptrdiff_t const now = live_bytes += static_cast<std::ptrdiff_t>(size);
    std::ptrdiff_t most = most_bytes;
    while (now > most && !most_bytes.compare_exchange_weak(most, now)) {
    }
}

void CountFreed(void const volatile * address)
{
    void const * const plain = const_cast<void const *>(address);
    live_bytes -= static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(plain));
}

// Ends the process when a stretch of work takes more memory than belongs to the image.
class MemoryWatch {
  public:
    explicit MemoryWatch(Image const & image) : _image_bytes(image.GetCount() * sizeof(unsigned short))
    {
        static bool const installed =
            __sanitizer_install_malloc_and_free_hooks(&CountAllocated, &CountFreed) != 0;
        static_cast<void>(installed);
        _before = live_bytes;
        most_bytes = _before;
    }
    ~MemoryWatch()
    {
        auto const used = static_cast<std::size_t>(most_bytes - _before);
        if (used > bytes_at_least + bytes_per_image_byte * _image_bytes) {
            std::abort();
        }
    }
    MemoryWatch(MemoryWatch const &) = delete;
    MemoryWatch & operator=(MemoryWatch const &) = delete;

  private:
    std::size_t _image_bytes;
    std::ptrdiff_t _before;
};

// The arguments and the image, in the order of the fuzzer's bytes.
class Bytes : public velm::fuzz::Bytes {
  public:
    using velm::fuzz::Bytes::Bytes;

    // Any number, or one of those that occur, in thousandths.
    double TakeNumber()
    {
        return Take<std::uint8_t>() % 8 == 0 ? Take<double>() : Take<std::int16_t>() / 1000.0;
    }

    // Any number of those that occur, or far beyond.
    int TakeInteger() { return Take<std::uint8_t>() % 8 == 0 ? Take<int>() : Take<std::int8_t>(); }

    // Long and flat ones, too.
    Image TakeImage()
    {
        std::uint8_t const shape = Take<std::uint8_t>();
        unsigned int const longest = shape % 4 == 0 ? 500 : 32;
        unsigned int sizes[3] = {1U + Take<std::uint16_t>() % longest,
                                 1U + Take<std::uint8_t>() % (2048 / longest), 1U + Take<std::uint8_t>() % 4};
        if (shape % 2 == 0) {
            std::swap(sizes[0], sizes[1]);
        }
        Image image;
        image.MakeRoom(sizes[0], sizes[1], sizes[2]);
        image.offset = {Take<std::int16_t>() / 100.0F, Take<std::int16_t>() / 100.0F,
                        Take<std::int16_t>() / 100.0F};
        image.resolution = {Take<std::int16_t>() / 1000.0F, Take<std::int16_t>() / 1000.0F,
                            Take<std::int16_t>() / 1000.0F};
        return image;
    }

    // What is left, again and again.
    void Fill(Image & image) const
    {
        for (std::size_t i = 0; i < image.GetCount(); ++i) {
            unsigned int const low = _size > 0 ? _data[2 * i % _size] : 77U;
            unsigned int const high = _size > 0 ? _data[(2 * i + 1) % _size] : 7U;
            image.SetVoxel(i, static_cast<unsigned short>(low + 256 * high));
        }
    }
};

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

void FuzzSpline(Bytes & bytes)
{
    Image image = bytes.TakeImage();
    int const percentile = bytes.TakeInteger();
    int const patches_x = bytes.TakeInteger();
    int const patches_y = bytes.TakeInteger();
    int const degree = bytes.TakeInteger();
    bytes.Fill(image);
    Image out;
    bool corrected = false;
    {
        MemoryWatch const watch(image);
        corrected =
            vexa::correctIlluminationBsplineAprox(image, out, percentile, patches_x, patches_y, degree);
    }
    Require(out.size == (corrected ? image.size : vexa::Vector3d<unsigned int>()));
}

void FuzzFilter(Bytes & bytes)
{
    Image image = bytes.TakeImage();
    vexa::HomomorphicFilterParams const params{bytes.TakeNumber(), bytes.TakeNumber(), bytes.TakeNumber(),
                                               bytes.TakeNumber()};
    bytes.Fill(image);
    bool const usable = std::isfinite(params.gamma_low) && std::isfinite(params.gamma_high) &&
                        std::isfinite(params.c) && std::isfinite(params.d0) && params.c >= 0.0 &&
                        params.d0 != 0.0;
    MemoryWatch const watch(image);
    try {
        vexa::homFilter(image, image, params);
        Require(usable);
    } catch (vexa::InternalException const &) {
        Require(!usable);
    }
}

// What is said to stay valid has to come through, and cutting has to give just that.
void FuzzChromatic(Bytes & bytes)
{
    Image image = bytes.TakeImage();
    vexa::ChromAberParams params;
    params.SetIdentity();
    for (unsigned int i = 0; i < 3; ++i) {
        params.x_plane[i] += bytes.TakeNumber();
        params.y_plane[i] += bytes.TakeNumber();
    }
    for (double & coefficient : params.z_surface) {
        coefficient = bytes.TakeNumber();
    }
    bytes.Fill(image);
    for (unsigned short & voxel : image) {
        voxel |= 1U; // nothing is black but what has no source
    }
    vexa::Vector3d<unsigned int> first;
    vexa::Vector3d<unsigned int> last;
    Image out;
    Image cut;
    {
        MemoryWatch const watch(image);
        vexa::GetCuttingPosition(image.offset, image.resolution, image.size, params, first, last);
        vexa::CorrectChromaticAberration(image, out, params, false);
        vexa::CorrectChromaticAberration(image, cut, params, true);
    }
    bool const empty = first == image.size;
    Require(out.size == image.size);
    Require(empty == (cut.GetCount() == 0));
    if (!empty) {
        Require(last.x < image.size.x && last.y < image.size.y && last.z < image.size.z);
        Require(cut.GetCount() ==
                std::size_t{last.x - first.x + 1} * (last.y - first.y + 1) * (last.z - first.z + 1));
        Require(std::find(cut.begin(), cut.end(), 0) == cut.end());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    Bytes bytes(data, size);
    switch (bytes.Take<std::uint8_t>() % 3) {
    case 0:
        FuzzSpline(bytes);
        break;
    case 1:
        FuzzFilter(bytes);
        break;
    default:
        FuzzChromatic(bytes);
        break;
    }
    return 0;
}
