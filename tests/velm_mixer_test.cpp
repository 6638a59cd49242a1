#include "velm_mixer.h"

#include "support/assert_recorder.h"
#include "support/chip_reference.h"
#include "support/every_machine.h"
#include "support/log_recorder.h"
#include "support/memory_mixer.h"
#include "support/random_field.h"
#include "support/sanitizers.h"
#include "support/temp_depository.h"
#include "support/voxels.h"

#include <fstream>
#include <gmock/gmock.h>
#include <limits>
#include <new>
#include <random>
#include <sys/resource.h>
#include <unistd.h>
#include <wx/filefn.h>

namespace velm::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using Image = VELM_Mixer::Image;
using ColorImage = VELM_Mixer::ColorImage;
using Rgb = vexa::RGB_generic<unsigned short>;
using Whole = vexa::Vector3d<int>;

wxArrayLong Ids(std::initializer_list<long> ids)
{
    wxArrayLong array;
    for (long const id : ids) {
        array.push_back(id);
    }
    return array;
}

// A mixer in memory that shows what is protected, and shifts channels as it is told.
class OpenMixer : public MemoryMixer<VELM_FOV_Mixer> {
  public:
    using MemoryMixer::MemoryMixer;
    using VELM_FOV_Mixer::_channels;
    using VELM_FOV_Mixer::_ids;
    using VELM_FOV_Mixer::_params;
    using VELM_FOV_Mixer::_scale;
    using VELM_FOV_Mixer::GCD;

    void AdjustParams() override
    {
        calls.emplace_back("AdjustParams");
        for (std::size_t i = 0; i < shifts.size(); ++i) {
            _channels[i].adjusted_first += shifts[i];
            _channels[i].adjusted_last += shifts[i];
        }
    }
    bool RecomputeOutputParams(VELM_MixerOutputParams & out) override
    {
        calls.emplace_back("RecomputeOutputParams");
        out.first += cut;
        return true;
    }
    void PreprocessImage(long id, Image & image) override
    {
        calls.push_back("PreprocessImage " + std::to_string(id));
        if (preprocess) {
            preprocess(image);
        }
    }

    std::vector<Whole> shifts; // by position among the chosen channels
    Whole cut;                 // off the beginning of the common area, in chip pixels
    std::function<void(Image &)> preprocess;
};

// An image in memory with a resolution.
Image Pattern(unsigned int x, unsigned int y, unsigned int z, std::uint32_t seed = 1)
{
    auto image = PatternImage<unsigned short>(x, y, z, seed);
    image.resolution = vexa::Resolution(10.0F, 8.0F, 4.0F);
    return image;
}

void ExpectOneBlackVoxel(Image const & image)
{
    ASSERT_EQ(image.size, (vexa::Vector3d<unsigned int>(1, 1, 1)));
    EXPECT_EQ(image.GetVoxel(0), 0);
}

void ExpectOneBlackVoxel(ColorImage const & image)
{
    ASSERT_EQ(image.size, (vexa::Vector3d<unsigned int>(1, 1, 1)));
    EXPECT_EQ(image.GetVoxel(0), Rgb());
}

// Removes the file, and returns what reading it says.
std::string RemoveAndRead(wxString const & path)
{
    wxRemoveFile(path);
    try {
        vexa::ReadImageHeader(path.fn_str(), vexa::FileFormat::FromName);
    } catch (vexa::IOException const & error) {
        return error.what();
    }
    return {};
}

// What a mixer shows, expected to succeed without a word.
Image Shown(VELM_Mixer & mixer, long id, int slice = -1, wxRect const * rect = nullptr)
{
    LogRecorder const log;
    Image out;
    EXPECT_TRUE(mixer.GetChannel(id, rect, out, slice));
    EXPECT_TRUE(log.Lines().empty());
    return out;
}

ColorImage ShownRGB(VELM_Mixer & mixer, long red, long green, long blue, int slice = -1,
                    wxRect const * rect = nullptr)
{
    LogRecorder const log;
    ColorImage out;
    EXPECT_TRUE(mixer.GetRGB(red, green, blue, rect, out, slice));
    EXPECT_TRUE(log.Lines().empty());
    return out;
}

} // namespace

// --- geometry

