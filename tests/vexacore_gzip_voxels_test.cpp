// How .ics files hold compressed voxels: one gzip member for everybody, blocks for those who know.

#include "support/sanitizers.h"
#include "support/temp_directory.h"
#include "support/voxels.h"
#include "support/zlib_reader.h"
#include "support/zlib_writer.h"
#include "vexacore/parallel.h"

#include <cstring>
#include <functional>
#include <libics.h>
#include <zlib.h>

namespace velm::test {

using vexa::Box;
using vexa::FileFormat;
using vexa::Image3d;
using Image = Image3d<unsigned short>;

constexpr std::size_t block_bytes = 262144;

std::uint32_t Little(std::string const & text, std::size_t position, std::size_t bytes)
{
    std::uint32_t value = 0;
    for (std::size_t i = bytes; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(text.at(position + i));
    }
    return value;
}

void SetLittle(std::string & text, std::size_t position, std::size_t bytes, std::uint64_t value)
{
    for (std::size_t i = 0; i < bytes; ++i) {
        text.at(position + i) = static_cast<char>(value >> 8 * i);
    }
}

std::string BytesOf(void const * data, std::size_t count)
{
    return {static_cast<char const *>(data), count};
}

template <typename T>
std::string BytesOf(Image3d<T> const & image)
{
    return BytesOf(image.begin(), image.GetCount() * sizeof(T));
}

std::uint32_t Sum(std::string const & bytes)
{
    return static_cast<std::uint32_t>(
        ::crc32_z(0, reinterpret_cast<unsigned char const *>(bytes.data()), bytes.size()));
}

// The places in a compressed file, as documented.
struct Member {
    explicit Member(std::string const & file) : begin(file.find("\nend\n") + 5)
    {
        table = begin + 12;
        count = (Little(file, table + 2, 2) - 4) / 8;
        data = table + Little(file, begin + 10, 2);
    }

    std::size_t Entry(std::size_t block) const { return table + 8 + 8 * block; }

    std::size_t begin; // of the member
    std::size_t table; // of the extra field
    std::size_t count; // blocks
    std::size_t data;  // of the first block
};

class GzipVoxels : public testing::Test {
  protected:
    ~GzipVoxels() override { vexa::SetThreadCount(0); }

    std::string Path() const { return std::string((_directory / "image.ics").utf8_str()); }

    template <typename T>
    std::string Saved(Image3d<T> const & image) const
    {
        image.SaveImage(Path().c_str(), FileFormat::FromName, true, nullptr);
        return _directory.Read("image.ics");
    }

    // Writes a compressed file by the reference library, which knows no blocks.
    void SaveByReference(Image const & image) const
    {
        ICS * file = nullptr;
        std::size_t const sizes[] = {image.GetSizeX(), image.GetSizeY(), image.GetSizeZ()};
        ASSERT_EQ(IcsOpen(&file, Path().c_str(), "w2"), IcsErr_Ok);
        IcsSetLayout(file, Ics_uint16, 3, sizes);
        IcsSetData(file, image.begin(), image.GetCount() * 2);
        IcsSetCompression(file, IcsCompr_gzip, 1);
        ASSERT_EQ(IcsClose(file), IcsErr_Ok);
    }

    Image Read(Box const * box = nullptr) const
    {
        Image image;
        image.ReadImage(Path().c_str(), box, false, -1, nullptr, nullptr);
        return image;
    }

    // Expects that a read of the box, or of all, gives either the image's voxels or an exception; tells
    // which.
    bool ReadsRightOrNotAtAll(Image const & image, Box const * box) const
    {
        try {
            Image const read = Read(box);
            Box const all(0, 0, 0, image.size.x, image.size.y, image.size.z);
            EXPECT_TRUE(Voxels(read) == VoxelsOf(image, box != nullptr ? *box : all)) << "wrong voxels";
            return true;
        } catch (vexa::IOException const &) {
            return false;
        }
    }

