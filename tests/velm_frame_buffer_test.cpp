#include "velm_frame_buffer.h"

#include "support/assert_recorder.h"
#include "support/every_machine.h"
#include "support/log_recorder.h"
#include "support/private_access.h"
#include "support/voxels.h"
#include "velm_log.h"

#include <cmath>

namespace velm::test {

VELM_PRIVATE_MEMBER(Shift, int (VELM_FrameBuffer::*)(unsigned int) const, &VELM_FrameBuffer::GetShift)

using vexa::Image3d;
using Table = vexa::VELM_LUT<unsigned short, unsigned char>;
using Pixel = std::vector<int>;

// Fills the buffer with 100, 101, 102...
void Fill(VELM_FrameBuffer & buffer)
{
    for (unsigned int i = 0; i < buffer.GetSize(); ++i) {
        buffer.GetAddr()[i] = static_cast<unsigned short>(100 + i);
    }
}

Pixel PixelAt(wxImage const & image, int x, int y)
{
    return {image.GetRed(x, y), image.GetGreen(x, y), image.GetBlue(x, y)};
}

// The frame's pixels as a picture shows them, by the meaning of the flips: the frame's row r is the picture's
// row r, counted from the other end when flipped, and so with the columns.
std::vector<unsigned short> Straightened(VELM_FrameBuffer const & buffer)
{
    std::vector<unsigned short> pixels;
    unsigned int const dx = buffer.GetSizeX();
    unsigned int const dy = buffer.GetSizeY();
    for (unsigned int y = 0; y < dy; ++y) {
        for (unsigned int x = 0; x < dx; ++x) {
            unsigned int const row = buffer.GetFlipX() ? dy - 1 - y : y;
            unsigned int const column = buffer.GetFlipY() ? dx - 1 - x : x;
            pixels.push_back(buffer.GetAddr()[row * dx + column]);
        }
    }
    return pixels;
}

// A table that gives the low eight bits of small values as they are.
Table Plain()
{
    Table table;
    table.Select8Bits(8);
    return table;
}

TEST(VisType, IsTheSumOfItsFlags)
{
    EXPECT_EQ(static_cast<int>(VIS_GREY | VIS_BACKGROUND_SATURATION | VIS_FOREGROUND_SATURATION), 7);
    EXPECT_EQ(static_cast<int>(VIS_RED | VIS_GREEN | VIS_BLUE), 56);
}

TEST(VisType, ColourIsTheFirstOfGreyRedGreenBlueThatIsSet)
{
    for (int value = 0; value < 64; ++value) {
        auto const colour = GetVisTypeColour(static_cast<VELM_Channel_VisType>(value));
        int const expected = (value & 1) != 0    ? 1
                             : (value & 8) != 0  ? 8
                             : (value & 16) != 0 ? 16
                             : (value & 32) != 0 ? 32
                                                 : 1;
        EXPECT_EQ(static_cast<int>(colour), expected) << value;
    }
}

TEST(VelmFrameBuffer, WithoutASizeHasNoPixels)
{
    VELM_FrameBuffer const buffer(true, false);
    EXPECT_EQ(buffer.GetAddr(), nullptr);
    EXPECT_EQ(buffer.GetSize(), 0U);
    EXPECT_EQ(buffer.GetSBin(), 0);
    EXPECT_EQ(buffer.GetPBin(), 0);
    EXPECT_EQ(buffer.GetS1(), 0);
    EXPECT_EQ(buffer.GetP1(), 0);
    EXPECT_TRUE(buffer.GetFlipX());
    EXPECT_FALSE(buffer.GetFlipY());
}

TEST(VelmFrameBuffer, KnowsWhereItsFrameLies)
{
    VELM_FrameBuffer const buffer(4, 3, 2, 1, 10, 20, false, true);
    EXPECT_EQ(buffer.GetSizeX(), 4U);
    EXPECT_EQ(buffer.GetSizeY(), 3U);
    EXPECT_EQ(buffer.GetSize(), 12U);
    EXPECT_EQ(buffer.GetSBin(), 2);
    EXPECT_EQ(buffer.GetPBin(), 1);
    EXPECT_EQ(buffer.GetS1(), 10);
    EXPECT_EQ(buffer.GetP1(), 20);
    EXPECT_FALSE(buffer.GetFlipX());
    EXPECT_TRUE(buffer.GetFlipY());
}

TEST(VelmFrameBuffer, ResizeToTheSameSizeKeepsThePixelsAndTakesTheNewPlace)
{
    VELM_FrameBuffer buffer(4, 3, 1, 1, 0, 0, true, true);
    Fill(buffer);
    unsigned short const * const block = buffer.GetAddr();
    std::vector<unsigned short> const before = Straightened(buffer);
    buffer.Resize(4, 3, 2, 4, 6, 8);
    EXPECT_EQ(buffer.GetAddr(), block);
    EXPECT_EQ(buffer.GetSBin(), 2);
    EXPECT_EQ(buffer.GetPBin(), 4);

    auto image = ConstantImage<unsigned short>(4, 3, 1, 0);
    buffer.Map(image, 0);
    EXPECT_EQ(Voxels(image), before);

    wxImage picture(10, 10);
    picture.Clear();
    buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, true);
    EXPECT_EQ(PixelAt(picture, 3, 2), Pixel(3, before.front())) << "the new offset is (6 / 2, 8 / 4)";
}

