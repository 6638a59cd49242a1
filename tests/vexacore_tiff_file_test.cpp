// What is peculiar to TIFF files: that another program and this one read each other.

#include "support/python.h"
#include "support/voxels.h"

#include <gtest/gtest.h>

namespace velm::test {

using vexa::Box;
using vexa::FileFormat;
using vexa::Image3d;
using vexa::Resolution;
using Floats = vexa::Vector3d<float>;
using Sizes = vexa::Vector3d<unsigned int>;

class TiffFile : public testing::Test {
  protected:
    std::string Path(wxString const & name = "image.tif") const
    {
        return std::string((_directory / name).utf8_str());
    }

    void RunPython(std::string const & script) const { test::RunPython(_directory, script); }

    // The script that makes "voxels", an array of that shape and type with the values 0, 1, 2...
    static std::string MakeVoxels(char const * shape, char const * type)
    {
        return std::string("shape = ") + shape +
               "\nvoxels = (numpy.arange(numpy.prod(shape)) * 37 % 65521).astype('" + type +
               "').reshape(shape)\n";
    }

    Image3d<unsigned short> Read(Box const * box = nullptr) const
    {
        Image3d<unsigned short> image;
        image.ReadImage(Path().c_str(), box, false, -1, nullptr, nullptr);
        return image;
    }

    std::string ErrorOf() const
    {
        std::string const prefix = "Cannot read '" + Path() + "': ";
        try {
            Read();
        } catch (vexa::IOException const & e) {
            EXPECT_EQ(e.GetMessage().compare(0, prefix.size(), prefix), 0) << e.GetMessage();
            return e.GetMessage().substr(prefix.size());
        }
        return {};
    }

    TempDirectory const _directory;
};

std::vector<unsigned short> Sequence(std::size_t count, unsigned int modulus)
{
    std::vector<unsigned short> values;
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(static_cast<unsigned short>(i * 37 % 65521 % modulus));
    }
    return values;
}

TEST_F(TiffFile, OpensInAnotherProgramWithVoxelsScaleAndPlace)
{
    auto image = PatternImage<unsigned short>(300, 200, 4);
    image.offset = {12.5F, 7.25F, -3.0F};
    image.resolution = Resolution(8.0F, 4.0F, 0.5F);
    image.SaveImage(Path("plain.tif").c_str(), FileFormat::FromName, false, nullptr);
    image.SaveImage(Path("packed.tif").c_str(), FileFormat::FromName, true, nullptr);
    std::string const bytes(reinterpret_cast<char const *>(image.begin()), 2 * image.GetCount());
    _directory.Write("expected.raw", bytes);
    RunPython(R"(
expected = numpy.fromfile('expected.raw', dtype='<u2').reshape(4, 200, 300)
for name in ('plain.tif', 'packed.tif'):
    with tifffile.TiffFile(name) as tif:
        assert tif.is_ome
        assert len(tif.series) == 1 and tif.series[0].axes == 'ZYX', tif.series
        assert (tif.asarray() == expected).all()
        for page in (frame.aspage() for frame in tif.pages):
            x, y = page.tags['XResolution'].value, page.tags['YResolution'].value
            assert x[0] / x[1] == 80000 and y[0] / y[1] == 40000, (x, y)
            assert page.tags['ResolutionUnit'].value == 3
        px, py = (tif.pages[0].tags[tag].value for tag in ('XPosition', 'YPosition'))
        assert abs(px[0] / px[1] - 12.5e-4) < 1e-9 and abs(py[0] / py[1] - 7.25e-4) < 1e-9, (px, py)
        pixels = tifffile.xml2dict(tif.ome_metadata)['OME']['Image']['Pixels']
        assert [pixels['PhysicalSize' + a] for a in 'XYZ'] == [0.125, 0.25, 2], pixels
        assert [pixels['PhysicalSize' + a + 'Unit'] for a in 'XYZ'] == ['\u00b5m'] * 3
        plane = pixels['Plane']
        assert [plane['Position' + a] for a in 'XYZ'] == [12.5, 7.25, -3], plane
)");
}

TEST_F(TiffFile, OfEightBitsOpensInAnotherProgram)
{
    auto const image = PatternImage<unsigned char>(31, 17, 1);
    image.SaveImage(Path().c_str(), FileFormat::FromName, true, nullptr);
    _directory.Write("expected.raw", std::string(image.begin(), image.end()));
    RunPython(R"(
expected = numpy.fromfile('expected.raw', dtype='u1').reshape(17, 31)
with tifffile.TiffFile('image.tif') as tif:
    assert (tif.asarray() == expected).all()
    assert 'XResolution' not in tif.pages[0].tags
)");
}

TEST_F(TiffFile, ReadsStacksOfAnotherProgramInEveryForm)
{
    for (char const * const options :
         {"byteorder='<'", "byteorder='>'", "compression='zlib'", "compression='zlib', byteorder='>'",
          "compression='zlib', predictor=True", "rowsperstrip=3", "bigtiff=True", "ome=True", "imagej=True",
          "compression='zlib', rowsperstrip=7, byteorder='>'"}) {
        RunPython(MakeVoxels("(5, 16, 23)", "u2") +
                  "tifffile.imwrite('image.tif', voxels, photometric='minisblack', " + options + ")\n");
        auto const image = Read();
        EXPECT_EQ(image.size, Sizes(23, 16, 5)) << options;
        EXPECT_EQ(Voxels(image), Sequence(5 * 16 * 23, 65536)) << options;
        Box const box(4, 5, 1, 9, 8, 3);
        EXPECT_EQ(Voxels(Read(&box)), VoxelsOf(image, box)) << options;
    }
}

