#include "velm_tools.h"

namespace velm::test {

struct Parsed {
    std::vector<long> ids;
    bool failed;

    bool operator==(Parsed const & other) const { return ids == other.ids && failed == other.failed; }
};

std::ostream & operator<<(std::ostream & out, Parsed const & parsed)
{
    return out << testing::PrintToString(parsed.ids) << (parsed.failed ? " with a bad token" : "");
}

Parsed Parse(char const * text, wchar_t separator, wxArrayLong const * allowed = nullptr)
{
    wxArrayLong ids;
    bool const failed = Tools::ParseIdListString(text, ids, allowed, separator);
    return {{ids.begin(), ids.end()}, failed};
}

wxArrayLong Ids(std::initializer_list<long> values)
{
    wxArrayLong ids;
    for (long const value : values) {
        ids.push_back(value);
    }
    return ids;
}

TEST(Tools, ParseIgnoresWhatFollowsTheLastSeparator)
{
    EXPECT_EQ(Parse("1,2,3", ','), (Parsed{{1, 2}, false}));
}

TEST(Tools, ParseOfAnEmptyTokenKeepsTheGoodNumbersAndReportsTheBadOne)
{
    EXPECT_EQ(Parse("1,,2,", ','), (Parsed{{1, 2}, true}));
}

TEST(Tools, ParseOfEmptyTextGivesNothing)
{
    EXPECT_EQ(Parse("", ','), (Parsed{{}, false}));
    EXPECT_EQ(Parse("17", ','), (Parsed{{}, false}));
}

TEST(Tools, ParseReportsATokenThatIsNoNumber)
{
    EXPECT_EQ(Parse("1;x;-3;4.5;", ';'), (Parsed{{1, -3}, true}));
}

TEST(Tools, ParseDropsNumbersThatAreNotAllowedSilently)
{
    wxArrayLong const allowed = Ids({2, 4});
    EXPECT_EQ(Parse("1,2,3,4,", ',', &allowed), (Parsed{{2, 4}, false}));
}

TEST(Tools, ParseAppendsToWhatIsThere)
{
    wxArrayLong ids = Ids({9});
    EXPECT_FALSE(Tools::ParseIdListString("1,", ids, nullptr, ','));
    EXPECT_EQ(std::vector<long>(ids.begin(), ids.end()), (std::vector<long>{9, 1}));
}

TEST(Tools, CreateClosesEveryIdWithTheSeparator)
{
    EXPECT_EQ(Tools::CreateIdListString(Ids({5, 7}), ';'), "5;7;");
    EXPECT_EQ(Tools::CreateIdListString(Ids({}), ';'), "");
}

TEST(Tools, WhatCreateWritesParseReadsToTheLastId)
{
    wxString const text = Tools::CreateIdListString(Ids({-1, 0, 2147483648L}), '|');
    EXPECT_EQ(Parse(text.utf8_str(), '|'), (Parsed{{-1, 0, 2147483648L}, false}));
}

} // namespace velm::test
