#include "vexacore/image_file.h"

#include "support/temp_directory.h"
#include "support/voxels.h"

#include <cmath>
#include <limits>
#include <wx/dir.h>

namespace velm::test {

using vexa::Box;
using vexa::FileFormat;
using vexa::Image3d;
using vexa::IOException;
using vexa::Resolution;
using Floats = vexa::Vector3d<float>;
using Sizes = vexa::Vector3d<unsigned int>;

template <typename T>
Image3d<T> Read(wxString const & path, Box const * box = nullptr, int page = -1)
{
    Image3d<T> image;
    image.ReadImage(path.utf8_str(), box, false, page, nullptr, nullptr);
    return image;
}

template <typename T>
void Save(Image3d<T> const & image, wxString const & path, bool compress)
{
    image.SaveImage(path.utf8_str(), FileFormat::FromName, compress, nullptr);
}

template <typename Call>
std::string IoError(Call const & call)
{
    try {
        call();
    } catch (IOException const & e) {
        return e.GetMessage();
    }
    return {};
}

// Every claim here holds for each format, compressed or not.
struct Form {
    char const * ending;
    bool compress;
};

std::ostream & operator<<(std::ostream & out, Form const & form)
{
    return out << form.ending << (form.compress ? ", compressed" : ", plain");
}

class ImageFile : public testing::TestWithParam<Form> {
  protected:
    wxString Path(wxString const & name = "image") const { return _directory / (name + GetParam().ending); }

    template <typename T>
    void Store(Image3d<T> const & image) const
    {
        Save(image, Path(), GetParam().compress);
    }

    // Some file systems wait for the disk when a file is written over, and not when it is new.
    static void Rewrite(wxString const & path, std::string const & content)
    {
        if (wxFileName::FileExists(path)) {
            wxRemoveFile(path);
        }
        WriteFile(path, content);
    }

    std::vector<std::string> Entries() const
    {
        wxArrayString names;
        wxDir::GetAllFiles(_directory.GetPath(), &names);
        std::vector<std::string> entries;
        for (wxString const & name : names) {
            entries.push_back(wxFileName(name).GetFullName().ToStdString());
        }
        return entries;
    }

