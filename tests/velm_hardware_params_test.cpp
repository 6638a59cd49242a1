#include "velm_hardware_params.h"

#include "support/config_file.h"
#include "support/log_recorder.h"

namespace velm::test {

TEST(HardwareParams, AreUnknownUntilSet)
{
    VELM_HardwareParams const params;
    EXPECT_EQ(params.GetHWDesc(), "Unknown");
    EXPECT_EQ(params.GetObjDesc(), "Unknown");
}

TEST(HardwareParams, WhatIsSavedIsLoadedAndCopied)
{
    VELM_HardwareParams params;
    params.SetHWDesc("Stand 7");
    params.SetObjDesc("Apo 60x");
    ConfigFile const file;
    std::string const text =
        file.TextOf([&](wxFileConfig & config) { EXPECT_TRUE(params.Save(config, "saving FOV : ")); });
    EXPECT_EQ(text, "HW_DESC=Stand 7\nOBJ_DESC=Apo 60x\n");

    VELM_HardwareParams read;
    file.With(text, [&](wxFileConfig & config) { read.Load(config); });
    VELM_HardwareParams const copy = read;
    EXPECT_EQ(copy.GetHWDesc(), "Stand 7");
    EXPECT_EQ(copy.GetObjDesc(), "Apo 60x");
}

TEST(HardwareParams, MissingEntriesAreUnknown)
{
    VELM_HardwareParams params;
    params.SetHWDesc("Stand 7");
    params.SetObjDesc("Apo 60x");
    ConfigFile().With("", [&](wxFileConfig & config) { params.Load(config); });
    EXPECT_EQ(params.GetHWDesc(), "Unknown");
    EXPECT_EQ(params.GetObjDesc(), "Unknown");
}

TEST(HardwareParams, EachRefusedEntryIsLoggedWithThePrefix)
{
    LogRecorder log;
    RefusingConfig nothing;
    EXPECT_FALSE(VELM_HardwareParams().Save(nothing, "saving VOI : "));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("saving VOI : Entry HW_DESC not saved."),
                                                 Error("saving VOI : Entry OBJ_DESC not saved.")}));
}

} // namespace velm::test
