#include "velm_convert.h"

#include "support/voxels.h"

#include <cmath>
#include <limits>

namespace velm::test {

using vexa::Image3d;
using vexa::Resolution;
using vexa::RGB_generic;
using Floats = vexa::Vector3d<float>;
using Bytes = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

template <typename T>
Image3d<T> RowOf(std::vector<T> const & values)
{
    Image3d<T> image;
    image.offset = {1.0F, 2.0F, 3.0F};
    image.resolution = Resolution(4.0F, 5.0F, 6.0F);
    image.MakeRoom(static_cast<unsigned int>(values.size()), values.empty() ? 0 : 1, values.empty() ? 0 : 1);
    std::copy(values.begin(), values.end(), image.begin());
    return image;
}

template <typename Tin, typename Tout>
void ExpectSameGeometry(Image3d<Tin> const & in, Image3d<Tout> const & out)
{
    EXPECT_EQ(out.size, in.size);
    EXPECT_EQ(out.offset, in.offset);
    EXPECT_EQ(out.resolution.GetRes(), in.resolution.GetRes());
    EXPECT_EQ(out.resolution.IsDefined(), in.resolution.IsDefined());
}

template <typename Tin, typename Tout>
std::vector<Tout> Mapped(std::vector<Tin> const & values, bool clamp)
{
    Image3d<Tin> const in = RowOf(values);
    Image3d<Tout> out;
    VELM_Convert::DirectMapping(in, out, clamp);
    ExpectSameGeometry(in, out);
    return Voxels(out);
}

Bytes Stretched(Words const & values)
{
    Image3d<unsigned short> const in = RowOf(values);
    Image3d<unsigned char> out = ConstantImage<unsigned char>(1, 2, 3, 9);
    VELM_Convert::LinearStretch(in, out);
    ExpectSameGeometry(in, out);
    return Voxels(out);
}

Bytes TopBits(Words const & values, int last_bit)
{
    Image3d<unsigned short> const in = RowOf(values);
    Image3d<unsigned char> out;
    VELM_Convert::Top8Bits(in, out, last_bit);
    ExpectSameGeometry(in, out);
    return Voxels(out);
}

TEST(VelmConvert, DirectMappingKeepsIntegersWhateverTheFlag)
{
    for (bool const flag : {false, true}) {
        EXPECT_EQ((Mapped<unsigned char, unsigned short>({0, 1, 127, 128, 255}, flag)),
                  (Words{0, 1, 127, 128, 255}));
        EXPECT_EQ((Mapped<unsigned short, unsigned short>({0, 255, 256, 65535}, flag)),
                  (Words{0, 255, 256, 65535}));
    }
}

TEST(VelmConvert, DirectMappingOfFloatsWithClampStaysInRange)
{
    float const inf = std::numeric_limits<float>::infinity();
    std::vector<float> const values{300.7F, -0.5F,    -1000.0F, 0.99F, 254.99F,
                                    255.5F, 70000.0F, inf,      -inf,  NAN};
    EXPECT_EQ((Mapped<float, unsigned char>(values, true)), (Bytes{255, 0, 0, 0, 254, 255, 255, 255, 0, 0}));
    EXPECT_EQ((Mapped<float, unsigned short>(values, true)),
              (Words{300, 0, 0, 0, 254, 255, 65535, 65535, 0, 0}));
}

TEST(VelmConvert, DirectMappingOfFloatsWithoutClampTruncatesTowardZeroAndKeepsTheLowBits)
{
    std::vector<float> const values{300.7F, -0.5F, -1.9F, 0.99F, 65536.0F, 65537.9F, -256.0F};
    EXPECT_EQ((Mapped<float, unsigned char>(values, false)), (Bytes{44, 0, 255, 0, 0, 1, 0}));
    EXPECT_EQ((Mapped<float, unsigned short>(values, false)), (Words{300, 0, 65535, 0, 0, 1, 65280}));
}

TEST(VelmConvert, DirectMappingOfFloatsThatAreNoNumbersGivesZeroWithoutClamp)
{
    float const inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ((Mapped<float, unsigned short>({inf, -inf, NAN, 3e38F}, false)), (Words{0, 0, 0, 0}));
}

TEST(VelmConvert, DirectMappingWorksOnEachColour)
{
    using Narrow = RGB_generic<unsigned char>;
    using Wide = RGB_generic<unsigned short>;
    EXPECT_EQ((Mapped<Narrow, Wide>({Narrow(1, 2, 3), Narrow(255, 0, 128)}, true)),
              (std::vector<Wide>{Wide(1, 2, 3), Wide(255, 0, 128)}));
}

TEST(VelmConvert, LinearStretchFillsTheOutputRange)
{
    EXPECT_EQ(Stretched({1000, 1255, 1100}), (Bytes{0, 255, 100}));
    EXPECT_EQ(Stretched({0, 65535, 32768}), (Bytes{0, 255, 128}));
    EXPECT_EQ(Stretched({7, 8}), (Bytes{0, 255}));
}

TEST(VelmConvert, LinearStretchOfAConstantImageIsAllZero)
{
    EXPECT_EQ(Stretched({500, 500, 500}), (Bytes{0, 0, 0}));
    EXPECT_EQ(Stretched({65535}), (Bytes{0}));
}

TEST(VelmConvert, Top8BitsTakesTheEightBitsThatEndAtTheGivenOne)
{
    EXPECT_EQ(TopBits({0, 1, 255}, 8), (Bytes{0, 1, 255}));
    EXPECT_EQ(TopBits({0x0fff, 0x0ff0, 0x0010, 0x000f}, 12), (Bytes{255, 255, 1, 0}));
    EXPECT_EQ(TopBits({0xffff, 0x1234}, 16), (Bytes{255, 0x12}));
    EXPECT_EQ(TopBits({1, 2, 3}, 2), (Bytes{64, 128, 192}));
}

TEST(VelmConvert, Top8BitsShowsWhatHasHigherBitsAsOverExposed)
{
    EXPECT_EQ(TopBits({256, 257, 65535, 255}, 8), (Bytes{255, 255, 255, 255}));
    EXPECT_EQ(TopBits({4096, 4095}, 12), (Bytes{255, 255}));
}

TEST(VelmConvert, Top8BitsChoosesOneBitMoreThanTheLargestVoxelHas)
{
    EXPECT_EQ(TopBits({255, 128, 2, 1}, -1), TopBits({255, 128, 2, 1}, 9));
    EXPECT_EQ(TopBits({255, 128, 2, 1}, -1), (Bytes{127, 64, 1, 0}));
    EXPECT_EQ(TopBits({4095, 32}, -1), TopBits({4095, 32}, 13));
    EXPECT_EQ(TopBits({65535, 512}, -1), (Bytes{127, 1}));
    EXPECT_EQ(TopBits({1}, -1), (Bytes{64}));
}

TEST(VelmConvert, Top8BitsOfAnAllZeroImageIsAllZero)
{
    EXPECT_EQ(TopBits({0, 0}, -1), (Bytes{0, 0}));
}

TEST(VelmConvert, Top8BitsTakesALastBitForEachColour)
{
    auto const in = RowOf<RGB_generic<unsigned short>>({{0x0ff0, 0x0ff0, 0x0ff0}, {1, 1, 1}, {0, 0, 3}});
    Image3d<RGB_generic<unsigned char>> out;
    VELM_Convert::Top8Bits(in, out, 16, 12, 8);
    ExpectSameGeometry(in, out);
    EXPECT_EQ(Voxels(out),
              (std::vector<RGB_generic<unsigned char>>{{0x0f, 0xff, 0xff}, {0, 0, 1}, {0, 0, 3}}));
    VELM_Convert::Top8Bits(in, out, -1, -1, -1);
    EXPECT_EQ(Voxels(out)[0], RGB_generic<unsigned char>(127, 127, 127));
}

TEST(VelmConvert, EmptyImageGoesThroughEveryConversion)
{
    EXPECT_EQ((Mapped<unsigned char, unsigned short>({}, false)), Words());
    EXPECT_EQ((Mapped<unsigned short, unsigned short>({}, false)), Words());
    EXPECT_EQ((Mapped<float, unsigned char>({}, true)), Bytes());
    EXPECT_EQ((Mapped<float, unsigned short>({}, false)), Words());
    EXPECT_EQ((Mapped<RGB_generic<unsigned char>, RGB_generic<unsigned short>>({}, true)).size(), 0U);
    EXPECT_EQ(Stretched({}), Bytes());
    EXPECT_EQ(TopBits({}, -1), Bytes());
    EXPECT_EQ(TopBits({}, 8), Bytes());
    Image3d<RGB_generic<unsigned short>> const in;
    auto out = ConstantImage<RGB_generic<unsigned char>>(1, 1, 1, {1, 2, 3});
    VELM_Convert::Top8Bits(in, out, -1, 8, 8);
    EXPECT_EQ(out.GetCount(), 0U);
}

} // namespace velm::test
