// What is peculiar to ICS files: their header, and that the reference library and this one read each other.

#include "support/temp_directory.h"
#include "support/voxels.h"

#include <libics.h>

namespace velm::test {

using vexa::Box;
using vexa::FileFormat;
using vexa::Image3d;
using vexa::Resolution;
using Floats = vexa::Vector3d<float>;
using Sizes = vexa::Vector3d<unsigned int>;

class IcsFile : public testing::Test {
  protected:
    std::string Path(wxString const & name = "image.ics") const
    {
        return std::string((_directory / name).utf8_str());
    }

    // The message of the IOException that reading the content gives, behind the path; empty when it reads.
    std::string ErrorOf(std::string const & content) const
    {
        _directory.Write("image.ics", content);
        std::string const prefix = "Cannot read '" + Path() + "': ";
        try {
            Image3d<unsigned short> image;
            image.ReadImage(Path().c_str(), nullptr, false, -1, nullptr, nullptr);
        } catch (vexa::IOException const & e) {
            EXPECT_EQ(e.GetMessage().compare(0, prefix.size(), prefix), 0) << e.GetMessage();
            return e.GetMessage().substr(prefix.size());
        }
        return {};
    }

    Image3d<unsigned short> ReadContent(std::string const & content) const
    {
        _directory.Write("image.ics", content);
        Image3d<unsigned short> image;
        image.ReadImage(Path().c_str(), nullptr, false, -1, nullptr, nullptr);
        return image;
    }

