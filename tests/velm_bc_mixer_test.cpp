#include "velm_bc_mixer.h"

#include "support/log_recorder.h"
#include "support/random_field.h"
#include "support/temp_depository.h"
#include "support/voxels.h"
#include "vexaalgo/chromatic.h"
#include "vexaalgo/illumination.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace velm::test {

namespace {

using Image = VELM_Mixer::Image;
using ColorImage = VELM_Mixer::ColorImage;
using Shift = vexa::Vector3d<int>;
using Size = vexa::Vector3d<unsigned int>;
using Method = VELM_IlluminationCorrectionMethod;

constexpr int all_options = VELM_BC_Mixer::MANUAL_SHIFT | VELM_BC_Mixer::AUTOMATIC_SHIFT |
                            VELM_BC_Mixer::ILLUMINATION | VELM_BC_Mixer::CHROMATIC_ABERRATION;

// A mixer in memory with every correction switched on, that shows what is protected.
class OpenMixer : public MemoryMixer<VELM_BC_Mixer> {
  public:
    using VELM_BC_Mixer::_channels;
    using VELM_BC_Mixer::_params;

    explicit OpenMixer(VELM_Depository * depository = nullptr) : MemoryMixer(depository)
    {
        SetCorrection(true);
        SetCorrOptions(all_options);
    }

    VELM_CorrectionSettings & Corrections(long id) { return GetFOV().GetCorrSettingsById(id); }

    void SetManualShift(long id, Shift const & shift, bool apply = true)
    {
        Corrections(id).GetManualShiftCorrection()->SetShift(shift);
        Corrections(id).GetManualShiftCorrection()->Apply(apply);
    }
    void SetAutomaticShift(long id, Shift const & shift, bool apply = true)
    {
        Corrections(id).GetAutomaticShiftCorrection()->SetShift(shift);
        Corrections(id).GetAutomaticShiftCorrection()->Apply(apply);
    }
    void SetIllumination(long id, Method::Method method, bool apply = true)
    {
        Corrections(id).GetIlluminationCorrection()->SetMethod(Method(method));
        Corrections(id).GetIlluminationCorrection()->Apply(apply);
    }
    void SetSurface(long id, vexa::ChromAberParams const & surface, bool apply = true)
    {
        Corrections(id).GetChromAberCorrection()->SetSurface(surface);
        Corrections(id).GetChromAberCorrection()->Apply(apply);
    }
};

// Ten voxels in a micron on every axis; brightness in the order of a camera's.
Image Pattern(unsigned int x, unsigned int y, unsigned int z, std::uint32_t seed = 1)
{
    auto image = PatternImage<unsigned short>(x, y, z, seed);
    image.resolution = vexa::Resolution(10.0F, 10.0F, 10.0F);
    for (unsigned short & voxel : image) {
        voxel = static_cast<unsigned short>(500 + voxel % 3000);
    }
    return image;
}

// The same on a bright ground that grows brighter along x and y.
Image Lit(unsigned int x, unsigned int y, unsigned int z)
{
    Image image = Pattern(x, y, z);
    for (std::size_t i = 0; i < image.GetCount(); ++i) {
        std::size_t const ground = 1000 + 20 * (i % x) + 10 * (i / x % y);
        image.SetVoxel(i, static_cast<unsigned short>(ground + image.GetVoxel(i) % 50));
    }
    return image;
}

// Moves everything by that many microns along x.
vexa::ChromAberParams MovedBy(double microns)
{
    vexa::ChromAberParams surface;
    surface.SetIdentity();
    surface.x_plane[0] = microns;
    return surface;
}

Image Shown(VELM_Mixer & mixer, long id, wxRect const * rect = nullptr)
{
    LogRecorder const log;
    Image out;
    EXPECT_TRUE(mixer.GetChannel(id, rect, out, -1));
    EXPECT_EQ(log.Lines(), std::vector<LogLine>());
    return out;
}

// What preprocessing makes of a copy of the channel's image, and what it logs.
Image Preprocessed(OpenMixer & mixer, long id, std::vector<LogLine> const & expected = {})
{
    LogRecorder const log;
    Image image = mixer.images.at(id);
    mixer.PreprocessImage(id, image);
    EXPECT_EQ(log.Lines(), expected);
    return image;
}

bool IsOneBlackVoxel(Image const & image)
{
    return image.size == Size(1, 1, 1) && image.GetVoxel(0) == 0;
}

} // namespace

// --- the switches