TEST(VelmMixer, ChannelsOfOneBinningAndRegionAreMixedVoxelByVoxel)
{
    OpenMixer mixer;
    mixer.Add({1, 2, 3, 10, 9}, Pattern(7, 5, 4, 1));
    mixer.Add({2, 2, 3, 10, 9}, Pattern(7, 5, 4, 2));
    ASSERT_TRUE(mixer.SetAllChannels());
    ColorImage const mixed = ShownRGB(mixer, 1, 2, -1);

    EXPECT_EQ(mixer._params.step, Whole(2, 3, 1));
    EXPECT_EQ(mixer._params.first, Whole(10, 9, 0));
    EXPECT_EQ(mixer._params.last, Whole(23, 23, 3));
    EXPECT_EQ(mixer._params.size, Whole(7, 5, 4));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(mixer._channels[i].shift, Whole());
        EXPECT_EQ(mixer.boxes.at(i + 1).offset, Whole());
        EXPECT_EQ(mixer.boxes.at(i + 1).size, mixed.size);
    }
    ASSERT_EQ(mixed.GetCount(), 140U);
    for (std::size_t i = 0; i < mixed.GetCount(); ++i) {
        ASSERT_EQ(mixed.GetVoxel(i), Rgb(mixer.images.at(1).GetVoxel(i), mixer.images.at(2).GetVoxel(i), 0));
    }
}

TEST(VelmMixer, ACoarserChannelsPixelsRepeat)
{
    OpenMixer mixer;
    mixer.Add({1, 2, 2, 0, 0}, Pattern(3, 2, 1, 1));
    mixer.Add({2, 1, 1, 0, 0}, Pattern(6, 4, 1, 2));
    ASSERT_TRUE(mixer.SetAllChannels());
    Image const coarse = Shown(mixer, 1);
    EXPECT_EQ(mixer._params.step, Whole(1, 1, 1));
    ASSERT_EQ(coarse.size, (vexa::Vector3d<unsigned int>(6, 4, 1)));
    for (unsigned int y = 0; y < 4; ++y) {
        for (unsigned int x = 0; x < 6; ++x) {
            EXPECT_EQ(coarse.GetVoxel(x, y, 0), mixer.images.at(1).GetVoxel(x / 2, y / 2, 0));
        }
    }
    EXPECT_EQ(Voxels(Shown(mixer, 2)), Voxels(mixer.images.at(2)));
}

TEST(VelmMixer, RegionsThatDoNotOverlapGiveOneBlackVoxel)
{
    OpenMixer mixer;
    mixer.Add({1, 1, 1, 0, 0}, Pattern(8, 8, 2));
    mixer.Add({2, 1, 1, 8, 0}, Pattern(8, 8, 2));
    ASSERT_TRUE(mixer.SetAllChannels());
    ExpectOneBlackVoxel(Shown(mixer, 1));
    ExpectOneBlackVoxel(ShownRGB(mixer, 1, 2, -1));
    EXPECT_THAT(mixer.boxes, testing::IsEmpty()) << "nothing was loaded";
    VELM_MixerOutputParams params;
    EXPECT_FALSE(mixer.CalculateMixingParams(-1, nullptr, params));
}

