#include "velm_image_mapper.h"

#include "vexacore/cpu.h"

#include <algorithm>
#include <cstdint>

namespace velm::test {

constexpr unsigned char background = 150;

wxImage Picture(int width, int height)
{
    wxImage image(width, height);
    std::uint32_t state = 17;
    std::generate_n(image.GetData(), 3 * width * height, [&] {
        state = state * 1664525U + 1013904223U;
        return static_cast<unsigned char>(state >> 24);
    });
    return image;
}

wxImage Canvas(int width, int height)
{
    wxImage image(width, height);
    image.Clear(background);
    return image;
}

std::vector<int> Bytes(wxImage const & image)
{
    return {image.GetData(), image.GetData() + 3 * image.GetWidth() * image.GetHeight()};
}

int FloorDivide(int dividend, int divisor)
{
    return dividend >= 0 ? dividend / divisor : -((-dividend + divisor - 1) / divisor);
}

// What Map does, pixel of the target by pixel of the target.
wxImage Expected(wxImage const & source, wxImage const & target, int x, int y, int zoom, int sx, int sy)
{
    wxImage result = target.Copy();
    int const f = zoom < 1 ? 1 - zoom : zoom + 1;
    int const zoomed_width = zoom < 1 ? sx * source.GetWidth() / f : sx * f * source.GetWidth();
    int const zoomed_height = zoom < 1 ? sy * source.GetHeight() / f : sy * f * source.GetHeight();
    for (int j = 0; j < target.GetHeight(); ++j) {
        for (int i = 0; i < target.GetWidth(); ++i) {
            int const u = x + i;
            int const v = y + j;
            if (u < 0 || v < 0 || u >= zoomed_width || v >= zoomed_height) {
                continue;
            }
            int const column = zoom < 1 ? FloorDivide(f * u, sx) : FloorDivide(u, f * sx);
            int const row = zoom < 1 ? FloorDivide(f * v, sy) : FloorDivide(v, f * sy);
            result.SetRGB(i, j, source.GetRed(column, row), source.GetGreen(column, row),
                          source.GetBlue(column, row));
        }
    }
    return result;
}

TEST(VelmImageMapper, CopiesAPictureOfTheTargetsSizeAsItIs)
{
    wxImage source = Picture(7, 5);
    wxImage target = Canvas(7, 5);
    VELM_ImageMapper(&source).Map(&target, 0, 0, 0, 1, 1);
    EXPECT_EQ(Bytes(target), Bytes(source));
}

TEST(VelmImageMapper, ShowsWhatThePlainDefinitionShowsForAnyGeometry)
{
    std::uint32_t state = 5;
    auto const below = [&](int limit) {
        state = state * 1664525U + 1013904223U;
        return static_cast<int>((state >> 8) % static_cast<std::uint32_t>(limit));
    };
    for (int round = 0; round < 6000; ++round) {
        int const most =
            round % 2 == 0 ? 12 : 90; // few pixels, and enough for what is done by several at once
        wxImage source = Picture(1 + below(most), 1 + below(most));
        wxImage target = Canvas(1 + below(2 * most), 1 + below(20));
        int const x = below(5 * most) - 2 * most;
        int const y = below(5 * most) - 2 * most;
        int const zoom = below(9) - 4;
        int const sx = 1 + below(3);
        int const sy = 1 + below(3);
        wxImage const expected = Expected(source, target, x, y, zoom, sx, sy);
        vexa::SetInstructionSet(round % 4 < 2 ? vexa::InstructionSet::Avx2 : vexa::InstructionSet::Plain);
        VELM_ImageMapper(&source).Map(&target, x, y, zoom, sx, sy);
        ASSERT_EQ(Bytes(target), Bytes(expected))
            << "source " << source.GetWidth() << " x " << source.GetHeight() << ", target "
            << target.GetWidth() << " x " << target.GetHeight() << ", at " << x << ", " << y << ", zoom "
            << zoom << ", factors " << sx << ", " << sy;
    }
    vexa::SetInstructionSet(vexa::InstructionSet::Avx2);
}

TEST(VelmImageMapper, ScalesUpFromTheMiddleOfACell)
{
    wxImage source(2, 1);
    source.SetRGB(0, 0, 1, 2, 3);
    source.SetRGB(1, 0, 4, 5, 6);
    wxImage target = Canvas(4, 1);
    VELM_ImageMapper(&source).Map(&target, 2, 0, 2, 1, 1);
    EXPECT_EQ(Bytes(target), (std::vector<int>{1, 2, 3, 4, 5, 6, 4, 5, 6, 4, 5, 6}));
}

TEST(VelmImageMapper, TargetWhollyBesideThePictureIsLeftAlone)
{
    wxImage source = Picture(4, 4);
    wxImage const untouched = Canvas(3, 3);
    struct {
        int x;
        int y;
    } const places[] = {{-3, 0}, {0, -3}, {-100, -100}, {4, 0}, {0, 4}, {100, 100}};
    for (auto const & place : places) {
        wxImage target = untouched.Copy();
        VELM_ImageMapper(&source).Map(&target, place.x, place.y, 0, 1, 1);
        EXPECT_EQ(Bytes(target), Bytes(untouched)) << place.x << ", " << place.y;
    }
}

TEST(VelmImageMapper, OnePixelOfOverlapIsWritten)
{
    wxImage source = Picture(4, 4);
    wxImage target = Canvas(3, 3);
    VELM_ImageMapper(&source).Map(&target, -2, -2, 0, 1, 1);
    EXPECT_EQ(target.GetRed(2, 2), source.GetRed(0, 0));
    EXPECT_EQ(target.GetRed(1, 2), background);
    EXPECT_EQ(target.GetRed(2, 1), background);
}

TEST(VelmImageMapper, PictureScaledDownToNothingWritesNothing)
{
    wxImage source = Picture(3, 3);
    wxImage target = Canvas(2, 2);
    VELM_ImageMapper(&source).Map(&target, 0, 0, -3, 1, 1);
    EXPECT_EQ(Bytes(target), Bytes(Canvas(2, 2)));
}

TEST(VelmImageMapper, FactorsOfZeroWriteNothing)
{
    wxImage source = Picture(3, 3);
    wxImage target = Canvas(2, 2);
    VELM_ImageMapper mapper(&source);
    for (int const zoom : {-1, 0, 1}) {
        mapper.Map(&target, 0, 0, zoom, 0, 1);
        mapper.Map(&target, -1, -1, zoom, 1, 0);
    }
    EXPECT_EQ(Bytes(target), Bytes(Canvas(2, 2)));
}

TEST(VelmImageMapper, WithATableMapsEachColourByteThroughIt)
{
    wxImage source = Picture(5, 4);
    vexa::LUT<unsigned char, unsigned char> table;
    table.Init(256, 0, 255);
    table.CreateLinearMapping(0, 255, 255, 0);
    VELM_ImageMapper mapper(&source);
    mapper.SetLUT(&table);
    for (int const zoom : {0, 1}) {
        wxImage target = Canvas(5, 4);
        mapper.Map(&target, 0, 0, zoom, 1, 1);
        wxImage const plain = Expected(source, Canvas(5, 4), 0, 0, zoom, 1, 1);
        std::vector<int> inverted = Bytes(plain);
        std::transform(inverted.begin(), inverted.end(), inverted.begin(),
                       [](int byte) { return 255 - byte; });
        EXPECT_EQ(Bytes(target), inverted);
    }
    mapper.SetLUT(nullptr);
    wxImage target = Canvas(5, 4);
    mapper.Map(&target, 0, 0, 0, 1, 1);
    EXPECT_EQ(Bytes(target), Bytes(source));
}

TEST(VelmImageMapper, PlacesForSettingsDoNothing)
{
    wxImage source = Picture(2, 2);
    VELM_ImageMapper mapper(&source);
    mapper.SetStrength(3.0);
    mapper.SetMode(4);
    EXPECT_EQ(mapper.GetStrength(), 0.0);
    EXPECT_EQ(mapper.GetMode(), 0);
    wxImage target = Canvas(2, 2);
    mapper.Map(&target, 0, 0, 0, 1, 1);
    EXPECT_EQ(Bytes(target), Bytes(source));
}

} // namespace velm::test