TEST(VelmFrameBuffer, ResizeToAnotherSizeMapsTheNewOne)
{
    VELM_FrameBuffer buffer(4, 3, 1, 1, 0, 0, true, true);
    buffer.Resize(3, 4, 1, 1, 0, 0);
    Fill(buffer);
    auto image = ConstantImage<unsigned short>(3, 4, 1, 0);
    buffer.Map(image, 0);
    EXPECT_EQ(Voxels(image), Straightened(buffer));
}

TEST(VelmFrameBuffer, ResizeThatFindsNoRoomLeavesTheNewSizeAndNoPixels)
{
    VELM_FrameBuffer buffer(4, 3, 1, 1, 0, 0, false, false);
    EXPECT_THROW(buffer.Resize(0xffffffffU, 0xffffffffU, 1, 1, 0, 0), std::bad_alloc);
    EXPECT_EQ(buffer.GetAddr(), nullptr);
    EXPECT_EQ(buffer.GetSizeX(), 0xffffffffU);
    EXPECT_EQ(buffer.GetSizeY(), 0xffffffffU);
}

TEST(VelmFrameBuffer, AssignmentSharesTheBlock)
{
    VELM_FrameBuffer const source(2, 2, 1, 2, 3, 4, true, false);
    // Never destroyed, since one of the two owners only may free the block.
    alignas(VELM_FrameBuffer) unsigned char storage[sizeof(VELM_FrameBuffer)];
    VELM_FrameBuffer & copy = *new (storage) VELM_FrameBuffer(false, false);
    copy = source;
    EXPECT_EQ(copy.GetAddr(), source.GetAddr());
    EXPECT_EQ(copy.GetSize(), 4U);
    EXPECT_EQ(copy.GetPBin(), 2);
    EXPECT_TRUE(copy.GetFlipX());
}

TEST(VelmFrameBuffer, MapsEveryReadOutDirectionTheRightWayRound)
{
    for (bool const flip_x : {false, true}) {
        for (bool const flip_y : {false, true}) {
            for (unsigned int dx = 1; dx < 6; ++dx) {
                for (unsigned int dy = 1; dy < 6; ++dy) {
                    VELM_FrameBuffer buffer(dx, dy, 1, 1, 0, 0, flip_x, flip_y);
                    Fill(buffer);
                    auto image = ConstantImage<unsigned short>(dx, dy, 1, 0);
                    buffer.Map(image, 0);
                    EXPECT_EQ(Voxels(image), Straightened(buffer)) << dx << ' ' << dy;

                    wxImage picture(static_cast<int>(dx), static_cast<int>(dy));
                    buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, false);
                    std::vector<unsigned short> shown;
                    for (unsigned int i = 0; i < dx * dy; ++i) {
                        shown.push_back(picture.GetData()[3 * i + 2]);
                    }
                    EXPECT_EQ(shown, Straightened(buffer)) << dx << ' ' << dy;
                }
            }
        }
    }
}