TEST(VelmBcMixer, CorrectsNothingAtFirst)
{
    VELM_BC_Mixer const mixer(nullptr);
    EXPECT_FALSE(mixer.IsCorrected());
    OpenMixer with_options;
    with_options.Add({}, Pattern(8, 6, 1));
    with_options.SetSurface(1, MovedBy(0.2));
    with_options.SetCorrection(false);
    EXPECT_EQ(Voxels(Preprocessed(with_options, 1)), Voxels(with_options.images.at(1)));
}

TEST(VelmBcMixer, WithTheMasterSwitchOffItMixesAsAnyOtherWhateverTheSettingsHold)
{
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        RandomField const field(random);
        OpenMixer corrected;
        MemoryMixer<VELM_FOV_Mixer> plain;
        field.AddTo(corrected);
        field.AddTo(plain);
        for (ChannelGeometry const & channel : field.channels) {
            corrected.SetManualShift(channel.id, {1, 2, 3});
            corrected.SetAutomaticShift(channel.id, {static_cast<int>(channel.id), 0, 0});
            corrected.SetIllumination(channel.id, Method::BSPLINE);
            corrected.SetSurface(channel.id, MovedBy(0.2));
        }
        corrected.SetCorrection(false);
        ASSERT_TRUE(corrected.SetAllChannels());
        ASSERT_TRUE(plain.SetAllChannels());
        RandomRequest const request(random, field);
        ColorImage mixed[2];
        EXPECT_TRUE(corrected.GetRGB(request.ids[0], request.ids[1], request.ids[2], request.Rect(), mixed[0],
                                     request.slice));
        EXPECT_TRUE(plain.GetRGB(request.ids[0], request.ids[1], request.ids[2], request.Rect(), mixed[1],
                                 request.slice));
        ASSERT_EQ(mixed[0].size, mixed[1].size);
        ASSERT_TRUE(Voxels(mixed[0]) == Voxels(mixed[1]));
        ASSERT_EQ(corrected.calls, plain.calls);
    }
}

TEST(VelmBcMixer, CopiesKeepTheSwitchAndTheOptions)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(8, 8, 1));
    mixer.Add({2}, Pattern(8, 8, 1));
    mixer.SetManualShift(2, {3, 0, 0});
    OpenMixer const copy(mixer);
    OpenMixer assigned;
    assigned.SetCorrection(false);
    assigned.SetCorrOptions(0);
    assigned = copy;
    EXPECT_TRUE(copy.IsCorrected());
    EXPECT_TRUE(assigned.IsCorrected());
    ASSERT_TRUE(assigned.SetAllChannels());
    EXPECT_EQ(Shown(assigned, 1).size, Size(5, 8, 1));
}

// --- shifts

TEST(VelmBcMixer, ShiftsAddUpWhereTheyAreAppliedAndAskedFor)
{
    struct Case {
        bool manual_applied;
        bool automatic_applied;
        int options;
        int shift;
    };
    for (Case const & c :
         {Case{true, true, 3, 5}, Case{true, true, 1, 1}, Case{true, true, 2, 4}, Case{true, true, 12, 0},
          Case{false, true, 3, 4}, Case{true, false, 3, 1}, Case{false, false, 15, 0}}) {
        OpenMixer mixer;
        mixer.Add({1}, Pattern(16, 8, 1));
        mixer.Add({2}, Pattern(16, 8, 1));
        mixer.SetManualShift(2, {1, 0, 0}, c.manual_applied);
        mixer.SetAutomaticShift(2, {4, 0, 0}, c.automatic_applied);
        mixer.SetCorrOptions(c.options);
        ASSERT_TRUE(mixer.SetAllChannels());
        Shown(mixer, 1);
        EXPECT_EQ(mixer._channels[0].adjusted_first, Shift()) << "the first one stays";
        EXPECT_EQ(mixer._channels[1].adjusted_first, Shift(c.shift, 0, 0));
        EXPECT_EQ(mixer._channels[1].adjusted_last, Shift(15 + c.shift, 7, 0));
        EXPECT_EQ(mixer._channels[1].first, Shift());
    }
}

TEST(VelmBcMixer, EqualShiftsChangeNothing)
{
    OpenMixer mixer;
    for (long const id : {1L, 2L, 3L}) {
        mixer.Add({id}, Pattern(9, 8, 3, static_cast<std::uint32_t>(id)));
        mixer.SetManualShift(id, {3, -2, 1});
        mixer.SetAutomaticShift(id, {-5, 1, 1});
    }
    ASSERT_TRUE(mixer.SetAllChannels());
    for (long const id : {1L, 2L, 3L}) {
        EXPECT_EQ(Voxels(Shown(mixer, id)), Voxels(mixer.images.at(id)));
    }
}

