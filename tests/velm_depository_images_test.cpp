#include "support/log_recorder.h"
#include "support/sanitizers.h"
#include "support/temp_depository.h"
#include "velm_depository.h"
#include "velm_prefs.h"
#include "velm_thumbnail.h"
#include "vexaalgo/projection.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <wx/filefn.h>
#include <wx/stream.h>

// What holds for FOVs and VOIs alike is tested on both: the operations by name, the words of their messages.

namespace velm::test {

using Stack = vexa::Image3d<unsigned short>;
using GreyHistogram = nubo::Histogram<unsigned short>;

struct Kind {
    char const * name;
    char const * id_name;
    char const * directory;
    long id;
    bool (VELM_Depository::*load)(long, long, Stack &, vexa::Box *);
    bool (VELM_Depository::*save)(long, long, Stack &);
    bool (VELM_Depository::*save_dated)(long, long, Stack &, wxDateTime const &);
    bool (VELM_Depository::*load_af)(long, long, Stack &, vexa::Box *);
    bool (VELM_Depository::*save_af)(long, long, Stack &);
    bool (VELM_Depository::*load_histogram)(long, long, GreyHistogram &);
    bool (VELM_Depository::*get_dimensions)(long, long, vexa::Vector3d<unsigned int> &,
                                            vexa::Vector3d<float> &, vexa::Vector3d<float> &);
    wxString (VELM_Depository::*thumbnail)(long, long);
};

Kind const fov_kind{"FOV",
                    "fov_id",
                    "rawdata/0001",
                    1,
                    &VELM_Depository::FOV_LoadImage,
                    &VELM_Depository::FOV_SaveImage,
                    &VELM_Depository::FOV_SaveImage,
                    &VELM_Depository::FOV_LoadAFImage,
                    &VELM_Depository::FOV_SaveAFImage,
                    &VELM_Depository::FOV_LoadHistogram,
                    &VELM_Depository::FOV_GetDimensions,
                    &VELM_Depository::FOV_GetThumbnailURL};

Kind const voi_kind{"VOI",
                    "voi_id",
                    "regions/010000",
                    10000,
                    &VELM_Depository::VOI_LoadImage,
                    &VELM_Depository::VOI_SaveImage,
                    &VELM_Depository::VOI_SaveImage,
                    &VELM_Depository::VOI_LoadAFImage,
                    &VELM_Depository::VOI_SaveAFImage,
                    &VELM_Depository::VOI_LoadHistogram,
                    &VELM_Depository::VOI_GetDimensions,
                    &VELM_Depository::VOI_GetThumbnailURL};

class ImageStoreTest : public testing::TestWithParam<Kind> {
  protected:
    ImageStoreTest() { _temp->Open(); }

    Kind const & kind = GetParam();

    // The path of a file of the record.
    wxString File(char const * name) const { return _temp / kind.directory + "/" + name; }

    std::string Ids() const
    {
        return std::string(kind.id_name) + "=" + std::to_string(kind.id) + ", ch_id=1";
    }
    std::string HistogramIds() const
    {
        return std::string(kind.id_name) + "=" + std::to_string(kind.id) + " ch_id=1";
    }

    bool Save(Stack stack) { return ((*_temp).*kind.save)(kind.id, 1, stack); }
    bool Load(Stack & stack, vexa::Box * box = nullptr)
    {
        return ((*_temp).*kind.load)(kind.id, 1, stack, box);
    }
    bool SaveAF(Stack stack) { return ((*_temp).*kind.save_af)(kind.id, 1, stack); }
    bool LoadAF(Stack & stack, vexa::Box * box = nullptr)
    {
        return ((*_temp).*kind.load_af)(kind.id, 1, stack, box);
    }
    bool LoadHistogram(GreyHistogram & histogram)
    {
        return ((*_temp).*kind.load_histogram)(kind.id, 1, histogram);
    }

    // Skips the test where nobody else than root can be had.
    void ExpectAnOrdinaryUserLoadsAF(Stack const & expected)
    {
        OrdinaryUser const user;
        if (!user.IsEffective()) {
            GTEST_SKIP() << "cannot become an ordinary user";
        }
        Stack loaded;
        EXPECT_TRUE(LoadAF(loaded));
        EXPECT_TRUE(std::equal(loaded.begin(), loaded.end(), expected.begin(), expected.end()));
    }