TEST(VelmFrameBuffer, MapsFramesOfAnyWidthAlikeOnAnyMachine)
{
    for (bool const flip_x : {false, true}) {
        for (bool const flip_y : {false, true}) {
            for (unsigned int dx = 1; dx < 70; ++dx) {
                VELM_FrameBuffer buffer(dx, 3, 1, 1, 0, 0, flip_x, flip_y);
                Fill(buffer);
                std::vector<unsigned short> expected(dx * 3, 7);
                std::vector<unsigned short> const frame = Straightened(buffer);
                expected.insert(expected.end(), frame.begin(), frame.end());
                expected.resize(expected.size() + dx * 3, 7);
                OnEveryMachine([&] {
                    auto image = ConstantImage<unsigned short>(dx, 3, 3, 7);
                    buffer.Map(image, 1);
                    EXPECT_EQ(Voxels(image), expected) << dx;
                });
            }
        }
    }
}

TEST(VelmFrameBuffer, MapsALargeFrameAlikeOnAnyMachine)
{
    for (bool const flip_x : {false, true}) {
        for (bool const flip_y : {false, true}) {
            VELM_FrameBuffer buffer(1500, 1999, 1, 1, 0, 0, flip_x, flip_y); // for several threads
            Fill(buffer);
            std::vector<unsigned short> const expected = Straightened(buffer);
            OnEveryMachine([&] {
                auto image = ConstantImage<unsigned short>(1500, 1999, 1, 7);
                buffer.Map(image, 0);
                EXPECT_TRUE(Voxels(image) == expected);
            });
        }
    }
}

TEST(VelmFrameBuffer, RowOfAFrameOfManyWithFlippedColumnsGoesOnInTheNextRow)
{
    VELM_FrameBuffer buffer(3, 2, 1, 1, 0, 0, false, true);
    Fill(buffer);
    auto image = ConstantImage<unsigned short>(3, 2, 1, 0);
    buffer.Map(image, 0);
    EXPECT_EQ(Voxels(image), (std::vector<unsigned short>{102, 101, 100, 105, 104, 103}));
}

TEST(VelmFrameBuffer, MapsIntoTheGivenSliceAndNoOther)
{
    VELM_FrameBuffer buffer(2, 2, 1, 1, 0, 0, false, false);
    Fill(buffer);
    auto image = ConstantImage<unsigned short>(2, 2, 3, 7);
    buffer.Map(image, 1);
    EXPECT_EQ(Voxels(image), (std::vector<unsigned short>{7, 7, 7, 7, 100, 101, 102, 103, 7, 7, 7, 7}));
}

TEST(VelmFrameBuffer, SliceOfAnotherSizeOrBeyondTheStackTripsAnAssertion)
{
    VELM_FrameBuffer buffer(3, 2, 1, 1, 0, 0, false, false);
    Fill(buffer);
    auto narrow = ConstantImage<unsigned short>(2, 2, 1, 0);
    auto low = ConstantImage<unsigned short>(3, 1, 1, 0);
    auto right = ConstantImage<unsigned short>(3, 2, 1, 0);
    EXPECT_EQ(VELM_TRIPPED_BY(buffer.Map(narrow, 5)), "img.GetSizeX() == _dx");
    EXPECT_EQ(VELM_TRIPPED_BY(buffer.Map(low, 5)), "img.GetSizeY() == _dy");
    EXPECT_EQ(VELM_TRIPPED_BY(buffer.Map(right, 1)), "target_slice < img.GetSizeZ()");
    EXPECT_EQ(VELM_TRIPPED_BY(buffer.Map(right, 0)), "");
}

