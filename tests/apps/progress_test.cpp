#include "acquisition/progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace velm::acquisition {

namespace {

// What was written to the temporary file, which is closed.
std::string ContentOf(std::FILE * file)
{
    std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text;
}

// What the calls print.
template <typename Calls>
std::string Printed(bool terminal, Calls calls)
{
    std::FILE * const file = std::tmpfile();
    {
        Progress progress(file, terminal, 4, 2);
        calls(progress);
    }
    return ContentOf(file);
}

} // namespace

TEST(Progress, WithoutATerminalEachFovIsAPlainLine)
{
    EXPECT_EQ(Printed(false,
                      [](Progress & progress) {
                          progress.FrameTaken();
                          progress.FovSaved(7);
                          progress.FovSaved(12);
                      }),
              "FOV 7 saved\nFOV 12 saved\n");
}

TEST(Progress, APlainLineIsWrittenOutAtOnce)
{
    std::FILE * const file = std::tmpfile();
    Progress progress(file, false, 4, 2);
    progress.FovSaved(7);
    char text[16] = {};
    EXPECT_EQ(pread(fileno(file), text, sizeof text, 0), 12);
    EXPECT_STREQ(text, "FOV 7 saved\n");
    std::fclose(file);
}

TEST(Progress, OnATerminalOneLineShowsBarRateAndTimeLeft)
{
    std::string const text = Printed(true, [](Progress & progress) {
        for (int frame = 0; frame < 4; ++frame) {
            progress.FrameTaken();
        }
    });
    EXPECT_THAT(text, testing::StartsWith("\r["));
    EXPECT_THAT(text, testing::HasSubstr("[##############################] FOV 1 of 2, frame 4 of 4, "));
    EXPECT_THAT(text, testing::HasSubstr(" frames/s, 0 s left"));
    EXPECT_THAT(text, testing::EndsWith("\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST(Progress, ALineOfOtherStepsNamesThem)
{
    std::FILE * const file = std::tmpfile();
    {
        ProgressLine const without_steps(file, "slice", 2);
        EXPECT_EQ(std::ftell(file), 0);
        ProgressLine line(file, "slice", 1);
        line.Advance("FOV 3");
    }
    std::string const text = ContentOf(file);
    EXPECT_THAT(text, testing::HasSubstr("] FOV 3, slice 1 of 1, "));
    EXPECT_THAT(text, testing::HasSubstr(" slices/s, 0 s left"));
}

TEST(Progress, DurationsReadAsPeopleSayThem)
{
    EXPECT_EQ(DurationText(std::chrono::seconds(0)), "0 s");
    EXPECT_EQ(DurationText(std::chrono::seconds(59)), "59 s");
    EXPECT_EQ(DurationText(std::chrono::seconds(200)), "3 min 20 s");
    EXPECT_EQ(DurationText(std::chrono::seconds(3725)), "1 h 02 min");
}

} // namespace velm::acquisition