TEST(VelmMixer, ASliceIsCountedFromTheFirstCommonOneAndMinusOneMeansAll)
{
    OpenMixer mixer;
    mixer.Add({}, Pattern(4, 3, 10));
    ASSERT_TRUE(mixer.SetAllChannels());
    Image const & stack = mixer.images.at(1);
    EXPECT_EQ(Voxels(Shown(mixer, 1, -1)), Voxels(stack));
    for (unsigned int slice : {0U, 9U}) {
        EXPECT_EQ(Voxels(Shown(mixer, 1, static_cast<int>(slice))),
                  VoxelsOf(stack, vexa::Box(0, 0, static_cast<int>(slice), 4, 3, 1)));
        EXPECT_EQ(mixer.boxes.at(1).size.z, 1U);
    }
    for (int const slice : {10, -2, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        ExpectOneBlackVoxel(Shown(mixer, 1, slice));
        ExpectOneBlackVoxel(ShownRGB(mixer, 1, 1, 1, slice));
    }
}

TEST(VelmMixer, ARectangleIsInOutputPixelsAndStaysWithinTheCommonArea)
{
    OpenMixer mixer;
    mixer.Add({1, 2, 2, 4, 6}, Pattern(10, 8, 1));
    ASSERT_TRUE(mixer.SetAllChannels());
    struct Case {
        wxRect rect;
        vexa::Box part;
    };
    for (Case const & c : {Case{{2, 3, 5, 4}, {2, 3, 0, 5, 4, 1}}, Case{{-2, -3, 5, 4}, {0, 0, 0, 3, 1, 1}},
                           Case{{9, 7, 5, 4}, {9, 7, 0, 1, 1, 1}}}) {
        EXPECT_EQ(Voxels(Shown(mixer, 1, -1, &c.rect)), VoxelsOf(mixer.images.at(1), c.part));
        EXPECT_EQ(mixer.boxes.at(1).offset, c.part.offset);
        EXPECT_EQ(mixer.boxes.at(1).size, c.part.size);
    }
    constexpr int most = std::numeric_limits<int>::max();
    wxRect const all(0, 0, most, most);
    EXPECT_EQ(Voxels(Shown(mixer, 1, -1, &all)), Voxels(mixer.images.at(1)));
    for (wxRect const & outside :
         {wxRect(10, 0, 5, 4), wxRect(0, 8, 5, 4), wxRect(2, 2, 0, 4), wxRect(2, 2, 4, -1),
          wxRect(most, most, most, most), wxRect(std::numeric_limits<int>::min(), 0, 5, 5)}) {
        ExpectOneBlackVoxel(Shown(mixer, 1, -1, &outside));
    }
}

TEST(VelmMixer, ARegionThatStartsWithinABinBeginsWithThatBin)
{
    OpenMixer mixer;
    mixer.Add({1, 2, 3, 5, 11}, Pattern(4, 4, 1));
    mixer.Add({2, 2, 3, -1, -1}, Pattern(9, 9, 1));
    ASSERT_TRUE(mixer.SetAllChannels());
    EXPECT_EQ(mixer._channels[0].first, Whole(4, 9, 0));
    EXPECT_EQ(mixer._channels[0].last, Whole(11, 20, 0));
    EXPECT_EQ(mixer._channels[1].first, Whole()) << "the full frame";
    EXPECT_EQ(mixer._channels[0].sampling, Whole(2, 3, 1));
}

TEST(VelmMixer, OffsetAndResolutionFollowTheFirstChosenChannelsScale)
{
    OpenMixer mixer;
    mixer.Add({1, 1, 1, 3, 5}, Pattern(12, 12, 3));
    mixer.Add({2, 2, 4, 4, 4}, Pattern(6, 3, 3));
    mixer.images.at(2).resolution = vexa::Resolution(5.0F, 3.0F, 7.0F);
    ASSERT_TRUE(mixer.SetChannels(Ids({2, 1}), false));
    EXPECT_EQ(mixer._scale, (vexa::Vector3d<float>(10.0F, 12.0F, 7.0F)));
    Image const shown = Shown(mixer, 1, 1);
    EXPECT_EQ(mixer._params.first, Whole(4, 5, 1));
    EXPECT_EQ(shown.offset,
              (vexa::Vector3d<float>(0.4F, static_cast<float>(5.0 / 12.0), static_cast<float>(1.0 / 7.0))));
    EXPECT_EQ(shown.resolution.GetRes(), (vexa::Vector3d<float>(10.0F, 12.0F, 7.0F)));
    ASSERT_TRUE(mixer.SetChannels(Ids({2}), false));
    EXPECT_EQ(ShownRGB(mixer, 2, -1, -1).resolution.GetRes(), (vexa::Vector3d<float>(5.0F, 3.0F, 7.0F)));
}

TEST(VelmMixer, AnAfImageHasOneSliceWhateverTheStackHas)
{
    OpenMixer mixer;
    mixer.Add({}, Pattern(4, 3, 10));
    ASSERT_TRUE(mixer.SetAllChannels(true));
    EXPECT_EQ(mixer._channels[0].last, Whole(3, 2, 0));
    EXPECT_EQ(Shown(mixer, 1).size.z, 1U);
    ExpectOneBlackVoxel(Shown(mixer, 1, 1));
}

TEST(VelmMixer, GreatestCommonDivisorsAreThoseOfEuclid)
{
    EXPECT_EQ(OpenMixer::GCD(12, 18), 6);
    EXPECT_EQ(OpenMixer::GCD(7, 0), 7);
    EXPECT_EQ(OpenMixer::GCD(0, 7), 7);
    EXPECT_EQ(OpenMixer::GCD(-12, 8), -4) << "the remainder is truncated";
    struct Case {
        std::vector<int> numbers;
        int gcd;
    };
    for (Case const & c : {Case{{9}, 9}, Case{{12, 18}, 6}, Case{{12, 18, 8}, 2}, Case{{30, 20, 50, 15}, 5},
                           Case{{14, 0, 0, 21, 28}, 7}, Case{{6, 10, 15}, 1}}) {
        wxArrayInt array;
        for (int const number : c.numbers) {
            array.push_back(number);
        }
        EXPECT_EQ(OpenMixer::GCD(array), c.gcd);
        EXPECT_EQ(array[0], c.gcd) << "the array is overwritten";
    }
}

// --- against the reference

namespace {

void ExpectGridOf(ChipReference const & chip, ChipReference::Picture const & picture, OpenMixer & mixer)
{
    EXPECT_EQ(mixer._params.step, picture.step);
    EXPECT_EQ(mixer._params.first,
              Whole(picture.begins[0].front(), picture.begins[1].front(), picture.begins[2].front()));
    for (auto const & [id, box] : mixer.boxes) {
        vexa::Box const part = chip.Part(static_cast<std::size_t>(id - 1), picture);
        EXPECT_EQ(box.offset, part.offset) << "no voxel too many is read";
        EXPECT_EQ(box.size, part.size);
    }
}

} // namespace

TEST(VelmMixer, MixesRandomGeometriesAsTheChipSaysPixelByPixel)
{
    std::mt19937 random(20261121);
    int shown = 0;
    for (int round = 0; round < 16000 && !testing::Test::HasFailure(); ++round) {
        SCOPED_TRACE(round);
        RandomField const field(random);
        OpenMixer mixer;
        field.AddTo(mixer);
        mixer.shifts = field.shifts;
        ChipReference const chip = field.OnChip(field.shifts);
        ASSERT_TRUE(mixer.SetAllChannels());
        RandomRequest const request(random, field);
        ChipReference::Picture const picture = chip.Show(request.slice, request.Rect());
        ColorImage const mixed =
            ShownRGB(mixer, request.ids[0], request.ids[1], request.ids[2], request.slice, request.Rect());
        long const id = field.PickId(random);
        Image const single = Shown(mixer, id, request.slice, request.Rect());
        if (picture.IsEmpty()) {
            ExpectOneBlackVoxel(mixed);
            ExpectOneBlackVoxel(single);
            continue;
        }
        ++shown;
        ExpectMixedAs(chip, picture, request.ids, mixed);
        ExpectGridOf(chip, picture, mixer);
        ColorImage as_red;
        as_red.MakeRoom(single.size.x, single.size.y, single.size.z);
        std::transform(single.begin(), single.end(), as_red.begin(),
                       [](unsigned short voxel) { return Rgb(voxel, 0, 0); });
        ExpectMixedAs(chip, picture, {id, -1, -1}, as_red);
    }
    EXPECT_GT(shown, 3000) << "enough of them have something in common";
}

TEST(VelmMixer, ALargeStackIsTheSameOnEveryMachine)
{
    OpenMixer mixer;
    mixer.Add({1, 1, 1, 0, 0}, Pattern(1031, 700, 2, 1));
    mixer.Add({2, 2, 2, 0, 0}, Pattern(515, 350, 2, 2));
    mixer.Add({3, 1, 1, 7, 3}, Pattern(1020, 697, 2, 3));
    ASSERT_TRUE(mixer.SetAllChannels());
    vexa::SetInstructionSet(vexa::InstructionSet::Plain);
    vexa::SetThreadCount(1);
    ColorImage const expected = ShownRGB(mixer, 1, 2, 3);
    ASSERT_EQ(expected.GetVoxel(1000, 600, 1),
              Rgb(mixer.images.at(1).GetVoxel(1007, 603, 1), mixer.images.at(2).GetVoxel(503, 301, 1),
                  mixer.images.at(3).GetVoxel(1000, 600, 1)));
    OnEveryMachine([&] {
        EXPECT_TRUE(Voxels(ShownRGB(mixer, 1, 2, 3)) == Voxels(expected));
        Image const green = Shown(mixer, 2);
        EXPECT_TRUE(std::equal(green.begin(), green.end(), expected.begin(),
                               [](unsigned short voxel, Rgb const & rgb) { return voxel == rgb.green; }));
    });
}

// --- operations

TEST(VelmMixer, EachPictureComputesTheGridThenLoadsAndPreprocessesRedGreenAndBlue)
{
    OpenMixer mixer;
    for (long const id : {1L, 2L, 3L}) {
        mixer.Add({id}, Pattern(3, 3, 1));
    }
    ASSERT_TRUE(mixer.SetAllChannels());
    ShownRGB(mixer, 3, 1, 2);
    EXPECT_THAT(mixer.calls,
                ElementsAre("AdjustParams", "RecomputeOutputParams", "LoadImage 3", "PreprocessImage 3",
                            "LoadImage 1", "PreprocessImage 1", "LoadImage 2", "PreprocessImage 2"));
    mixer.calls.clear();
    Shown(mixer, 2);
    EXPECT_THAT(mixer.calls,
                ElementsAre("AdjustParams", "RecomputeOutputParams", "LoadImage 2", "PreprocessImage 2"));
}

TEST(VelmMixer, ForAColourWithoutAChannelNothingIsLoadedAndItIsBlack)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(5, 4, 2, 1));
    mixer.Add({2}, Pattern(5, 4, 2, 2));
    ASSERT_TRUE(mixer.SetAllChannels());
    ColorImage const mixed = ShownRGB(mixer, 1, -1, 2);
    EXPECT_THAT(mixer.calls, ElementsAre("AdjustParams", "RecomputeOutputParams", "LoadImage 1",
                                         "PreprocessImage 1", "LoadImage 2", "PreprocessImage 2"));
    for (Rgb const & voxel : mixed) {
        ASSERT_EQ(voxel.green, 0);
    }
    ColorImage const black = ShownRGB(mixer, -1, -1, -1);
    EXPECT_EQ(black.size, mixed.size);
    EXPECT_THAT(Voxels(black), Each(Rgb()));
}

