#include "util/base64.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>

// RFC 4648, section 10.
TEST(Base64Test, Rfc4648Vectors)
{
    const std::pair<const char*, const char*> vectors[] = {
        {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, coded] : vectors) {
        EXPECT_EQ(base64_encode(plain), coded);
        EXPECT_EQ(base64_decode(coded), plain);
    }
}

TEST(Base64Test, RoundTripsEveryByteValueAndLength)
{
    std::mt19937 rng(42);
    for (std::size_t length = 0; length < 100; ++length) {
        std::string bytes(length, '\0');
        for (auto& c : bytes)
            c = static_cast<char>(rng() & 0xFF);
        const std::string coded = base64_encode(bytes);
        EXPECT_EQ(coded.size(), (length + 2) / 3 * 4);
        EXPECT_EQ(coded.find_first_of("\r\n"), std::string::npos);
        ASSERT_EQ(base64_decode(coded), bytes) << "length " << length;
    }
    std::string all;
    for (int i = 0; i < 256; ++i)
        all.push_back(static_cast<char>(i));
    EXPECT_EQ(base64_decode(base64_encode(all)), all);
}

TEST(Base64Test, DecodingPassesOverBlanksAndPaddingAnywhere)
{
    EXPECT_EQ(base64_decode("Zm9v\r\nYmFy"), "foobar");
    EXPECT_EQ(base64_decode(" Z m 9 v\tY g = = "), "foob");
    EXPECT_EQ(base64_decode("Zm=9v"), "foo");
    EXPECT_EQ(base64_decode("===="), "");
}

TEST(Base64Test, PartialLastGroupYieldsTheCompleteBytes)
{
    EXPECT_EQ(base64_decode("Zm9vY"), "foo");   // six bits over: no byte
    EXPECT_EQ(base64_decode("Zm9vYg"), "foob");  // twelve bits: one byte
    EXPECT_EQ(base64_decode("Z"), "");
}

TEST(Base64Test, RefusesForeignCharacters)
{
    const std::string inputs[] = {"*", "Zm9v!", "Zm-9", "Zm_9", std::string("Zm\0v", 4), "Zm\xC3\xA9"};
    for (const std::string& bad : inputs) {
        try {
            (void)base64_decode(bad);
            ADD_FAILURE() << "accepted " << bad;
        } catch (const std::invalid_argument& e) {
            EXPECT_STREQ(e.what(), "This contains characters not legal in a base64 encoded string.");
        }
    }
}
