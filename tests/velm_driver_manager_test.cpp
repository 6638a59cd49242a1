#include "velm_driver_manager.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"
#include "support/plugins.h"
#include "support/stub_rig.h"

namespace velm::test {

namespace {

class DriverManager : public testing::Test {
  protected:
    DriverManager() { Rig() = StubRig(); }
    ~DriverManager() override { VELM_DriverManager::DeleteInstance(); }

    wxString Install(wxString const & plugin, wxString const & copy)
    {
        return InstallPlugin(directory, plugin, copy);
    }

    VELM_DriverManager & Scan()
    {
        log.Clear();
        return *VELM_DriverManager::CreateInstance(directory.GetPath(), plugin_entry);
    }

    // The lines of a scan: the given ones between the opening and the closing ones.
    std::vector<LogLine> ScanLines(std::vector<LogLine> inner, int loaded) const
    {
        inner.insert(inner.begin(), Message("------------Looking for drivers in " +
                                            std::string(directory.GetPath().utf8_str()) + "-------------"));
        inner.push_back(Message(std::to_string(loaded) + " drivers loaded"));
        inner.push_back(Message("--------------------------------------------------"));
        return inner;
    }

    static LogLine Loading(wxString const & path) { return Message(Text("Loading %s", path)); }
    static LogLine LoadedAs(std::string const & name)
    {
        return Message("Driver loaded correctly as '" + name + "'");
    }

    static std::string Text(char const * format, wxString const & path)
    {
        return std::string(wxString::Format(format, path).utf8_str());
    }

    TempDirectory directory;
    LogRecorder log;
};

} // namespace

TEST_F(DriverManager, LoadsALibraryAndKeepsItsPackageByName)
{
    wxString const path = Install("plugin_stub_a", "a");
    VELM_DriverManager & manager = Scan();
    EXPECT_EQ(log.Lines(), ScanLines({Loading(path), LoadedAs("StubA")}, 1));
    ASSERT_NE(manager.GetPackage("StubA"), nullptr);
    EXPECT_EQ(manager.GetPackage("StubA")->GetName(), "StubA");
}

TEST_F(DriverManager, APackageIsFoundOnlyByItsExactName)
{
    Install("plugin_stub_a", "a");
    VELM_DriverManager & manager = Scan();
    EXPECT_EQ(manager.GetPackage("stuba"), nullptr);
    EXPECT_EQ(manager.GetPackage("Stub"), nullptr);
    EXPECT_EQ(manager.GetPackage(""), nullptr);
}

TEST_F(DriverManager, ADirectoryThatDoesNotExistGivesNoDrivers)
{
    VELM_DriverManager & manager = *VELM_DriverManager::CreateInstance(directory / "nowhere", plugin_entry);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<LogLine>{
            Message(Text("------------Looking for drivers in %s-------------", directory / "nowhere")),
            Message("0 drivers loaded"), Message("--------------------------------------------------")}));
    EXPECT_EQ(manager.GetPackage("StubA"), nullptr);
}

TEST_F(DriverManager, SubdirectoriesAreSearchedAndHiddenAndForeignFilesAreNot)
{
    wxString const path = Install("plugin_stub_a", "deep/er/a");
    Install("plugin_stub_b", ".hidden");
    directory.Write("readme.txt", "not a library");
    directory.Write("old.so.1", "not a library");
    Scan();
    EXPECT_EQ(log.Lines(), ScanLines({Loading(path), LoadedAs("StubA")}, 1));
}

TEST_F(DriverManager, OfTwoLibrariesWithOneNameTheFirstInScanOrderStays)
{
    // A directory's own files come behind those of its subdirectories.
    wxString const first = Install("plugin_stub_a", "sub/twin");
    wxString const second = Install("plugin_stub_a", "twin");
    VELM_DriverManager & manager = Scan();
    EXPECT_EQ(log.Lines(), ScanLines({Loading(first), LoadedAs("StubA"), Loading(second),
                                      Error("Driver with name 'StubA' already exists. Skipping driver.")},
                                     1));
    EXPECT_NE(manager.GetPackage("StubA"), nullptr);
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"StubA.~()"}));
}

TEST_F(DriverManager, APackageWithAnEmptyNameIsSkipped)
{
    wxString const path = Install("plugin_empty_name", "a");
    VELM_DriverManager & manager = Scan();
    EXPECT_EQ(log.Lines(),
              ScanLines({Loading(path), Error("Driver returned empty name. Skipping driver.")}, 0));
    EXPECT_EQ(manager.GetPackage(""), nullptr);
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{".~()"}));
}

TEST_F(DriverManager, ALibraryWithoutTheEntryFunctionIsSkippedAndTheScanGoesOn)
{
    wxString const other = Install("plugin_no_entry", "sub/other");
    wxString const good = Install("plugin_stub_a", "good");
    Scan();
    EXPECT_EQ(log.Lines(),
              ScanLines({Loading(other),
                         Error(Text("velm::VELM_DriverManager::LoadDriverPackage: Unable to find symbol "
                                    "velm_driver_entry in dynamic library %s",
                                    other)),
                         Loading(good), LoadedAs("StubA")},
                        1));
}

TEST_F(DriverManager, ALibraryThatIsDroppedIsUnloaded)
{
    auto const is_mapped = [](wxString const & path) {
        return ReadFile("/proc/self/maps").find(std::string(path.utf8_str())) != std::string::npos;
    };
    wxString const dropped = Install("plugin_no_entry", "dropped");
    wxString const kept = Install("plugin_stub_a", "kept");
    Scan();
    EXPECT_FALSE(is_mapped(dropped));
    EXPECT_TRUE(is_mapped(kept));
    VELM_DriverManager::DeleteInstance();
    EXPECT_TRUE(is_mapped(kept)) << "a driver's library stays to the end of the process";
}

