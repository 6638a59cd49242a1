// Every file operation of a save fails once, in every way: what is told to be on disk is there, and what was
// there before stays whole.

#include "support/failing_files.h"
#include "support/log_recorder.h"
#include "support/temp_depository.h"
#include "support/voxels.h"
#include "velm_prefs.h"
#include "vexaalgo/projection.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <stdlib.h>

namespace velm::test {

namespace {

namespace fs = std::filesystem;
using Stack = vexa::Image3d<unsigned short>;

// What the parts of a save told.
struct Told {
    bool stack;
    bool projection;
    bool record;
};

// All that a field of view holds, in two versions that differ everywhere.
struct Content {
    explicit Content(unsigned int version)
    {
        stack = PatternImage<unsigned short>(61, 40, 3, version);
        stack.resolution = vexa::Resolution(10.0F, 10.0F, 5.0F);
        vexa::Get_AF_XY(stack, projection);
        record.SetCoord(VELM_Coord(1, version * 1000, 20, 30));
        record.SetNumSlices(3);
        record.AddChannel(TestChannel(1, wxString::Format("Version %u", version)));
    }

    Stack stack;
    Stack projection;
    VELM_FOV record;
};

bool IsSame(Stack const & a, Stack const & b)
{
    return a.size == b.size && std::equal(a.begin(), a.end(), b.begin()) &&
           a.resolution.GetRes() == b.resolution.GetRes();
}

class FailingSave : public testing::TestWithParam<std::tuple<FileFailure, bool>> {
  protected:
    FailingSave()
    {
        VELM_Preferences::GetInstance()->SetEnableCompression(std::get<1>(GetParam()));
        setenv("TMPDIR", _temporary.GetPath().utf8_str(), 1); // where thumbnails go that have no place
        _depository->Open();
    }
    ~FailingSave() override { unsetenv("TMPDIR"); }

    // id: -1 for a new one, which gets the next.
    Told Save(Content const & content, long id)
    {
        VELM_FOV record = content.record;
        record.SetId(id);
        Stack stack = content.stack;
        Stack projection = content.projection;
        long const place = id == -1 ? _depository->FOV_GetLastID() + 1 : id;
        Told told{};
        told.stack = _depository->FOV_SaveImage(place, 1, stack);
        told.projection = _depository->FOV_SaveAFImage(place, 1, projection);
        told.record = _depository->FOV_Save(record);
        return told;
    }

    void SaveWhole(Content const & content, long id)
    {
        Told const told = Save(content, id);
        ASSERT_TRUE(told.stack && told.projection && told.record);
    }

    bool HasStack(long id, Content const & content)
    {
        Stack stack;
        return _depository->FOV_LoadImage(id, 1, stack, nullptr) && IsSame(stack, content.stack);
    }

    bool HasProjection(long id, Content const & content)
    {
        Stack projection;
        return _depository->FOV_LoadAFImage(id, 1, projection, nullptr) &&
               IsSame(projection, content.projection);
    }

    bool HasRecord(long id, Content const & content)
    {
        VELM_FOV record;
        return _depository->FOV_Load(id, record) && record.GetCoord() == content.record.GetCoord() &&
               record.GetNumSlices() == 3 && record.GetNumChannels() == 1 &&
               record.GetChannel(0).GetName() == content.record.GetChannel(0).GetName();
    }

    bool HasHistogram(long id, Content const & content)
    {
        nubo::Histogram<unsigned short> histogram;
        if (!_depository->FOV_LoadHistogram(id, 1, histogram)) {
            return false;
        }
        std::vector<std::uint32_t> counts(0x10000);
        for (unsigned short const voxel : content.stack) {
            ++counts[voxel];
        }
        auto const & bins = histogram.GetBins();
        return std::equal(counts.begin(), counts.end(), bins.begin(), bins.end());
    }

    std::string Thumbnail(long id)
    {
        wxString const file = _depository->FOV_GetThumbnailURL(id, 1);
        return file.empty() ? "" : ReadFile(file);
    }

