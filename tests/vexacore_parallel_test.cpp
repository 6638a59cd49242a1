#include "vexacore/parallel.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

namespace velm::test {

using vexa::OrderedWork;
using vexa::ParallelFor;
using vexa::RunInOrder;

// Gives every test the number of threads it asks for, whatever the machine has.
class Parallel : public testing::Test {
  protected:
    ~Parallel() override { vexa::SetThreadCount(0); }
};

// More items than anybody can do: what ends nevertheless was ended by an exception.
constexpr std::size_t without_end = std::size_t{1} << 60;

// Lets a number of threads go on only when all of them have arrived, so that it proves that they run at once.
class MeetingPoint {
  public:
    explicit MeetingPoint(unsigned int expected) : _missing(expected) {}

    // False when the others didn't come within a time that no healthy machine needs.
    bool Arrive()
    {
        std::unique_lock lock(_mutex);
        if (--_missing == 0) {
            _complete.notify_all();
        }
        return _complete.wait_for(lock, std::chrono::seconds(60), [&] { return _missing == 0; });
    }

  private:
    std::mutex _mutex;
    std::condition_variable _complete;
    unsigned int _missing;
};

TEST_F(Parallel, UsesAsManyThreadsAsTheProcessHasCoresUnlessToldOtherwise)
{
    unsigned int const all = vexa::GetThreadCount();
    EXPECT_GE(all, 1U);
    EXPECT_LE(all, std::max(std::thread::hardware_concurrency(), 1U));
    vexa::SetThreadCount(7);
    EXPECT_EQ(vexa::GetThreadCount(), 7U);
    vexa::SetThreadCount(0);
    EXPECT_EQ(vexa::GetThreadCount(), all);
}

TEST_F(Parallel, EveryItemIsDoneOnceForAnyNumberOfThreads)
{
    for (unsigned int const threads : {1U, 2U, 5U, 64U}) {
        vexa::SetThreadCount(threads);
        for (std::size_t const count : {0U, 1U, 2U, 63U, 1000U}) {
            std::vector<int> done(count, 0);
            ParallelFor(count, [&](std::size_t i) { ++done[i]; });
            EXPECT_EQ(done, std::vector<int>(count, 1)) << threads;
        }
    }
}

TEST_F(Parallel, ItemsRunAtTheSameTime)
{
    vexa::SetThreadCount(4);
    MeetingPoint meeting(4);
    std::atomic<int> met{0};
    ParallelFor(4, [&](std::size_t) { met += meeting.Arrive() ? 1 : 0; });
    EXPECT_EQ(met, 4);
}

TEST_F(Parallel, OneThreadMeansTheCallersOwn)
{
    vexa::SetThreadCount(1);
    ParallelFor(100, [](std::size_t) {
        static thread_local int const here = 0;
        static int const * const caller = &here;
        EXPECT_EQ(&here, caller);
    });
}

TEST_F(Parallel, FirstExceptionComesOutWhenNothingRunsAnyMore)
{
    for (unsigned int const threads : {1U, 4U}) {
        vexa::SetThreadCount(threads);
        std::atomic<int> running{0};
        try {
            ParallelFor(without_end, [&](std::size_t i) {
                ++running;
                bool const fails = i == 10;
                --running;
                if (fails) {
                    throw std::runtime_error("item 10");
                }
            });
            FAIL() << "nothing came out";
        } catch (std::runtime_error const & e) {
            EXPECT_STREQ(e.what(), "item 10");
        }
        EXPECT_EQ(running, 0);
    }
}

TEST_F(Parallel, CallsWithinCallsEndAndDoAll)
{
    vexa::SetThreadCount(3);
    std::atomic<int> done{0};
    ParallelFor(20, [&](std::size_t) {
        ParallelFor(10, [&](std::size_t) { ParallelFor(5, [&](std::size_t) { ++done; }); });
    });
    EXPECT_EQ(done, 20 * 10 * 5);
}

TEST_F(Parallel, SeveralThreadsMayCallAtOnce)
{
    vexa::SetThreadCount(3);
    std::array<std::vector<std::size_t>, 6> results;
    std::vector<std::thread> callers;
    for (auto & result : results) {
        callers.emplace_back([&result] {
            for (int repeat = 0; repeat < 50; ++repeat) {
                result.assign(100, 0);
                ParallelFor(result.size(), [&](std::size_t i) { result[i] = i; });
            }
        });
    }
    for (std::thread & caller : callers) {
        caller.join();
    }
    std::vector<std::size_t> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    for (auto const & result : results) {
        EXPECT_EQ(result, expected);
    }
}

TEST_F(Parallel, ItemsMadeAtOnceAreTakenInOrderFromTheirSlots)
{
    for (unsigned int const threads : {1U, 2U, 5U}) {
        vexa::SetThreadCount(threads);
        for (std::size_t const slot_count : {1U, 3U, 8U}) {
            std::vector<std::size_t> slots(slot_count, 1000);
            std::vector<std::size_t> taken;
            OrderedWork work;
            work.count = 300;
            work.slots = slot_count;
            work.make = [&](std::size_t item, std::size_t slot) {
                EXPECT_EQ(slots[slot], 1000U) << "the slot is still in use";
                slots[slot] = item;
            };
            work.take = [&](std::size_t item, std::size_t slot) {
                EXPECT_EQ(slots[slot], item);
                taken.push_back(slots[slot]);
                slots[slot] = 1000;
            };
            RunInOrder(work);
            std::vector<std::size_t> expected(work.count);
            std::iota(expected.begin(), expected.end(), 0);
            EXPECT_EQ(taken, expected);
        }
    }
}

TEST_F(Parallel, ItemsAreMadeWhileOthersAreTaken)
{
    vexa::SetThreadCount(2);
    MeetingPoint meeting(2);
    std::atomic<int> met{0};
    OrderedWork work;
    work.count = 2;
    work.slots = 2;
    work.make = [&](std::size_t item, std::size_t) { met += item == 1 && meeting.Arrive() ? 1 : 0; };
    work.take = [&](std::size_t item, std::size_t) { met += item == 0 && meeting.Arrive() ? 1 : 0; };
    RunInOrder(work);
    EXPECT_EQ(met, 2);
}

TEST_F(Parallel, FailureToMakeOrToTakeEndsAnOrderedRun)
{
    for (unsigned int const threads : {1U, 4U}) {
        vexa::SetThreadCount(threads);
        for (bool const in_make : {false, true}) {
            std::size_t taken = 0;
            OrderedWork work;
            work.count = without_end;
            work.slots = 6;
            work.make = [&](std::size_t item, std::size_t) {
                if (in_make && item == 50) {
                    throw std::runtime_error("make");
                }
            };
            work.take = [&](std::size_t item, std::size_t) {
                ++taken;
                if (!in_make && item == 50) {
                    throw std::runtime_error("take");
                }
            };
            try {
                RunInOrder(work);
                FAIL() << "nothing came out";
            } catch (std::runtime_error const & e) {
                EXPECT_STREQ(e.what(), in_make ? "make" : "take");
            }
            EXPECT_LE(taken, 51U);
        }
    }
}

} // namespace velm::test
