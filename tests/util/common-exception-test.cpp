#include "util/common-exception.h"

#include <gtest/gtest.h>

TEST(CommonExceptionTest, IsCaughtAsTheStandardRuntimeError)
{
    try {
        throw CommonException(std::string("cannot read block KeyEvents at offset 1234"));
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "cannot read block KeyEvents at offset 1234");
    }
}