    TempDirectory const _directory;
};

using Lines = std::vector<std::string>;

// The lines of a header of 3 x 2 x 1 voxels of 8 bits.
Lines const good_lines = {"ics_version\t2.0",
                          "filename\timage",
                          "layout\tparameters\t4",
                          "layout\torder\tbits\tx\ty\tz",
                          "layout\tsizes\t8\t3\t2\t1",
                          "layout\tcoordinates\tvideo",
                          "layout\tsignificant_bits\t8",
                          "representation\tformat\tinteger",
                          "representation\tsign\tunsigned",
                          "representation\tcompression\tuncompressed",
                          "representation\tbyte_order\t1",
                          "parameter\torigin\t0\t1.5\t-2\t3e1",
                          "parameter\tscale\t1\t0.5\t0.25\t2",
                          "parameter\tunits\trelative\tmicrometers\tmicrometers\tmicrometers",
                          "end"};

// The file with those lines, the one that begins with the key replaced (removed when the replacement is
// empty), and the six voxels 1 to 6.
std::string FileWith(std::string const & key = "\n", std::string const & replacement = {},
                     std::string const & voxels = "\1\2\3\4\5\6")
{
    std::string text = "\t\n";
    for (std::string line : good_lines) {
        if (line.compare(0, key.size(), key) == 0) {
            line = replacement;
        }
        text += line.empty() ? "" : line + '\n';
    }
    return text + voxels;
}

TEST_F(IcsFile, IsWrittenAsDocumentedByteForByte)
{
    auto image = ConstantImage<unsigned short>(2, 1, 1, 0x4142);
    image.offset = {1.5F, -2.0F, 0.1F};
    image.resolution = Resolution(10.0F, 4.0F, 0.5F);
    image.SaveImage(Path("my stack.ics").c_str(), FileFormat::FromName, false, nullptr);
    EXPECT_EQ(_directory.Read("my stack.ics"), "\t\n"
                                               "ics_version\t2.0\n"
                                               "filename\tmy stack\n"
                                               "layout\tparameters\t4\n"
                                               "layout\torder\tbits\tx\ty\tz\n"
                                               "layout\tsizes\t16\t2\t1\t1\n"
                                               "layout\tcoordinates\tvideo\n"
                                               "layout\tsignificant_bits\t16\n"
                                               "representation\tformat\tinteger\n"
                                               "representation\tsign\tunsigned\n"
                                               "representation\tcompression\tuncompressed\n"
                                               "representation\tbyte_order\t1\t2\n"
                                               "parameter\torigin\t0\t1.5\t-2\t0.1\n"
                                               "parameter\tscale\t1\t0.1\t0.25\t2\n"
                                               "parameter\tunits\trelative\tmicrometers\tmicrometers\t"
                                               "micrometers\n"
                                               "end\n"
                                               "BABA");
}

TEST_F(IcsFile, HeaderIsReadAsDocumented)
{
    auto const image = ReadContent(FileWith());
    EXPECT_EQ(image.size, Sizes(3, 2, 1));
    EXPECT_EQ(Voxels(image), (std::vector<unsigned short>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(image.offset, Floats(1.5F, -2.0F, 30.0F));
    EXPECT_EQ(image.resolution.GetRes(), Floats(2.0F, 4.0F, 0.5F));
}

TEST_F(IcsFile, HeaderMayLeaveOutWhatDoesntMatter)
{
    for (char const * const key :
         {"filename", "layout\tparameters", "layout\tcoordinates", "layout\tsignificant_bits",
          "representation\tsign", "representation\tbyte_order", "representation\tcompression",
          "parameter\tunits"}) {
        EXPECT_EQ(Voxels(ReadContent(FileWith(key))), (std::vector<unsigned short>{1, 2, 3, 4, 5, 6})) << key;
    }
}

TEST_F(IcsFile, HeaderMayHoldLinesThatNobodyKnows)
{
    EXPECT_EQ(
        ErrorOf(FileWith("filename", "filename\tx\nhistory\tauthor\tsomebody\nsensor\ttype\tx\nlonely\n")),
        "");
}

TEST_F(IcsFile, HeaderMayUseOtherSeparators)
{
    std::string content = FileWith();
    std::string const header_end = "end\n";
    std::size_t const end = content.find(header_end) + header_end.size();
    std::string dos = "\t\r\n";
    std::string blanks = content;
    for (std::size_t i = 0; i < end; ++i) {
        if (i >= 2) {
            dos += content[i] == '\n' ? "\r\n" : std::string(1, content[i]);
        }
        blanks[i] = content[i] == '\t' ? '|' : content[i];
    }
    EXPECT_EQ(Voxels(ReadContent(dos + content.substr(end))),
              (std::vector<unsigned short>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Voxels(ReadContent(blanks)), (std::vector<unsigned short>{1, 2, 3, 4, 5, 6}));
}

TEST_F(IcsFile, WithoutAUsableScaleHasAnUndefinedResolution)
{
    for (char const * const scale :
         {"", "parameter\tscale\t1\t0\t1\t1", "parameter\tscale\t1\t1\t-1\t1", "parameter\tscale\t1\t1\t1",
          "parameter\tscale\t1\t1\tx\t1", "parameter\tscale\t1\tnan\t1\t1", "parameter\tscale\t1\tinf\t1\t1",
          "parameter\tscale\t1\t1e-300\t1\t1", "parameter\tscale"}) {
        EXPECT_FALSE(ReadContent(FileWith("parameter\tscale", scale)).resolution.IsDefined()) << scale;
    }
    EXPECT_FALSE(ReadContent(FileWith("parameter\tunits", "parameter\tunits\trelative\tundefined\tundefined\t"
                                                          "undefined"))
                     .resolution.IsDefined());
}

TEST_F(IcsFile, OtherLengthUnitsAreConverted)
{
    auto const image =
        ReadContent(FileWith("parameter\tunits", "parameter\tunits\trelative\tnm\tMillimeters\tm"));
    Floats const r = image.resolution.GetRes();
    EXPECT_FLOAT_EQ(r.x, 2000.0F);
    EXPECT_FLOAT_EQ(r.y, 0.004F);
    EXPECT_FLOAT_EQ(r.z, 0.5e-6F);
    EXPECT_FLOAT_EQ(image.offset.x, 0.0015F);
    EXPECT_FLOAT_EQ(image.offset.y, -2000.0F);
    EXPECT_FLOAT_EQ(image.offset.z, 30e6F);
}

TEST_F(IcsFile, SinglePlaneMayGoWithoutAZAxis)
{
    std::string content = FileWith("layout\torder", "layout\torder\tbits\tx\ty");
    content.replace(content.find("8\t3\t2\t1"), 7, "8\t3\t2");
    auto const image = ReadContent(content);
    EXPECT_EQ(image.size, Sizes(3, 2, 1));
    EXPECT_EQ(image.resolution.GetRes(), Floats(2.0F, 4.0F, 1.0F));
}

TEST_F(IcsFile, OtherDimensionsMayExistWhenTheyHoldNothing)
{
    std::string content = FileWith("layout\torder", "layout\torder\tbits\tx\ty\tch\tz");
    content.replace(content.find("8\t3\t2\t1"), 7, "8\t3\t2\t1\t1");
    EXPECT_EQ(ReadContent(content).size, Sizes(3, 2, 1));
}

TEST_F(IcsFile, WithABadHeaderIsRefused)
{
    struct {
        char const * key;
        char const * line;
        char const * error;
    } const cases[] = {
        {"ics_version", "ics_version\t1.0", "only version 2.0 of ICS is supported"},
        {"ics_version", "ics_version", "only version 2.0 of ICS is supported"},
        {"ics_version", "version\t2.0", "not an ICS file"},
        {"filename", "source\tfile\t/etc/passwd", "the voxels are in another file"},
        {"layout\torder", "", "the header gives no valid layout"},
        {"layout\tsizes", "", "the header gives no valid layout"},
        {"layout\tsizes", "layout\tsizes\t8\t3\t2", "the header gives no valid layout"},
        {"layout\torder", "layout\torder\tx\tbits\ty\tz", "the header gives no valid layout"},
        {"layout\torder", "layout\torder\tbits\ty\tx\tz", "the image is not a stack in the order x, y, z"},
        {"layout\torder", "layout\torder\tbits\tt\tx\ty", "the image is not a stack in the order x, y, z"},
        {"layout\torder", "layout\torder\tbits\tz\ty\tx", "the image is not a stack in the order x, y, z"},
        {"layout\tsizes", "layout\tsizes\t8\t3\t0\t1", "the header gives no valid sizes"},
        {"layout\tsizes", "layout\tsizes\t8\t3\t-2\t1", "the header gives no valid sizes"},
        {"layout\tsizes", "layout\tsizes\t8\t3\t4294967296\t1", "the header gives no valid sizes"},
        {"layout\tsizes", "layout\tsizes\t8\t3\t2x\t1", "the header gives no valid sizes"},
        {"layout\tsizes", "layout\tsizes\t32\t3\t2\t1", "only 8 and 16 bits per voxel are supported"},
        {"layout\tsizes", "layout\tsizes\t0\t3\t2\t1", "only 8 and 16 bits per voxel are supported"},
        {"representation\tformat", "", "only unsigned integer voxels are supported"},
        {"representation\tformat", "representation\tformat\treal",
         "only unsigned integer voxels are supported"},
        {"representation\tsign", "representation\tsign\tsigned",
         "only unsigned integer voxels are supported"},
        {"representation\tcompression", "representation\tcompression\tcompress", "unknown compression"},
        {"layout\tsizes", "layout\tsizes\t8\t3\t3\t1",
         "the file holds fewer voxels than its header promises"},
        {"layout\tsizes", "layout\tsizes\t8\t4294967295\t4294967295\t4294967295",
         "the file holds fewer voxels than its header promises"},
        {"layout\tsizes", "layout\tsizes\t8\t4294967295\t4294967295\t1",
         "the file holds fewer voxels than its header promises"},
        {"representation\tcompression", "representation\tcompression\tgzip", "the file ends too early"},
        {"end", "", "the header has no end"},
    };
    for (auto const & test : cases) {
        EXPECT_EQ(ErrorOf(FileWith(test.key, test.line)), test.error) << test.line;
    }
    EXPECT_EQ(ErrorOf(""), "not an ICS file");
    EXPECT_EQ(ErrorOf("\t"), "not an ICS file");
    EXPECT_EQ(ErrorOf("\t\t"), "not an ICS file");
    EXPECT_EQ(ErrorOf(std::string(2 << 20, 'x')), "not an ICS file");
    EXPECT_EQ(ErrorOf("\t\nics_version\t2.0\n" + std::string(2 << 20, 'x')), "the header has no end");
    std::string wide = FileWith("layout\tsizes", "layout\tsizes\t16\t3\t1\t1");
    wide.replace(wide.find("byte_order\t1"), 12, "byte_order\t3\t1");
    EXPECT_EQ(ErrorOf(wide), "unknown byte order");
}

TEST_F(IcsFile, SmallFileCannotAskForALotOfRoom)
{
    std::string content = FileWith("layout\tsizes", "layout\tsizes\t8\t100000\t100000\t1000");
    content.replace(content.find("uncompressed"), 12, "gzip");
    EXPECT_EQ(ErrorOf(content), "the file holds fewer voxels than its header promises");
}

TEST_F(IcsFile, NameInTheHeaderIsShortAndFreeOfSeparators)
{
    auto const image = ConstantImage<unsigned char>(1, 1, 1, 0);
    wxString const name = "a\tb\nc" + wxString('d', 230) + ".e.ics";
    image.SaveImage(Path(name).c_str(), FileFormat::FromName, false, nullptr);
    std::string const content = _directory.Read(name);
    EXPECT_NE(content.find("filename\ta_b_c" + std::string(195, 'd') + "\n"), std::string::npos) << content;
    image.SaveImage(Path(".ics").c_str(), FileFormat::FromName, false, nullptr);
    EXPECT_NE(_directory.Read(".ics").find("filename\timage\n"), std::string::npos);
}

TEST_F(IcsFile, NotesComeBackAndAreHistoryInTheReferenceLibrary)
{
    std::string const name = "DAPI \xc2\xb5";
    auto const image = ConstantImage<unsigned short>(3, 2, 1, 7);
    for (bool const compress : {false, true}) {
        image.SaveImage(Path().c_str(), FileFormat::FromName, compress, nullptr,
                        {name, "2026-11-21T18:30:00"});
        vexa::ImageNotes const notes = vexa::ReadImageNotes(Path().c_str(), FileFormat::FromName);
        EXPECT_EQ(notes.channel, name);
        EXPECT_EQ(notes.acquired, "2026-11-21T18:30:00");
        EXPECT_EQ(Voxels(ReadContent(_directory.Read("image.ics"))), Voxels(image));

        ICS * file = nullptr;
        ASSERT_EQ(IcsOpen(&file, Path().c_str(), "r"), IcsErr_Ok);
        char line[ICS_LINE_LENGTH] = {};
        EXPECT_EQ(IcsGetHistoryString(file, line, IcsWhich_First), IcsErr_Ok);
        EXPECT_EQ(line, "channel\t" + name);
        EXPECT_EQ(IcsGetHistoryString(file, line, IcsWhich_Next), IcsErr_Ok);
        EXPECT_STREQ(line, "acquired\t2026-11-21T18:30:00");
        EXPECT_EQ(IcsClose(file), IcsErr_Ok);
    }
}

TEST_F(IcsFile, NotesAreLeftOutWhenEmptyAndMadeToFitTheHeader)
{
    auto const image = ConstantImage<unsigned char>(1, 1, 1, 0);
    image.SaveImage(Path().c_str(), FileFormat::FromName, false, nullptr, {"", ""});
    EXPECT_EQ(_directory.Read("image.ics").find("history"), std::string::npos);
    EXPECT_EQ(vexa::ReadImageNotes(Path().c_str(), FileFormat::FromName).channel, "");

    std::string const odd = "a\tb\nend\n" + std::string(190, 'x');
    image.SaveImage(Path().c_str(), FileFormat::FromName, false, nullptr, {odd + "\xc2\xb5\xc2\xb5", ""});
    EXPECT_EQ(vexa::ReadImageNotes(Path().c_str(), FileFormat::FromName).channel,
              "a_b_end_" + std::string(190, 'x') + "\xc2\xb5");
}

// An image as the reference library reads it.
struct Reference {
    std::vector<std::size_t> sizes;
    Ics_DataType type;
    std::vector<unsigned char> bytes;
    std::vector<double> origin;
    std::vector<double> scale;
    std::vector<std::string> units;
};

Reference ReadByReference(std::string const & path)
{
    ICS * file = nullptr;
    EXPECT_EQ(IcsOpen(&file, path.c_str(), "r"), IcsErr_Ok);
    Reference result{};
    int count = 0;
    std::size_t sizes[ICS_MAXDIM] = {};
    EXPECT_EQ(IcsGetLayout(file, &result.type, &count, sizes), IcsErr_Ok);
    result.sizes.assign(sizes, sizes + count);
    result.bytes.resize(IcsGetDataSize(file));
    EXPECT_EQ(IcsGetData(file, result.bytes.data(), result.bytes.size()), IcsErr_Ok);
    for (int i = 0; i < count; ++i) {
        double origin = 0.0;
        double scale = 0.0;
        char units[ICS_STRLEN_TOKEN] = {};
        EXPECT_EQ(IcsGetPosition(file, i, &origin, &scale, units), IcsErr_Ok);
        result.origin.push_back(origin);
        result.scale.push_back(scale);
        result.units.emplace_back(units);
    }
    EXPECT_EQ(IcsClose(file), IcsErr_Ok);
    return result;
}

template <typename T>
void ExpectReferenceAgrees(Image3d<T> const & image, bool compress, std::string const & path,
                           Ics_DataType type)
{
    image.SaveImage(path.c_str(), FileFormat::FromName, compress, nullptr);
    Reference const reference = ReadByReference(path);
    EXPECT_EQ(reference.type, type);
    EXPECT_EQ(reference.sizes,
              (std::vector<std::size_t>{image.GetSizeX(), image.GetSizeY(), image.GetSizeZ()}));
    auto const * const bytes = reinterpret_cast<unsigned char const *>(image.begin());
    EXPECT_EQ(reference.bytes, std::vector<unsigned char>(bytes, bytes + image.GetCount() * sizeof(T)));
    for (unsigned int i = 0; i < 3; ++i) {
        EXPECT_EQ(static_cast<float>(reference.origin[i]), image.offset[i]);
        EXPECT_EQ(static_cast<float>(1.0 / reference.scale[i]), image.resolution.GetRes()[i]);
        EXPECT_EQ(reference.units[i], "micrometers");
    }
}

TEST_F(IcsFile, OpensInTheReferenceLibrary)
{
    for (bool const compress : {false, true}) {
        for (Sizes const & size :
             {Sizes(1, 1, 1), Sizes(64, 48, 1), Sizes(33, 17, 9), Sizes(5, 1, 300), Sizes(701, 601, 1)}) {
            auto wide = PatternImage<unsigned short>(size.x, size.y, size.z);
            wide.offset = {-1234.567F, 0.1F, 3e-5F};
            wide.resolution = Resolution(15.503876F, 15.4F, 1.0F / 3.0F);
            ExpectReferenceAgrees(wide, compress, Path(), Ics_uint16);
            auto narrow = PatternImage<unsigned char>(size.x, size.y, size.z);
            narrow.resolution = wide.resolution;
            ExpectReferenceAgrees(narrow, compress, Path(), Ics_uint8);
        }
    }
}

TEST_F(IcsFile, ReadsWhatTheReferenceLibraryWrites)
{
    auto const image = PatternImage<unsigned short>(21, 13, 5);
    for (Ics_Compression const compression : {IcsCompr_uncompressed, IcsCompr_gzip}) {
        for (std::size_t const bytes : {std::size_t{1}, std::size_t{2}}) {
            ICS * file = nullptr;
            std::size_t const sizes[] = {42 / bytes, 13, 5};
            ASSERT_EQ(IcsOpen(&file, Path().c_str(), "w2"), IcsErr_Ok);
            IcsSetLayout(file, bytes == 1 ? Ics_uint8 : Ics_uint16, 3, sizes);
            IcsSetData(file, image.begin(), image.GetCount() * 2);
            IcsSetPosition(file, 0, 1.5, 0.5, "micrometers");
            IcsSetPosition(file, 1, -2.5, 0.25, "micrometers");
            IcsSetPosition(file, 2, 4.0, 2.0, "micrometers");
            IcsSetCompression(file, compression, 6);
            ASSERT_EQ(IcsClose(file), IcsErr_Ok);

            vexa::ImageHeader const header = vexa::ReadImageHeader(Path().c_str(), FileFormat::FromName);
            EXPECT_EQ(header.size, Sizes(static_cast<unsigned int>(42 / bytes), 13, 5));
            EXPECT_EQ(header.offset, Floats(1.5F, -2.5F, 4.0F));
            EXPECT_EQ(header.resolution.GetRes(), Floats(2.0F, 4.0F, 0.5F));
            Box const box(3, 2, 1, 10, 7, 3);
            if (bytes == 2) {
                Image3d<unsigned short> read;
                read.ReadImage(Path().c_str(), nullptr, false, -1, nullptr, nullptr);
                EXPECT_EQ(Voxels(read), Voxels(image));
                read.ReadImage(Path().c_str(), &box, false, -1, nullptr, nullptr);
                EXPECT_EQ(Voxels(read), VoxelsOf(image, box));
            } else {
                Image3d<unsigned char> read;
                read.ReadImage(Path().c_str(), nullptr, false, -1, nullptr, nullptr);
                auto const * const expected = reinterpret_cast<unsigned char const *>(image.begin());
                EXPECT_TRUE(std::equal(read.begin(), read.end(), expected));
            }
        }
    }
}

TEST_F(IcsFile, WithoutPositionsFromTheReferenceLibraryHasAnUndefinedResolution)
{
    ICS * file = nullptr;
    std::size_t const sizes[] = {2, 2, 1};
    unsigned char const voxels[] = {1, 2, 3, 4};
    ASSERT_EQ(IcsOpen(&file, Path().c_str(), "w2"), IcsErr_Ok);
    IcsSetLayout(file, Ics_uint8, 3, sizes);
    IcsSetData(file, voxels, sizeof(voxels));
    ASSERT_EQ(IcsClose(file), IcsErr_Ok);
    EXPECT_FALSE(vexa::ReadImageHeader(Path().c_str(), FileFormat::FromName).resolution.IsDefined());
}

TEST_F(IcsFile, BothByteOrdersReadTheSameHereAndInTheReferenceLibrary)
{
    for (bool const big : {false, true}) {
        std::string content = FileWith("layout\tsizes", "layout\tsizes\t16\t3\t1\t1");
        content.replace(content.find("byte_order\t1"), 12, big ? "byte_order\t2\t1" : "byte_order\t1\t2");
        std::vector<unsigned short> const expected = big ? std::vector<unsigned short>{0x102, 0x304, 0x506}
                                                         : std::vector<unsigned short>{0x201, 0x403, 0x605};
        EXPECT_EQ(Voxels(ReadContent(content)), expected);
        Reference const reference = ReadByReference(Path());
        auto const * const voxels = reinterpret_cast<unsigned short const *>(reference.bytes.data());
        EXPECT_EQ(std::vector<unsigned short>(voxels, voxels + 3), expected);
    }
}

} // namespace velm::test