TEST(VelmBcMixer, AnAfImageIsNotShiftedAlongZ)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(9, 8, 3));
    mixer.Add({2}, Pattern(9, 8, 3));
    mixer.SetManualShift(2, {1, 0, 2});
    ASSERT_TRUE(mixer.SetAllChannels(true));
    EXPECT_EQ(Shown(mixer, 1).size, Size(8, 8, 1));
    EXPECT_EQ(mixer._channels[1].adjusted_first, Shift(1, 0, 0));
}

TEST(VelmBcMixer, MixesRandomShiftsAsTheChipSaysPixelByPixel)
{
    std::mt19937 random(20261122);
    int shown = 0;
    for (int round = 0; round < 6000 && !testing::Test::HasFailure(); ++round) {
        SCOPED_TRACE(round);
        RandomField const field(random);
        OpenMixer mixer;
        field.AddTo(mixer);
        std::vector<Shift> moved_by = field.shifts;
        for (std::size_t i = 0; i < field.channels.size(); ++i) {
            Shift const automatic(Pick(random, -3, 3), Pick(random, -3, 3), 0);
            Shift manual = field.shifts[i];
            manual -= automatic;
            mixer.SetManualShift(field.channels[i].id, manual);
            mixer.SetAutomaticShift(field.channels[i].id, automatic);
            moved_by[i] -= field.shifts[0];
        }
        ChipReference const chip = field.OnChip(moved_by);
        ASSERT_TRUE(mixer.SetAllChannels());
        RandomRequest const request(random, field);
        ChipReference::Picture const picture = chip.Show(request.slice, request.Rect());
        ColorImage mixed;
        ASSERT_TRUE(mixer.GetRGB(request.ids[0], request.ids[1], request.ids[2], request.Rect(), mixed,
                                 request.slice));
        if (picture.IsEmpty()) {
            ASSERT_EQ(mixed.size, Size(1, 1, 1));
            continue;
        }
        ++shown;
        ExpectMixedAs(chip, picture, request.ids, mixed);
    }
    EXPECT_GT(shown, 1000) << "enough of them have something in common";
}

TEST(VelmBcMixer, ImpossibleShiftsHaveNothingInCommon)
{
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    for (int const shift : {most, least}) {
        OpenMixer mixer;
        mixer.Add({1}, Pattern(4, 4, 1));
        mixer.Add({2}, Pattern(4, 4, 1));
        mixer.SetManualShift(2, {shift, shift, shift});
        mixer.SetAutomaticShift(2, {shift, shift, shift});
        mixer.SetManualShift(1, {-1 - shift, 0, 0});
        ASSERT_TRUE(mixer.SetAllChannels());
        EXPECT_TRUE(IsOneBlackVoxel(Shown(mixer, 1)));
    }
}

// --- illumination

namespace {

// A field whose second channel is moved, binned and taken with a region of the chip, and has a calibration
// image of another region.
class Calibrated : public testing::Test {
  protected:
    Calibrated()
    {
        mixer.Add({1}, Pattern(64, 48, 1));
        mixer.Add({2, 2, 2, 10, 6}, Pattern(12, 9, 3));
        mixer.SetManualShift(2, {3, -2, 0});
        mixer.SetIllumination(2, Method::CALIBRATION_IMAGE);
        EXPECT_TRUE(mixer.SetAllChannels());
        frame = Pattern(32, 24, 1, 7);
        frame.SetVoxel(8, 5, 0, 0);
        auto * const image = new VELM_Calibration_Image;
        VELM_GeneralCameraSetting const setting("None", 2, 2, 4, 51, 2, 41, 1, 12, 10, 64, 48);
        image->SetId(1);
        image->SetMean(2000.25);
        image->SetCameraSetting(&setting);
        image->SetImage(new Image(frame));
        mixer.GetFOV().GetChannelById(2).TakeCalibImage(image);
    }

    // The voxel as its calibration makes it; x and y in the whole image of the second channel.
    unsigned short Divided(unsigned int x, unsigned int y, unsigned int z) const
    {
        double const divisor = frame.GetVoxel((10 + 2 * x) / 2, (6 + 2 * y) / 2, 0);
        double const exact = mixer.images.at(2).GetVoxel(x, y, z) / divisor * 2000.25;
        return divisor == 0.0 ? static_cast<unsigned short>(0)
                              : static_cast<unsigned short>(static_cast<std::int64_t>(exact));
    }