TEST(VelmFrameBuffer, GoingOnAfterAFailedAssertionTouchesNothing)
{
    VELM_FrameBuffer buffer(3, 2, 1, 1, 0, 0, false, false);
    Fill(buffer);
    AssertRecorder const recorder;
    auto small = ConstantImage<unsigned short>(2, 2, 1, 9);
    buffer.Map(small, 0);
    buffer.Map(small, 0xffffffffU);
    EXPECT_EQ(Voxels(small), std::vector<unsigned short>(4, 9));
    wxImage picture(3, 1);
    picture.Clear(9);
    buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, false);
    EXPECT_EQ(PixelAt(picture, 0, 0), Pixel(3, 9));
    buffer.Map(nullptr, Plain(), nullptr, 0.0, VIS_GREY, false);
    EXPECT_EQ(recorder.Conditions().size(), 5U);
}

TEST(VelmFrameBuffer, WithoutAnOffsetLandsInTheCornerWhereverItLies)
{
    VELM_FrameBuffer buffer(2, 1, 1, 1, 3, 2, false, false);
    Fill(buffer);
    wxImage picture(6, 4);
    picture.Clear();
    buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, false);
    EXPECT_EQ(PixelAt(picture, 0, 0), Pixel(3, 100));
    EXPECT_EQ(PixelAt(picture, 1, 0), Pixel(3, 101));
    EXPECT_EQ(PixelAt(picture, 3, 2), Pixel(3, 0));
}

TEST(VelmFrameBuffer, WithAnOffsetLandsWhereItLiesInBinnedPixels)
{
    VELM_FrameBuffer buffer(2, 1, 2, 3, 7, 11, false, false);
    Fill(buffer);
    wxImage picture(6, 4);
    picture.Clear();
    buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, true);
    EXPECT_EQ(PixelAt(picture, 3, 3), Pixel(3, 100)) << "7 / 2 and 11 / 3, cut off";
    EXPECT_EQ(PixelAt(picture, 4, 3), Pixel(3, 101));
    EXPECT_EQ(PixelAt(picture, 0, 0), Pixel(3, 0));
}

TEST(VelmFrameBuffer, BeyondThePictureTripsAnAssertion)
{
    VELM_FrameBuffer buffer(2, 2, 1, 1, 3, 3, false, false);
    Fill(buffer);
    wxImage picture(4, 4);
    EXPECT_EQ(VELM_TRIPPED_BY(buffer.Map(nullptr, Plain(), nullptr, 0.0, VIS_GREY, false)), "img");
    EXPECT_EQ(VELM_TRIPPED_BY(buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, true)),
              "((y0 + _dy - 1) * img->GetWidth() + x0 + _dx - 1) < (size_t)(img->GetWidth() * "
              "img->GetHeight())");
    auto const calibration = ConstantImage<unsigned short>(3, 1, 1, 1);
    EXPECT_EQ(VELM_TRIPPED_BY(buffer.Map(&picture, Plain(), &calibration, 1.0, VIS_GREY, false)),
              "calib_img == 0 || (_dx * _dy == calib_img->GetSizeX() * calib_img ->GetSizeY())");
}

// Shows one pixel of the value and returns its colour.
Pixel Shown(unsigned short value, int vis)
{
    VELM_FrameBuffer buffer(1, 1, 1, 1, 0, 0, false, false);
    buffer.GetAddr()[0] = value;
    wxImage picture(1, 1);
    picture.Clear(33);
    buffer.Map(&picture, Plain(), nullptr, 0.0, static_cast<VELM_Channel_VisType>(vis), false);
    return PixelAt(picture, 0, 0);
}

