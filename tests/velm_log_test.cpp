#include "velm_log.h"

#include "support/log_recorder.h"
#include "support/temp_directory.h"
#include "velm_error.h"
#include "velm_log_macros.h"

#include <wx/textctrl.h>

namespace velm::test {

// What a target was given, as one text: records with their function's name.
class Sink : public wxLog {
  public:
    explicit Sink(std::string & out) : _out(out) {}
    ~Sink() override { _out += "(gone)"; }
    void Flush() override { _out += "(flush)"; }

  protected:
    void DoLogRecord(wxLogLevel level, wxString const & text, wxLogRecordInfo const & info) override
    {
        _out += std::to_string(level) + "[" + info.func + "]" + std::string(text.utf8_str()) + ";";
    }

  private:
    std::string & _out;
};

// Every operation of Log works on the process's one sink; each test gets a fresh one, and the log that was
// active before comes back at the end.
class LogTest : public testing::Test {
  protected:
    LogTest() : _before(wxLog::SetActiveTarget(new Sink(_default)))
    {
        Log::Initialize();
        _default.clear(); // the toolkit flushes the log that it had active
        Log::SetShowDebug(false);
        Log::SetDebugLevel(-1);
    }

    ~LogTest() override
    {
        delete wxLog::SetActiveTarget(_before);
        Log::SetShowDebug(false);
        Log::SetDebugLevel(-1);
    }

    std::string _default;
    std::string _a;
    std::string _b;

  private:
    wxLog * _before;
};

TEST(Log, GetBeforeInitializeThrows)
{
    try {
        Log::Get();
        FAIL() << "did not throw";
    } catch (VELM_Error const & error) {
        EXPECT_EQ(error.GetMessage(), "velm::Log::Get: Target does not exist. Call Log::Initialize()!");
    }
}

TEST(Log, ErrorBeforeInitializeGoesToWhateverTheToolkitHadActive)
{
    LogRecorder log;
    velm::Log::Error("lost");
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{Error("lost")}));
    EXPECT_EQ(log.Lines().front().function, "velm::Log::Error");
}

TEST_F(LogTest, OperationsLogAtTheirLevelWithTheirName)
{
    Log::Error("e");
    Log::Warning("w");
    Log::Message("m");
    EXPECT_EQ(_default, "1[velm::Log::Error]e;2[velm::Log::Warning]w;3[velm::Log::Message]m;");
}

TEST_F(LogTest, TheTextIsAFormatSoADoubledPercentIsOne)
{
    Log::Message("50%%");
    EXPECT_EQ(_default, "3[velm::Log::Message]50%;");
}

TEST_F(LogTest, WithShowDebugOffNothingPassesDebugOrTrace)
{
    Log::SetDebugLevel(100);
    Log::Debug("d");
    Log::Trace("t");
    Log::Trace(0, "t0");
    EXPECT_EQ(_default, "");
}

TEST_F(LogTest, AtTheInitialLevelOnlyTraceWithoutALevelPrints)
{
    Log::SetShowDebug(true);
    Log::Trace(0, "t0");
    Log::Trace("t");
    Log::Debug("d");
    EXPECT_EQ(_default, "3[velm::Log::Trace]t;3[velm::Log::Debug]d;");
}

TEST_F(LogTest, TracePassesUpToTheDebugLevel)
{
    Log::SetShowDebug(true);
    Log::SetDebugLevel(5);
    Log::Trace(5, "five");
    Log::Trace(6, "six");
    EXPECT_EQ(_default, "3[velm::Log::Trace]five;");
    EXPECT_EQ(Log::GetDebugLevel(), 5);
    EXPECT_TRUE(Log::GetShowDebug());
}

TEST_F(LogTest, ActiveTargetsAreEachFollowedByABar)
{
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "Default|");
    Log::Get()->AddNewTarget("File", new Sink(_a), true);
    Log::Get()->AddNewTarget("Off", new Sink(_b), false);
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "Default|File|");
    Log::Get()->ActivateOnlyTargets("");
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "");
}

TEST_F(LogTest, RecordsReachOnlyActiveTargets)
{
    Log::Get()->AddNewTarget("A", new Sink(_a), true);
    Log::Get()->AddNewTarget("B", new Sink(_b), false);
    Log::Message("x");
    EXPECT_EQ(_a, "3[velm::Log::Message]x;");
    EXPECT_EQ(_b, "");
    EXPECT_EQ(_default, "3[velm::Log::Message]x;");
}

// What a target was given by each of the three ways of forwarding.
class RawSink : public wxLog {
  public:
    explicit RawSink(std::vector<std::string> & out) : _out(out) {}

