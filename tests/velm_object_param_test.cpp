#include "velm_object_param.h"

#include "support/config_file.h"
#include "support/log_recorder.h"
#include "support/temp_depository.h"

#include <limits>
#include <sstream>

namespace velm::test {

VELM_ObjectParamDescList Loaded(std::string const & text, bool expected = true)
{
    VELM_ObjectParamDescList list;
    EXPECT_EQ(ConfigFile().With(text, [&](auto & config) { return list.Load(config); }), expected);
    return list;
}

std::string DescText(long id, std::string const & name, int type)
{
    return wxString::Format("[ObjectParam%04ld]\nPARAM_ID=%ld\nNAME=%s\nTYPE=%d\nPRINT=0\n", id, id, name,
                            type)
        .ToStdString();
}

long NextId(VELM_ObjectParamDescList & list)
{
    VELM_ObjectParamDesc desc;
    list.Add(desc);
    return desc.GetId();
}

TEST(VelmObjectParam, ValuesHaveATextOfTheirKind)
{
    EXPECT_EQ(VELM_ObjectParam_Int(1, -7).GetStrValue(), "-7");
    EXPECT_EQ(VELM_ObjectParam_Float(1, 2.5f).GetStrValue(), "2.500000");
    EXPECT_EQ(VELM_ObjectParam_Int().GetId(), -1);
    EXPECT_EQ(VELM_ObjectParam_Float().GetValue(), 0.0f);
}

TEST(VelmObjectParam, ACloneIsAnObjectOfItsOwn)
{
    VELM_ObjectParam_Int original(3, 10);
    std::unique_ptr<VELM_ObjectParam> const clone(original.Clone());
    original.SetValue(11);
    EXPECT_EQ(clone->GetId(), 3);
    EXPECT_EQ(clone->GetStrValue(), "10");
}

TEST(VelmObjectParam, TheStreamHoldsTheIdAndTheValue)
{
    std::ostringstream out;
    VELM_ObjectParam_Int(3, -10).WriteToStream(out);
    out << '|';
    VELM_ObjectParam_Float(4, 1234567.0f).WriteToStream(out);
    EXPECT_EQ(out.str(), "3 -10|4 1.23457e+06") << "six significant digits";
}

TEST(VelmObjectParam, ReadingTakesTheValueOnly)
{
    VELM_ObjectParam_Int number(3);
    VELM_ObjectParam_Float fraction(4);
    std::istringstream in(" +17 -2.5e1 +0.5 rest");
    number.ReadFromStream(in);
    fraction.ReadFromStream(in);
    VELM_ObjectParam_Float positive(5);
    positive.ReadFromStream(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(positive.GetValue(), 0.5f);
    EXPECT_EQ(number.GetValue(), 17);
    EXPECT_EQ(number.GetId(), 3);
    EXPECT_EQ(fraction.GetValue(), -25.0f);
}

TEST(VelmObjectParam, MeasurementsThatAreNoNumbersSurviveTheStream)
{
    float const inf = std::numeric_limits<float>::infinity();
    for (float const value : {inf, -inf, std::numeric_limits<float>::quiet_NaN(), 1e-45f, +0.0f}) {
        std::stringstream stream;
        VELM_ObjectParam_Float(0, value).WriteToStream(stream);
        long id = -1;
        stream >> id;
        VELM_ObjectParam_Float back(1, 99.0f);
        back.ReadFromStream(stream);
        EXPECT_FALSE(stream.fail());
        EXPECT_EQ(back.GetStrValue(), VELM_ObjectParam_Float(0, value).GetStrValue());
    }
}

TEST(VelmObjectParam, AValueOfAnotherFormFailsTheStream)
{
    for (char const * text : {"", "x", "1.5x", "+-1", "1e99", "1,5"}) {
        std::istringstream in(text);
        VELM_ObjectParam_Float param;
        param.ReadFromStream(in);
        EXPECT_TRUE(in.fail()) << text;
    }
    std::istringstream in("99999999999");
    VELM_ObjectParam_Int param;
    param.ReadFromStream(in);
    EXPECT_TRUE(in.fail());
}

TEST(VelmObjectParamList, KeepsTheOrderOfAddingAndReplacesInPlace)
{
    VELM_ObjectParamList list;
    list.Add(VELM_ObjectParam_Int(5, 50));
    list.Add(VELM_ObjectParam_Int(2, 20));
    list.Add(VELM_ObjectParam_Float(5, 0.5f));
    ASSERT_EQ(list.GetCount(), 2u);
    EXPECT_EQ(list.Get(0u)->GetStrValue(), "0.500000");
    EXPECT_EQ(list.Get(1u)->GetId(), 2);
    EXPECT_EQ(list.Get(2L)->GetStrValue(), "20");
    EXPECT_EQ(list.Get(3L), nullptr);
}

TEST(VelmObjectParamList, DeletingClosesTheGapAndIgnoresAnAbsentId)
{
    LogRecorder log;
    VELM_ObjectParamList list;
    list.Add(VELM_ObjectParam_Int(1));
    list.Add(VELM_ObjectParam_Int(2));
    list.Delete(1);
    list.Delete(7);
    ASSERT_EQ(list.GetCount(), 1u);
    EXPECT_EQ(list.Get(0u)->GetId(), 2);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VelmObjectParamList, AnIndexOutOfBoundsGivesNull)
{
    LogRecorder log;
    EXPECT_EQ(VELM_ObjectParamList().Get(0u), nullptr);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Error("velm::VELM_ObjectParamList::Get: Index is out of bounds!")}));
}

