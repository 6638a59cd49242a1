#include "velm_db.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"
#include "support/temp_directory.h"
#include "velm_filter_substitution.h"

#include <stdlib.h>

namespace velm::test {

// A catalogue's directory, complete unless a test changes it.
class VelmDatabase : public testing::Test {
  protected:
    VelmDatabase()
    {
        _directory.Write("ex_filters.ini", "1=BP 480\n2=BP 546\n10=Empty\n");
        _directory.Write("em_filters.ini", "0=LP 515\n3=BP 600\n");
        _directory.Write("markers.ini", "FITC\n0,1\n0\nCy3\n2\n1,0\n");
        _directory.Write("objectives.ini", "1=Plan 10x,10\n2=Plan 63x,63.5\n");
    }

    VELM_Database Load() const { return VELM_Database(_directory.GetPath()); }

    // The message that loading fails with.
    wxString LoadError() const
    {
        try {
            Load();
        } catch (VELM_DBError const & error) {
            return error.GetMessage();
        }
        ADD_FAILURE() << "did not throw";
        return {};
    }

    wxString PathOf(wxString const & name) const { return _directory / name; }

    TempDirectory _directory;
    LogRecorder _log;
};

using Descs = std::vector<wxString>;

Descs All(wxArrayString const & texts)
{
    return {texts.begin(), texts.end()};
}

TEST_F(VelmDatabase, FilterIdsFollowTheFilesSortedEntriesNotTheRevolver)
{
    VELM_Database const db = Load();
    EXPECT_EQ(db.GetNumExFilterDescs(), 3u);
    EXPECT_EQ(db.GetExFilterDesc(0), "BP 480");
    EXPECT_EQ(db.GetExFilterDesc(1), "Empty");
    EXPECT_EQ(db.GetExFilterDesc(2), "BP 546");
    EXPECT_EQ(db.GetExFilterPos(0), 1);
    EXPECT_EQ(db.GetExFilterPos(1), 10);
    EXPECT_EQ(db.GetExFilterPos(2), 2);
    EXPECT_EQ(db.GetNumEmFilterDescs(), 2u);
    EXPECT_EQ(db.GetEmFilterDesc(1), "BP 600");
    EXPECT_EQ(db.GetEmFilterPos(1), 3);
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmDatabase, SubgroupsOfAFilterFileAreIgnored)
{
    _directory.Write("ex_filters.ini", "1=BP 480\n[Old]\nnot a number=x\n");
    EXPECT_EQ(Load().GetNumExFilterDescs(), 1u);
}

TEST_F(VelmDatabase, AFilterDescriptionMayNameAnEnvironmentVariable)
{
    setenv("VELM_TEST_WAVELENGTH", "480", 1);
    _directory.Write("ex_filters.ini", "1=BP $(VELM_TEST_WAVELENGTH)\n");
    EXPECT_EQ(Load().GetExFilterDesc(0), "BP 480");
    unsetenv("VELM_TEST_WAVELENGTH");
}

TEST_F(VelmDatabase, AMissingFilterFileYieldsAnEmptyTableWithoutAnyError)
{
    wxRemoveFile(PathOf("ex_filters.ini"));
    wxRemoveFile(PathOf("em_filters.ini"));
    VELM_Database const db = Load();
    EXPECT_EQ(db.GetNumExFilterDescs(), 0u);
    EXPECT_EQ(db.GetNumEmFilterDescs(), 0u);
    EXPECT_EQ(db.GetNumMarkers(), 2u);
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmDatabase, AMissingObjectivesFileThrows)
{
    wxRemoveFile(PathOf("objectives.ini"));
    EXPECT_EQ(LoadError(), "Cannot find the database file '" + PathOf("objectives.ini") + "'.");
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmDatabase, AMissingMarkersFileThrows)
{
    wxRemoveFile(PathOf("markers.ini"));
    EXPECT_EQ(LoadError(), "Can't open file '" + PathOf("markers.ini") + "'.");
}

TEST_F(VelmDatabase, AnObjectivesFileWithNoEntriesThrows)
{
    _directory.Write("objectives.ini", "[Group]\n1=Plan 10x,10\n");
    EXPECT_EQ(LoadError(), "Database error: At least one objective must be defined in file '" +
                               PathOf("objectives.ini") + "'.");
}

TEST_F(VelmDatabase, AnObjectiveWithoutADescriptionAndAMagnificationThrows)
{
    for (char const * value :
         {"Plan 10x", ",10", "Plan 10x,", "Plan 10x,ten", "Plan,10x,10", "Plan,1e99", "Plan,nan", ""}) {
        _directory.Write("objectives.ini", std::string("1=Good,1\n5=") + value + "\n");
        EXPECT_EQ(LoadError(),
                  "Error in file '" + PathOf("objectives.ini") + "' at entry '5' (unknown format).")
            << value;
    }
}

TEST_F(VelmDatabase, ARevolverPositionThatIsNotAnUnsignedNumberThrows)
{
    for (wxString const name : {"ex_filters.ini", "em_filters.ini", "objectives.ini"}) {
        for (std::string const entry : {"one", "-1", "1.5", "99999999999999999999"}) {
            std::string const before = _directory.Read(name);
            _directory.Write(name, entry + "=Some,1\n");
            EXPECT_EQ(LoadError(), wxString::Format("Error in file '%s' at entry '%s' (must be ULong).",
                                                    PathOf(name), entry));
            _directory.Write(name, before);
        }
    }
}

TEST_F(VelmDatabase, ObjectivesComeWithDescriptionMagnificationAndPosition)
{
    VELM_Database const db = Load();
    std::vector<VELM_ObjectiveInfo> const & objectives = db.GetObjectiveList();
    ASSERT_EQ(objectives.size(), 2u);
    EXPECT_EQ(objectives[1].desc, "Plan 63x");
    EXPECT_EQ(objectives[1].magnification, 63.5f);
    EXPECT_EQ(objectives[1].pos, 2);
}

TEST_F(VelmDatabase, AFailedLoadLeavesTheTablesLoadedSoFarAndTheLaterOnesEmpty)
{
    VELM_Database db = Load();
    _directory.Write("ex_filters.ini", "7=New\n");
    wxRemoveFile(PathOf("markers.ini"));
    EXPECT_THROW(db.ReloadDB(_directory.GetPath()), VELM_DBError);
    EXPECT_EQ(db.GetNumExFilterDescs(), 1u);
    EXPECT_EQ(db.GetExFilterDesc(0), "New");
    EXPECT_EQ(db.GetNumEmFilterDescs(), 2u);
    EXPECT_EQ(db.GetNumMarkers(), 0u);
    EXPECT_TRUE(db.GetObjectiveList().empty());
}

TEST_F(VelmDatabase, MarkersNameTheirSuitableFiltersByCatalogueId)
{
    VELM_Database db = Load();
    bool found = false;
    EXPECT_EQ(db.GetMarkerId("Cy3", found), 1);
    EXPECT_TRUE(found);
    wxArrayString descs;
    db.GetSuitableEmFilterDescs(1, descs);
    EXPECT_EQ(All(descs), (Descs{"BP 600", "LP 515"}));
    db.GetSuitableExFilterDescs(0, descs);
    EXPECT_EQ(All(descs), (Descs{"BP 600", "LP 515", "BP 480", "Empty"}));
}

TEST_F(VelmDatabase, SuitableFiltersAreThereForMarkersOfTheCatalogueOnly)
{
    VELM_Database const db = Load();
    wxArrayString descs;
    char const * const condition = "marker_id >= 0 && marker_id < UNKNOWN_MARKER_ID";
    EXPECT_EQ(VELM_TRIPPED_BY(db.GetSuitableExFilterDescs(1000, descs)), condition);
    EXPECT_EQ(VELM_TRIPPED_BY(db.GetSuitableEmFilterDescs(-1, descs)), condition);
}

TEST_F(VelmDatabase, AnEmptyLineInPlaceOfANameBeginsAMarkerWithoutFilters)
{
    _directory.Write("markers.ini", "FITC\n0\n1\n\n");
    EXPECT_EQ(LoadError(), "ExFilter definition error (file: " + PathOf("markers.ini") + ", marker: )");
}

TEST_F(VelmDatabase, AMarkersFileEndsAfterARecordOrWithANameThatNoLineFeedCloses)
{
    _directory.Write("markers.ini", "FITC\n0\n1\n");
    EXPECT_EQ(Load().GetNumMarkers(), 1u);
    _directory.Write("markers.ini", "FITC\n0\n1\nDAPI");
    EXPECT_EQ(Load().GetNumMarkers(), 1u);
    _directory.Write("markers.ini", "");
    EXPECT_EQ(Load().GetNumMarkers(), 0u);
}

TEST_F(VelmDatabase, TheLastFilterLineNeedsNoLineFeed)
{
    _directory.Write("markers.ini", "FITC\n0\n1,2");
    EXPECT_EQ(Load().GetNumMarkers(), 1u);
}

TEST_F(VelmDatabase, AMarkersFileWithCarriageReturnsReadsLikeOneWithout)
{
    _directory.Write("markers.ini", "FITC\r\n0,1\r\n1\r\n");
    EXPECT_EQ(Load().GetMarkerName(0), "FITC");
}

TEST_F(VelmDatabase, AMarkerWithOnlyItsNameAndExcitationLineThrows)
{
    _directory.Write("markers.ini", "FITC\n0,1\n0\nCy3\n2\n");
    EXPECT_EQ(LoadError(), "EmFilter definition error (file: " + PathOf("markers.ini") + ", marker: Cy3)");
}

TEST_F(VelmDatabase, AnIdListWithAnEmptyOrWrongPartThrows)
{
    for (std::string const ids : {"", "0,", ",0", "0,,1", "zero", "0,1x", "99999999999999999999"}) {
        _directory.Write("markers.ini", "FITC\n" + ids + "\n0\n");
        EXPECT_EQ(LoadError(),
                  "ExFilter definition error (file: " + PathOf("markers.ini") + ", marker: FITC)")
            << ids;
        _directory.Write("markers.ini", "FITC\n0\n" + ids + "\n");
        EXPECT_EQ(LoadError(),
                  "EmFilter definition error (file: " + PathOf("markers.ini") + ", marker: FITC)")
            << ids;
    }
}

TEST_F(VelmDatabase, ADirectoryInPlaceOfTheMarkersFileEndsTheLoad)
{
    wxRemoveFile(PathOf("markers.ini"));
    wxMkdir(PathOf("markers.ini"));
    EXPECT_EQ(LoadError(), "ExFilter definition error (file: " + PathOf("markers.ini") + ", marker: )");
}

TEST_F(VelmDatabase, AnUnknownDescriptionHasOneIdForBothKindsOfFilterWhichIsItsPosition)
{
    VELM_Database db = Load();
    bool found = true;
    EXPECT_EQ(db.GetExFilterId("Foreign", found), 1000);
    EXPECT_FALSE(found);
    found = true;
    EXPECT_EQ(db.GetEmFilterId("Foreign", found), 1000);
    EXPECT_FALSE(found);
    EXPECT_EQ(db.GetEmFilterId("Other", found), 1001);
    EXPECT_EQ(db.GetExFilterPos(1001), 1001);
    EXPECT_EQ(db.GetEmFilterPos(1000), 1000);
    EXPECT_EQ(db.GetExFilterDesc(1001), "Other");
    EXPECT_EQ(db.GetNumExFilterDescs(), 3u);
}

TEST_F(VelmDatabase, AKnownDescriptionIsFoundInTheTableOfItsKindOnly)
{
    VELM_Database db = Load();
    bool found = false;
    EXPECT_EQ(db.GetExFilterId("BP 546", found), 2);
    EXPECT_TRUE(found);
    EXPECT_EQ(db.GetEmFilterId("BP 546", found), 1000);
    EXPECT_FALSE(found);
}

TEST_F(VelmDatabase, ADescriptionThatDiffersOnlyInCaseIsUnknown)
{
    VELM_Database db = Load();
    bool found = true;
    EXPECT_EQ(db.GetExFilterId("bp 480", found), 1000);
    EXPECT_FALSE(found);
    EXPECT_EQ(db.GetMarkerId("fitc", found), 1000);
    EXPECT_FALSE(found);
}

TEST_F(VelmDatabase, TheFirstOfTwoEqualDescriptionsIsTaken)
{
    _directory.Write("ex_filters.ini", "3=Twin\n4=Twin\n");
    VELM_Database db = Load();
    bool found = false;
    EXPECT_EQ(db.GetExFilterId("Twin", found), 0);
}

TEST_F(VelmDatabase, TheThousandFirstFilterSharesItsIdWithTheFirstUnknownOne)
{
    std::string content;
    for (int pos = 0; pos <= 1000; ++pos) {
        content += wxString::Format("%04d=Filter %d\n", pos, pos).ToStdString();
    }
    _directory.Write("ex_filters.ini", content);
    VELM_Database db = Load();
    EXPECT_EQ(db.GetNumExFilterDescs(), 1001u);
    EXPECT_EQ(db.GetExFilterDesc(999), "Filter 999");
    bool found = true;
    EXPECT_EQ(db.GetExFilterId("Foreign", found), 1000);
    EXPECT_FALSE(found);
    EXPECT_EQ(db.GetExFilterId("Filter 1000", found), 1000);
    EXPECT_TRUE(found);
    EXPECT_EQ(db.GetExFilterDesc(1000), "Foreign");
}

TEST_F(VelmDatabase, AReloadKeepsUnknownMarkersAndForgetsUnknownFilters)
{
    VELM_Database db = Load();
    bool found = false;
    db.GetMarkerId("Old marker", found);
    db.GetExFilterId("Old filter", found);
    db.ReloadDB(_directory.GetPath());
    EXPECT_EQ(db.GetMarkerName(1000), "Old marker");
    EXPECT_EQ(db.GetMarkerId("New marker", found), 1001);
    EXPECT_EQ(db.GetExFilterId("New filter", found), 1000);
    EXPECT_EQ(db.GetExFilterDesc(1000), "New filter");
}

TEST_F(VelmDatabase, APositionGivesItsFilterAndAnEmptyOneThrows)
{
    VELM_Database const db = Load();
    EXPECT_EQ(db.GetExFilterDescByPos(10), "Empty");
    EXPECT_EQ(db.GetEmFilterDescByPos(0), "LP 515");
    auto const message = [&](auto call) {
        try {
            call();
        } catch (VELM_DBError const & error) {
            return error.GetMessage();
        }
        return wxString("did not throw");
    };
    EXPECT_EQ(message([&] { db.GetExFilterDescByPos(4); }),
              "Description of position #\"4\" in excitation filter revolver not found in database.");
    EXPECT_EQ(message([&] { db.GetEmFilterDescByPos(-1); }),
              "Description of position #\"-1\" in emission filter revolver not found in database.");
}

TEST_F(VelmDatabase, APositionOfAnUnknownFilterHasNoDescription)
{
    VELM_Database db = Load();
    bool found = false;
    db.GetExFilterId("Foreign", found);
    EXPECT_THROW(db.GetExFilterDescByPos(1000), VELM_DBError);
}

TEST_F(VelmDatabase, CopiesAreIndependent)
{
    VELM_Database const db = Load();
    VELM_Database copy = db;
    bool found = false;
    EXPECT_EQ(copy.GetExFilterId("Foreign", found), 1000);
    EXPECT_EQ(copy.GetExFilterDesc(2), "BP 546");
    VELM_Database other = db;
    EXPECT_EQ(other.GetExFilterId("Another", found), 1000);
    other = copy;
    EXPECT_EQ(other.GetExFilterDesc(1000), "Foreign");
}

TEST_F(VelmDatabase, TextsOutsideAsciiReadAlikeInAllFiles)
{
    _directory.Write("ex_filters.ini", "1=Gr\xC3\xBCn\n");
    _directory.Write("markers.ini", "Gr\xC3\xBCn\n0\n0\n");
    VELM_Database const db = Load();
    EXPECT_EQ(db.GetExFilterDesc(0), wxString::FromUTF8("Gr\xC3\xBCn"));
    EXPECT_EQ(db.GetMarkerName(0), db.GetExFilterDesc(0));
}

TEST(VelmFilterSubstitution, UnattendedThrowsWithTheFiltersName)
{
    std::vector<VELM_FilterInfo> const mounted = {{"BP 480", 1}};
    try {
        detail::ChooseFilterSubstitute(mounted, detail::EM_FILTER_WORDS, "LP 700");
        FAIL() << "did not throw";
    } catch (VELM_DBError const & error) {
        EXPECT_EQ(error.GetMessage(), "No substitution can be chosen for emission filter 'LP 700'.");
    }
}

} // namespace velm::test