TEST(VelmMixer, WhatPreprocessingMakesOfAnImageIsShown)
{
    OpenMixer mixer;
    mixer.Add({}, Pattern(5, 4, 2));
    mixer.preprocess = [](Image & image) {
        for (unsigned short & voxel : image) {
            voxel = static_cast<unsigned short>(voxel / 2);
        }
    };
    ASSERT_TRUE(mixer.SetAllChannels());
    EXPECT_EQ(Shown(mixer, 1).GetVoxel(39), mixer.images.at(1).GetVoxel(39) / 2);
}

TEST(VelmMixer, WhatIsCutOffTheAreaDoesNotMoveThePixels)
{
    OpenMixer mixer;
    mixer.Add({1, 2, 2, 0, 0}, Pattern(6, 6, 3));
    mixer.cut = {3, 2, 1};
    ASSERT_TRUE(mixer.SetAllChannels());
    Image const shown = Shown(mixer, 1);
    EXPECT_EQ(mixer.boxes.at(1).offset, Whole()) << "the part is that of the whole area";
    EXPECT_EQ(mixer._channels[0].shift, Whole(3, 2, 1));
    ASSERT_EQ(shown.size, (vexa::Vector3d<unsigned int>(4, 5, 2)));
    EXPECT_EQ(shown.GetVoxel(0, 0, 0), mixer.images.at(1).GetVoxel(1, 1, 1));
    EXPECT_EQ(shown.GetVoxel(3, 4, 1), mixer.images.at(1).GetVoxel(4, 5, 2));
    mixer.cut = {11, 0, 0};
    ExpectOneBlackVoxel(Shown(mixer, 1));
}