TEST(VelmObjectParamList, CopiesAreDeep)
{
    VELM_ObjectParamList list;
    list.Add(VELM_ObjectParam_Int(1, 10));
    VELM_ObjectParamList const copy = list;
    VELM_ObjectParamList assigned;
    assigned = list;
    list.Add(VELM_ObjectParam_Int(1, 11));
    EXPECT_EQ(copy.Get(1L)->GetStrValue(), "10");
    EXPECT_EQ(assigned.Get(1L)->GetStrValue(), "10");
}

TEST(VelmObjectParamList, TheStreamHoldsTheCountAndABlankBehindEveryNumber)
{
    VELM_ObjectParamList list;
    std::ostringstream empty;
    list.WriteToStream(empty);
    EXPECT_EQ(empty.str(), "0 ");
    list.Add(VELM_ObjectParam_Int(1, 10));
    list.Add(VELM_ObjectParam_Float(2, 0.5f));
    std::ostringstream out;
    list.WriteToStream(out);
    EXPECT_EQ(out.str(), "2 1 10 2 0.5 ");
}

// A depository that describes parameter 1 as an integer and 2 as a fraction.
class VelmObjectParamListInADepository : public testing::Test {
  protected:
    VelmObjectParamListInADepository()
    {
        _temp->GetObjectParamDescListRef().GetDescId(INT_PARAM, "Spots");
        _temp->GetObjectParamDescListRef().GetDescId(FLOAT_PARAM, "Area");
        _list.Add(VELM_ObjectParam_Int(9, 9));
    }

    bool Read(std::string const & text)
    {
        std::istringstream in(text);
        return _list.ReadFromStream(in, &*_temp);
    }

    TempDepository _temp;
    VELM_ObjectParamList _list;
    LogRecorder _log;
};

TEST_F(VelmObjectParamListInADepository, ReadsParametersOfTheDescribedKinds)
{
    EXPECT_TRUE(Read("2 2 0.5 1 10 "));
    ASSERT_EQ(_list.GetCount(), 2u);
    EXPECT_EQ(_list.Get(0u)->GetStrValue(), "0.500000");
    EXPECT_EQ(_list.Get(1L)->GetStrValue(), "10");
    EXPECT_TRUE(Read("0 "));
    EXPECT_EQ(_list.GetCount(), 0u);
    EXPECT_TRUE(_log.Lines().empty());
}