    // Saves the AF image in the older form only.
    void SaveOldAF(Stack const & projection)
    {
        SaveAF(projection);
        wxRemoveFile(File("01_af.ics"));
        projection.SaveImage(File("01_af.tif").fn_str(), vexa::FileFormat::FromName, true, nullptr);
    }

    TempDepository _temp;
};

INSTANTIATE_TEST_SUITE_P(FovAndVoi, ImageStoreTest, testing::Values(fov_kind, voi_kind),
                         [](auto const & instance) { return instance.param.name; });

void ExpectSame(Stack const & a, Stack const & b)
{
    ASSERT_EQ(a.size, b.size);
    EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin()));
    EXPECT_EQ(a.offset, b.offset);
    EXPECT_EQ(a.resolution.GetRes(), b.resolution.GetRes());
}

TEST_P(ImageStoreTest, AStackComesBackVoxelByVoxelWithItsGeometry)
{
    LogRecorder log;
    Stack const stack = PatternStack(17, 11, 5);
    for (bool const compressed : {true, false}) {
        VELM_Preferences::GetInstance()->SetEnableCompression(compressed);
        EXPECT_TRUE(Save(stack));
        Stack loaded;
        EXPECT_TRUE(Load(loaded));
        ExpectSame(loaded, stack);
    }
    EXPECT_TRUE(wxFileExists(File("01.ics")));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_P(ImageStoreTest, ThePreferenceSwitchesCompression)
{
    Stack constant = PatternStack(64, 64, 4);
    std::fill(constant.begin(), constant.end(), static_cast<unsigned short>(100));
    VELM_Preferences::GetInstance()->SetEnableCompression(false);
    Save(constant);
    EXPECT_GT(ReadFile(File("01.ics")).size(), 64u * 64u * 4u * 2u);
    VELM_Preferences::GetInstance()->SetEnableCompression(true);
    Save(constant);
    EXPECT_LT(ReadFile(File("01.ics")).size(), 64u * 64u);
}

TEST_P(ImageStoreTest, StackAndAfImageTellOtherProgramsTheChannelAndWhenItWasAcquired)
{
    _temp->GetChannelListRef().Insert(TestChannel(1, wxString::FromUTF8("DAPI 5 \u00b5m")));
    Stack stack = PatternStack(6, 5, 3);
    wxDateTime const acquired(time_t{1764009000});
    auto const expect_notes = [&](char const * name, std::string const & time) {
        vexa::ImageNotes const notes =
            vexa::ReadImageNotes(File(name).utf8_str(), vexa::FileFormat::FromName);
        EXPECT_EQ(notes.channel, "DAPI 5 \u00b5m") << name;
        EXPECT_EQ(notes.acquired, time) << name;
    };

    EXPECT_TRUE(Save(stack));
    expect_notes("01.ics", "");
    EXPECT_TRUE(((*_temp).*kind.save_dated)(kind.id, 1, stack, acquired));
    expect_notes("01.ics", "2025-11-24T18:30:00.000Z");
    Stack projection;
    EXPECT_TRUE(LoadAF(projection)); // made from the stack
    expect_notes("01_af.ics", "2025-11-24T18:30:00.000Z");
    EXPECT_TRUE(SaveAF(projection));
    expect_notes("01_af.ics", "2025-11-24T18:30:00.000Z");

    EXPECT_TRUE(Save(stack)); // a changed stack was acquired when it was
    expect_notes("01.ics", "2025-11-24T18:30:00.000Z");
}

TEST_P(ImageStoreTest, ABoxReadsOnlyItsPart)
{
    Stack const stack = PatternStack(17, 11, 5);
    Save(stack);
    vexa::Box box(3, 2, 1, 4, 5, 2);
    Stack part;
    EXPECT_TRUE(Load(part, &box));
    ExpectSame(part, Stack(stack, &box));
}

TEST_P(ImageStoreTest, AMissingFileIsAnIoError)
{
    LogRecorder log;
    Stack stack;
    EXPECT_FALSE(Load(stack));
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].level, 'E');
    EXPECT_THAT(log.Lines()[0].text, testing::StartsWith("IO error: "));
    EXPECT_EQ(log.Lines()[0].function, "velm::VELM_Depository::LoadImage");
}