TEST(VelmMixer, CopiesShareTheChannelsParameters)
{
    OpenMixer mixer;
    mixer.Add({}, Pattern(5, 4, 2));
    EXPECT_EQ(mixer._channels.get(), nullptr) << "nothing is chosen yet";
    ASSERT_TRUE(mixer.SetAllChannels());
    OpenMixer copy(mixer);
    OpenMixer assigned;
    assigned = mixer;
    for (OpenMixer * const other : {&copy, &assigned}) {
        EXPECT_EQ(other->_channels.get(), mixer._channels.get());
        EXPECT_EQ(other->_ids, mixer._ids);
        EXPECT_EQ(other->_scale, mixer._scale);
        EXPECT_EQ(Voxels(Shown(*other, 1)), Voxels(mixer.images.at(1)));
    }
    ASSERT_TRUE(mixer.SetChannels(Ids({1}), true));
    EXPECT_NE(copy._channels.get(), mixer._channels.get());
    EXPECT_EQ(Voxels(Shown(copy, 1)), Voxels(mixer.images.at(1))) << "still the whole stack";
}

TEST(VelmMixer, BitsAreThoseOfTheChannelsCameraSetting)
{
    OpenMixer mixer;
    mixer.Add({2}, Pattern(1, 1, 1));
    EXPECT_EQ(mixer.GetLastBit(2), 10);
    EXPECT_EQ(mixer.GetMaxBit(2), 12);
    for (long const id : {0L, -1L, 1L}) {
        EXPECT_EQ(mixer.GetLastBit(id), 0);
        EXPECT_EQ(mixer.GetMaxBit(id), 0);
    }
}

// --- failures

namespace {

// Channel 2 shows neither alone nor beside channel 1, and each attempt logs the line.
void ExpectSecondChannelFails(OpenMixer & mixer, LogLine const & line)
{
    LogRecorder const log;
    Image single = Pattern(2, 2, 2);
    EXPECT_FALSE(mixer.GetChannel(2, nullptr, single, -1));
    EXPECT_EQ(Voxels(single), Voxels(Pattern(2, 2, 2))) << "left as it was";
    ColorImage mixed;
    EXPECT_FALSE(mixer.GetRGB(1, 2, 1, nullptr, mixed, -1));
    ExpectOneBlackVoxel(mixed);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{line, line}));
}

} // namespace

TEST(VelmMixer, ChoosingNoChannelsTripsAnAssertion)
{
    OpenMixer mixer;
    EXPECT_EQ(VELM_TRIPPED_BY(mixer.SetChannels(wxArrayLong(), false)), "id_list.size()");
}

