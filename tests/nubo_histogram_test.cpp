#include "nubo/histogram.h"

#include "support/every_machine.h"
#include "support/temp_directory.h"
#include "vexacore/exceptions.h"

namespace velm::test {

using Histogram = nubo::Histogram<unsigned short>;

Histogram FullRange()
{
    Histogram histogram;
    histogram.Init(0, 0xFFFF, 0x10000);
    return histogram;
}

TEST(Histogram, HasNoBinsAtFirst)
{
    Histogram const histogram;
    EXPECT_TRUE(histogram.GetBins().empty());
    EXPECT_EQ(histogram.GetLow(), 0);
    EXPECT_EQ(histogram.GetHigh(), 0);
}

TEST(Histogram, InitMakesZeroedBins)
{
    Histogram histogram = FullRange();
    histogram.GetBins()[5] = 3;
    histogram.Init(0, 0xFFFF, 0x10000);
    EXPECT_EQ(histogram.GetBins(), std::vector<std::uint32_t>(0x10000, 0));
}

TEST(Histogram, InitRefusesBinsThatDontFit)
{
    Histogram histogram;
    EXPECT_THROW(histogram.Init(10, 9, 1), vexa::InternalException);
    EXPECT_THROW(histogram.Init(0, 9, 0), vexa::InternalException);
    EXPECT_THROW(histogram.Init(0, 9, 11), vexa::InternalException);
    EXPECT_TRUE(histogram.GetBins().empty());
}

TEST(Histogram, WithABinPerValueEachBinIsAGreyValue)
{
    Histogram const histogram = FullRange();
    for (unsigned int value = 0; value < 0x10000; ++value) {
        ASSERT_EQ(histogram.GetBinPos(static_cast<unsigned short>(value)), value);
    }
}

TEST(Histogram, SharesTheRangeOutToItsBins)
{
    Histogram histogram;
    histogram.Init(100, 199, 10);
    EXPECT_EQ(histogram.GetBinPos(100), 0U);
    EXPECT_EQ(histogram.GetBinPos(109), 0U);
    EXPECT_EQ(histogram.GetBinPos(110), 1U);
    EXPECT_EQ(histogram.GetBinPos(199), 9U);
    EXPECT_EQ(histogram.GetBinPos(0), 0U) << "below the range";
    EXPECT_EQ(histogram.GetBinPos(65535), 9U) << "above the range";
    histogram.Init(0, 0xFFFF, 3);
    EXPECT_EQ(histogram.GetBinPos(21845), 0U);
    EXPECT_EQ(histogram.GetBinPos(21846), 1U);
    EXPECT_EQ(histogram.GetBinPos(65535), 2U);
}

// Counts one by one.
std::vector<std::uint32_t> CountedSlowly(Histogram histogram, std::vector<unsigned short> const & values)
{
    for (unsigned short const value : values) {
        ++histogram.GetBins()[histogram.GetBinPos(value)];
    }
    return histogram.GetBins();
}

// So many values: stretches that are constant between stretches that are not, some of all 16 bits.
std::vector<unsigned short> Stretches(std::size_t count)
{
    std::vector<unsigned short> values;
    std::uint32_t state = 11;
    auto const next = [&] { return (state = state * 1664525U + 1013904223U) >> 8; };
    while (values.size() < count) {
        std::uint32_t const mask = next() % 4 == 0 ? 0xFFFFU : next() % 4 == 0 ? 0xFFFU : 0U;
        auto const base = static_cast<unsigned short>(next());
        std::size_t const length = std::min<std::size_t>(count - values.size(), next() % 400);
        std::generate_n(std::back_inserter(values), length,
                        [&] { return static_cast<unsigned short>(base ^ (next() & mask)); });
    }
    return values;
}

TEST(Histogram, CountsEveryValueOnAnyMachine)
{
    for (std::size_t const count : {0, 1, 63, 64, 65, 65535, 65536, 65537, 100003, 2500001}) {
        std::vector<unsigned short> const values = Stretches(count);
        std::vector<std::uint32_t> const expected = CountedSlowly(FullRange(), values);
        OnEveryMachine([&] {
            Histogram histogram = FullRange();
            histogram.Count(values.data(), values.size());
            EXPECT_TRUE(histogram.GetBins() == expected) << count << " values";
        });
    }
}

TEST(Histogram, CountsOnFromWhatItHasIntoBinsOfAnyRange)
{
    std::vector<unsigned short> const values = Stretches(200000);
    Histogram histogram;
    histogram.Init(100, 40000, 7);
    histogram.GetBins()[0] = 5;
    histogram.GetBins()[6] = 0xFFFFFFFFU;
    std::vector<std::uint32_t> const expected = CountedSlowly(histogram, values);
    histogram.Count(values.data(), values.size());
    EXPECT_EQ(histogram.GetBins(), expected);
}

class HistogramFile : public testing::Test {
  protected:
    wxString Path() const { return _directory / "h.hist"; }
    TempDirectory const _directory;
};

TEST_F(HistogramFile, KeepsRangeAndCounts)
{
    Histogram empty = FullRange();
    Histogram full = FullRange();
    Histogram ends = FullRange();
    for (std::size_t i = 0; i < 0x10000; ++i) {
        full.GetBins()[i] = static_cast<std::uint32_t>(i * 65539U + 1);
    }
    ends.GetBins().front() = 0xFFFFFFFFU;
    ends.GetBins().back() = 1;
    Histogram odd;
    odd.Init(7, 1006, 250);
    for (std::size_t i = 0; i < 250; i += 2) {
        odd.GetBins()[i] = static_cast<std::uint32_t>(i + 1);
    }
    for (Histogram const * const histogram : {&empty, &full, &ends, &odd}) {
        ASSERT_TRUE(histogram->Save(Path()));
        Histogram loaded;
        ASSERT_TRUE(loaded.Load(Path()));
        EXPECT_EQ(loaded.GetLow(), histogram->GetLow());
        EXPECT_EQ(loaded.GetHigh(), histogram->GetHigh());
        EXPECT_EQ(loaded.GetBins(), histogram->GetBins());
    }
}

TEST_F(HistogramFile, WithoutBinsLoadsWithoutBins)
{
    ASSERT_TRUE(Histogram().Save(Path()));
    Histogram loaded = FullRange();
    ASSERT_TRUE(loaded.Load(Path()));
    EXPECT_TRUE(loaded.GetBins().empty());
}

TEST_F(HistogramFile, IsWrittenAsDocumentedByteForByte)
{
    Histogram histogram;
    histogram.Init(1, 10, 10);
    histogram.GetBins()[2] = 5;
    histogram.GetBins()[3] = 0x01020304;
    histogram.GetBins()[9] = 1;
    ASSERT_TRUE(histogram.Save(Path()));
    std::string const content = _directory.Read("h.hist");
    auto const words = [](std::initializer_list<std::uint32_t> numbers) {
        std::string text;
        for (std::uint32_t const number : numbers) {
            for (unsigned int shift = 0; shift < 32; shift += 8) {
                text += static_cast<char>(number >> shift & 255U);
            }
        }
        return text;
    };
    EXPECT_EQ(content.substr(0, content.size() - 4),
              "NUBOHIST" + words({1, 1, 10, 10, 2, 2, 5, 0x01020304, 5, 1, 1}));
}

TEST_F(HistogramFile, ThatIsDamagedAnywhereNeverLoads)
{
    Histogram histogram;
    histogram.Init(0, 99, 100);
    histogram.GetBins()[10] = 7;
    histogram.GetBins()[50] = 8;
    ASSERT_TRUE(histogram.Save(Path()));
    std::string const content = _directory.Read("h.hist");
    Histogram kept = FullRange();
    kept.GetBins()[1] = 2;
    std::vector<std::uint32_t> const before = kept.GetBins();
    for (std::size_t i = 0; i < content.size(); ++i) {
        for (unsigned int bit = 0; bit < 8; ++bit) {
            std::string damaged = content;
            damaged[i] = static_cast<char>(damaged[i] ^ static_cast<char>(1U << bit));
            _directory.Write("h.hist", damaged);
            EXPECT_FALSE(kept.Load(Path())) << i;
        }
        _directory.Write("h.hist", content.substr(0, i));
        EXPECT_FALSE(kept.Load(Path())) << i;
    }
    _directory.Write("h.hist", content + std::string(4, '\0'));
    EXPECT_FALSE(kept.Load(Path()));
    EXPECT_EQ(kept.GetBins(), before);
    EXPECT_EQ(kept.GetHigh(), 0xFFFF);
}

TEST_F(HistogramFile, ThatIsMissingOrADirectoryOrHugeDoesNotLoad)
{
    Histogram histogram;
    EXPECT_FALSE(histogram.Load(Path()));
    EXPECT_FALSE(histogram.Load(_directory.GetPath()));
    _directory.Write("h.hist", std::string(3 << 20, 'x'));
    EXPECT_FALSE(histogram.Load(Path()));
}

TEST_F(HistogramFile, ThatCannotBeWrittenGivesFalse)
{
    EXPECT_FALSE(FullRange().Save(_directory / "no/such/directory/h.hist"));
}

TEST_F(HistogramFile, MayHaveANameInAnyLanguage)
{
    wxString const path = _directory / wxString::FromUTF8("h\xc3\xa9\xe6\xbc\xa2.hist");
    ASSERT_TRUE(FullRange().Save(path));
    Histogram loaded;
    EXPECT_TRUE(loaded.Load(path));
}

} // namespace velm::test