TEST(VelmFrameBuffer, ColoursBySaturationMarksInGreyOnly)
{
    Pixel const black{0, 0, 0};
    Pixel const white{255, 255, 255};
    Pixel const blue{0, 0, 255};
    Pixel const red{255, 0, 0};
    EXPECT_EQ(Shown(0, VIS_GREY), black);
    EXPECT_EQ(Shown(255, VIS_GREY), white);
    EXPECT_EQ(Shown(0, VIS_GREY | VIS_BACKGROUND_SATURATION), blue);
    EXPECT_EQ(Shown(255, VIS_GREY | VIS_BACKGROUND_SATURATION), white);
    EXPECT_EQ(Shown(0, VIS_GREY | VIS_FOREGROUND_SATURATION), black);
    EXPECT_EQ(Shown(255, VIS_GREY | VIS_FOREGROUND_SATURATION), red);
    EXPECT_EQ(Shown(0, 7), blue);
    EXPECT_EQ(Shown(255, 7), red);
    EXPECT_EQ(Shown(1, 7), (Pixel{1, 1, 1}));
    EXPECT_EQ(Shown(254, 7), (Pixel{254, 254, 254}));
    EXPECT_EQ(Shown(0, 2), blue) << "a value without a colour is grey";
    EXPECT_EQ(Shown(0, 8 | 6), black);
    EXPECT_EQ(Shown(255, 8 | 6), red) << "the red plane's own 255";
    EXPECT_EQ(Shown(255, 16 | 6), (Pixel{0, 255, 0}));
    EXPECT_EQ(Shown(100, 8), (Pixel{100, 0, 0}));
    EXPECT_EQ(Shown(100, 16), (Pixel{0, 100, 0}));
    EXPECT_EQ(Shown(100, 32), (Pixel{0, 0, 100}));
    EXPECT_EQ(Shown(256, VIS_GREY), white) << "over-exposed";
}

// The colours of a frame, pixel by pixel.
std::vector<int> PaintedSlowly(VELM_FrameBuffer const & buffer, Table const & table, VELM_Channel_VisType vis)
{
    std::vector<int> bytes;
    for (unsigned short const pixel : Straightened(buffer)) {
        int const grey = table.Get(pixel);
        bool const is_grey = GetVisTypeColour(vis) == VIS_GREY;
        bool const is_nothing = is_grey && grey == 0 && (vis & VIS_BACKGROUND_SATURATION) != 0;
        bool const is_top = is_grey && grey == 255 && (vis & VIS_FOREGROUND_SATURATION) != 0;
        auto const shown = [&](VELM_Channel_VisType plane) {
            return is_grey || GetVisTypeColour(vis) == plane ? grey : 0;
        };
        bytes.push_back(is_nothing ? 0 : shown(VIS_RED));
        bytes.push_back(is_nothing || is_top ? 0 : shown(VIS_GREEN));
        bytes.push_back(is_nothing ? 255 : is_top ? 0 : shown(VIS_BLUE));
    }
    return bytes;
}

// Tables that select bits, those at the ends included, and some that do something else.
std::vector<Table> TablesOfAllKinds()
{
    std::vector<Table> tables(1); // a straight line over all values
    for (int const last_bit : {0, 3, 8, 9, 12, 15, 16, 17, 20}) {
        tables.emplace_back();
        tables.back().Select8Bits(last_bit);
    }
    tables.emplace_back();
    tables.back().CreateLinearMapping(100, 3000, 0, 255);
    tables.emplace_back();
    tables.back().Init(256, 0, 255); // a narrow range: all else is as its ends
    tables.back().CreateLinearMapping(0, 255, 255, 0);
    return tables;
}

TEST(VelmFrameBuffer, ShowsFramesOfAnyWidthAlikeOnAnyMachine)
{
    std::uint32_t state = 77;
    auto const next = [&] { return (state = state * 1664525U + 1013904223U) >> 12; };
    std::vector<Table> const tables = TablesOfAllKinds();
    for (std::size_t round = 0; round < 8 * tables.size(); ++round) {
        Table const & table = tables[round % tables.size()];
        auto const vis = static_cast<VELM_Channel_VisType>(next() % 64);
        unsigned int const dx = 1 + next() % 70;
        VELM_FrameBuffer buffer(dx, 3, 1, 1, 0, 0, next() % 2 == 0, next() % 2 == 0);
        std::generate_n(buffer.GetAddr(), buffer.GetSize(),
                        [&] { return static_cast<unsigned short>(next() >> next() % 17); });
        std::vector<int> const expected = PaintedSlowly(buffer, table, vis);
        OnEveryMachine([&] {
            wxImage picture(static_cast<int>(dx), 3);
            buffer.Map(&picture, table, nullptr, 0.0, vis, false);
            EXPECT_EQ(std::vector<int>(picture.GetData(), picture.GetData() + 9 * dx), expected)
                << "table " << round % tables.size() << ", vis " << vis << ", width " << dx;
        });
    }
}

