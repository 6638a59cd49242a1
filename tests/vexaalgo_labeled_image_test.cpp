#include "vexaalgo/labeled_image.h"

#include "support/temp_directory.h"
#include "support/voxels.h"

namespace velm::test {

using vexa::Box;
using vexa::FileFormat;
using Labels = vexa::LabeledImage3d<unsigned short, bool>;
using Component = Labels::Component;
using Ints = vexa::Vector3d<int>;

constexpr unsigned int all_slices = 0xFFFFFFFFU;

// A stack of 6 x 5 x 3 with component 2 of four voxels, component 7 of one and component 300 of two.
Labels Sample()
{
    Labels image;
    image.MakeRoom(6, 5, 3);
    image.Clear();
    image.offset = {1.0F, 2.0F, 3.0F};
    image.resolution = vexa::Resolution(2.0F, 2.0F, 1.0F);
    for (unsigned int x : {1U, 2U}) {
        image.SetVoxel(x, 1, 0, 2);
        image.SetVoxel(x, 2, 1, 2);
    }
    image.SetVoxel(5, 4, 2, 7);
    image.SetVoxel(0, 0, 0, 300);
    image.SetVoxel(5, 0, 0, 300);
    image.UpdateComponents();
    return image;
}

std::vector<Component> const sample_components = {
    {2, Box(1, 1, 0, 2, 2, 2), 4}, {7, Box(5, 4, 2, 1, 1, 1), 1}, {300, Box(0, 0, 0, 6, 1, 1), 2}};

class LabeledImage : public testing::Test {
  protected:
    std::string Path() const { return std::string((_directory / "l01").utf8_str()); }

    Labels Read(Box const * box = nullptr) const
    {
        Labels image;
        image.ReadImage(Path().c_str(), box, false, all_slices);
        return image;
    }

