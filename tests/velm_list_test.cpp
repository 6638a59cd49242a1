#include "velm_list.h"

#include "support/assert_recorder.h"
#include "support/log_recorder.h"

namespace velm {

class VELM_Thing {
  public:
    explicit VELM_Thing(long id = -1) : _id(id) {}
    long GetId() const { return _id; }

  private:
    friend class VELM_List<VELM_Thing>;
    long _id;
};

} // namespace velm

namespace velm::test {

using Things = VELM_List<VELM_Thing>;

Things ListOf(std::initializer_list<long> ids)
{
    Things list;
    for (long const id : ids) {
        EXPECT_TRUE(list.Insert(VELM_Thing(id)));
    }
    return list;
}

std::vector<long> Ids(Things const & list)
{
    wxArrayLong ids;
    list.GetIdList(ids);
    return {ids.begin(), ids.end()};
}

TEST(VelmList, AddOnAnEmptyListGivesIdOneThenTwo)
{
    Things list;
    VELM_Thing first;
    VELM_Thing second;
    EXPECT_TRUE(list.Add(first));
    EXPECT_TRUE(list.Add(second));
    EXPECT_EQ(first.GetId(), 1);
    EXPECT_EQ(second.GetId(), 2);
    EXPECT_EQ(Ids(list), (std::vector<long>{1, 2}));
}

TEST(VelmList, NextIdFollowsTheHighestEverSeen)
{
    Things list = ListOf({1, 2, 3});
    EXPECT_TRUE(list.Remove(3));
    VELM_Thing next;
    EXPECT_TRUE(list.Add(next));
    EXPECT_EQ(next.GetId(), 4);
}

TEST(VelmList, InsertBetweenHighestLeftAndHighestSeenReturnsTrueAndInsertsNothing)
{
    Things list = ListOf({1, 2, 3});
    list.Remove(3);
    EXPECT_TRUE(list.Insert(VELM_Thing(3)));
    EXPECT_EQ(Ids(list), (std::vector<long>{1, 2}));
}

TEST(VelmList, InsertIntoAnEmptiedListLowersTheHighestId)
{
    Things list = ListOf({1, 5});
    list.Remove(1);
    list.Remove(5);
    EXPECT_TRUE(list.Insert(VELM_Thing(2)));
    VELM_Thing next;
    list.Add(next);
    EXPECT_EQ(next.GetId(), 3);
}

TEST(VelmList, InsertPutsAnItemInItsPlaceByIdWhereverThatIs)
{
    Things list = ListOf({5, 9});
    EXPECT_TRUE(list.Insert(VELM_Thing(2)));
    EXPECT_TRUE(list.Insert(VELM_Thing(7)));
    EXPECT_TRUE(list.Insert(VELM_Thing(12)));
    EXPECT_EQ(Ids(list), (std::vector<long>{2, 5, 7, 9, 12}));
}

TEST(VelmList, InsertOfAnIdBelowOneFailsWithTheInvalidIdMessage)
{
    LogRecorder log;
    Things list;
    EXPECT_FALSE(list.Insert(VELM_Thing(0)));
    EXPECT_FALSE(list.Insert(VELM_Thing(-5)));
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_List<class velm::VELM_Thing>::Insert: Adding item with invalid id=0"),
                  Error("velm::VELM_List<class velm::VELM_Thing>::Insert: Adding item with invalid id=-5")}));
    EXPECT_EQ(log.Lines().front().function, "velm::VELM_List<class velm::VELM_Thing>::Insert");
}

TEST(VelmList, AddTakesOnlyMinusOneForUnset)
{
    LogRecorder log;
    Things list;
    VELM_Thing thing(-5);
    EXPECT_FALSE(list.Add(thing));
    EXPECT_EQ(thing.GetId(), -5);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_List<class velm::VELM_Thing>::Insert: Adding item with invalid id=-5")}));
}

TEST(VelmList, InsertOfAnIdAlreadyPresentFailsWithAMessage)
{
    LogRecorder log;
    Things list = ListOf({1, 2});
    EXPECT_FALSE(list.Insert(VELM_Thing(1)));
    EXPECT_FALSE(list.Insert(VELM_Thing(2)));
    EXPECT_EQ(list.GetCount(), 2u);
    EXPECT_EQ(
        log.Lines(),
        (std::vector<LogLine>{
            Error("velm::VELM_List<class velm::VELM_Thing>::Insert: Item with id=1 is already in the list"),
            Error(
                "velm::VELM_List<class velm::VELM_Thing>::Insert: Item with id=2 is already in the list")}));
}

TEST(VelmList, GetIndexOfAnEmptyListIsMinusOne)
{
    EXPECT_EQ(Things().GetIndex(1), -1);
}