    TempDirectory const _directory;
};

// More than two blocks and a half.
Image SomeBlocks()
{
    return PatternImage<unsigned short>(1000, 180, 2);
}

// In the third block alone.
Box const third_block_box(300, 100, 1, 50, 20, 1);

TEST_F(GzipVoxels, AreOneMemberForGzip)
{
    for (unsigned int const width : {1U, 101U, 1001U}) {
        std::string const file = Saved(PatternImage<unsigned char>(width, 301, 1));
        _directory.Write("voxels.gz", file.substr(Member(file).begin));
        std::string const command = "gzip -t '" + std::string((_directory / "voxels.gz").utf8_str()) + "'";
        EXPECT_EQ(std::system(command.c_str()), 0) << width;
    }
}

TEST_F(GzipVoxels, AreOneMemberForZlib)
{
    for (unsigned int const width : {1U, 131U, 1001U}) {
        for (unsigned int const height : {1U, 131U, 262U}) {
            auto const narrow = PatternImage<unsigned char>(width, height, 1);
            std::string file = Saved(narrow);
            EXPECT_TRUE(InflatedByZlib(file.substr(Member(file).begin), 31, narrow.GetCount()) ==
                        BytesOf(narrow));
            auto const wide = PatternImage<unsigned short>(width, height, 3);
            file = Saved(wide);
            EXPECT_TRUE(InflatedByZlib(file.substr(Member(file).begin), 31, 2 * wide.GetCount()) ==
                        BytesOf(wide));
        }
    }
}

TEST_F(GzipVoxels, TableTellsEachBlocksLengthAndSum)
{
    Image const image = SomeBlocks();
    std::string const bytes = BytesOf(image);
    std::string const file = Saved(image);
    Member const member(file);
    EXPECT_EQ(file.substr(member.begin, 10), BytesOf("\x1f\x8b\x08\x04\0\0\0\0\x04\xff", 10));
    EXPECT_EQ(file.substr(member.table, 2), "VB");
    EXPECT_EQ(Little(file, member.table + 4, 4), block_bytes);
    ASSERT_EQ(member.count, 3U);
    std::size_t position = member.data;
    for (std::size_t i = 0; i < member.count; ++i) {
        std::string const expected = bytes.substr(i * block_bytes, block_bytes);
        std::size_t const length = Little(file, member.Entry(i), 4);
        EXPECT_TRUE(BlocksInflatedByZlib(file.substr(position, length), expected.size()) == expected);
        EXPECT_EQ(Little(file, member.Entry(i) + 4, 4), Sum(expected));
        position += length;
    }
    EXPECT_EQ(file.substr(position, 2), BytesOf("\3\0", 2));
    EXPECT_EQ(Little(file, position + 2, 4), Sum(bytes));
    EXPECT_EQ(Little(file, position + 6, 4), bytes.size());
    EXPECT_EQ(file.size(), position + 10);
}

TEST_F(GzipVoxels, AreTheSameForAnyNumberOfThreads)
{
    Image const image = PatternImage<unsigned short>(1000, 700, 3);
    vexa::SetThreadCount(1);
    std::string const expected = Saved(image);
    for (unsigned int const threads : {2U, 3U, 40U}) {
        vexa::SetThreadCount(threads);
        EXPECT_TRUE(Saved(image) == expected) << threads;
        EXPECT_TRUE(Voxels(Read()) == Voxels(image)) << threads;
    }
}

TEST_F(GzipVoxels, BoxesReadTheSameWithAndWithoutBlocks)
{
    Image const image = SomeBlocks();
    for (bool const ours : {false, true}) {
        if (ours) {
            Saved(image);
        } else {
            SaveByReference(image);
        }
        EXPECT_TRUE(Voxels(Read()) == Voxels(image));
        for (Box const & box : {Box(0, 0, 0, 1000, 180, 2), Box(0, 0, 0, 1, 1, 1), Box(999, 179, 1, 1, 1, 1),
                                Box(0, 0, 0, 1000, 180, 1), Box(0, 0, 1, 1000, 180, 1),
                                Box(0, 100, 0, 1000, 60, 2), Box(500, 0, 0, 3, 180, 2),
                                Box(0, 131, 0, 1000, 1, 1), Box(70, 130, 0, 5, 3, 1), third_block_box}) {
            EXPECT_TRUE(Voxels(Read(&box)) == VoxelsOf(image, box)) << box.offset << box.size;
        }
    }
}

TEST_F(GzipVoxels, BoxNeedsOnlyTheBlocksItLiesIn)
{
    Image const image = SomeBlocks();
    std::string const whole = Saved(image);
    Member const member(whole);
    std::string damaged = whole;
    damaged[member.data + 1000] = static_cast<char>(damaged[member.data + 1000] ^ 4);
    _directory.Write("image.ics", damaged);
    EXPECT_TRUE(Voxels(Read(&third_block_box)) == VoxelsOf(image, third_block_box));
    Box const first_block_box(0, 0, 0, 10, 10, 1);
    EXPECT_FALSE(ReadsRightOrNotAtAll(image, &first_block_box));
    EXPECT_FALSE(ReadsRightOrNotAtAll(image, nullptr));
}

TEST_F(GzipVoxels, DamageAnywhereNeverGivesWrongVoxels)
{
    Image image = ConstantImage<unsigned short>(700, 250, 1, 100);
    for (std::size_t i = 0; i < image.GetCount(); i += 1 + i % 13) {
        image.SetVoxel(i, static_cast<unsigned short>(90 + i % 31));
    }
    Box const box(300, 200, 0, 20, 20, 1);
    std::string const whole = Saved(image);
    Member const member(whole);
    std::size_t const step = (whole.size() - member.data) / 150;
    for (std::size_t i = member.begin; i < whole.size(); i += i < member.data ? 1 : step) {
        std::string damaged = whole;
        damaged[i] = static_cast<char>(damaged[i] ^ 1 << i % 8);
        _directory.Write("image.ics", damaged);
        ReadsRightOrNotAtAll(image, nullptr);
        ReadsRightOrNotAtAll(image, &box);
    }
    for (std::size_t i = member.begin; i < whole.size(); i += i < member.data ? 1 : step) {
        _directory.Write("image.ics", whole.substr(0, i));
        EXPECT_FALSE(ReadsRightOrNotAtAll(image, nullptr)) << "cut at " << i;
        EXPECT_FALSE(ReadsRightOrNotAtAll(image, &box)) << "cut at " << i;
    }
}

TEST_F(GzipVoxels, TableThatLiesNeverGivesWrongVoxels)
{
    Image const image = SomeBlocks();
    std::string const whole = Saved(image);
    Member const member(whole);
    auto const length = [&](std::size_t block) { return Little(whole, member.Entry(block), 4); };
    struct {
        char const * lie;
        std::function<void(std::string &)> tell;
    } const cases[] = {
        {"blocks of no size", [&](std::string & f) { SetLittle(f, member.table + 4, 4, 0); }},
        {"smaller blocks", [&](std::string & f) { SetLittle(f, member.table + 4, 4, block_bytes - 2); }},
        {"larger blocks", [&](std::string & f) { SetLittle(f, member.table + 4, 4, block_bytes + 2000); }},
        {"enormous blocks", [&](std::string & f) { SetLittle(f, member.table + 4, 4, 0xffffffff); }},
        {"a border moved, so that blocks seem damaged",
         [&](std::string & f) {
             SetLittle(f, member.Entry(0), 4, length(0) + 1);
             SetLittle(f, member.Entry(1), 4, length(1) - 1);
         }},
        {"an empty block, so that it seems damaged",
         [&](std::string & f) {
             SetLittle(f, member.Entry(0), 4, 0);
             SetLittle(f, member.Entry(1), 4, length(0) + length(1));
         }},
        {"a block behind the end", [&](std::string & f) { SetLittle(f, member.Entry(1), 4, 0xffffffff); }},
        {"other sums",
         [&](std::string & f) {
             SetLittle(f, member.Entry(0) + 4, 4, Little(whole, member.Entry(1) + 4, 4));
             SetLittle(f, member.Entry(1) + 4, 4, Little(whole, member.Entry(0) + 4, 4));
         }},
        {"a shorter table", [&](std::string & f) { SetLittle(f, member.table + 2, 2, 4 + 8); }},
        {"a longer table", [&](std::string & f) { SetLittle(f, member.table + 2, 2, 0xffff); }},
        {"no table", [&](std::string & f) { f[member.table] = 'X'; }},
    };
    for (auto const & test : cases) {
        std::string file = whole;
        test.tell(file);
        _directory.Write("image.ics", file);
        bool const seems_damaged = std::strstr(test.lie, "damaged") != nullptr;
        EXPECT_EQ(ReadsRightOrNotAtAll(image, nullptr), !seems_damaged) << test.lie;
        EXPECT_TRUE(ReadsRightOrNotAtAll(image, &third_block_box)) << test.lie;

        std::size_t const at = member.data + length(0) + length(1) + 5000;
        file[at] = static_cast<char>(file[at] ^ 16);
        _directory.Write("image.ics", file);
        EXPECT_FALSE(ReadsRightOrNotAtAll(image, nullptr)) << test.lie;
        if (test.lie != std::string("no table")) {
            Box const first_block_box(0, 0, 0, 10, 10, 1);
            EXPECT_FALSE(ReadsRightOrNotAtAll(image, &first_block_box)) << test.lie;
        }
    }
}

// The blocks of a compressed file, as its table tells them.
std::vector<std::string> BlocksOf(std::string const & file)
{
    Member const member(file);
    std::vector<std::string> blocks;
    std::size_t position = member.data;
    for (std::size_t i = 0; i < member.count; ++i) {
        blocks.push_back(file.substr(position, Little(file, member.Entry(i), 4)));
        position += blocks.back().size();
    }
    return blocks;
}

// The compressed file of an image with other blocks, each of which holds so many bytes of the image.
std::string WithBlocks(std::string const & file, Image const & image, std::vector<std::string> const & blocks,
                       std::size_t bytes_of_each)
{
    std::string const bytes = BytesOf(image);
    std::size_t const begin = Member(file).begin;
    std::size_t const table_length = 4 + 8 * blocks.size();
    std::string member(12 + 4 + table_length, '\0');
    member.replace(0, 10, file, begin, 10);
    SetLittle(member, 10, 2, 4 + table_length);
    member.replace(12, 2, "VB");
    SetLittle(member, 14, 2, table_length);
    SetLittle(member, 16, 4, bytes_of_each);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        SetLittle(member, 20 + 8 * i, 4, blocks[i].size());
        SetLittle(member, 24 + 8 * i, 4, Sum(bytes.substr(i * bytes_of_each, bytes_of_each)));
        member += blocks[i];
    }
    return file.substr(0, begin) + member + file.substr(file.size() - 10);
}