    VELM_Calibration_Image & GetCalibration() { return *mixer.GetFOV().GetChannelById(2).GetCalibImage(); }

    // Preprocessing of the second channel, whose part of the image is known, is expected to change nothing.
    void ExpectRefused(std::string const & text)
    {
        EXPECT_EQ(Voxels(Preprocessed(mixer, 2, {Error("VELM_BC_Mixer::PreprocessImage: " + text)})),
                  Voxels(mixer.images.at(2)));
    }

    OpenMixer mixer;
    Image frame; // the whole calibration image
};

} // namespace

TEST_F(Calibrated, EveryVoxelIsDividedByTheCalibrationOfItsPlaceOnTheChip)
{
    wxRect const rect(5, 3, 10, 9);
    Image const shown = Shown(mixer, 2, &rect);
    ASSERT_EQ(shown.size, Size(10, 9, 1));
    EXPECT_EQ(mixer._params.first, Shift(18, 7, 0));
    for (unsigned int y = 0; y < shown.size.y; ++y) {
        for (unsigned int x = 0; x < shown.size.x; ++x) {
            // From the chip, back by the shift, to the image.
            EXPECT_EQ(shown.GetVoxel(x, y, 0), Divided((18 + x - 3 - 10) / 2, (7 + y + 2 - 6) / 2, 0));
        }
    }
}

TEST_F(Calibrated, AllSlicesAreDividedAndACalibrationVoxelOfZeroGivesZero)
{
    ASSERT_TRUE(mixer.SetChannels(wxArrayLong(1, 2L), false));
    Image const shown = Shown(mixer, 2);
    ASSERT_EQ(shown.size, Size(12, 9, 3));
    for (unsigned int z = 0; z < 3; ++z) {
        for (unsigned int y = 0; y < 9; ++y) {
            for (unsigned int x = 0; x < 12; ++x) {
                ASSERT_EQ(shown.GetVoxel(x, y, z), Divided(x, y, z));
            }
        }
    }
    EXPECT_EQ(shown.GetVoxel(3, 2, 1), 0);
    EXPECT_GT(mixer.images.at(2).GetVoxel(3, 2, 1), 0);
}

TEST_F(Calibrated, ResultsWrapAroundAt16Bits)
{
    ASSERT_TRUE(mixer.SetChannels(wxArrayLong(1, 2L), false));
    GetCalibration().SetMean(1e6);
    double const exact =
        mixer.images.at(2).GetVoxel(0, 0, 0) / static_cast<double>(frame.GetVoxel(5, 3, 0)) * 1e6;
    ASSERT_GT(exact, 65536.0);
    EXPECT_EQ(Shown(mixer, 2).GetVoxel(0, 0, 0),
              static_cast<unsigned short>(std::fmod(std::floor(exact), 65536.0)));
}

TEST_F(Calibrated, TakesPartOnlyWhenAppliedAndAskedFor)
{
    mixer.SetCorrOptions(all_options & ~VELM_BC_Mixer::ILLUMINATION);
    EXPECT_EQ(Voxels(Preprocessed(mixer, 2)), Voxels(mixer.images.at(2)));
    mixer.SetCorrOptions(all_options);
    mixer.SetIllumination(2, Method::CALIBRATION_IMAGE, false);
    EXPECT_EQ(Voxels(Preprocessed(mixer, 2)), Voxels(mixer.images.at(2)));
    mixer.SetIllumination(2, Method::NONE);
    EXPECT_EQ(Voxels(Preprocessed(mixer, 2)), Voxels(mixer.images.at(2)));
}

TEST_F(Calibrated, WithoutACalibrationImageTheChannelStaysAsItIs)
{
    mixer.SetSurface(2, MovedBy(0.1));
    GetCalibration().SetId(0);
    ExpectRefused("Unknown calibration image for channel 2");
    mixer.GetFOV().GetChannelById(2).TakeCalibImage(nullptr);
    ExpectRefused("Unknown calibration image for channel 2");
}

TEST_F(Calibrated, LeftOfTheCalibratedRegionTheChannelStaysAsItIs)
{
    mixer.SetSurface(2, MovedBy(0.1));
    mixer._channels[1].first.x = 2;
    ExpectRefused("Getting calibration image region failed on channel 2");
}

