#include "velm-scan/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::scan {

namespace {

Options Parse(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "velm-scan");
    return ParseOptions(arguments);
}

std::string UsageErrorOf(std::vector<std::string> const & arguments)
{
    try {
        Parse(arguments);
    } catch (UsageError const & error) {
        return error.what();
    }
    return "no error";
}

} // namespace

TEST(ScanOptions, DefaultsAreNineSlicesOfOneMicronAndAllChannels)
{
    Options const options = Parse({"--depository", "dep"});
    EXPECT_EQ(options.command, Command::Scan);
    EXPECT_EQ(options.depository, "dep");
    EXPECT_EQ(options.slices, 9);
    EXPECT_EQ(options.step, 10);
    EXPECT_TRUE(options.channels.empty());
    EXPECT_FALSE(options.grid.has_value());
    EXPECT_FALSE(options.seed.has_value());
    EXPECT_EQ(options.autofocus, 0);
    EXPECT_FALSE(options.calibrate.has_value());
}

TEST(ScanOptions, EveryOptionIsTakenWithABlankOrAnEqualsSign)
{
    Options const options =
        Parse({"--ini=a.ini", "--depository=dep", "--grid", "3x2", "--slices", "5", "--step=25", "--channels",
               "3,1", "--seed", "4294967295", "--autofocus", "3", "--calibrate=16,mean"});
    EXPECT_EQ(options.ini, "a.ini");
    ASSERT_TRUE(options.grid.has_value());
    EXPECT_EQ(options.grid->columns, 3);
    EXPECT_EQ(options.grid->rows, 2);
    EXPECT_EQ(options.slices, 5);
    EXPECT_EQ(options.step, 25);
    EXPECT_EQ(options.channels, (std::vector<long>{3, 1}));
    EXPECT_EQ(options.seed, 4294967295UL);
    EXPECT_EQ(options.autofocus, 3);
    ASSERT_TRUE(options.calibrate.has_value());
    EXPECT_EQ(options.calibrate->frames, 16);
    EXPECT_EQ(options.calibrate->method, CALIB_MEAN);
    EXPECT_EQ(Parse({"--depository", "dep", "--calibrate", "9,Median"}).calibrate->method, CALIB_MEDIAN);
}

TEST(ScanOptions, WrongUsageIsToldByName)
{
    EXPECT_EQ(UsageErrorOf({}), "--depository is missing");
    EXPECT_EQ(UsageErrorOf({"--depository"}), "--depository needs a value");
    EXPECT_EQ(UsageErrorOf({"--depository", ""}), "--depository needs a value");
    EXPECT_EQ(UsageErrorOf({"--ini=", "--depository", "dep"}), "--ini needs a value");
    EXPECT_EQ(UsageErrorOf({"--depository", "\xB5"}), "--depository takes a name in UTF-8");
    EXPECT_EQ(UsageErrorOf({"--frames", "3"}), "unknown argument \"--frames\"");
    EXPECT_EQ(UsageErrorOf({"dep"}), "unknown argument \"dep\"");
    EXPECT_EQ(UsageErrorOf({"--grid", "3"}), "--grid takes columns and rows, such as 3x2, not \"3\"");
    EXPECT_EQ(UsageErrorOf({"--grid", "0x2"}), "--grid takes a number from 1 to 1000, not \"0\"");
    EXPECT_EQ(UsageErrorOf({"--grid", "3x2x"}), "--grid takes a number from 1 to 1000, not \"2x\"");
    EXPECT_EQ(UsageErrorOf({"--slices", "-1"}), "--slices takes a number from 1 to 10000, not \"-1\"");
    EXPECT_EQ(UsageErrorOf({"--step", "1.5"}), "--step takes a number from 1 to 10000, not \"1.5\"");
    EXPECT_EQ(UsageErrorOf({"--channels", "1,,2"}), "--channels takes a number from 1 to 99, not \"\"");
    EXPECT_EQ(UsageErrorOf({"--seed", "4294967296"}),
              "--seed takes a number from 0 to 4294967295, not \"4294967296\"");
    EXPECT_EQ(UsageErrorOf({"--autofocus", "0"}), "--autofocus takes a number from 1 to 99, not \"0\"");
    EXPECT_EQ(UsageErrorOf({"--calibrate", "0,mean"}),
              "--calibrate takes a number from 1 to 1000, not \"0\"");
    for (std::string const text : {"9", "9,", "9,mode", "9,mean,1"}) {
        EXPECT_EQ(UsageErrorOf({"--calibrate", text}),
                  "--calibrate takes a number of frames and mean or median, such as 9,median, not \"" + text +
                      "\"");
    }
    EXPECT_EQ(UsageErrorOf({"overview", "--depository", "dep"}), "--out is missing");
    EXPECT_EQ(UsageErrorOf({"overview", "--slices", "3"}), "unknown argument \"--slices\"");
    EXPECT_EQ(UsageErrorOf({"export", "--depository", "dep", "--out", "o.tif"}), "--fov is missing");
    EXPECT_EQ(UsageErrorOf({"export", "--depository", "dep", "--fov", "1"}), "--out is missing");
    EXPECT_EQ(UsageErrorOf({"export", "--fov", "0"}), "--fov takes a number from 1 to 9999, not \"0\"");
    EXPECT_EQ(UsageErrorOf({"export", "--grid", "1x1"}), "unknown argument \"--grid\"");
    EXPECT_EQ(UsageErrorOf({"mix", "--depository", "dep", "--fov", "1", "--out", "o.png"}),
              "--rgb is missing");
    EXPECT_EQ(UsageErrorOf({"mix", "--depository", "dep", "--rgb", "1,2,3"}), "--fov is missing");
    EXPECT_EQ(UsageErrorOf({"mix", "--depository", "dep", "--fov", "1", "--rgb", "1,2,3"}),
              "--out is missing");
    for (std::string const rgb : {"1,2", "1,2,3,4", "-1,-1,-1", ""}) {
        EXPECT_EQ(UsageErrorOf({"mix", "--rgb", rgb}),
                  "--rgb takes the channels of red, green and blue, -1 for none, such as 2,-1,1, not \"" +
                      rgb + "\"");
    }
    EXPECT_EQ(UsageErrorOf({"mix", "--rgb", "1,0,2"}), "--rgb takes a number from 1 to 99, not \"0\"");
    EXPECT_EQ(UsageErrorOf({"mix", "--af=1"}), "--af takes no value");
    EXPECT_EQ(UsageErrorOf({"mix", "--depository", "dep", "--fov", "1", "--rgb", "1,2,3", "--af", "--slice",
                            "0", "--out", "o.png"}),
              "--af leaves no --slice to choose");
    EXPECT_EQ(UsageErrorOf({"mix", "--slice", "-1"}), "--slice takes a number from 0 to 9999, not \"-1\"");
    EXPECT_EQ(UsageErrorOf({"mix", "--rect", "1,2,3"}),
              "--rect takes X,Y,W,H in pixels, such as 0,0,512,512, not \"1,2,3\"");
    EXPECT_EQ(UsageErrorOf({"mix", "--rect", "1,2,0,4"}),
              "--rect takes a number from 1 to 1000000, not \"0\"");
    EXPECT_EQ(
        UsageErrorOf({"mix", "--correct", "manual,focus"}),
        "--correct takes manual, automatic, illumination and chromatic, with commas between, not \"focus\"");
    EXPECT_EQ(UsageErrorOf({"--depository", "dep", "--af"}), "unknown argument \"--af\"");
    EXPECT_EQ(UsageErrorOf({"--depository", "dep", "--out", "o.tif"}), "unknown argument \"--out\"");
}

