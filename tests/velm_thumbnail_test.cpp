#include "velm_thumbnail.h"

#include "support/log_recorder.h"
#include "support/temp_depository.h"

#include <sys/stat.h>
#include <wx/dir.h>
#include <wx/filefn.h>

namespace velm::test {

class ThumbnailTest : public testing::Test {
  protected:
    ThumbnailTest() { _temp->Open(); }

    vexa::Vector3d<unsigned int> SizeOf(unsigned int width, unsigned int height, int side)
    {
        VELM_FOV_Thumbnail thumbnail(&*_temp, 1);
        EXPECT_TRUE(thumbnail.CreateThumbnail(1, side, PatternStack(width, height, 1)));
        vexa::Image3d<unsigned char> picture;
        picture.ReadImage(thumbnail.GetThumbnailFile(1, side).fn_str(), nullptr, false, -1, nullptr, nullptr);
        return picture.size;
    }

    TempDepository _temp;
};

TEST_F(ThumbnailTest, AChannelBelowTenIsWrittenWithTwoDigits)
{
    VELM_FOV_Thumbnail const thumbnail(&*_temp, 1);
    EXPECT_EQ(thumbnail.GetThumbnailFile(3, 128), _temp / "rawdata/0001/thumbnails/03_128_s8.tif");
}

TEST_F(ThumbnailTest, AVoisPathHasADoubledSeparator)
{
    VELM_VOI_Thumbnail const thumbnail(&*_temp, 10000);
    EXPECT_EQ(thumbnail.GetThumbnailFile(3, 128), _temp / "regions/010000//thumbnails/03_128_s8.tif");
}

TEST_F(ThumbnailTest, ThePictureFitsASquareAndKeepsItsAspectRatio)
{
    using Size = vexa::Vector3d<unsigned int>;
    EXPECT_EQ(SizeOf(100, 200, 128), Size(64, 128, 1));
    EXPECT_EQ(SizeOf(50, 50, 128), Size(128, 128, 1));
    EXPECT_EQ(SizeOf(1392, 1040, 128), Size(128, 95, 1)) << "cut down, not rounded";
    EXPECT_EQ(SizeOf(1000, 3, 16), Size(16, 1, 1)) << "never less than a pixel";
}

TEST_F(ThumbnailTest, ItsRangeIsStretchedTo8Bits)
{
    auto image = PatternStack(16, 16, 1);
    std::fill(image.begin(), image.end(), static_cast<unsigned short>(1000));
    image.SetVoxel(0, 2000);
    VELM_FOV_Thumbnail thumbnail(&*_temp, 1);
    EXPECT_TRUE(thumbnail.CreateThumbnail(1, 16, image));
    vexa::Image3d<unsigned char> picture;
    picture.ReadImage(thumbnail.GetThumbnailFile(1, 16).fn_str(), nullptr, false, -1, nullptr, nullptr);
    EXPECT_EQ(picture.GetFirstVoxelAddr()[0], 255);
    EXPECT_EQ(picture.GetFirstVoxelAddr()[1], 0);
}

TEST_F(ThumbnailTest, DeleteTakesAllSizesOfTheChannelAndNoOtherChannel)
{
    VELM_FOV_Thumbnail thumbnail(&*_temp, 1);
    for (long const channel : {1L, 11L}) {
        for (int const size : {16, 128}) {
            EXPECT_TRUE(thumbnail.CreateThumbnail(channel, size, PatternStack(8, 8, 1)));
        }
    }
    thumbnail.Delete(1);
    EXPECT_FALSE(wxFileExists(thumbnail.GetThumbnailFile(1, 16)));
    EXPECT_FALSE(wxFileExists(thumbnail.GetThumbnailFile(1, 128)));
    EXPECT_TRUE(wxFileExists(thumbnail.GetThumbnailFile(11, 128)));
}

TEST_F(ThumbnailTest, ARecordWithoutAnIdHasNoThumbnails)
{
    LogRecorder log;
    VELM_FOV_Thumbnail thumbnail(&*_temp, -1);
    thumbnail.Delete(1);
    EXPECT_EQ(thumbnail.GetURL(1, 128), "");
    EXPECT_EQ(
        log.Lines(),
        (std::vector<LogLine>{Error("velm::VELM_Thumbnail::GetURL: Position number -1 invalid or not set")}));
}

TEST_F(ThumbnailTest, APictureThatCannotBeWrittenIsAnError)
{
    VELM_FOV_Thumbnail thumbnail(&*_temp, 1);
    thumbnail.CheckThumbnailDir();
    wxMkdir(thumbnail.GetThumbnailFile(1, 16));
    LogRecorder log;
    EXPECT_FALSE(thumbnail.Create(1, 16, PatternStack(8, 8, 1)));
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].level, 'E');
    EXPECT_THAT(log.Lines()[0].text, testing::StartsWith("velm::VELM_Thumbnail::Create: VEXA exception - "));
}

TEST_F(ThumbnailTest, InAReadOnlyDepositoryThePictureGoesToTheTemporaryDirectory)
{
    auto image = PatternStack(8, 8, 1);
    _temp->FOV_SaveAFImage(1, 1, image);
    VELM_FOV_Thumbnail(&*_temp, 1).Delete(1);
    wxRmdir(_temp / "rawdata/0001/thumbnails");
    ASSERT_EQ(chmod((_temp / "rawdata/0001").utf8_str(), 0555), 0);
    OrdinaryUser const user;
    if (!user.IsEffective()) {
        GTEST_SKIP() << "cannot become an ordinary user";
    }
    VELM_FOV_Thumbnail thumbnail(&*_temp, 1);
    wxString const file = thumbnail.GetURL(1, 128);
    EXPECT_EQ(file, wxFileName::GetTempDir() + "/01_128_s8.tif");
    EXPECT_TRUE(wxFileExists(file));
    wxRemoveFile(file);
    EXPECT_EQ(VELM_FOV_Thumbnail(&*_temp, 1).GetThumbnailFile(1, 128),
              _temp / "rawdata/0001/thumbnails/01_128_s8.tif")
        << "only the object that met the failure remembers it";
}

} // namespace velm::test