  protected:
    void DoLogRecord(wxLogLevel level, wxString const & text, wxLogRecordInfo const & info) override
    {
        _out.push_back("record " + std::to_string(level) + " " + std::string(text.utf8_str()) + " " +
                       std::string(info.component) + " " + std::to_string(info.line));
    }
    void DoLogTextAtLevel(wxLogLevel level, wxString const & text) override
    {
        _out.push_back("at level " + std::to_string(level) + " " + std::string(text.utf8_str()));
    }
    void DoLogText(wxString const & text) override { _out.push_back("text " + std::string(text.utf8_str())); }

  private:
    std::vector<std::string> & _out;
};

TEST_F(LogTest, EveryFormOfALineReachesTheTargetsUnchangedInTheirOrder)
{
    std::vector<std::string> lines;
    Log::Get()->AddNewTarget("A", new RawSink(lines), true);
    Log::Get()->AddNewTarget("Off", new RawSink(lines), false);
    Log::Get()->AddNewTarget("B", new RawSink(lines), true);
    Log::Get()->ActivateTarget("Default", false); // it takes records only
    wxLogRecordInfo const info("file.cpp", 12, "function", "component");
    Log::Get()->LogRecord(wxLOG_Info, "a %s", info);
    Log::Get()->LogTextAtLevel(wxLOG_Warning, "b");
    Log::Get()->LogText("c");
    EXPECT_EQ(lines, (std::vector<std::string>{"record 5 a %s component 12", "record 5 a %s component 12",
                                               "at level 2 b", "at level 2 b", "text c", "text c"}));
}

TEST_F(LogTest, ARecordNamesItsSourceFileAndTheToolkitsComponent)
{
    class Origin : public wxLog {
      public:
        std::string file;
        std::string component;

      protected:
        void DoLogRecord(wxLogLevel, wxString const &, wxLogRecordInfo const & info) override
        {
            file = info.filename;
            component = info.component;
        }
    };
    auto * const origin = new Origin;
    Log::Get()->AddNewTarget("Origin", origin, true);
    Log::Message("x");
    EXPECT_THAT(origin->file, testing::EndsWith("velm_log.cpp"));
    EXPECT_EQ(origin->component, wxLOG_COMPONENT);
}

TEST_F(LogTest, FlushReachesInactiveTargetsToo)
{
    Log::Get()->AddNewTarget("A", new Sink(_a), false);
    Log::Get()->AddNewTarget("Null", nullptr, true);
    Log::Get()->Flush();
    EXPECT_EQ(_a, "(flush)");
    EXPECT_EQ(_default, "(flush)");
}

TEST_F(LogTest, ATargetWithANullLogCanBeActiveWithoutHarm)
{
    Log::Get()->AddNewTarget("Null", nullptr, true);
    Log::Message("x");
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "Default|Null|");
    EXPECT_EQ(_default, "3[velm::Log::Message]x;");
}

TEST_F(LogTest, ATargetNameThatIsTakenThrows)
{
    try {
        Log::Get()->AddNewTarget("Default", nullptr, true);
        FAIL() << "did not throw";
    } catch (VELM_Error const & error) {
        EXPECT_EQ(error.GetMessage(), "velm::LogMultiTarget::AddNewTarget: Target Default already exists.");
    }
}

TEST_F(LogTest, NamesAreComparedCaseSensitively)
{
    EXPECT_NO_THROW(Log::Get()->AddNewTarget("default", nullptr, false));
}

TEST_F(LogTest, UnknownNamesWarnInActivateAndDelete)
{
    Log::Get()->ActivateTarget("None", true);
    Log::Get()->DeleteTarget("None");
    EXPECT_EQ(_default,
              "2[velm::Log::Warning]velm::LogMultiTarget::ActivateTarget: Target None does not exist.;"
              "2[velm::Log::Warning]velm::LogMultiTarget::DeleteTarget: Target None does not exist.;");
}

TEST_F(LogTest, ActivateTargetSwitchesOneTarget)
{
    Log::Get()->AddNewTarget("A", new Sink(_a), false);
    Log::Get()->ActivateTarget("A", true);
    Log::Get()->ActivateTarget("Default", false);
    Log::Message("x");
    EXPECT_EQ(_a, "3[velm::Log::Message]x;");
    EXPECT_EQ(_default, "");
}

TEST_F(LogTest, DeleteOfTheFirstOfThreePutsTheThirdInTheFirstPlace)
{
    Log::Get()->AddNewTarget("A", new Sink(_a), true);
    Log::Get()->AddNewTarget("B", new Sink(_b), true);
    Log::Get()->DeleteTarget("Default");
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "B|A|");
    EXPECT_EQ(_default, "(gone)");
}