    // Nothing that a reader could take for something: of what a save leaves behind when even the removal of
    // its unfinished file fails, the name has more behind the ending.
    void ExpectNoMisleadingFiles(long id)
    {
        std::set<std::string> const known{"01.ics",  "01_af.ics",  "01.hist",
                                          "fov.txt", "thumbnails", "01_128_s8.tif"};
        for (auto const & entry :
             fs::recursive_directory_iterator(_depository->FOV_GetDir(id).utf8_string())) {
            std::string const name = entry.path().filename();
            EXPECT_TRUE(known.count(name) == 1 ||
                        (FailingFiles::GetFailed() == "unlink" && entry.path().extension() != ".ics" &&
                         entry.path().extension() != ".tif" && entry.path().extension() != ".txt"))
                << entry.path();
        }
    }

    // Calls prepare, a save that fails at its n-th operation, and check, for each n that there is.
    template <typename Prepare, typename Attempt, typename Check>
    void FailEveryOperation(Prepare prepare, Attempt attempt, Check check)
    {
        LogRecorder const quiet;
        long n = 0;
        std::string failed;
        do {
            ++n;
            prepare();
            Told told{};
            {
                FailingFiles const failing(_depository.GetDir().utf8_string(), n, std::get<0>(GetParam()));
                told = attempt();
            }
            failed = FailingFiles::GetFailed();
            _depository.Reopen();
            SCOPED_TRACE("operation " + std::to_string(n) + ", " + failed);
            check(told);
            if (failed.empty()) {
                EXPECT_TRUE(told.stack && told.projection && told.record);
            }
        } while (!failed.empty() && !HasFailure());
        EXPECT_GT(n, 15) << "operations of a save";
    }

    TempDepository _depository;
    TempDirectory _temporary;
    Content const _old{1};
    Content const _new{2};
};

} // namespace

TEST_P(FailingSave, OfANewFovIsToldAndSparesTheOthers)
{
    SaveWhole(_old, -1);
    auto const has_or_not = [](bool told, bool is_there, bool is_right) {
        EXPECT_EQ(is_there, is_right);
        EXPECT_TRUE(!told || is_right);
    };
    FailEveryOperation(
        [&] {
            fs::remove_all((_depository / "rawdata/0002").utf8_string());
            _depository.Reopen();
        },
        [&] { return Save(_new, -1); },
        [&](Told const & told) {
            EXPECT_TRUE(HasRecord(1, _old) && HasStack(1, _old) && HasProjection(1, _old) &&
                        HasHistogram(1, _old));
            ExpectNoMisleadingFiles(2);
            bool const has_stack = fs::exists((_depository / "rawdata/0002/01.ics").utf8_string());
            has_or_not(told.record, fs::exists((_depository / "rawdata/0002/fov.txt").utf8_string()),
                       HasRecord(2, _new));
            has_or_not(told.stack, has_stack, HasStack(2, _new));
            has_or_not(told.projection,
                       fs::exists((_depository / "rawdata/0002/01_af.ics").utf8_string()) || has_stack,
                       HasProjection(2, _new));
            EXPECT_EQ(has_stack, HasHistogram(2, _new));
        });
}

TEST_P(FailingSave, OfAFovThatExistsLeavesEachPartOldOrNewAndWhole)
{
    SaveWhole(_new, -1);
    std::string const new_thumbnail = Thumbnail(1);
    SaveWhole(_old, 1);
    std::string const old_thumbnail = Thumbnail(1);
    ASSERT_NE(new_thumbnail, old_thumbnail);
    FailEveryOperation([&] { SaveWhole(_old, 1); }, [&] { return Save(_new, 1); },
                       [&](Told const & told) {
                           ExpectNoMisleadingFiles(1);
                           EXPECT_TRUE(HasRecord(1, _new) || (!told.record && HasRecord(1, _old)));
                           bool const new_stack = HasStack(1, _new);
                           EXPECT_TRUE(new_stack || (!told.stack && HasStack(1, _old)));
                           EXPECT_TRUE(HasHistogram(1, new_stack ? _new : _old));
                           bool const new_projection = HasProjection(1, _new);
                           EXPECT_TRUE(new_projection || (!told.projection && HasProjection(1, _old)));
                           EXPECT_EQ(Thumbnail(1), new_projection ? new_thumbnail : old_thumbnail);
                       });
}

INSTANTIATE_TEST_SUITE_P(Ways, FailingSave,
                         testing::Combine(testing::Values(FileFailure::NoSpace, FileFailure::InputOutput,
                                                          FileFailure::ShortWrite, FileFailure::FullFromThen),
                                          testing::Bool()));

} // namespace velm::test