TEST_F(VelmObjectParamListInADepository, AParameterWithoutADescriptionEmptiesTheList)
{
    EXPECT_FALSE(Read("2 1 10 3 7 "));
    EXPECT_EQ(_list.GetCount(), 0u);
    EXPECT_EQ(_log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_ObjectParamList::ReadFromStream: Invalid object parameter id=3")}));
}

TEST_F(VelmObjectParamListInADepository, AStreamThatEndsEarlyEmptiesTheListWhateverTheCount)
{
    for (std::string const text : {"", "x", "2 1 10 ", "1 1", "1 1 x", "4294967295 1 1 "}) {
        EXPECT_FALSE(Read(text)) << text;
        EXPECT_EQ(_list.GetCount(), 0u) << text;
    }
    EXPECT_TRUE(_log.Lines().empty());
}

TEST(VelmObjectParamDesc, IsNotPrintedUnlessSomebodySaysSo)
{
    VELM_ObjectParamDesc desc(1, "Area", FLOAT_PARAM);
    EXPECT_FALSE(desc.GetPrint());
    desc.SetPrint(true);
    EXPECT_TRUE(desc.GetPrint());
}

TEST(VelmObjectParamDesc, MissingEntriesAreNamedAndPrintIsNotMissed)
{
    LogRecorder log;
    VELM_ObjectParamDesc desc(7, "Area", FLOAT_PARAM);
    desc.SetPrint(true);
    EXPECT_FALSE(ConfigFile().With("", [&](auto & config) { return desc.Load(config); }));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_ObjectParamDesc::Load: Object parameter id not defined."),
                  Error("velm::VELM_ObjectParamDesc::Load: Object parameter name not defined."),
                  Error("velm::VELM_ObjectParamDesc::Load: Object parameter type not defined.")}));
    EXPECT_EQ(desc.GetId(), 7);
    EXPECT_EQ(desc.GetName(), "Unknown");
    EXPECT_EQ(desc.GetType(), INT_PARAM);
    EXPECT_FALSE(desc.GetPrint());

    log.Clear();
    EXPECT_TRUE(
        ConfigFile().With("PARAM_ID=2\nNAME=x\nTYPE=1\n", [&](auto & config) { return desc.Load(config); }));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(VelmObjectParamDescList, WritesOneGroupEachAndTheHighestIdEver)
{
    VELM_ObjectParamDescList list;
    VELM_ObjectParamDesc area(2, "Area", FLOAT_PARAM);
    area.SetPrint(true);
    list.Insert(area);
    list.Insert(VELM_ObjectParamDesc(4, "Spots", INT_PARAM));
    list.Remove(4);
    std::string const text = ConfigFile().TextOf([&](auto & config) {
        EXPECT_TRUE(list.Save(config));
        EXPECT_EQ(config.GetPath(), "/MaxId");
    });
    EXPECT_EQ(text, "[ObjectParam0002]\nPARAM_ID=2\nNAME=Area\nTYPE=1\nPRINT=1\n[MaxId]\nMAX_ID=4\n");
    VELM_ObjectParamDescList const back = Loaded(text);
    ASSERT_EQ(back.GetCount(), 1u);
    EXPECT_EQ(back[0].GetName(), "Area");
    EXPECT_EQ(back[0].GetType(), FLOAT_PARAM);
    EXPECT_TRUE(back[0].GetPrint());
}

TEST(VelmObjectParamDescList, GetDescIdGivesOneDescriptionPerTypeAndName)
{
    VELM_ObjectParamDescList list;
    EXPECT_EQ(list.GetDescId(INT_PARAM, "Area"), 1);
    EXPECT_EQ(list.GetDescId(INT_PARAM, "Area"), 1);
    EXPECT_EQ(list.GetDescId(FLOAT_PARAM, "Area"), 2);
    EXPECT_EQ(list.GetDescId(INT_PARAM, "area"), 3);
    EXPECT_EQ(list.GetCount(), 3u);
    EXPECT_FALSE(list.GetById(1).GetPrint());
}