TEST_F(LogTest, ReplaceTargetDestroysTheOldLog)
{
    Log::Get()->AddNewTarget("A", new Sink(_a), true);
    Log::Get()->ReplaceTarget("A", new Sink(_b), false);
    EXPECT_EQ(_a, "(gone)");
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "Default|");
}

TEST_F(LogTest, ReplaceOfAnUnknownTargetThrows)
{
    try {
        Log::Get()->ReplaceTarget("None", nullptr, true);
        FAIL() << "did not throw";
    } catch (VELM_Error const & error) {
        EXPECT_EQ(error.GetMessage(), "velm::LogMultiTarget::ReplaceTarget: Target None does not exist.");
    }
}

TEST_F(LogTest, ActivateOnlyTargetsLooksForNamesAnywhereInTheText)
{
    Log::Get()->AddNewTarget("Def", new Sink(_a), false);
    Log::Get()->AddNewTarget("Other", new Sink(_b), true);
    Log::Get()->ActivateOnlyTargets("only Default please");
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "Default|Def|");
}

TEST_F(LogTest, DestroyingTheSinkDestroysEveryTargetsLog)
{
    {
        LogMultiTarget sink;
        sink.AddNewTarget("A", new Sink(_a), true);
        sink.AddNewTarget("B", new Sink(_b), false);
    }
    EXPECT_EQ(_a, "(gone)");
    EXPECT_EQ(_b, "(gone)");
}

TEST_F(LogTest, AFileTargetGetsStampedLines)
{
    TempDirectory const temp;
    EXPECT_TRUE(Log::AddFileTarget("File", temp / "log.txt", "w", "File", "Default"));
    EXPECT_EQ(_default, "3[velm::Log::Message]Messages are being logged into " +
                            std::string((temp / "log.txt").utf8_str()) + " file.;");
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "File|");
    Log::Error("first");
    Log::Warning("second");
    Log::Get()->DeleteTarget("File");
    std::string const content = temp.Read("log.txt");
    EXPECT_THAT(content, testing::MatchesRegex("[0-9:]+[^\n]*Error: first\n[0-9:]+[^\n]*Warning: second\n"));
}

TEST_F(LogTest, AFileThatCannotBeOpenedLeavesASilentTargetAndTheFallback)
{
    TempDirectory const temp;
    EXPECT_FALSE(Log::AddFileTarget("File", temp / "none/log.txt", "w", "File", "Default"));
    EXPECT_EQ(_default, "2[velm::Log::Warning]velm::Log::AddFileTarget: Log file '" +
                            std::string((temp / "none/log.txt").utf8_str()) +
                            "' can't be opened. Using 'Default' log targets instead.;");
    EXPECT_EQ(Log::Get()->GetActiveTargets(), "Default|");
    EXPECT_NO_THROW(Log::Get()->ReplaceTarget("File", nullptr, true)) << "the name must exist";
}

TEST_F(LogTest, APercentInAFileNameIsLoggedAsItStands)
{
    TempDirectory const temp;
    Log::AddFileTarget("File", temp / "100%s.txt", "w", "Default", "Default");
    EXPECT_EQ(_default, "3[velm::Log::Message]Messages are being logged into " +
                            std::string((temp / "100%s.txt").utf8_str()) + " file.;");
}

namespace {

struct Nested {
    static char const * Name() { return VELM_FUNCTION; }
    wxString const & Reference(wxString const & text) { return _name = VELM_FUNCTION, text; }
    std::vector<std::pair<int, long>> Templates() { return _name = VELM_FUNCTION, decltype(Templates())(); }

    char const * _name = nullptr;
};

} // namespace

TEST(LogMacros, TheFunctionNameIsQualifiedWithoutResultAndParameters)
{
    EXPECT_THAT(Nested::Name(), testing::EndsWith("::Nested::Name"));
    Nested nested;
    nested.Reference("x");
    EXPECT_THAT(nested._name, testing::EndsWith("::Nested::Reference"));
    nested.Templates();
    EXPECT_THAT(nested._name, testing::EndsWith("::Nested::Templates"));
    EXPECT_THAT(nested._name, testing::StartsWith("velm::test::"));
}

TEST(LogMacros, AnExceptionsTextSurvivesWhateverItsEncoding)
{
    EXPECT_EQ(detail::ExceptionText(VELM_Error(wxString::FromUTF8("\xC2\xB5m"))),
              wxString::FromUTF8("\xC2\xB5m"));
    EXPECT_EQ(detail::ExceptionText(std::runtime_error("\xC2\xB5m")), wxString::FromUTF8("\xC2\xB5m"));
    EXPECT_EQ(detail::ExceptionText(std::runtime_error("\xB5m")), wxString::FromUTF8("\xC2\xB5m"));
}

} // namespace velm::test