TEST(VelmMixer, AnUnknownChannelIsNotChosenAndThoseBeforeItStay)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(5, 4, 2));
    LogRecorder const log;
    EXPECT_FALSE(mixer.SetChannels(Ids({1, 7, 1}), false));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("VELM_Mixer::SetChannels: Unknown channel id 7")}));
    EXPECT_EQ(mixer._ids, Ids({1}));
    EXPECT_EQ(mixer._channels[0].last, Whole(4, 3, 1));
}

TEST(VelmMixer, AChannelWithoutAnImageIsNotChosenWithoutAWord)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(5, 4, 2));
    mixer.Add({2}, Pattern(5, 4, 2));
    mixer.images.erase(2);
    LogRecorder const log;
    EXPECT_FALSE(mixer.SetAllChannels());
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VelmMixer, AChannelWithoutAUsableCameraSettingIsNotChosen)
{
    OpenMixer mixer;
    mixer.Add({1, 0, 1}, Pattern(5, 4, 2));
    mixer.Add({2}, Pattern(5, 4, 2));
    mixer.GetFOV().GetChannelById(2).TakeCameraSetting(nullptr);
    LogRecorder const log;
    EXPECT_FALSE(mixer.SetChannels(Ids({1}), false));
    EXPECT_FALSE(mixer.SetChannels(Ids({2}), false));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{
                               Error("VELM_Mixer::SetChannels: Channel id 1 has no usable camera setting"),
                               Error("VELM_Mixer::SetChannels: Channel id 2 has no usable camera setting")}));
}

TEST(VelmMixer, AChannelThatWasNotChosenIsNotFound)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(5, 4, 2));
    mixer.Add({2}, Pattern(5, 4, 2));
    ASSERT_TRUE(mixer.SetChannels(Ids({1}), false));
    ExpectSecondChannelFails(mixer, Error("VELM_Mixer::GetChannel: Channel id 2 not found"));
}

TEST(VelmMixer, AnImageThatCannotBeLoadedFailsThePicture)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(5, 4, 2));
    mixer.Add({2}, Pattern(5, 4, 2));
    ASSERT_TRUE(mixer.SetAllChannels());
    mixer.images.erase(2);
    ExpectSecondChannelFails(mixer, Error("VELM_Mixer::GetChannel: Channel 2 image loading failed"));
}

TEST(VelmMixer, AnImageSmallerThanItsHeaderSaidFailsThePicture)
{
    for (vexa::Vector3d<unsigned int> const & size :
         {vexa::Vector3d<unsigned int>(4, 4, 2), {5, 3, 2}, {5, 4, 1}, {0, 0, 0}}) {
        OpenMixer mixer;
        mixer.Add({1}, Pattern(5, 4, 2));
        ASSERT_TRUE(mixer.SetAllChannels());
        mixer.preprocess = [&](Image & image) { image = Pattern(size.x, size.y, size.z); };
        LogRecorder const log;
        Image single;
        EXPECT_FALSE(mixer.GetChannel(1, nullptr, single, -1));
        EXPECT_EQ(log.Lines(),
                  (std::vector<LogLine>{Error("VELM_Mixer::GetChannel: Channel 1 image loading failed")}));
    }
}

TEST(VelmMixer, WithoutMemoryOrWithACorrectionThatThrowsThePictureIsOneBlackVoxel)
{
    OpenMixer mixer;
    mixer.Add({1}, Pattern(5, 4, 2));
    ASSERT_TRUE(mixer.SetAllChannels());
    LogRecorder const log;
    ColorImage mixed;
    mixer.preprocess = [](Image &) { throw std::bad_alloc(); };
    EXPECT_FALSE(mixer.GetRGB(1, 1, 1, nullptr, mixed, -1));
    ExpectOneBlackVoxel(mixed);
    Image single;
    EXPECT_THROW(mixer.GetChannel(1, nullptr, single, -1), std::bad_alloc);
    mixer.preprocess = [](Image &) { throw vexa::InternalException("No such surface"); };
    EXPECT_FALSE(mixer.GetRGB(1, 1, 1, nullptr, mixed, -1));
    ExpectOneBlackVoxel(mixed);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<LogLine>{
            Error("velm::VELM_Mixer::GetRGB: Not enough memory to complete the operation (std::bad_alloc)"),
            Error("velm::VELM_Mixer::GetRGB: No such surface")}));
}

TEST(VelmMixer, PlacesFarOffAnyChipHaveNothingInCommon)
{
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    for (ChannelGeometry const & geometry :
         {ChannelGeometry{2, 1, 1, most, 0}, ChannelGeometry{2, 1, 1, least, 0},
          ChannelGeometry{2, most, most, 0, 0}, ChannelGeometry{2, most, 1, most, most}}) {
        OpenMixer mixer;
        mixer.Add({1}, Pattern(5, 4, 2));
        mixer.Add(geometry, Pattern(5, 4, 2));
        ASSERT_TRUE(mixer.SetAllChannels());
        ExpectOneBlackVoxel(Shown(mixer, 1));
    }
}

