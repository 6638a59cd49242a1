// The mixers, with and without corrections: channels of any geometry and parameters over images in memory.

#include "fuzz_bytes.h"
#include "fuzz_input.h"
#include "support/memory_mixer.h"
#include "velm_bc_mixer.h"
#include "velm_calib_img.h"

#include <algorithm>
#include <memory>

namespace {

using namespace velm;
using Mixer = test::MemoryMixer<VELM_BC_Mixer>;
using Image = VELM_Mixer::Image;

constexpr int largest_side = 24; // of an image, in voxels
constexpr int most_slices = 5;
constexpr int coarsest_binning = 8;

// The fuzzer's bytes as numbers.
class Numbers : public fuzz::Bytes {
  public:
    using fuzz::Bytes::Bytes;

    // From low to high.
    int From(int low, int high) { return low + Take<std::uint8_t>() % (high - low + 1); }

    bool Coin() { return (Take<std::uint8_t>() & 1) != 0; }

    // Mostly from low to high, else any.
    int Mostly(int low, int high) { return From(0, 15) == 0 ? Take<int>() : From(low, high); }

    // Mostly near a value, else any, infinities and what isn't a number included.
    double Near(double value)
    {
        return From(0, 7) == 0 ? Take<double>() : value + Take<std::int8_t>() / 256.0;
    }
};

Image MakeImage(Numbers & numbers, unsigned int width, unsigned int height, unsigned int slices)
{
    Image image;
    image.MakeRoom(width, height, slices);
    auto const seed = numbers.Take<std::uint32_t>();
    for (std::size_t i = 0; i < image.GetCount(); ++i) {
        image.SetVoxel(i, static_cast<unsigned short>((i + seed) * 2654435761U >> 16));
    }
    image.resolution =
        vexa::Resolution(static_cast<float>(numbers.Near(5.0)), static_cast<float>(numbers.Near(5.0)),
                         static_cast<float>(numbers.Near(2.0)));
    return image;
}

unsigned int Side(Numbers & numbers, int high)
{
    return static_cast<unsigned int>(numbers.From(1, high));
}

// A reference frame of any size, for a part of any chip.
std::unique_ptr<VELM_Calibration_Image> MakeCalibration(Numbers & numbers)
{
    auto image = std::make_unique<VELM_Calibration_Image>();
    int const sbin = numbers.From(1, coarsest_binning);
    int const pbin = numbers.From(1, coarsest_binning);
    bool const whole = numbers.Coin();
    int const s1 = whole ? -1 : numbers.From(0, 40);
    int const p1 = whole ? -1 : numbers.From(0, 40);
    VELM_GeneralCameraSetting const setting("None", sbin, pbin, s1, whole ? -1 : s1 + numbers.From(0, 40), p1,
                                            whole ? -1 : p1 + numbers.From(0, 40), 1, 12, 10, 100, 100);
    image->SetId(numbers.From(0, 2));
    double const mean = numbers.Near(2000.0);
    image->SetMean(mean == 0.0 ? 1.0 : mean);
    image->SetCameraSetting(&setting);
    unsigned int const width = Side(numbers, 100);
    image->SetImage(new Image(MakeImage(numbers, width, Side(numbers, 100), 1)));
    return image;
}

void SetCorrections(Numbers & numbers, VELM_CorrectionSettings & settings)
{
    for (unsigned int i = 0; i < settings.GetCount(); ++i) {
        settings.Get(i)->Apply(numbers.Coin());
    }
    for (VELM_ShiftCorrection * const shift :
         {static_cast<VELM_ShiftCorrection *>(settings.GetManualShiftCorrection()),
          static_cast<VELM_ShiftCorrection *>(settings.GetAutomaticShiftCorrection())}) {
        shift->SetShift({numbers.Mostly(-9, 9), numbers.Mostly(-9, 9), numbers.Mostly(-1, 1)});
    }
    using Method = VELM_IlluminationCorrectionMethod;
    VELM_IlluminationCorrection & illumination = *settings.GetIlluminationCorrection();
    illumination.SetMethod(Method(static_cast<Method::Method>(numbers.From(0, 3))));
    illumination.SetHomFilterParams(
        {numbers.Near(0.5), numbers.Near(1.5), numbers.Near(1.0), numbers.Near(4.0)});
    vexa::ChromAberParams surface;
    surface.SetIdentity();
    for (double * const number : {&surface.x_plane[0], &surface.x_plane[1], &surface.x_plane[2],
                                  &surface.y_plane[0], &surface.y_plane[1], &surface.y_plane[2]}) {
        *number = numbers.Near(*number);
    }
    for (double & number : surface.z_surface) {
        number = numbers.Near(number);
    }
    settings.GetChromAberCorrection()->SetSurface(surface);
}

// One channel may be binned by anything: two could ask for a grid as fine as both, and as wide.
void AddChannel(Numbers & numbers, long id, Mixer & mixer)
{
    auto const binning = [&] {
        return id == 1 ? numbers.Mostly(1, coarsest_binning) : numbers.From(1, coarsest_binning);
    };
    int const sbin = binning();
    int const pbin = binning();
    int const s1 = numbers.Mostly(-1, 40);
    int const p1 = numbers.Mostly(-1, 40);
    unsigned int const width = Side(numbers, largest_side);
    unsigned int const height = Side(numbers, largest_side);
    mixer.Add({id, sbin, pbin, s1, p1}, MakeImage(numbers, width, height, Side(numbers, most_slices)));
    if (numbers.Coin()) {
        mixer.GetFOV().GetChannelById(id).TakeCalibImage(MakeCalibration(numbers).release());
    }
    SetCorrections(numbers, mixer.GetFOV().GetCorrSettingsById(id));
}

// What a picture may take: the finest grid over the largest channel.
template <typename T>
void CheckSize(vexa::Image3d<T> const & image)
{
    constexpr unsigned int most = largest_side * coarsest_binning;
    if (image.size.x < 1 || image.size.y < 1 || image.size.z < 1 || image.size.x > most ||
        image.size.y > most || image.size.z > most_slices) {
        std::abort();
    }
}

// A channel alone has to be what it is as a colour.
void Mix(Numbers & numbers, long channels, Mixer & mixer)
{
    wxRect const rect(numbers.Mostly(-4, 30), numbers.Mostly(-4, 30), numbers.Mostly(0, 60),
                      numbers.Mostly(0, 60));
    wxRect const * const part = numbers.Coin() ? &rect : nullptr;
    int const slice = numbers.Mostly(-1, 3);
    long const id = numbers.From(1, static_cast<int>(channels));
    long const other = numbers.From(0, static_cast<int>(channels) + 1);
    VELM_Mixer::ColorImage mixed;
    Image alone;
    bool const is_mixed = mixer.GetRGB(id, other == 0 ? -1 : other, -1, part, mixed, slice);
    bool const is_shown = mixer.GetChannel(id, part, alone, slice);
    if (is_mixed) {
        CheckSize(mixed);
    }
    if (is_shown) {
        CheckSize(alone);
    }
    if (is_mixed && is_shown &&
        !std::equal(mixed.begin(), mixed.end(), alone.begin(), alone.end(),
                    [](auto const & colour, unsigned short grey) { return colour.red == grey; })) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    fuzz::Input::Get();
    Numbers numbers(data, size);
    Mixer mixer;
    mixer.SetCorrection(numbers.Coin());
    mixer.SetCorrOptions(numbers.From(0, 15));
    long const channels = numbers.From(1, 3);
    for (long id = 1; id <= channels; ++id) {
        AddChannel(numbers, id, mixer);
    }
    bool const use_af = numbers.Coin();
    mixer.SetAllChannels(use_af); // false for a binning that is none, and what follows has to bear it
    for (int i = 0; i < 3; ++i) {
        Mix(numbers, channels, mixer);
    }
    return 0;
}