TEST(VelmObjectParamDescList, MaximumThreeWithAnIdOfFiveWarnsAndTheNextIdIsSix)
{
    LogRecorder log;
    VELM_ObjectParamDescList list = Loaded(DescText(5, "Area", 1) + "[MaxId]\nMAX_ID=3\n");
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{Warning("velm::VELM_ObjectParamDescList::Load: Max ID mismatch")}));
    EXPECT_EQ(NextId(list), 6);
}

TEST(VelmObjectParamDescList, MaximumNineWithAnIdOfFiveGivesTenNext)
{
    LogRecorder log;
    VELM_ObjectParamDescList list = Loaded(DescText(5, "Area", 1) + "[MaxId]\nMAX_ID=9\n");
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(NextId(list), 10);
}

TEST(VelmObjectParamDescList, ABadDescriptionIsKept)
{
    LogRecorder log;
    VELM_ObjectParamDescList const list =
        Loaded("[ObjectParam0003]\nPARAM_ID=3\nNAME=Area\n[MaxId]\nMAX_ID=3\n", false);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{
                               Error("velm::VELM_ObjectParamDesc::Load: Object parameter type not defined."),
                               Error("velm::VELM_ObjectParamDescList::Load: Object parameter "
                                     "[ObjectParam0003] loading failed.")}));
    EXPECT_TRUE(list.Contains(3));
}

TEST(VelmObjectParamDescList, ARefusedDescriptionIsNamedByItsId)
{
    LogRecorder log;
    VELM_ObjectParamDescList list;
    list.GetDescId(INT_PARAM, "Area");
    RefusingConfig config("PRINT");
    EXPECT_FALSE(list.Save(config));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{
                  Error("velm::VELM_ObjectParamDescList::Save: Object parameter with id=1 not saved.")}));
    EXPECT_TRUE(config.HasEntry("/ObjectParam0001/TYPE"));
}

TEST(VelmObjectParamDescList, AParameterFitsOnlyADescriptionOfItsClass)
{
    VELM_ObjectParamDescList const list = Loaded(DescText(1, "Spots", 0) + DescText(2, "Area", 1) +
                                                 DescText(3, "Odd", 2) + "[MaxId]\nMAX_ID=3\n");
    EXPECT_TRUE(list.HasParam(VELM_ObjectParam_Int(1)));
    EXPECT_FALSE(list.HasParam(VELM_ObjectParam_Float(1)));
    EXPECT_TRUE(list.HasParam(VELM_ObjectParam_Float(2)));
    EXPECT_FALSE(list.HasParam(VELM_ObjectParam_Int(2)));
    EXPECT_FALSE(list.HasParam(VELM_ObjectParam_Int(3)));
    EXPECT_FALSE(list.HasParam(VELM_ObjectParam_Int(4)));
}

TEST(VelmObjectParamDescList, CreateParamMakesOneOfTheDescribedKindWithValueZero)
{
    VELM_ObjectParamDescList const list = Loaded(DescText(1, "Spots", 0) + DescText(2, "Area", 1) +
                                                 DescText(3, "Odd", 2) + "[MaxId]\nMAX_ID=3\n");
    std::unique_ptr<VELM_ObjectParam> const spots(list.CreateParam(1));
    std::unique_ptr<VELM_ObjectParam> const area(list.CreateParam(2));
    ASSERT_NE(dynamic_cast<VELM_ObjectParam_Int *>(spots.get()), nullptr);
    ASSERT_NE(dynamic_cast<VELM_ObjectParam_Float *>(area.get()), nullptr);
    EXPECT_EQ(spots->GetId(), 1);
    EXPECT_EQ(spots->GetStrValue(), "0");
    EXPECT_EQ(area->GetId(), 2);
    EXPECT_EQ(list.CreateParam(3), nullptr);
    EXPECT_EQ(list.CreateParam(4), nullptr);
}

} // namespace velm::test
