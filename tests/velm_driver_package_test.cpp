#include "velm_driver_package.h"

#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/stub_rig.h"

namespace velm::test {

namespace {

class DriverPackage : public testing::Test {
  protected:
    DriverPackage() { Rig() = StubRig(); }

    bool CreateAndInit()
    {
        return ConfigFile().With("[SecA]\nName=StubA\n", [&](wxFileConfig & config) {
            config.SetPath("/SecA");
            return package.CreateAndInitDriver(nullptr, config);
        });
    }

    static std::function<void()> Throwing(char const * text)
    {
        return [text] { throw VELM_StageControlError(text); };
    }

    LogRecorder log;
    StubPackage package{"StubA"};
};

using Strings = std::vector<std::string>;
using Lines = std::vector<LogLine>;

} // namespace

TEST_F(DriverPackage, CreatesNamesAndInitializesItsDriver)
{
    EXPECT_TRUE(CreateAndInit());
    EXPECT_EQ(log.Lines(),
              (Lines{Message("Building 'StubA' driver..."), Message("Driver info: Stub driver"),
                     Message("Driver was successfully created. Initializing..."), Message("Success.")}));
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"StubA.CreateDriver(/SecA)", "driver.InitDriver()"}));
    ASSERT_NE(package.GetDriver(), nullptr);
    EXPECT_EQ(package.GetDriver()->_name, "StubA");
    EXPECT_TRUE(package.GetDriver()->_initialized);
}

TEST_F(DriverPackage, ADriverThatIsInitializedFromTheStartIsNotInitializedAgain)
{
    class Ready : public StubPackage {
      public:
        Ready() : StubPackage("Ready") {}
        void CreateDriver(VELM_Database const *, wxFileConfig &) override
        {
            _driver = new StubDriver;
            _driver->_initialized = true;
        }
    } ready;
    wxFileConfig config(wxEmptyString, wxEmptyString, wxEmptyString, wxEmptyString,
                        wxCONFIG_USE_RELATIVE_PATH);
    EXPECT_TRUE(ready.CreateAndInitDriver(nullptr, config));
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(DriverPackage, ASecondCallFindsTheDriverWorking)
{
    CreateAndInit();
    log.Clear();
    Rig().TakeCalls();
    EXPECT_TRUE(CreateAndInit());
    EXPECT_EQ(log.Lines(), (Lines{Message("velm::VELM_DriverPackage::CreateAndInitDriver: Driver already "
                                          "created and initialized.")}));
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(DriverPackage, AFailedInitializationDeletesTheDriver)
{
    Rig().on_call["driver.InitDriver"] = Throwing("no power");
    EXPECT_FALSE(CreateAndInit());
    EXPECT_EQ(log.Lines(), (Lines{Message("Building 'StubA' driver..."), Message("Driver info: Stub driver"),
                                  Message("Driver was successfully created. Initializing..."),
                                  Error("HW error: no power"), Message("Driver does not work!")}));
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"StubA.CreateDriver(/SecA)", "driver.InitDriver()", "driver.~()"}));
    EXPECT_EQ(package.GetDriver(), nullptr);
}

TEST_F(DriverPackage, AfterAFailureASecondCallFailsWithoutTouchingTheHardware)
{
    Rig().on_call["driver.InitDriver"] = Throwing("no power");
    CreateAndInit();
    Rig() = StubRig();
    log.Clear();
    EXPECT_FALSE(CreateAndInit());
    EXPECT_EQ(log.Lines(),
              (Lines{Error("Driver does not work. Previous attempt to initialize the driver failed.")}));
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(DriverPackage, AFailedCreationLeavesNoDriver)
{
    Rig().on_call["StubA.CreateDriver"] = Throwing("no port");
    EXPECT_FALSE(CreateAndInit());
    EXPECT_EQ(log.Lines(), (Lines{Message("Building 'StubA' driver..."), Error("HW error: no port"),
                                  Error("Creating HWDriver for 'StubA' failed.")}));
    EXPECT_EQ(package.GetDriver(), nullptr);
}

TEST_F(DriverPackage, WhatAFailedCreationLeftBehindIsNotDeleted)
{
    StubDriver half_made;
    class Failing : public StubPackage {
      public:
        explicit Failing(VELM_HWDriver * driver) : StubPackage("Failing") { _driver = driver; }
        void CreateDriver(VELM_Database const *, wxFileConfig &) override { throw VELM_HWError("no port"); }
    } failing(&half_made);
    wxFileConfig config(wxEmptyString, wxEmptyString, wxEmptyString, wxEmptyString,
                        wxCONFIG_USE_RELATIVE_PATH);
    EXPECT_FALSE(failing.CreateAndInitDriver(nullptr, config));
    EXPECT_EQ(failing.GetDriver(), nullptr);
    EXPECT_TRUE(Rig().TakeCalls().empty());
}

TEST_F(DriverPackage, ACreationThatGivesNoDriverIsAFailure)
{
    class Empty : public StubPackage {
      public:
        Empty() : StubPackage("Empty") {}
        void CreateDriver(VELM_Database const *, wxFileConfig &) override {}
    } empty;
    wxFileConfig config(wxEmptyString, wxEmptyString, wxEmptyString, wxEmptyString,
                        wxCONFIG_USE_RELATIVE_PATH);
    EXPECT_FALSE(empty.CreateAndInitDriver(nullptr, config));
    EXPECT_EQ(log.Lines(), (Lines{Message("Building 'Empty' driver..."), Error("HW error: No driver object."),
                                  Error("Creating HWDriver for 'Empty' failed.")}));
}

TEST_F(DriverPackage, OtherExceptionsPassToTheCallerAndCountAsAnAttempt)
{
    Rig().on_call["driver.InitDriver"] = [] { throw std::runtime_error("bug"); };
    EXPECT_THROW(CreateAndInit(), std::runtime_error);
    Rig() = StubRig();
    log.Clear();
    EXPECT_FALSE(CreateAndInit());
    EXPECT_EQ(log.Lines(),
              (Lines{Error("Driver does not work. Previous attempt to initialize the driver failed.")}));
}

TEST_F(DriverPackage, ItsDriverGoesWithIt)
{
    {
        StubPackage gone("StubA");
        wxFileConfig config(wxEmptyString, wxEmptyString, wxEmptyString, wxEmptyString,
                            wxCONFIG_USE_RELATIVE_PATH);
        gone.CreateAndInitDriver(nullptr, config);
        Rig().TakeCalls();
    }
    EXPECT_EQ(Rig().TakeCalls(), (Strings{"StubA.~()", "driver.~()"}));
}

} // namespace velm::test
