#include "velm_crop_params.h"

#include "support/config_file.h"
#include "support/log_recorder.h"

namespace velm::test {

TEST(VelmCropParams, ANewOneHasNoParentAndAnEmptyBox)
{
    VELM_CropParams const crop;
    EXPECT_EQ(crop.GetParentId(), -1);
    EXPECT_EQ(crop.GetOffsetX(), 0.0f);
    EXPECT_EQ(crop.GetOffsetY(), 0.0f);
    EXPECT_EQ(crop.GetSizeX(), 0.0f);
    EXPECT_EQ(crop.GetSizeY(), 0.0f);
}

TEST(VelmCropParams, SavesAndLoadsItsFiveEntries)
{
    ConfigFile const file;
    VELM_CropParams crop;
    crop.SetParentId(12);
    crop.SetOffset(1.5f, -2.25f);
    crop.SetSize(640.0f, 480.5f);
    std::string const text = file.TextOf([&](auto & config) { EXPECT_TRUE(crop.Save(config, "x: ")); });
    EXPECT_EQ(text, "CROP_PARENT_ID=12\nCROP_OFFSET_X=1.5\nCROP_OFFSET_Y=-2.25\n"
                    "CROP_SIZE_X=640\nCROP_SIZE_Y=480.5\n");

    VELM_CropParams back;
    file.With(text, [&](auto & config) { back.Load(config); });
    EXPECT_EQ(back.GetParentId(), 12);
    EXPECT_EQ(back.GetOffsetX(), 1.5f);
    EXPECT_EQ(back.GetOffsetY(), -2.25f);
    EXPECT_EQ(back.GetSizeX(), 640.0f);
    EXPECT_EQ(back.GetSizeY(), 480.5f);
}

TEST(VelmCropParams, AMissingEntryIsZeroTheParentToo)
{
    VELM_CropParams crop;
    crop.SetParentId(3);
    crop.SetSize(1.0f, 1.0f);
    ConfigFile().With("", [&](auto & config) { crop.Load(config); });
    EXPECT_EQ(crop.GetParentId(), 0);
    EXPECT_EQ(crop.GetSizeX(), 0.0f);
}

TEST(VelmCropParams, ARefusedEntryIsNamedAndTheOthersAreWritten)
{
    LogRecorder log;
    RefusingConfig config("CROP_OFFSET_X");
    EXPECT_FALSE(VELM_CropParams().Save(config, "saving FOV : "));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("saving FOV : Entry CROP_OFFSET_X not saved.")}));
    EXPECT_TRUE(config.HasEntry("CROP_SIZE_Y"));
}

} // namespace velm::test