TEST_P(ImageStoreTest, AnImageWithoutAResolutionIsAnError)
{
    Stack stack = PatternStack(4, 4, 1);
    stack.resolution = vexa::Resolution();
    EXPECT_TRUE(Save(stack));
    LogRecorder log;
    Stack loaded;
    EXPECT_FALSE(Load(loaded));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("The image '" + std::string(File("01.ics").utf8_str()) +
                                          "' has undefined resolution!")}));
}

TEST_P(ImageStoreTest, AnImageThatDoesNotFitTheMemoryIsAnError)
{
    if (allocator_ends_the_program) {
        GTEST_SKIP() << "the allocator ends the program in place of throwing";
    }
    // A hole of 16 GiB in place of the voxels.
    Save(PatternStack(1, 1, 1));
    std::string const header = "\t\nics_version\t2.0\nlayout\torder\tbits\tx\ty\tz\n"
                               "layout\tsizes\t16\t65536\t65536\t2\n"
                               "representation\tformat\tinteger\nend\n";
    WriteFile(File("01.ics"), header);
    auto const whole = static_cast<off_t>(header.size()) + (off_t{1} << 34);
    if (truncate(File("01.ics").utf8_str(), whole) != 0) {
        GTEST_SKIP() << "the file system has no room for a hole of that size";
    }
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    rlimit const four_gib{rlim_t{1} << 32, before.rlim_max};
    LogRecorder log;
    Stack loaded;
    setrlimit(RLIMIT_AS, &four_gib);
    bool const is_loaded = Load(loaded);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_FALSE(is_loaded);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("Not enough memory to complete operation (std::bad_alloc)!")}));
}

TEST_P(ImageStoreTest, TheHistogramOfAConstantImageHasOneBin)
{
    Stack stack = PatternStack(10, 9, 8);
    std::fill(stack.begin(), stack.end(), static_cast<unsigned short>(7));
    Save(stack);
    EXPECT_TRUE(wxFileExists(File("01.hist")));
    LogRecorder log;
    GreyHistogram histogram;
    EXPECT_TRUE(LoadHistogram(histogram));
    EXPECT_TRUE(log.Lines().empty());
    auto const & bins = histogram.GetBins();
    EXPECT_EQ(bins[7], 720u);
    EXPECT_EQ(std::count(bins.begin(), bins.end(), 0u), 65535);
}

TEST_P(ImageStoreTest, AMissingHistogramIsBuiltAndKept)
{
    Save(PatternStack(10, 9, 8));
    std::string const kept = ReadFile(File("01.hist"));
    wxRemoveFile(File("01.hist"));
    LogRecorder log;
    GreyHistogram histogram;
    EXPECT_TRUE(LoadHistogram(histogram));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("Creating histogram...")}));
    EXPECT_EQ(ReadFile(File("01.hist")), kept);
}

TEST_P(ImageStoreTest, AHistogramWithoutAnImageFails)
{
    LogRecorder log;
    GreyHistogram histogram;
    EXPECT_FALSE(LoadHistogram(histogram));
    EXPECT_EQ(log.Texts('E').back(), std::string(kind.name) +
                                         "_LoadHistogram: Unable to load channel image (" + HistogramIds() +
                                         ")");
}

TEST_P(ImageStoreTest, AHistogramThatCannotBeSavedIsAWarning)
{
    Save(PatternStack(4, 4, 1));
    wxRemoveFile(File("01.hist"));
    wxMkdir(File("01.hist")); // nothing can be written under the name of a directory
    LogRecorder log;
    EXPECT_TRUE(Save(PatternStack(4, 4, 1)));
    GreyHistogram histogram;
    EXPECT_TRUE(LoadHistogram(histogram));
    std::string const name(kind.name);
    EXPECT_EQ(log.Texts('W'),
              (std::vector<std::string>{
                  name + "_SaveImage: Unable to save image histogram (" + HistogramIds() + ")",
                  name + "_LoadHistogram: Unable to save histogram (" + HistogramIds() + ")"}));
}