// All blocks made one of the table, as they are in files of very large images.
std::string WithOneLargeBlock(std::string const & file, Image const & image)
{
    std::string all;
    for (std::string const & block : BlocksOf(file)) {
        all += block;
    }
    return WithBlocks(file, image, {all}, std::size_t{1} << 26);
}

TEST_F(GzipVoxels, BlocksMayBeAnyDeflateData)
{
    Image image = SomeBlocks();
    for (std::size_t i = 0; i < image.GetCount(); ++i) { // even without codes of their own worth it
        image.SetVoxel(i, static_cast<unsigned short>(image.GetVoxel(i) % 31));
    }
    std::string const bytes = BytesOf(image);
    std::string const file = Saved(image);
    for (std::vector<std::size_t> const & others : {std::vector<std::size_t>{1}, {0, 1, 2}}) {
        std::vector<std::string> blocks = BlocksOf(file);
        for (std::size_t const i : others) { // with codes that are never written here
            blocks[i] = DeflatedByZlib(bytes.substr(i * block_bytes, block_bytes), 6, Z_FIXED, Z_FULL_FLUSH);
            ASSERT_EQ(blocks[i][0] & 7, 2);
        }
        _directory.Write("image.ics", WithBlocks(file, image, blocks, block_bytes));
        EXPECT_TRUE(ReadsRightOrNotAtAll(image, nullptr));
        Box const second_block_box(300, 150, 0, 50, 20, 1);
        EXPECT_TRUE(ReadsRightOrNotAtAll(image, &second_block_box));
        EXPECT_TRUE(ReadsRightOrNotAtAll(image, &third_block_box));

        std::string const block = blocks[1];
        std::string const second = bytes.substr(block_bytes, block_bytes);
        for (std::string const & damaged :
             {block + 'x', block.substr(0, block.size() - 1), block + std::string("\3\0", 2),
              DeflatedByZlib(second, 6, Z_FIXED, Z_FINISH),
              DeflatedByZlib(second + 'x', 6, Z_FIXED, Z_FULL_FLUSH),
              DeflatedByZlib(second.substr(1), 6, Z_FIXED, Z_FULL_FLUSH),
              DeflatedByZlib(second.substr(1) + 'x', 6, Z_FIXED, Z_FULL_FLUSH)}) {
            blocks[1] = damaged;
            _directory.Write("image.ics", WithBlocks(file, image, blocks, block_bytes));
            EXPECT_FALSE(ReadsRightOrNotAtAll(image, nullptr));
            EXPECT_FALSE(ReadsRightOrNotAtAll(image, &second_block_box));
            EXPECT_TRUE(ReadsRightOrNotAtAll(image, &third_block_box));
        }
    }
}