TEST_F(TiffFile, ReadsEightBitPagesOfAnotherProgram)
{
    RunPython(MakeVoxels("(3, 5, 4)", "u1") +
              "tifffile.imwrite('image.tif', voxels, photometric='minisblack')\n");
    EXPECT_EQ(Voxels(Read()), Sequence(3 * 5 * 4, 256));
}

TEST_F(TiffFile, TakesTheScaleFromWhereOtherProgramsKeepIt)
{
    std::string const write = "tifffile.imwrite('image.tif', voxels, photometric='minisblack', ";
    std::string const voxels = MakeVoxels("(3, 5, 4)", "u2");

    RunPython(voxels + write + "resolution=(50000, 25000), resolutionunit='CENTIMETER')\n");
    EXPECT_EQ(Read().resolution.GetRes(), Floats(5.0F, 2.5F, 1.0F));

    RunPython(voxels + write +
              "imagej=True, resolution=(5, 2.5), metadata={'spacing': 0.5, 'unit': 'um'})\n");
    EXPECT_EQ(Read().resolution.GetRes(), Floats(5.0F, 2.5F, 2.0F));

    RunPython(voxels + write +
              "ome=True, metadata={'axes': 'ZYX', 'PhysicalSizeX': 200.0, 'PhysicalSizeXUnit': 'nm', "
              "'PhysicalSizeY': 0.4, 'PhysicalSizeYUnit': '\\u00b5m', 'PhysicalSizeZ': 0.5, "
              "'Plane': {'PositionX': [1.5] * 3, 'PositionY': [-2.5] * 3, 'PositionZ': [4.0] * 3, "
              "'PositionXUnit': ['\\u00b5m'] * 3, 'PositionYUnit': ['\\u00b5m'] * 3, "
              "'PositionZUnit': ['\\u00b5m'] * 3}})\n");
    EXPECT_EQ(Read().resolution.GetRes(), Floats(5.0F, 2.5F, 2.0F));
    EXPECT_EQ(Read().offset, Floats(1.5F, -2.5F, 4.0F));
}

TEST_F(TiffFile, DoesNotTakeAPrintingResolutionForAScale)
{
    RunPython(MakeVoxels("(5, 4)", "u2") + "tifffile.imwrite('image.tif', voxels, resolution=(72, 72), "
                                           "resolutionunit='INCH')\n");
    EXPECT_FALSE(Read().resolution.IsDefined());
}

TEST_F(TiffFile, ThatIsNoGreyStackIsRefused)
{
    struct {
        char const * shape;
        char const * type;
        char const * options;
        char const * error;
    } const cases[] = {
        {"(5, 4, 3)", "u1", "photometric='rgb'", "only grey pages of 8 or 16 bits, unsigned, are supported"},
        {"(5, 4)", "f4", "photometric='minisblack'",
         "only grey pages of 8 or 16 bits, unsigned, are supported"},
        {"(5, 4)", "u4", "photometric='minisblack'",
         "only grey pages of 8 or 16 bits, unsigned, are supported"},
        {"(5, 4)", "i2", "photometric='minisblack'",
         "only grey pages of 8 or 16 bits, unsigned, are supported"},
        {"(5, 4)", "u2", "photometric='miniswhite'",
         "only grey pages of 8 or 16 bits, unsigned, are supported"},
        {"(32, 32)", "u2", "photometric='minisblack', tile=(16, 16)",
         "pages made of tiles are not supported"},
    };
    for (auto const & test : cases) {
        RunPython(MakeVoxels(test.shape, test.type) + "tifffile.imwrite('image.tif', voxels, " +
                  test.options + ")\n");
        EXPECT_EQ(ErrorOf(), test.error) << test.type << ' ' << test.options;
    }
}

TEST_F(TiffFile, WithPagesThatDifferIsRefused)
{
    RunPython(R"(
with tifffile.TiffWriter('image.tif') as tif:
    tif.write(numpy.zeros((5, 4), 'u2'))
    tif.write(numpy.zeros((5, 3), 'u2'))
)");
    EXPECT_EQ(ErrorOf(), "its pages differ in size or type");
}

TEST_F(TiffFile, OfAnotherKindIsRefused)
{
    _directory.Write("image.tif", "");
    EXPECT_EQ(ErrorOf(), "not a TIFF file");
    _directory.Write("image.tif", "II*\0 but then this");
    EXPECT_EQ(ErrorOf(), "not a TIFF file");
}

TEST_F(TiffFile, SmallFileCannotAskForALotOfRoom)
{
    RunPython(MakeVoxels("(16, 16)", "u2") +
              "tifffile.imwrite('image.tif', voxels, compression='zlib', extratags=[], metadata=None)\n"
              "with tifffile.TiffFile('image.tif', mode='r+b') as tif:\n"
              "    tags = tif.pages[0].tags\n"
              "    tags['ImageWidth'].overwrite(50000)\n"
              "    tags['ImageLength'].overwrite(50000)\n");
    EXPECT_EQ(ErrorOf(), "the file holds fewer voxels than its tags promise");
}

} // namespace velm::test
