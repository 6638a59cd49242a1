#include "sim_faults.h"

#include <stdexcept>

namespace velm::sim::test {

FaultScript Script(std::initializer_list<char const *> lines, std::uint64_t seed = 1)
{
    FaultScript script(seed);
    int i = 0;
    for (char const * const line : lines) {
        script.Add("Fault" + std::to_string(++i), line);
    }
    return script;
}

std::string Refusal(std::string const & line)
{
    FaultScript script;
    try {
        script.Add("Fault3", line);
    } catch (std::invalid_argument const & error) {
        return error.what();
    }
    return {};
}

// The numbers, from 1, of the calls that fail out of so many.
std::vector<int> Struck(FaultScript script, std::string const & operation, int calls)
{
    std::vector<int> numbers;
    for (int i = 1; i <= calls; ++i) {
        if (script.Call(operation)) {
            numbers.push_back(i);
        }
    }
    return numbers;
}

TEST(SimFaults, StrikeAtOneCallFromOneOnOrEverySoMany)
{
    EXPECT_EQ(Struck(Script({"Stage.Move throw at 3"}), "Stage.Move", 9), (std::vector<int>{3}));
    EXPECT_EQ(Struck(Script({"Stage.Move throw from 8"}), "Stage.Move", 9), (std::vector<int>{8, 9}));
    EXPECT_EQ(Struck(Script({"Stage.Move throw every 4"}), "Stage.Move", 9), (std::vector<int>{4, 8}));
    EXPECT_EQ(Struck(Script({"Stage.Move throw at 3"}), "Stage.MoveRel", 9), (std::vector<int>{}));
}

TEST(SimFaults, StrikeByChanceTheSameWayForTheSameSeed)
{
    auto const struck = Struck(Script({"Stage.Move throw p 0.1"}), "Stage.Move", 5000);
    EXPECT_GT(struck.size(), 400u);
    EXPECT_LT(struck.size(), 600u);
    EXPECT_EQ(Struck(Script({"Stage.Move throw p 0.1"}), "Stage.Move", 5000), struck);
    EXPECT_NE(Struck(Script({"Stage.Move throw p 0.1"}, 2), "Stage.Move", 5000), struck);
}

TEST(SimFaults, CarryTheirAmounts)
{
    FaultScript script =
        Script({"ZDrive.Move hang 250 at 1", "ZDrive.Move short -3 at 2", "ZDrive.Move hang at 3"});
    auto fault = script.Call("ZDrive.Move");
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, FaultKind::HANG);
    EXPECT_EQ(fault->amount, 250000.0);
    fault = script.Call("ZDrive.Move");
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, FaultKind::SHORT);
    EXPECT_EQ(fault->amount, -3.0);
    fault = script.Call("ZDrive.Move");
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->amount, Fault::FOR_EVER);
}

TEST(SimFaults, SayWhatHappenedInWhichCall)
{
    FaultScript script = Script({"Camera.GetStatus throw at 1"});
    EXPECT_EQ(script.Call("Camera.GetStatus")->text, "Simulated fault in Camera.GetStatus, call 1");
}

TEST(SimFaults, TheFirstOfTwoLinesWins)
{
    FaultScript script = Script({"Shutter.Open early at 1", "Shutter.Open throw at 1"});
    EXPECT_EQ(script.Call("Shutter.Open")->kind, FaultKind::EARLY);
}

TEST(SimFaults, EveryOperationCanBeMadeToThrow)
{
    EXPECT_EQ(FaultScript::Operations().size(), 29u);
    for (std::string const & operation : FaultScript::Operations()) {
        FaultScript script;
        script.Add("Fault1", operation + " throw at 1");
        EXPECT_EQ(script.Call(operation)->kind, FaultKind::THROW) << operation;
    }
}

TEST(SimFaults, ALineThatMakesNoSenseNamesItsEntryAndSaysWhy)
{
    std::string const start = "Error in the simulated microscope's entry 'Fault3' (";
    struct {
        char const * line;
        char const * why;
    } const cases[] = {
        {"", "the operation is missing"},
        {"Stage.Jump throw at 1", "there is no operation 'Stage.Jump'"},
        {"Stage.Move", "what goes wrong is missing"},
        {"Stage.Move explode at 1", "there is no fault 'explode'"},
        {"Stage.Move drop at 1", "the fault 'drop' doesn't go with Stage.Move"},
        {"Shutter.Open short 1 at 1", "the fault 'short' doesn't go with Shutter.Open"},
        {"Stage.Move throw", "when it strikes is missing"},
        {"Stage.Move throw sometimes", "'sometimes' is not at, from, every or p"},
        {"Stage.Move throw at", "the number of the call is missing or out of range"},
        {"Stage.Move throw at 0", "the number of the call is missing or out of range"},
        {"Stage.Move throw p 1.5", "the chance is missing or out of range"},
        {"Stage.Move short at 1", "by how much it is short is missing or out of range"},
        {"Stage.Move throw at 1 and 2", "'and' is too much"},
    };
    for (auto const & wrong : cases) {
        EXPECT_EQ(Refusal(wrong.line), start + wrong.line + "): " + wrong.why);
    }
}

} // namespace velm::sim::test
