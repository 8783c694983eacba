#include "sor/sor-exception.h"

#include <gtest/gtest.h>

// Callers catch by the common base and by the standard one; the texts are the
// ones that logs and error lines have always shown.
TEST(SorExceptionTest, KindsCarryTheirFixedTexts)
{
    const std::pair<TSorException::Kind, const char*> kinds[] = {
        {TSorException::NullPointer, "Null pointer exception"},
        {TSorException::BadData, "Bad data exception"},
        {TSorException::IndexOutOfBounds, "Index out of bounds"}};
    for (const auto& [kind, text] : kinds) {
        try {
            throw TSorException(kind);
        } catch (const CommonException& e) {
            EXPECT_STREQ(e.what(), text);
            const auto* sor = dynamic_cast<const TSorException*>(&e);
            ASSERT_NE(sor, nullptr);
            EXPECT_EQ(sor->GetKind(), kind);
        }
    }
    try {
        throw TSorException(TSorException::BadData);
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Bad data exception");
    }
}