TEST(VelmFrameBuffer, ShowsATallFrameAlikeOnAnyMachine)
{
    VELM_FrameBuffer buffer(17, 700, 1, 1, 0, 0, true, false); // rows for several threads
    std::uint32_t state = 5;
    std::generate_n(buffer.GetAddr(), buffer.GetSize(), [&] {
        return static_cast<unsigned short>((state = state * 1664525U + 1013904223U) >> 22);
    });
    auto const calibration = ConstantImage<unsigned short>(17, 700, 1, 3);
    std::vector<int> const plain = PaintedSlowly(buffer, Plain(), VIS_GREY);
    OnEveryMachine([&] {
        wxImage picture(17, 700);
        auto const bytes = [&] {
            return std::vector<int>(picture.GetData(), picture.GetData() + plain.size());
        };
        buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, false);
        EXPECT_TRUE(bytes() == plain);
        buffer.Map(&picture, Plain(), &calibration, 3.0, VIS_GREY, false);
        EXPECT_TRUE(bytes() == plain);
    });
}

TEST(VelmFrameBuffer, ShowingLeavesThePictureBesideTheFrameAlone)
{
    VELM_FrameBuffer buffer(33, 1, 1, 1, 1, 1, false, false);
    Fill(buffer);
    OnEveryMachine([&] {
        wxImage picture(35, 3);
        picture.Clear(9);
        buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, true);
        EXPECT_EQ(PixelAt(picture, 0, 1), Pixel(3, 9));
        EXPECT_EQ(PixelAt(picture, 1, 1), Pixel(3, 100));
        EXPECT_EQ(PixelAt(picture, 33, 1), Pixel(3, 132));
        EXPECT_EQ(PixelAt(picture, 34, 1), Pixel(3, 9));
    });
}

// Calibrates one pixel and returns what a table of all 16 bits makes of it.
int Calibrated(unsigned short value, unsigned short divisor, double mean)
{
    VELM_FrameBuffer buffer(1, 1, 1, 1, 0, 0, false, false);
    buffer.GetAddr()[0] = value;
    auto const calibration = ConstantImage<unsigned short>(1, 1, 1, divisor);
    wxImage picture(1, 1);
    int result = 0;
    for (int const last_bit : {16, 8}) {
        Table table;
        // The high byte, then the low one, from which the high bits were taken before.
        if (last_bit == 16) {
            table.Select8Bits(16);
        } else {
            auto const high = static_cast<unsigned short>(result << 8);
            table.Init(256, high, static_cast<unsigned short>(high + 255));
            table.CreateLinearMapping(high, static_cast<unsigned short>(high + 255), 0, 255);
        }
        buffer.Map(&picture, table, &calibration, mean, VIS_GREY, false);
        result = (result << 8) + picture.GetRed(0, 0);
    }
    return result;
}

TEST(VelmFrameBuffer, CalibratesByDivisionAndMean)
{
    EXPECT_EQ(Calibrated(1000, 500, 400.0), 800);
    EXPECT_EQ(Calibrated(1000, 3, 2.0), 666) << "truncated, not rounded";
    EXPECT_EQ(Calibrated(7, 7, 65535.0), 65535);
    EXPECT_EQ(Calibrated(65535, 1, 2.0), 131070 - 65536) << "wraps around";
    EXPECT_EQ(Calibrated(0, 5, 100.0), 0);
}

TEST(VelmFrameBuffer, CalibrationVoxelOfZeroGivesGreyZero)
{
    EXPECT_EQ(Calibrated(1000, 0, 400.0), 0);
    EXPECT_EQ(Calibrated(0, 0, 400.0), 0);
    EXPECT_EQ(Calibrated(1000, 0, 0.0), 0);
}