    TempDirectory const _directory;
};

TEST_F(LabeledImage, KnowsItsComponents)
{
    Labels const image = Sample();
    EXPECT_EQ(image.GetComponents(), sample_components);
    EXPECT_EQ(image.GetMaxLabel(), 300U);
    EXPECT_EQ(image.GetDisplacement(), Ints(0, 0, 0));
}

TEST_F(LabeledImage, IsStoredAsAPairOfFiles)
{
    Labels image = Sample();
    image.SetDisplacement(Ints(4, -5, 6));
    image.SaveImage(Path().c_str(), FileFormat::Labeled);
    EXPECT_TRUE(wxFileName::FileExists(Path() + ".ics"));
    EXPECT_TRUE(wxFileName::FileExists(Path() + ".l3d"));
    Labels const read = Read();
    EXPECT_EQ(Voxels(read), Voxels(image));
    EXPECT_EQ(read.offset, image.offset);
    EXPECT_EQ(read.resolution.GetRes(), image.resolution.GetRes());
    EXPECT_EQ(read.GetComponents(), sample_components);
    EXPECT_EQ(read.GetMaxLabel(), 300U);
    EXPECT_EQ(read.GetDisplacement(), Ints(4, -5, 6));
}

TEST_F(LabeledImage, TableIsWrittenAsDocumented)
{
    Labels image = Sample();
    image.SetDisplacement(Ints(4, -5, 6));
    image.SaveImage(Path().c_str(), FileFormat::Labeled);
    std::string text = _directory.Read("l01.l3d");
    std::size_t const checksum = text.find("checksum ") + 9;
    EXPECT_EQ(text.find_first_not_of("0123456789abcdef", checksum), checksum + 8);
    text.replace(checksum, 8, "........");
    EXPECT_EQ(text, "velm labels 1\n"
                    "checksum ........\n"
                    "displacement 4 -5 6\n"
                    "components 3\n"
                    "2 1 1 0 2 2 2 4\n"
                    "7 5 4 2 1 1 1 1\n"
                    "300 0 0 0 6 1 1 2\n");
}

TEST_F(LabeledImage, RebuildsATableThatIsMissingDamagedOrOfOtherVoxels)
{
    Labels image = Sample();
    image.SetDisplacement(Ints(4, 5, 6));
    image.SaveImage(Path().c_str(), FileFormat::Labeled);
    std::string const table = _directory.Read("l01.l3d");
    wxRemoveFile(Path() + ".l3d");
    EXPECT_EQ(Read().GetComponents(), sample_components);
    EXPECT_EQ(Read().GetDisplacement(), Ints(0, 0, 0));

    for (std::size_t i = 0; i < table.size(); ++i) {
        std::string damaged = table;
        damaged[i] = static_cast<char>(damaged[i] ^ 1);
        _directory.Write("l01.l3d", damaged);
        EXPECT_EQ(Read().GetComponents(), sample_components) << damaged;
        _directory.Write("l01.l3d", table.substr(0, i));
        EXPECT_EQ(Read().GetComponents(), sample_components) << i;
    }

    _directory.Write("l01.l3d", table);
    Labels other = Sample();
    other.SetVoxel(3, 3, 1, 9);
    other.Image3d::SaveImage((Path() + ".ics").c_str(), FileFormat::FromName, true, nullptr);
    std::vector<Component> expected = sample_components;
    expected.insert(expected.begin() + 2, Component{9, Box(3, 3, 1, 1, 1, 1), 1});
    EXPECT_EQ(Read().GetComponents(), expected);
    EXPECT_EQ(Read().GetMaxLabel(), 300U);
}

TEST_F(LabeledImage, ReadsAPartWithTheComponentsOfThePart)
{
    Labels image = Sample();
    image.SaveImage(Path().c_str(), FileFormat::Labeled);
    Box const box(1, 1, 1, 5, 4, 2);
    Labels const part = Read(&box);
    EXPECT_EQ(Voxels(part), VoxelsOf(image, box));
    EXPECT_EQ(part.GetComponents(),
              (std::vector<Component>{{2, Box(0, 1, 0, 2, 1, 1), 2}, {7, Box(4, 3, 1, 1, 1, 1), 1}}));
    EXPECT_EQ(part.GetMaxLabel(), 7U);
    EXPECT_EQ(part.GetDisplacement(), Ints(1, 1, 1));
    EXPECT_EQ(part.offset, vexa::Vector3d<float>(1.5F, 2.5F, 4.0F));
}

TEST_F(LabeledImage, ReadsOneSliceAlone)
{
    Labels image = Sample();
    image.SaveImage(Path().c_str(), FileFormat::Labeled);
    Labels slice;
    slice.ReadImage(Path().c_str(), nullptr, false, 2);
    EXPECT_EQ(Voxels(slice), VoxelsOf(image, Box(0, 0, 2, 6, 5, 1)));
    EXPECT_EQ(slice.GetDisplacement(), Ints(0, 0, 2));
    EXPECT_EQ(slice.GetComponents(), (std::vector<Component>{{7, Box(5, 4, 0, 1, 1, 1), 1}}));
}

TEST_F(LabeledImage, RemovesAComponentAndNothingElse)
{
    Labels image = Sample();
    image.RemoveComponent(300);
    Labels const before = image;
    image.RemoveComponent(1234);
    image.RemoveComponent(0);
    EXPECT_EQ(Voxels(image), Voxels(before));
    EXPECT_EQ(image.GetComponents(),
              (std::vector<Component>(sample_components.begin(), sample_components.begin() + 2)));
    EXPECT_EQ(image.GetVoxel(0, 0, 0), 0);
    EXPECT_EQ(image.GetVoxel(5, 0, 0), 0);
    EXPECT_EQ(image.GetVoxel(1, 1, 0), 2);
    EXPECT_EQ(image.FindAndSetMaxLabel(), 7U);
    image.SaveImage(Path().c_str(), FileFormat::Labeled);
    EXPECT_EQ(Read().GetComponents(), image.GetComponents());
}

TEST_F(LabeledImage, RemovesAComponentThatWasWrittenSinceTheListWasMade)
{
    Labels image = Sample();
    image.SetVoxel(0, 4, 2, 9);
    image.SetVoxel(5, 3, 0, 9);
    image.RemoveComponent(9);
    EXPECT_EQ(Voxels(image), Voxels(Sample()));
    EXPECT_EQ(image.GetComponents(), sample_components);
    EXPECT_EQ(image.FindAndSetMaxLabel(), 300U);
}

TEST_F(LabeledImage, FindsTheHighestLabelOfVoxelsAndOfTheList)
{
    Labels image;
    EXPECT_EQ(image.FindAndSetMaxLabel(), 0U);
    image.SetComponents({{9, Box(0, 0, 0, 1, 1, 1), 1}, {4, Box(0, 0, 0, 1, 1, 1), 1}});
    EXPECT_EQ(image.FindAndSetMaxLabel(), 9U);
    EXPECT_EQ(image.GetComponents()[0].label, 4) << "sorted";
    image.MakeRoom(1, 1, 1);
    image.SetVoxel(0, 65535);
    EXPECT_EQ(image.FindAndSetMaxLabel(), 65535U);
    EXPECT_EQ(image.GetMaxLabel(), 65535U);
}

TEST_F(LabeledImage, ListThatReachesBeyondTheVoxelsIsSafe)
{
    Labels image = Sample();
    image.SetComponents({{2, Box(-5, -5, -5, 100, 100, 100), 4}, {7, Box(2147483647, 9, 9, 9, 9, 9), 1}});
    image.RemoveComponent(2);
    image.RemoveComponent(7);
    image.UpdateComponents();
    EXPECT_EQ(image.GetComponents(), (std::vector<Component>{sample_components[1], sample_components[2]}));
}

TEST_F(LabeledImage, ThatIsMissingOrHasAnotherFormatIsRefused)
{
    EXPECT_THROW(Read(), vexa::IOException);
    EXPECT_THROW(Sample().SaveImage(Path().c_str(), FileFormat::Ics), vexa::IOException);
    EXPECT_FALSE(wxFileName::FileExists(Path() + ".ics"));
}

TEST_F(LabeledImage, FailedReadLeavesTheImageAsItWas)
{
    Labels image = Sample();
    EXPECT_THROW(image.ReadImage(Path().c_str(), nullptr, false, all_slices), vexa::IOException);
    EXPECT_EQ(Voxels(image), Voxels(Sample()));
    EXPECT_EQ(image.GetComponents(), sample_components);
}

TEST_F(LabeledImage, CopiesAreDeepAndMovesLeaveAnEmptyImage)
{
    Labels image = Sample();
    Labels copy(image);
    image.RemoveComponent(2);
    EXPECT_EQ(copy.GetComponents(), sample_components);
    Labels const moved(std::move(copy));
    EXPECT_EQ(moved.GetComponents(), sample_components);
    EXPECT_EQ(Voxels(moved), Voxels(Sample()));
    EXPECT_EQ(copy.GetCount(), 0U); // NOLINT(bugprone-use-after-move): that is the claim
}

} // namespace velm::test