TEST_P(ImageStoreTest, AStackThatCannotBeWrittenFailsAndWritesNoHistogram)
{
    Save(PatternStack(4, 4, 1));
    wxRemoveFile(File("01.ics"));
    wxRemoveFile(File("01.hist"));
    wxMkdir(File("01.ics"));
    LogRecorder log;
    EXPECT_FALSE(Save(PatternStack(4, 4, 1)));
    EXPECT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Texts('E').size(), 1u);
    EXPECT_FALSE(wxFileExists(File("01.hist")));
}

TEST_P(ImageStoreTest, AnAfImageComesBackAndHasAThumbnail)
{
    Stack const projection = PatternStack(40, 20, 1);
    EXPECT_TRUE(SaveAF(projection));
    EXPECT_TRUE(wxFileExists(File("thumbnails/01_128_s8.tif")));
    LogRecorder log;
    Stack loaded;
    EXPECT_TRUE(LoadAF(loaded));
    ExpectSame(loaded, projection);
    vexa::Box box(5, 6, 0, 7, 8, 1);
    EXPECT_TRUE(LoadAF(loaded, &box));
    ExpectSame(loaded, Stack(projection, &box));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_P(ImageStoreTest, BothFormsOfTheAfImagePresentTheIcsFileIsUsedAndTheTifFileStays)
{
    Stack old_projection = PatternStack(6, 6, 1);
    SaveOldAF(old_projection);
    Stack projection = old_projection;
    projection.SetVoxel(0, 4711);
    SaveAF(projection);
    Stack loaded;
    EXPECT_TRUE(LoadAF(loaded));
    EXPECT_EQ(loaded.GetVoxel(0), 4711);
    EXPECT_TRUE(wxFileExists(File("01_af.tif")));
}

TEST_P(ImageStoreTest, OnlyTheTifFilePresentItIsConvertedAndDeleted)
{
    Stack const projection = PatternStack(6, 5, 1);
    SaveOldAF(projection);
    LogRecorder log;
    Stack loaded;
    EXPECT_TRUE(LoadAF(loaded));
    EXPECT_TRUE(std::equal(loaded.begin(), loaded.end(), projection.begin()));
    EXPECT_TRUE(wxFileExists(File("01_af.ics")));
    EXPECT_FALSE(wxFileExists(File("01_af.tif")));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("Please wait - AF image for " + Ids() +
                                                         " is in old format, trying to re-create it...")}));
}

TEST_P(ImageStoreTest, OnlyTheTifFilePresentInAReadOnlyDirectoryTheImageLoadsAllTheSame)
{
    Stack const projection = PatternStack(6, 5, 1);
    SaveOldAF(projection);
    ASSERT_EQ(chmod(File("").utf8_str(), 0555), 0);
    LogRecorder log;
    ExpectAnOrdinaryUserLoadsAF(projection);
    if (IsSkipped()) {
        return;
    }
    ASSERT_EQ(log.Texts('E').size(), 1u);
    EXPECT_THAT(log.Texts('E')[0], testing::MatchesRegex("Unable to save recreated AF image \\(.+\\)"));
    EXPECT_TRUE(wxFileExists(File("01_af.tif")));
}

TEST_P(ImageStoreTest, ATifFileThatCannotBeRemovedIsAWarning)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can leave a file that another user may read but not remove";
    }
    Stack const projection = PatternStack(6, 5, 1);
    SaveOldAF(projection);
    ASSERT_EQ(chmod(File("01_af.tif").utf8_str(), 0644), 0);
    ASSERT_EQ(chmod(File("").utf8_str(), 01777), 0); // all may write, but remove only what is theirs
    LogRecorder log;
    ExpectAnOrdinaryUserLoadsAF(projection);
    if (IsSkipped()) {
        return;
    }
    EXPECT_TRUE(wxFileExists(File("01_af.ics")));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("Please wait - AF image for " + Ids() +
                                                         " is in old format, trying to re-create it..."),
                                                 Warning("Old AF image file '" +
                                                         std::string(File("01_af.tif").utf8_str()) +
                                                         "' cannot be removed! Try to do it manually.")}));
}