TEST_F(Calibrated, AnImageOfAnotherSizeStaysAsItIs)
{
    mixer.SetSurface(2, MovedBy(0.1));
    mixer._channels[1].voi = vexa::Box(0, 0, 0, 11, 9, 3);
    ExpectRefused("Returned calibration image has incompatible sizeon channel 2");
    mixer._channels[1].voi = vexa::Box(0, 0, 0, 12, 8, 3);
    ExpectRefused("Returned calibration image has incompatible sizeon channel 2");
}

TEST(VelmBcMixer, ACalibrationFileThatIsGoneIsTold)
{
    TempDepository depository;
    depository->Open();
    OpenMixer mixer(&*depository);
    mixer.Add({}, Pattern(8, 6, 1));
    mixer.SetIllumination(1, Method::CALIBRATION_IMAGE);
    ASSERT_TRUE(mixer.SetAllChannels());
    VELM_Calibration_Image calibration;
    VELM_GeneralCameraSetting const setting("None", 1, 1, -1, -1, -1, -1, 1, 12, 10, 8, 6);
    calibration.SetId(5);
    calibration.SetMean(100.0);
    calibration.SetCameraSetting(&setting);
    mixer.GetFOV().GetChannelById(1).SetCalibImage(&calibration);
    LogRecorder const log;
    Image image = mixer.images.at(1);
    mixer.PreprocessImage(1, image);
    ASSERT_EQ(log.Lines().size(), 3U);
    EXPECT_EQ(log.Lines()[1], Error("Cannot load calibration image data for id=5"));
    EXPECT_EQ(log.Lines()[2],
              Error("VELM_BC_Mixer::PreprocessImage: Getting calibration image region failed on channel 1"));
    EXPECT_EQ(Voxels(image), Voxels(mixer.images.at(1)));
}

TEST(VelmBcMixer, ASplineOrAFilterTakesTheBackgroundAway)
{
    OpenMixer mixer;
    mixer.Add({}, Lit(64, 48, 2));
    ASSERT_TRUE(mixer.SetAllChannels());
    mixer.SetIllumination(1, Method::BSPLINE);
    Image expected;
    ASSERT_TRUE(vexa::correctIlluminationBsplineAprox(mixer.images.at(1), expected, 10, 4, 4, 3));
    EXPECT_EQ(Voxels(Shown(mixer, 1)), Voxels(expected));
    EXPECT_NE(Voxels(expected), Voxels(mixer.images.at(1)));

    mixer.SetIllumination(1, Method::HOMOMORPHIC);
    vexa::HomomorphicFilterParams const params{0.4, 1.5, 1.0, 10.0};
    mixer.Corrections(1).GetIlluminationCorrection()->SetHomFilterParams(params);
    vexa::homFilter(mixer.images.at(1), expected, params);
    EXPECT_EQ(Voxels(Shown(mixer, 1)), Voxels(expected));
    EXPECT_NE(Voxels(expected), Voxels(mixer.images.at(1)));
}

TEST(VelmBcMixer, AnImageTooSmallForTheSplineStaysAsItIs)
{
    OpenMixer mixer;
    mixer.Add({}, Pattern(3, 3, 1));
    mixer.SetIllumination(1, Method::BSPLINE);
    mixer.SetSurface(1, MovedBy(0.1));
    EXPECT_EQ(
        Voxels(Preprocessed(mixer, 1, {Error("VELM_BC_Mixer::PreprocessImage: Cannot calibrate channel 1")})),
        Voxels(mixer.images.at(1)));
}

TEST(VelmBcMixer, AFilterWithImpossibleParametersIsTold)
{
    OpenMixer mixer;
    mixer.Add({}, Pattern(16, 16, 1));
    mixer.SetIllumination(1, Method::HOMOMORPHIC);
    mixer.SetSurface(1, MovedBy(0.1));
    vexa::HomomorphicFilterParams const params{1.0, 1.0, 1.0, 0.0};
    mixer.Corrections(1).GetIlluminationCorrection()->SetHomFilterParams(params);
    std::string failure;
    try {
        vexa::homFilter(mixer.images.at(1), mixer.images.at(1), params);
    } catch (vexa::LibException const & error) {
        failure = error.what();
    }
    ASSERT_FALSE(failure.empty());
    EXPECT_EQ(Voxels(Preprocessed(mixer, 1, {Error("velm::VELM_BC_Mixer::PreprocessImage: " + failure)})),
              Voxels(mixer.images.at(1)));
}