TEST_F(DriverManager, AnEntryFunctionThatGivesNothingLeavesNoErrorAndNoEntry)
{
    wxString const path = Install("plugin_refusing", "a");
    Scan();
    EXPECT_EQ(log.Lines(), ScanLines({Loading(path)}, 0));
}

TEST_F(DriverManager, AnEntryFunctionThatThrowsIsLoggedAndTheScanGoesOn)
{
    wxString const throwing = Install("plugin_throwing_own", "sub/throwing");
    wxString const good = Install("plugin_stub_a", "good");
    Scan();
    EXPECT_EQ(log.Lines(),
              ScanLines({Loading(throwing),
                         Error(Text("velm::VELM_DriverManager::LoadDriverPackage: Exception caught while "
                                    "trying to load driver %s: own words",
                                    throwing)),
                         Loading(good), LoadedAs("StubA")},
                        1));
}

TEST_F(DriverManager, AnEntryFunctionThatThrowsSomethingElseIsLogged)
{
    wxString const path = Install("plugin_throwing_number", "a");
    Scan();
    EXPECT_EQ(log.Lines(),
              ScanLines({Loading(path), Error(Text("velm::VELM_DriverManager::LoadDriverPackage: Unknown "
                                                   "exception caught while trying to load driver %s",
                                                   path))},
                        0));
}

TEST_F(DriverManager, APackageThatThrowsWhenAskedForItsNameIsLoggedAndTheScanGoesOn)
{
    wxString const throwing = Install("plugin_throwing_name", "sub/throwing");
    wxString const good = Install("plugin_stub_a", "good");
    VELM_DriverManager & manager = Scan();
    EXPECT_EQ(log.Lines(),
              ScanLines({Loading(throwing),
                         Error(Text("velm::VELM_DriverManager::LoadAllDrivers: Exception caught while trying "
                                    "to load dynamic library %s: own words",
                                    throwing)),
                         Loading(good), LoadedAs("StubA")},
                        1));
    EXPECT_EQ(manager.GetPackage("Nameless"), nullptr);
}

TEST_F(DriverManager, APackageThatThrowsSomethingElseWhenAskedForItsNameIsLogged)
{
    wxString const path = Install("plugin_throwing_name_number", "a");
    Scan();
    EXPECT_EQ(
        log.Lines(),
        ScanLines({Loading(path), Error(Text("velm::VELM_DriverManager::LoadAllDrivers: Unknown exception "
                                             "caught while trying to load dynamic library %s",
                                             path))},
                  0));
}

TEST_F(DriverManager, AFileThatIsNoLibraryGetsTheLoadersReasonAndItsOwnLine)
{
    wxString const path = directory.Write("text.so", "not a library");
    Scan();
    auto const errors = log.Texts('E');
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_THAT(errors[0], testing::HasSubstr("text.so"));
    EXPECT_EQ(errors[1],
              Text("velm::VELM_DriverManager::LoadDriverPackage: Unable to load dynamic library %s", path));
}

TEST_F(DriverManager, ALibraryThatNeedsAFunctionWhichNobodyHasIsRefusedAtOnce)
{
    wxString const path = Install("plugin_missing_symbol", "a");
    Scan();
    auto const errors = log.Texts('E');
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_THAT(errors[0], testing::HasSubstr("FunctionThatNobodyHas"));
    EXPECT_EQ(errors[1],
              Text("velm::VELM_DriverManager::LoadDriverPackage: Unable to load dynamic library %s", path));
    EXPECT_EQ(log.Lines().back(), Message("--------------------------------------------------"));
}

TEST_F(DriverManager, TheEntryFunctionsNameIsTheApplicationsChoice)
{
    wxString const path = Install("plugin_stub_a", "a");
    log.Clear();
    VELM_DriverManager::CreateInstance(directory.GetPath(), "another_entry");
    EXPECT_EQ(log.Lines(),
              ScanLines({Loading(path),
                         Error(Text("velm::VELM_DriverManager::LoadDriverPackage: Unable to find symbol "
                                    "another_entry in dynamic library %s",
                                    path))},
                        0));
}

TEST_F(DriverManager, TheInstanceIsTheOneThatWasCreatedUntilItIsDeleted)
{
    VELM_DriverManager & manager = Scan();
    EXPECT_EQ(VELM_DriverManager::GetInstance(), &manager);
    VELM_DriverManager::DeleteInstance();
    EXPECT_EQ(VELM_TRIPPED_BY(VELM_DriverManager::GetInstance()), "_instance != 0");
    VELM_DriverManager::DeleteInstance();
}

TEST_F(DriverManager, CreatingTheInstanceAgainDoesNotDeleteTheFirst)
{
    Install("plugin_stub_a", "a");
    std::unique_ptr<VELM_DriverManager> const first(&Scan());
    VELM_DriverManager & second = Scan();
    EXPECT_EQ(VELM_DriverManager::GetInstance(), &second);
    EXPECT_NE(first->GetPackage("StubA"), nullptr);
    EXPECT_NE(first->GetPackage("StubA"), second.GetPackage("StubA"));
}

TEST_F(DriverManager, DeletingTheInstanceDeletesThePackages)
{
    Install("plugin_stub_a", "sub/a");
    Install("plugin_stub_b", "b");
    Scan();
    VELM_DriverManager::DeleteInstance();
    EXPECT_EQ(Rig().TakeCalls(), (std::vector<std::string>{"StubA.~()", "StubB.~()"}));
}

} // namespace velm::test