    TempDirectory const _directory;
};

INSTANTIATE_TEST_SUITE_P(AllForms, ImageFile,
                         testing::Values(Form{".ics", false}, Form{".ics", true}, Form{".tif", false},
                                         Form{".tif", true}, Form{".TIFF", true}, Form{".ICS", false}),
                         [](auto const & form) {
                             return std::string(form.param.ending + 1) +
                                    (form.param.compress ? "Compressed" : "Plain") +
                                    std::to_string(form.index);
                         });

TEST_P(ImageFile, KeepsVoxelsSizeOffsetAndResolution)
{
    auto image = PatternImage<unsigned short>(37, 21, 5);
    image.offset = {1.5F, -2.25F, 1e-3F};
    image.resolution = Resolution(15.5F, 15.4F, 3.3F);
    Store(image);
    auto const read = Read<unsigned short>(Path());
    EXPECT_EQ(read.size, image.size);
    EXPECT_EQ(Voxels(read), Voxels(image));
    EXPECT_EQ(read.offset, image.offset);
    EXPECT_TRUE(read.resolution.IsDefined());
    EXPECT_EQ(read.resolution.GetRes(), image.resolution.GetRes());
    EXPECT_EQ(Entries().size(), 1U) << "something was left beside the image";
}

TEST_P(ImageFile, KeepsEightBitVoxels)
{
    auto const image = PatternImage<unsigned char>(19, 1, 3);
    Store(image);
    EXPECT_EQ(Voxels(Read<unsigned char>(Path())), Voxels(image));
}

TEST_P(ImageFile, WidensEightBitVoxelsWhenSixteenAreAskedFor)
{
    auto const image = PatternImage<unsigned char>(33, 7, 2);
    Store(image);
    auto const narrow = Voxels(image);
    EXPECT_EQ(Voxels(Read<unsigned short>(Path())),
              (std::vector<unsigned short>(narrow.begin(), narrow.end())));
}

TEST_P(ImageFile, RefusesSixteenBitVoxelsForAnEightBitImageAndLeavesItAlone)
{
    Store(PatternImage<unsigned short>(4, 4, 1));
    auto image = ConstantImage<unsigned char>(2, 1, 1, 7);
    EXPECT_EQ(IoError([&] { image.ReadImage(Path().utf8_str(), nullptr, false, -1, nullptr, nullptr); }),
              "Cannot read '" + Path().ToStdString() + "': its voxels are wider than the image's");
    EXPECT_EQ(Voxels(image), (std::vector<unsigned char>{7, 7}));
}

TEST_P(ImageFile, KeepsEveryFloatOfTheGeometryBitForBit)
{
    std::uint32_t state = 7;
    for (int round = 0; round < 60; ++round) {
        Floats random;
        Floats place;
        for (unsigned int i = 0; i < 3; ++i) {
            state = state * 1664525U + 1013904223U;
            random[i] = std::ldexp(static_cast<float>(state >> 8), static_cast<int>(state & 31U) - 40) +
                        std::numeric_limits<float>::min();
            place[i] = (round % 2 == 0 ? 1.0F : -1.0F) / random[i];
        }
        Image3d<unsigned char> image = ConstantImage<unsigned char>(1, 1, 1, 0);
        image.offset = place;
        image.resolution = Resolution(random);
        Store(image);
        vexa::ImageHeader const header = vexa::ReadImageHeader(Path().utf8_str(), FileFormat::FromName);
        EXPECT_EQ(header.resolution.GetRes(), random);
        EXPECT_EQ(header.offset, place);
    }
}

TEST_P(ImageFile, KeepsAnUndefinedResolutionUndefined)
{
    auto image = PatternImage<unsigned short>(3, 2, 2);
    image.offset = {5.0F, 6.0F, 7.0F};
    Store(image);
    EXPECT_FALSE(Read<unsigned short>(Path()).resolution.IsDefined());
}

TEST_P(ImageFile, StoresNoScaleForAResolutionThatIsNotPositive)
{
    auto image = PatternImage<unsigned short>(3, 2, 2);
    for (float const bad :
         {0.0F, -1.0F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        image.resolution = Resolution(1.0F, bad, 1.0F);
        Store(image);
        EXPECT_FALSE(Read<unsigned short>(Path()).resolution.IsDefined());
    }
}

TEST_P(ImageFile, ReadsABoxAsTheWholeReadWouldShowIt)
{
    auto image = PatternImage<unsigned short>(41, 33, 6);
    image.offset = {10.0F, 20.0F, 30.0F};
    image.resolution = Resolution(2.0F, 4.0F, 0.5F);
    Store(image);
    for (Box const & box : {Box(0, 0, 0, 41, 33, 6), Box(3, 4, 1, 7, 9, 3), Box(0, 5, 2, 41, 8, 2),
                            Box(0, 0, 5, 41, 33, 1), Box(40, 32, 5, 1, 1, 1), Box(0, 0, 0, 1, 33, 6)}) {
        auto const read = Read<unsigned short>(Path(), &box);
        EXPECT_EQ(read.size, box.size);
        EXPECT_EQ(Voxels(read), VoxelsOf(image, box));
        EXPECT_EQ(read.offset, Floats(10.0F + static_cast<float>(box.offset.x) / 2.0F,
                                      20.0F + static_cast<float>(box.offset.y) / 4.0F,
                                      30.0F + static_cast<float>(box.offset.z) * 2.0F));
        EXPECT_EQ(read.resolution.GetRes(), image.resolution.GetRes());
    }
}

TEST_P(ImageFile, ReadsABoxWhetherItsRowsLieCloseTogetherOrFarApart)
{
    auto const image = PatternImage<unsigned short>(3000, 60, 6);
    Store(image);
    for (Box const & box : {Box(100, 0, 0, 2900, 60, 6), Box(700, 5, 1, 1200, 50, 4),
                            Box(0, 0, 0, 952, 60, 6), Box(0, 0, 0, 953, 60, 6), Box(2999, 0, 0, 1, 60, 6),
                            Box(1, 59, 0, 2999, 1, 6), Box(0, 1, 0, 3000, 59, 6)}) {
        EXPECT_TRUE(Voxels(Read<unsigned short>(Path(), &box)) == VoxelsOf(image, box))
            << box.offset << box.size;
    }
}

TEST_P(ImageFile, ReadsABoxOfEightBitVoxelsIntoSixteen)
{
    auto const image = PatternImage<unsigned char>(20, 10, 4);
    Store(image);
    Box const box(2, 3, 1, 11, 5, 2);
    auto const narrow = VoxelsOf(image, box);
    EXPECT_EQ(Voxels(Read<unsigned short>(Path(), &box)),
              (std::vector<unsigned short>(narrow.begin(), narrow.end())));
}

TEST_P(ImageFile, ReadsOnePageAlone)
{
    auto const image = PatternImage<unsigned short>(9, 8, 4);
    Store(image);
    EXPECT_EQ(Voxels(Read<unsigned short>(Path(), nullptr, 2)), VoxelsOf(image, Box(0, 0, 2, 9, 8, 1)));
    EXPECT_NE(IoError([&] { Read<unsigned short>(Path(), nullptr, 4); }), "");
    EXPECT_NE(IoError([&] { Read<unsigned short>(Path(), nullptr, -2); }), "");
}

TEST_P(ImageFile, RefusesABoxThatReachesOutside)
{
    Store(PatternImage<unsigned short>(9, 8, 4));
    for (Box const & box : {Box(-1, 0, 0, 2, 2, 2), Box(0, 0, 0, 10, 8, 4), Box(8, 0, 0, 2, 1, 1),
                            Box(0, 0, 3, 9, 8, 0xffffffffU), Box(0x7fffffff, 0, 0, 1, 1, 1)}) {
        EXPECT_EQ(IoError([&] { Read<unsigned short>(Path(), &box); }),
                  "Cannot read '" + Path().ToStdString() + "': the part reaches outside the image");
    }
}

TEST_P(ImageFile, LetsTheCallerKeepOrGiveTheGeometry)
{
    auto image = PatternImage<unsigned short>(3, 3, 1);
    image.offset = {1.0F, 2.0F, 3.0F};
    image.resolution = Resolution(1.0F, 2.0F, 3.0F);
    Store(image);
    Floats const place(9.0F, 8.0F, 7.0F);
    Resolution const resolution(6.0F, 5.0F, 4.0F);

    Image3d<unsigned short> kept(&place, &resolution);
    kept.ReadImage(Path().utf8_str(), nullptr, true, -1, nullptr, nullptr);
    EXPECT_EQ(kept.offset, place);
    EXPECT_EQ(kept.resolution.GetRes(), resolution.GetRes());
    EXPECT_EQ(Voxels(kept), Voxels(image));

    Image3d<unsigned short> given;
    given.ReadImage(Path().utf8_str(), nullptr, false, -1, &place, &resolution);
    EXPECT_EQ(given.offset, place);
    EXPECT_EQ(given.resolution.GetRes(), resolution.GetRes());
}

TEST_P(ImageFile, WritesOnlyTheBoxWhenOneIsGiven)
{
    auto image = PatternImage<unsigned short>(12, 11, 3);
    image.resolution = Resolution(2.0F, 2.0F, 2.0F);
    Box const box(2, 3, 1, 4, 5, 2);
    image.SaveImage(Path().utf8_str(), FileFormat::FromName, GetParam().compress, &box);
    auto const read = Read<unsigned short>(Path());
    EXPECT_EQ(Voxels(read), VoxelsOf(image, box));
    EXPECT_EQ(read.offset, Floats(1.0F, 1.5F, 0.5F));
}

TEST_P(ImageFile, ReplacesAnOlderFileOfTheName)
{
    Store(PatternImage<unsigned short>(30, 30, 3));
    auto const image = PatternImage<unsigned short>(2, 2, 1, 5);
    Store(image);
    EXPECT_EQ(Voxels(Read<unsigned short>(Path())), Voxels(image));
}

TEST_P(ImageFile, RefusesAnImageWithoutVoxelsAndLeavesNoFile)
{
    EXPECT_EQ(IoError([&] { Store(Image3d<unsigned short>()); }),
              "Cannot write '" + Path().ToStdString() + "': the image has no voxels");
    EXPECT_TRUE(Entries().empty());
}

TEST_P(ImageFile, ThatIsMissingIsNamedWithTheReason)
{
    std::string const expected =
        "Cannot open '" + Path("none").ToStdString() + "': No such file or directory";
    EXPECT_EQ(IoError([&] { Read<unsigned short>(Path("none")); }), expected);
    EXPECT_EQ(IoError([&] { vexa::ReadImageHeader(Path("none").utf8_str(), FileFormat::FromName); }),
              expected);
}

TEST_P(ImageFile, ThatIsADirectoryIsRefused)
{
    wxFileName::Mkdir(Path("folder"));
    EXPECT_EQ(IoError([&] { Read<unsigned short>(Path("folder")); }),
              "Cannot read '" + Path("folder").ToStdString() + "': Is a directory");
}

TEST_P(ImageFile, CutShortAtAnyByteIsRefusedOrHarmless)
{
    auto image = PatternImage<unsigned short>(16, 8, 2);
    image.resolution = Resolution(1.0F, 1.0F, 1.0F);
    Store(image);
    std::string const whole = ReadFile(Path());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Rewrite(Path("cut"), whole.substr(0, length));
        std::string const error = IoError([&] {
            // Only bytes behind the last voxel may be missing without notice.
            EXPECT_EQ(Voxels(Read<unsigned short>(Path("cut"))), Voxels(image));
        });
        if (length < whole.size() / 2) {
            EXPECT_NE(error, "") << length;
        }
    }
}

TEST_P(ImageFile, WithAnyDamagedByteNeverBringsTheProgramDown)
{
    Store(PatternImage<unsigned short>(6, 5, 2));
    std::string const whole = ReadFile(Path());
    for (std::size_t position = 0; position < whole.size(); ++position) {
        for (char const mask : {'\x01', '\x10', '\x7f'}) {
            std::string damaged = whole;
            damaged[position] = static_cast<char>(damaged[position] ^ mask);
            Rewrite(Path("damaged"), damaged);
            Box const box(1, 1, 0, 2, 2, 1);
            std::size_t const limit = whole.size() * 4200;
            IoError([&] { EXPECT_LE(Read<unsigned short>(Path("damaged")).GetCount(), limit); });
            IoError([&] { EXPECT_EQ(Read<unsigned short>(Path("damaged"), &box).GetCount(), 4U); });
        }
    }
}

TEST_P(ImageFile, ThatCannotBeWrittenLeavesTheOldOneAndNothingElse)
{
    auto const image = PatternImage<unsigned short>(5, 5, 1);
    Store(image);
    std::string error;
    bool refused = true;
    _directory.SetReadOnly("", true);
    {
        OrdinaryUser const user;
        refused = user.IsEffective();
        error = refused ? IoError([&] { Store(PatternImage<unsigned short>(6, 6, 2)); }) : "";
    }
    _directory.SetReadOnly("", false);
    if (!refused) {
        GTEST_SKIP() << "file permissions don't count here";
    }
    EXPECT_EQ(error, "Cannot write '" + Path().ToStdString() + "': Permission denied");
    EXPECT_EQ(Entries().size(), 1U);
    EXPECT_EQ(Voxels(Read<unsigned short>(Path())), Voxels(image));
}

TEST(ImageFormats, FollowTheNameAndNothingElse)
{
    TempDirectory const directory;
    auto const image = ConstantImage<unsigned short>(1, 1, 1, 0);
    std::string const path = (directory / "image.png").ToStdString();
    EXPECT_EQ(IoError([&] { Save(image, path, false); }),
              "Cannot write '" + path + "': not a known image file format");
    EXPECT_EQ(IoError([&] { Read<unsigned short>(path); }),
              "Cannot read '" + path + "': not a known image file format");
}

TEST(ImageFormats, CanBeNamedForAFileWithAnyEnding)
{
    TempDirectory const directory;
    auto const image = PatternImage<unsigned short>(4, 3, 2);
    std::string const path = (directory / "image.dat").ToStdString();
    image.SaveImage(path.c_str(), FileFormat::Ics, false, nullptr);
    EXPECT_EQ(vexa::ReadImageHeader(path.c_str(), FileFormat::Ics).size, image.size);
    image.SaveImage(path.c_str(), FileFormat::Tiff, false, nullptr);
    EXPECT_EQ(vexa::ReadImageHeader(path.c_str(), FileFormat::Tiff).size, image.size);
}

TEST(ImageExceptions, AreCaughtByTheirRootAsByTheStandardOne)
{
    for (bool const io : {false, true}) {
        try {
            if (io) {
                throw IOException("no \xC2\xB5m");
            }
            throw vexa::InternalException("no \xC2\xB5m");
        } catch (vexa::LibException const & error) {
            EXPECT_EQ(error.GetMessage(), "no \xC2\xB5m");
            EXPECT_STREQ(static_cast<std::exception const &>(error).what(), "no \xC2\xB5m");
            EXPECT_EQ(dynamic_cast<IOException const *>(&error) != nullptr, io);
        }
    }
}

} // namespace velm::test