TEST_P(ImageStoreTest, ADamagedTifFileGivesWayToTheStack)
{
    Stack const stack = PatternStack(6, 5, 3);
    Save(stack);
    WriteFile(File("01_af.tif"), "no picture");
    LogRecorder log;
    Stack loaded;
    EXPECT_TRUE(LoadAF(loaded));
    Stack expected;
    vexa::Get_AF_XY(stack, expected);
    EXPECT_TRUE(std::equal(loaded.begin(), loaded.end(), expected.begin()));
    EXPECT_EQ(log.Texts('M'),
              (std::vector<std::string>{
                  "Please wait - AF image for " + Ids() + " is in old format, trying to re-create it...",
                  "Please wait - Trying to recreate AF image for " + Ids() + " from 3D image..."}));
    EXPECT_EQ(log.Texts('E').back(), "Unable to load old AF image for " + Ids());
    EXPECT_TRUE(wxFileExists(File("01_af.tif"))) << "what was not used is not deleted";
}

TEST_P(ImageStoreTest, AMissingAfImageIsMadeFromTheStackAndKept)
{
    Stack const stack = PatternStack(6, 5, 3);
    Save(stack);
    LogRecorder log;
    vexa::Box box(1, 1, 0, 3, 2, 1);
    Stack loaded;
    EXPECT_TRUE(LoadAF(loaded, &box));
    Stack projection;
    vexa::Get_AF_XY(stack, projection);
    ExpectSame(loaded, Stack(projection, &box));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("AF image for " + Ids() + " is missing!"),
                                                 Message("Please wait - Trying to recreate AF image for " +
                                                         Ids() + " from 3D image...")}));
    log.Clear();
    EXPECT_TRUE(LoadAF(loaded));
    ExpectSame(loaded, projection);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_P(ImageStoreTest, NeitherAfImageNorStackTheLoadFails)
{
    LogRecorder log;
    Stack loaded;
    EXPECT_FALSE(LoadAF(loaded));
    EXPECT_EQ(log.Texts('E').back(), "VELM_Depository::" + std::string(kind.name) +
                                         "_LoadAFImage: Unable to create AF from 3D image, " + Ids());
}

TEST_P(ImageStoreTest, ABoxOutsideARebuiltAfImageIsAnErrorAndNoException)
{
    Save(PatternStack(6, 5, 3));
    vexa::Box box(4, 4, 0, 10, 10, 1);
    LogRecorder log;
    Stack loaded;
    EXPECT_FALSE(LoadAF(loaded, &box));
    EXPECT_EQ(log.Texts('E').size(), 1u);
}

TEST_P(ImageStoreTest, DimensionsComeFromTheHeader)
{
    Save(PatternStack(17, 11, 5));
    vexa::Vector3d<unsigned int> size;
    vexa::Vector3d<float> offset;
    vexa::Vector3d<float> resolution;
    EXPECT_TRUE(((*_temp).*kind.get_dimensions)(kind.id, 1, size, offset, resolution));
    EXPECT_EQ(size, vexa::Vector3d<unsigned int>(17, 11, 5));
    EXPECT_EQ(offset, vexa::Vector3d<float>(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(resolution, vexa::Vector3d<float>(10.0f, 10.0f, 5.0f));
}

TEST_P(ImageStoreTest, DimensionsOfAMissingImageAreAnError)
{
    LogRecorder log;
    vexa::Vector3d<unsigned int> size;
    vexa::Vector3d<float> offset;
    vexa::Vector3d<float> resolution;
    EXPECT_FALSE(((*_temp).*kind.get_dimensions)(kind.id, 1, size, offset, resolution));
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].level, 'E');
    EXPECT_THAT(log.Lines()[0].text,
                testing::StartsWith("VELM_Depository::" + std::string(kind.name) + "_GetDimensions: "));
}

TEST_P(ImageStoreTest, AThumbnailIsMadeOnDemand)
{
    SaveAF(PatternStack(100, 200, 1));
    wxString const file = File("thumbnails/01_128_s8.tif");
    wxRemoveFile(file);
    wxFileName const made(((*_temp).*kind.thumbnail)(kind.id, 1));
    EXPECT_TRUE(made.SameAs(wxFileName(file)));
    vexa::Image3d<unsigned char> picture;
    picture.ReadImage(made.GetFullPath().fn_str(), nullptr, false, -1, nullptr, nullptr);
    EXPECT_EQ(picture.size, vexa::Vector3d<unsigned int>(64, 128, 1));
}