TEST_F(GzipVoxels, BlocksMayBeTooLargeToBeKept)
{
    Image const image = SomeBlocks();
    std::string const file = WithOneLargeBlock(Saved(image), image);
    _directory.Write("image.ics", file);
    EXPECT_TRUE(ReadsRightOrNotAtAll(image, nullptr));
    EXPECT_TRUE(ReadsRightOrNotAtAll(image, &third_block_box));
    std::string damaged = file;
    std::size_t const at = damaged.size() - 1000;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    _directory.Write("image.ics", damaged);
    EXPECT_FALSE(ReadsRightOrNotAtAll(image, nullptr));
    EXPECT_FALSE(ReadsRightOrNotAtAll(image, &third_block_box));
}

TEST_F(GzipVoxels, BytesBehindTheMemberDoNoHarm)
{
    Image const image = SomeBlocks();
    _directory.Write("image.ics", Saved(image) + "more");
    EXPECT_TRUE(ReadsRightOrNotAtAll(image, nullptr));
    EXPECT_TRUE(ReadsRightOrNotAtAll(image, &third_block_box));
}

// Bytes by which the work raises the largest amount of memory that the process ever held.
std::size_t PeakOf(std::function<void()> const & work)
{
    auto const status = [](char const * key) {
        std::string const text = ReadFile("/proc/self/status");
        return std::strtoull(&text[text.find(key) + std::strlen(key)], nullptr, 10) * 1024;
    };
    WriteFile("/proc/self/clear_refs", "5"); // the peak is what is held now
    std::size_t const before = status("VmHWM:");
    work();
    return status("VmHWM:") - before;
}

constexpr std::size_t mega = std::size_t{1} << 20;

TEST_F(GzipVoxels, MemoryIsBounded)
{
    if (allocator_ends_the_program) {
        GTEST_SKIP() << "a sanitizer needs memory of its own";
    }
    Image const image = PatternImage<unsigned short>(2048, 2048, 10);
    vexa::SetThreadCount(64);
    EXPECT_LE(PeakOf([&] { image.SaveImage(Path().c_str(), FileFormat::FromName, true, nullptr); }),
              64 * mega);
    Box const box(0, 1000, 0, 16, 16, 10);
    EXPECT_LE(PeakOf([&] { Read(&box); }), 16 * mega);
    _directory.Write("image.ics", WithOneLargeBlock(_directory.Read("image.ics"), image));
    EXPECT_LE(PeakOf([&] { Read(&box); }), 16 * mega);
    SaveByReference(image);
    EXPECT_LE(PeakOf([&] { Read(&box); }), 16 * mega);
}

} // namespace velm::test