TEST(VelmFrameBuffer, CalibratesAsTheFormulaSaysForManyValues)
{
    std::uint32_t state = 99;
    auto const next = [&] {
        return static_cast<unsigned short>((state = state * 1664525U + 1013904223U) >> 16);
    };
    for (int round = 0; round < 2000; ++round) {
        unsigned short const value = next();
        auto const divisor = static_cast<unsigned short>(next() | 1U);
        double const mean = next() / (round % 2 == 0 ? 3.0 : 0.5);
        double const exact = std::trunc(static_cast<double>(value) / divisor * mean);
        EXPECT_EQ(Calibrated(value, divisor, mean), static_cast<int>(std::fmod(exact, 65536.0)));
    }
}

TEST(VelmFrameBuffer, ReadsTheCalibrationImageInOutputOrder)
{
    VELM_FrameBuffer buffer(2, 2, 1, 1, 0, 0, true, true);
    Fill(buffer); // shown as 103 102 / 101 100
    auto calibration = ConstantImage<unsigned short>(2, 2, 1, 1);
    calibration.SetVoxel(0, 0, 0, 2);
    wxImage picture(2, 2);
    buffer.Map(&picture, Plain(), &calibration, 1.0, VIS_GREY, false);
    EXPECT_EQ(PixelAt(picture, 0, 0), Pixel(3, 51));
    EXPECT_EQ(PixelAt(picture, 1, 0), Pixel(3, 102));
    EXPECT_EQ(PixelAt(picture, 0, 1), Pixel(3, 101));
    EXPECT_EQ(PixelAt(picture, 1, 1), Pixel(3, 100));
}

// Shows debug output up to a level for the rest of the scope.
class DebugOutput {
  public:
    explicit DebugOutput(int level) : _level(Log::GetDebugLevel())
    {
        Log::SetShowDebug(true);
        Log::SetDebugLevel(level);
    }
    ~DebugOutput()
    {
        Log::SetShowDebug(false);
        Log::SetDebugLevel(_level);
    }
    DebugOutput(DebugOutput const &) = delete;
    DebugOutput & operator=(DebugOutput const &) = delete;

  private:
    int _level;
};

TEST(VelmFrameBuffer, TracesResizing)
{
    VELM_FrameBuffer buffer(false, false);
    LogRecorder const log;
    DebugOutput const output(5);
    buffer.Resize(4, 3, 1, 2, 5, 6);
    buffer.Resize(4, 3, 2, 2, 5, 6);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("XXX VELM_FrameBuffer::Resize(4, 3, 1, 2, 5, 6)"),
                                                 Message("Resizing frame buffer to size 4 x 3 = 12 pixels."),
                                                 Message("XXX VELM_FrameBuffer::Resize(4, 3, 2, 2, 5, 6)")}));
}

TEST(VelmFrameBuffer, TracesShowing)
{
    VELM_FrameBuffer buffer(2, 1, 2, 1, 4, 1, false, false);
    Fill(buffer);
    wxImage picture(6, 5);
    LogRecorder const log;
    {
        DebugOutput const output(10);
        buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, true);
        buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, false);
    }
    DebugOutput const output(9);
    buffer.Map(&picture, Plain(), nullptr, 0.0, VIS_GREY, false);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Message("Map buffer: (2 x 1) -> (6 x 5) from (2, 1)"),
                                                 Message("Map buffer: (2 x 1) -> (6 x 5) from (0, 0)")}));
}

TEST(VelmFrameBuffer, OneRowWithFlippedColumnsReadThroughGetShiftEndsOneRowBelowItsStart)
{
    for (unsigned int const dx : {1U, 2U, 7U}) {
        VELM_FrameBuffer const buffer(dx, 1, 1, 1, 0, 0, false, true);
        int position = static_cast<int>(dx) - 1; // the pixel that is read first
        for (unsigned int i = 0; i < dx; ++i) {
            position += (buffer.*Get(Shift()))(i);
        }
        EXPECT_EQ(position, static_cast<int>(dx) - 1 + static_cast<int>(dx)) << dx;
    }
}

} // namespace velm::test