TEST(ScanOptions, HelpAndVersionNeedNothingElse)
{
    EXPECT_EQ(Parse({"--help"}).command, Command::Help);
    EXPECT_EQ(Parse({"--version"}).command, Command::Version);
    EXPECT_EQ(Parse({"--slices", "3", "--help"}).command, Command::Help);
}

TEST(ScanOptions, TheHelpNamesEveryOptionAndExitStatus)
{
    std::string const help = HelpText();
    for (char const * const word :
         {"--ini",  "--depository", "--grid",       "--slices",  "--step",   "--channels", "--seed",
          "--help", "--autofocus",  "--calibrate",  "--version", "--fov",    "--out",      "overview",
          "export", "mix",          "--rgb",        "--af",      "--slice ", "--rect",     "--correct",
          "manual", "automatic",    "illumination", "chromatic", "130"}) {
        EXPECT_THAT(help, testing::HasSubstr(word));
    }
}

TEST(ScanOptions, TheOverviewTakesItsDepositoryAndFile)
{
    Options const options = Parse({"overview", "--depository", "dep", "--out", "o.png"});
    EXPECT_EQ(options.command, Command::Overview);
    EXPECT_EQ(options.out, "o.png");
}

TEST(ScanOptions, TheExportTakesItsDepositoryFovChannelsAndFile)
{
    Options const options =
        Parse({"export", "--depository=dep", "--fov", "12", "--channels=2,1", "--out", "o.ome.tif"});
    EXPECT_EQ(options.command, Command::Export);
    EXPECT_EQ(options.depository, "dep");
    EXPECT_EQ(options.fov, 12);
    EXPECT_EQ(options.channels, (std::vector<long>{2, 1}));
    EXPECT_EQ(options.out, "o.ome.tif");
}

TEST(ScanOptions, TheMixTakesItsChannelsPartAndCorrections)
{
    std::vector<std::string> arguments{"mix",   "--depository", "dep",   "--fov", "12",
                                       "--rgb", "-1,3,1",       "--out", "o.png"};
    Options const plain = Parse(arguments);
    EXPECT_EQ(plain.command, Command::Mix);
    EXPECT_EQ(plain.fov, 12);
    EXPECT_EQ(plain.out, "o.png");
    EXPECT_EQ(plain.mix.channels, (std::array<long, 3>{-1, 3, 1}));
    EXPECT_FALSE(plain.mix.af);
    EXPECT_FALSE(plain.mix.slice.has_value());
    EXPECT_FALSE(plain.mix.rect.has_value());
    EXPECT_FALSE(plain.mix.corrections.has_value());
    arguments.insert(arguments.end(), {"--slice=4", "--rect", "1,2,3,4", "--correct=chromatic,automatic"});
    Options const options = Parse(arguments);
    EXPECT_EQ(options.mix.slice, 4);
    EXPECT_EQ(options.mix.rect, wxRect(1, 2, 3, 4));
    EXPECT_EQ(options.mix.corrections, 10);
    EXPECT_TRUE(Parse({"mix", "--af", "--depository=dep", "--fov=1", "--rgb=1,1,1", "--out=o.png"}).mix.af);
}

} // namespace velm::scan