// --- chromatic aberration

TEST(VelmBcMixer, ChromaticAberrationIsUndoneAfterTheIllumination)
{
    OpenMixer mixer;
    mixer.Add({}, Lit(64, 48, 1));
    mixer.SetIllumination(1, Method::BSPLINE);
    vexa::ChromAberParams surface = MovedBy(0.25);
    surface.x_plane[1] = 1.01;
    mixer.SetSurface(1, surface);
    Image even;
    ASSERT_TRUE(vexa::correctIlluminationBsplineAprox(mixer.images.at(1), even, 10, 4, 4, 3));
    Image expected;
    vexa::CorrectChromaticAberration(even, expected, surface, false);
    EXPECT_EQ(Voxels(Preprocessed(mixer, 1)), Voxels(expected));
    mixer.SetCorrOptions(all_options & ~VELM_BC_Mixer::CHROMATIC_ABERRATION);
    EXPECT_EQ(Voxels(Preprocessed(mixer, 1)), Voxels(even));
    mixer.SetCorrOptions(VELM_BC_Mixer::CHROMATIC_ABERRATION);
    mixer.SetSurface(1, surface, false);
    EXPECT_EQ(Voxels(Preprocessed(mixer, 1)), Voxels(mixer.images.at(1)));
}

TEST(VelmBcMixer, WhatItSpoilsIsCutOffEvenWhereItsOptionIsNotSet)
{
    for (int const options : {all_options, 0}) {
        OpenMixer mixer;
        mixer.Add({1}, Pattern(20, 10, 1));
        mixer.Add({2}, Pattern(20, 10, 1));
        mixer.Add({3}, Pattern(20, 10, 1));
        mixer.SetSurface(2, MovedBy(0.3)); // three voxels
        mixer.SetSurface(3, MovedBy(-0.5));
        mixer.SetCorrOptions(options);
        ASSERT_TRUE(mixer.SetAllChannels());
        Image const shown = Shown(mixer, 1);
        EXPECT_EQ(mixer._params.first, Shift(5, 0, 0));
        EXPECT_EQ(mixer._params.last, Shift(16, 9, 0));
        EXPECT_EQ(Voxels(shown), VoxelsOf(mixer.images.at(1), vexa::Box(5, 0, 0, 12, 10, 1)));
        EXPECT_FLOAT_EQ(shown.offset.x, 0.5F);
        mixer.SetSurface(3, MovedBy(-0.5), false);
        EXPECT_EQ(Shown(mixer, 1).size, Size(17, 10, 1));
        mixer.SetCorrection(false);
        EXPECT_EQ(Shown(mixer, 1).size, Size(20, 10, 1));
    }
}

TEST(VelmBcMixer, TheCutOfABinnedChannelIsInStepsOfTheGrid)
{
    OpenMixer mixer;
    mixer.Add({1, 2, 2, 4, 4}, Pattern(20, 10, 1));
    mixer.SetSurface(1, MovedBy(-0.3)); // three voxels of two chip pixels
    ASSERT_TRUE(mixer.SetAllChannels());
    Shown(mixer, 1);
    Size first;
    Size last;
    vexa::GetCuttingPosition({0.2F, 0.2F, 0.0F}, vexa::Resolution(10.0F, 10.0F, 10.0F), {20, 10, 1},
                             MovedBy(-0.3), first, last);
    ASSERT_EQ(first, Size(3, 0, 0));
    EXPECT_EQ(mixer._params.step.x, 2);
    EXPECT_EQ(mixer._params.first, Shift(4 + 2 * 3 / 2, 4, 0));
    EXPECT_EQ(mixer._params.last, Shift(43, 23, 0));
}

TEST(VelmBcMixer, WhereNothingStaysValidOneBlackVoxelIsShown)
{
    vexa::ChromAberParams never;
    never.SetIdentity();
    never.z_surface[0] = std::nan("");
    for (vexa::ChromAberParams const & surface : {MovedBy(1e9), MovedBy(5.0), never}) {
        OpenMixer mixer;
        mixer.Add({}, Pattern(20, 10, 2));
        mixer.SetSurface(1, surface);
        ASSERT_TRUE(mixer.SetAllChannels());
        EXPECT_TRUE(IsOneBlackVoxel(Shown(mixer, 1)));
        EXPECT_TRUE(mixer.calls.empty());
    }
}

} // namespace velm::test