TEST_P(ImageStoreTest, AThumbnailWithoutAnImageIsEmpty)
{
    LogRecorder log;
    EXPECT_EQ(((*_temp).*kind.thumbnail)(kind.id, 1), "");
    EXPECT_EQ(log.Texts('E').back(), "velm::VELM_Thumbnail::GetURL: Unable to create thumbnail for pos_id=" +
                                         std::to_string(kind.id) + ", ch_id=1");
}

// --- what only a FOV has

class FovImagesTest : public testing::Test {
  protected:
    FovImagesTest() { _temp->Open(); }

    TempDepository _temp;
};

TEST_F(FovImagesTest, StreamsReachTheStacksFile)
{
    LogRecorder log;
    std::unique_ptr<wxOutputStream> const out(_temp->FOV_GetImageOutputStream(1, 2));
    ASSERT_NE(out, nullptr);
    out->Write("abc", 3);
    out->Close();
    EXPECT_EQ(_temp.Read("rawdata/0001/02.ics"), "abc");
    std::unique_ptr<wxInputStream> const in(_temp->FOV_GetImageInputStream(1, 2));
    ASSERT_NE(in, nullptr);
    char text[3];
    in->Read(text, 3);
    EXPECT_EQ(std::string(text, 3), "abc");
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(FovImagesTest, AStreamThatCannotBeOpenedIsNullAndOneError)
{
    LogRecorder log;
    EXPECT_EQ(_temp->FOV_GetImageInputStream(1, 2), nullptr);
    wxMkdir(_temp / "rawdata/0001/02.ics");
    EXPECT_EQ(_temp->FOV_GetImageOutputStream(1, 2), nullptr);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<LogLine>{
            Error("VELM_Depository::FOV_GetImageInputStream: Cannot create input stream for fov_id=1, "
                  "ch_id=2!"),
            Error("VELM_Depository::FOV_GetImageOutputStream: Cannot create output stream for fov_id=1, "
                  "ch_id=2!")}));
}

TEST_F(FovImagesTest, ChangeResolutionRewritesEveryImageAndDropsThumbnails)
{
    VELM_FOV fov;
    Stack stack = PatternStack(8, 8, 3);
    Stack projection;
    vexa::Get_AF_XY(stack, projection);
    for (long const channel : {1L, 2L}) {
        fov.AddChannel(TestChannel(channel));
        _temp->FOV_SaveImage(1, channel, stack);
        _temp->FOV_SaveAFImage(1, channel, projection);
    }
    fov.SetId(1);
    vexa::Vector3d<float> resolution(4.0f, 5.0f, 6.0f);
    EXPECT_TRUE(_temp->FOV_ChangeResolution(fov, resolution));
    for (long const channel : {1L, 2L}) {
        Stack loaded;
        EXPECT_TRUE(_temp->FOV_LoadImage(1, channel, loaded, nullptr));
        EXPECT_EQ(loaded.resolution.GetRes(), resolution);
        EXPECT_TRUE(std::equal(loaded.begin(), loaded.end(), stack.begin()));
        EXPECT_TRUE(_temp->FOV_LoadAFImage(1, channel, loaded, nullptr));
        EXPECT_EQ(loaded.resolution.GetRes(), resolution);
        EXPECT_FALSE(
            wxFileExists(_temp / wxString::Format("rawdata/0001/thumbnails/%02ld_128_s8.tif", channel)));
    }
}

TEST_F(FovImagesTest, ChangeResolutionStopsAtTheFirstFailure)
{
    VELM_FOV fov;
    fov.AddChannel(TestChannel(1));
    fov.AddChannel(TestChannel(2));
    fov.SetId(1);
    Stack stack = PatternStack(8, 8, 3);
    _temp->FOV_SaveImage(1, 1, stack);
    vexa::Vector3d<float> resolution(4.0f, 5.0f, 6.0f);
    LogRecorder log;
    EXPECT_FALSE(_temp->FOV_ChangeResolution(fov, resolution));
    EXPECT_EQ(log.Texts('E').back(), "Unable to update images in FOV 0001");
    Stack loaded;
    EXPECT_TRUE(_temp->FOV_LoadImage(1, 1, loaded, nullptr));
    EXPECT_EQ(loaded.resolution.GetRes(), resolution) << "channels already treated stay changed";
}

} // namespace velm::test