// --- fields of view

namespace {

// A stored field of view with two channels, of which the second is binned two by two.
class FovMixer : public testing::Test {
  protected:
    FovMixer()
    {
        _temp->Open();
        VELM_FOV fov;
        for (long const id : {1L, 2L}) {
            VELM_Channel channel = TestChannel(id);
            channel.GetCameraSetting()->SetBinning(static_cast<int>(id), static_cast<int>(id));
            fov.AddChannel(channel);
        }
        EXPECT_TRUE(_temp->FOV_Save(fov));
        for (long const id : {1L, 2L}) {
            auto const shrink = static_cast<unsigned int>(id);
            _stacks[id] = PatternStack(12 / shrink, 8 / shrink, 3);
            EXPECT_TRUE(_temp->FOV_SaveImage(1, id, _stacks[id]));
        }
    }

    // Removes the channel's file, and returns what reading it says.
    std::string Lose(long id)
    {
        wxString const path = _temp / wxString::Format("rawdata/0001/%02ld.ics", id);
        return RemoveAndRead(path);
    }

    TempDepository _temp;
    std::map<long, Image> _stacks;
};

} // namespace

TEST_F(FovMixer, MixesTheStacksOfAStoredField)
{
    VELM_FOV_Mixer mixer(&*_temp);
    ASSERT_TRUE(mixer.SetSource(1));
    EXPECT_EQ(mixer.GetFOV().GetId(), 1);
    EXPECT_EQ(&mixer.GetChannelList(), &mixer.GetFOV().GetChannelListRef());
    ASSERT_TRUE(mixer.SetChannels(Ids({1, 2}), false));
    wxRect const rect(3, 2, 6, 5);
    ColorImage const mixed = ShownRGB(mixer, 1, -1, 2, 1, &rect);
    ASSERT_EQ(mixed.size, (vexa::Vector3d<unsigned int>(6, 5, 1)));
    for (unsigned int y = 0; y < 5; ++y) {
        for (unsigned int x = 0; x < 6; ++x) {
            EXPECT_EQ(mixed.GetVoxel(x, y, 0), Rgb(_stacks[1].GetVoxel(x + 3, y + 2, 1), 0,
                                                   _stacks[2].GetVoxel((x + 3) / 2, (y + 2) / 2, 1)));
        }
    }
    EXPECT_EQ(mixed.resolution.GetRes(), (vexa::Vector3d<float>(10.0F, 10.0F, 5.0F)));
}

TEST_F(FovMixer, MixesTheAfImagesWhenAsked)
{
    VELM_FOV_Mixer mixer(&*_temp);
    ASSERT_TRUE(mixer.SetSource(1));
    Image af = PatternStack(12, 8, 1);
    ASSERT_TRUE(_temp->FOV_SaveAFImage(1, 1, af));
    ASSERT_TRUE(mixer.SetChannels(Ids({1}), true));
    EXPECT_EQ(Voxels(Shown(mixer, 1)), Voxels(af));
    vexa::Vector3d<unsigned int> size;
    vexa::Vector3d<float> resolution;
    vexa::Vector3d<float> offset;
    EXPECT_TRUE(mixer.ReadImageDimension(1, size, resolution, offset));
    EXPECT_EQ(size, (vexa::Vector3d<unsigned int>(12, 8, 1)));
    EXPECT_EQ(offset, (vexa::Vector3d<float>(1.0F, 2.0F, 0.0F)));
    EXPECT_EQ(resolution, (vexa::Vector3d<float>(10.0F, 10.0F, 5.0F)));
}

TEST_F(FovMixer, AFieldThatCannotBeLoadedLeavesTheSourceAsItWas)
{
    VELM_FOV_Mixer mixer(&*_temp);
    ASSERT_TRUE(mixer.SetSource(1));
    LogRecorder const log;
    EXPECT_FALSE(mixer.SetSource(2));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("VELM_Depository::FOV_Load: Invalid FOV id - 2"),
                                    Error("VELM_FOV_Mixer::SetSource: Unable to load FOV 0002")}));
    EXPECT_EQ(mixer.GetFOV().GetId(), 1);
}

TEST_F(FovMixer, AMissingImageIsToldWithItsFieldAndChannel)
{
    VELM_FOV_Mixer mixer(&*_temp);
    ASSERT_TRUE(mixer.SetSource(1));
    ASSERT_TRUE(mixer.SetChannels(Ids({1, 2}), false));
    std::string const failure = Lose(2);
    LogRecorder log;
    Image out;
    EXPECT_FALSE(mixer.GetChannel(2, nullptr, out, -1));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("IO error: " + failure),
                  Error("velm::VELM_FOV_Mixer::LoadImage: Unable to load image, fov_id=1, ch_id=2"),
                  Error("VELM_Mixer::GetChannel: Channel 2 image loading failed")}));
    log.Clear();
    EXPECT_FALSE(mixer.SetChannels(Ids({1, 2}), false));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("VELM_Depository::FOV_GetDimensions: " + failure)}));
}

