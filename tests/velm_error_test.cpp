#include "velm_error.h"

#include <typeinfo>

namespace velm::test {

struct Thing : VELM_Class {};

TEST(VelmError, WhatIsTheMessageWithItsAccents)
{
    VELM_Error const error(wxString::FromUTF8("stage at 12 \xC2\xB5m"));
    EXPECT_STREQ(error.what(), "stage at 12 \xC2\xB5m");
    EXPECT_EQ(error.GetMessage(), wxString::FromUTF8("stage at 12 \xC2\xB5m"));
}

TEST(VelmError, IsCaughtAsAStandardException)
{
    try {
        throw VELM_Error("lost");
    } catch (std::exception const & error) {
        EXPECT_STREQ(error.what(), "lost");
    }
}

TEST(VelmClass, GetClassNameIsTheRunTimeType)
{
    Thing const thing;
    VELM_Class const & base = thing;
    EXPECT_EQ(base.GetClassName(), wxString::FromUTF8(typeid(Thing).name()));
    EXPECT_EQ(VELM_Class().GetClassName(), wxString::FromUTF8(typeid(VELM_Class).name()));
}

} // namespace velm::test