TEST(VelmList, GetIndexFindsEveryItemAndNoOther)
{
    Things const list = ListOf({2, 3, 7});
    EXPECT_EQ(list.GetIndex(1), -1);
    EXPECT_EQ(list.GetIndex(2), 0);
    EXPECT_EQ(list.GetIndex(3), 1);
    EXPECT_EQ(list.GetIndex(5), -1);
    EXPECT_EQ(list.GetIndex(7), 2);
    EXPECT_EQ(list.GetIndex(8), -1);
}

TEST(VelmList, GetByIdThrowsForAnAbsentId)
{
    Things const list = ListOf({2});
    EXPECT_EQ(list.GetById(2).GetId(), 2);
    try {
        list.GetById(3);
        FAIL() << "did not throw";
    } catch (VELM_Error const & error) {
        EXPECT_EQ(error.GetMessage(),
                  "velm::VELM_List<class velm::VELM_Thing>::GetById: Item with id=3 not found");
    }
}

TEST(VelmList, GetOutOfRangeTripsTheAssertion)
{
    Things list = ListOf({1});
    EXPECT_EQ(VELM_TRIPPED_BY(list.Get(1)), "i < GetCount()");
    EXPECT_EQ(VELM_TRIPPED_BY(list[1]), "i < GetCount()");
    EXPECT_EQ(VELM_TRIPPED_BY(list.Get(0)), "");
}

TEST(VelmList, RemoveOfAnAbsentIdIsSilent)
{
    LogRecorder log;
    Things list = ListOf({1});
    EXPECT_FALSE(list.Remove(4));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VelmList, ClearForgetsTheHighestId)
{
    Things list = ListOf({8});
    list.Clear();
    VELM_Thing next;
    list.Add(next);
    EXPECT_EQ(next.GetId(), 1);
}

TEST(VelmList, IntersectionKeepsOnlyCommonIds)
{
    Things list = ListOf({1, 2, 3, 4});
    list.Intersection(ListOf({2, 4, 6}));
    EXPECT_EQ(Ids(list), (std::vector<long>{2, 4}));
}

TEST(VelmList, UnionAddsWhatIsMissing)
{
    Things list = ListOf({1, 4});
    Things other = ListOf({2, 4, 6});
    list.Union(other);
    EXPECT_EQ(Ids(list), (std::vector<long>{1, 2, 4, 6}));
}

TEST(VelmList, CopiesKeepTheHighestIdSeen)
{
    Things list = ListOf({1, 2});
    list.Remove(2);
    Things copy = list;
    VELM_Thing next;
    copy.Add(next);
    EXPECT_EQ(next.GetId(), 3);
    EXPECT_EQ(list.GetCount(), 1u);
}

TEST(VelmList, GetIdListReplacesTheArray)
{
    wxArrayLong ids;
    ids.push_back(99);
    ListOf({3, 4}).GetIdList(ids);
    EXPECT_EQ(std::vector<long>(ids.begin(), ids.end()), (std::vector<long>{3, 4}));
}

// Counts the calls that reach the virtual operations.
class CountingList : public Things {
  public:
    bool Add(VELM_Thing & item) override
    {
        ++added;
        return Things::Add(item);
    }
    bool Insert(VELM_Thing const & item) override
    {
        ++inserted;
        return Things::Insert(item);
    }
    bool Remove(long id) override
    {
        ++removed;
        return Things::Remove(id);
    }

    int added = 0;
    int inserted = 0;
    int removed = 0;
};

TEST(VelmList, AddUnionAndIntersectionWorkThroughTheDerivedListsOperations)
{
    CountingList list;
    VELM_Thing first;
    static_cast<Things &>(list).Add(first);
    EXPECT_EQ(list.inserted, 1);
    Things other = ListOf({1, 2, 3});
    list.Union(other);
    EXPECT_EQ(list.added, 3) << "one by hand, two that were missing";
    EXPECT_EQ(list.inserted, 3);
    list.Intersection(ListOf({2}));
    EXPECT_EQ(list.removed, 2);
    EXPECT_EQ(Ids(list), (std::vector<long>{2}));
}

// An item of an application's own: its id is the first field, whatever its name.
struct NamedSpot {
    long number;
    wxString name;
};

TEST(VelmList, AnItemOfAnyNameHasItsIdInTheFirstField)
{
    VELM_List<NamedSpot> list;
    NamedSpot spot{-1, "a"};
    EXPECT_TRUE(list.Add(spot));
    EXPECT_EQ(spot.number, 1);
    EXPECT_TRUE(list.Insert({7, "b"}));
    EXPECT_TRUE(list.Insert({3, "c"}));
    VELM_List<NamedSpot> const & sorted = list;
    EXPECT_EQ(sorted.GetById(7).name, "b");
    EXPECT_EQ(sorted[1].name, "c");
    EXPECT_EQ(sorted.GetIndex(3), 1);
}

} // namespace velm::test