// --- thumbnails

namespace {

class ThumbnailMixer : public testing::Test {
  protected:
    ThumbnailMixer()
    {
        for (long const id : {3L, 5L}) {
            VELM_Channel channel = TestChannel(id);
            _list.Insert(channel);
            auto picture = PatternImage<unsigned char>(16, 12, 2, static_cast<std::uint32_t>(id));
            picture.resolution = vexa::Resolution(2.0F, 3.0F, 1.0F);
            _paths.push_back(_directory / wxString::Format("%ld.tif", id));
            picture.SaveImage(_paths.back().fn_str(), vexa::FileFormat::FromName, true, nullptr);
            _pictures.push_back(picture);
        }
    }

    TempDirectory _directory;
    VELM_ChannelList _list;
    std::vector<wxString> _paths;
    std::vector<vexa::Image3d<unsigned char>> _pictures;
};

} // namespace

TEST_F(ThumbnailMixer, ShowsTheFilesValuesAsTheyAre)
{
    VELM_ThumbnailMixer mixer(_list, _paths);
    EXPECT_TRUE(mixer.SetSource(0));
    EXPECT_EQ(&mixer.GetChannelList(), &_list);
    ASSERT_TRUE(mixer.SetChannels(Ids({3, 5}), false));
    ColorImage const mixed = ShownRGB(mixer, 5, 3, -1);
    ASSERT_EQ(mixed.size, _pictures[0].size);
    for (std::size_t i = 0; i < mixed.GetCount(); ++i) {
        ASSERT_EQ(mixed.GetVoxel(i), Rgb(_pictures[1].GetVoxel(i), _pictures[0].GetVoxel(i), 0));
    }
    EXPECT_EQ(mixed.resolution.GetRes(), (vexa::Vector3d<float>(2.0F, 3.0F, 1.0F)));
    ASSERT_TRUE(mixer.SetChannels(Ids({3}), true));
    EXPECT_EQ(Shown(mixer, 3).size.z, 1U);
}

TEST_F(ThumbnailMixer, TellsOfAFileThatIsNotThereOrHasNoPath)
{
    VELM_ThumbnailMixer mixer(_list, _paths);
    ASSERT_TRUE(mixer.SetChannels(Ids({3, 5}), false));
    std::string const failure = RemoveAndRead(_paths[1]);
    LogRecorder log;
    Image out;
    EXPECT_FALSE(mixer.GetChannel(5, nullptr, out, -1));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{
                               Error("velm::VELM_ThumbnailMixer::LoadImage: VEXA exception - " + failure),
                               Error("velm::VELM_ThumbnailMixer::LoadImage: Unable to load image, path=" +
                                     std::string(_paths[1].utf8_str()) + ", ch_id=5"),
                               Error("VELM_Mixer::GetChannel: Channel 5 image loading failed")}));
    log.Clear();
    EXPECT_FALSE(mixer.SetChannels(Ids({5}), false));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_ThumbnailMixer::ReadImageDimension: " + failure)}));
    _paths.pop_back();
    EXPECT_FALSE(mixer.SetChannels(Ids({5}), false));
}

TEST_F(ThumbnailMixer, AFileWithoutRoomInMemoryFailsWithAMessage)
{
    if (allocator_ends_the_program) {
        GTEST_SKIP() << "allocations that fail end the program here";
    }
    vexa::Image3d<unsigned char> large = ConstantImage<unsigned char>(8192, 8192, 1, 7);
    large.resolution = vexa::Resolution(1.0F, 1.0F, 1.0F);
    large.SaveImage(_paths[0].fn_str(), vexa::FileFormat::FromName, true, nullptr);
    VELM_ThumbnailMixer mixer(_list, _paths);
    ASSERT_TRUE(mixer.SetChannels(Ids({3}), false));
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit const little{static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE)) + (rlim_t{32} << 20),
                        before.rlim_max};
    LogRecorder const log;
    Image out;
    setrlimit(RLIMIT_AS, &little);
    bool const is_loaded = mixer.GetChannel(3, nullptr, out, -1);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(is_loaded);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_ThumbnailMixer::LoadImage: Not enough memory to complete the operation "
                        "(std::bad_alloc)"),
                  Error("VELM_Mixer::GetChannel: Channel 3 image loading failed")}));
}

} // namespace velm::test
