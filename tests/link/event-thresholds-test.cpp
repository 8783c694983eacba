// Event thresholds: the containers' order and look-ups, the file's exact
// text, a round trip to the bit, and the reader's and writer's failures.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "link/event-thresholds-json.h"
#include "link/event-thresholds.h"
#include "link/json-utils.h"

namespace {

std::uint64_t bitsOf(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

std::string errorOf(const std::string& json)
{
    try {
        (void)DeserializeEventThresholdsContainerFromJson(json);
    } catch (const DeserializationException& e) {
        return e.what();
    }
    return "no error";
}

TEventThresholdsContainer sample()
{
    TEventThresholdsContainer container;
    container.SetThresholds(1550, TEventThresholds({{"splice", 0.1}, {"bend", -0.0}, {"end", 1e-300}}));
    container.SetThresholds(1310, TEventThresholds({{"splice", 123456.789012345678}, {"reflection", -65.5}}));
    container.SetThresholds(1625, TEventThresholds());
    return container;
}

} // namespace

TEST(EventThresholds, OrderAndLookUps)
{
    const TEventThresholdsContainer container = sample();
    ASSERT_EQ(container.GetWavelensNum(), 3u);
    EXPECT_EQ(container.GetWavelen(0), 1310u);
    EXPECT_EQ(container.GetWavelen(1), 1550u);
    EXPECT_EQ(container.GetWavelen(2), 1625u);
    EXPECT_EQ(container.GetThresholds(1490), nullptr);

    const TEventThresholds* at1550 = container.GetThresholds(1550);
    ASSERT_NE(at1550, nullptr);
    ASSERT_EQ(at1550->GetNamesNum(), 3u);
    EXPECT_EQ(at1550->GetName(0), "bend");
    EXPECT_EQ(at1550->GetName(1), "end");
    EXPECT_EQ(at1550->GetName(2), "splice");
    ASSERT_NE(at1550->GetThreshold("splice"), nullptr);
    EXPECT_EQ(*at1550->GetThreshold("splice"), 0.1);
    EXPECT_EQ(at1550->GetThreshold("reflection"), nullptr);

    EXPECT_DEATH((void)container.GetWavelen(3), "i < GetWavelensNum\\(\\)");
    EXPECT_DEATH((void)at1550->GetName(3), "i < GetNamesNum\\(\\)");
}

TEST(EventThresholds, WritesTheDocumentedText)
{
    // Items in wavelength order, keys sorted with "wavelength" among them,
    // 17 digits where a value needs them.
    EXPECT_EQ(SerializeEventThresholdsContainerToJson(sample()),
              R"({"thresholds":[{"reflection":-65.5,"splice":123456.78901234567,"wavelength":1310},)"
              R"({"bend":-0,"end":1e-300,"splice":0.10000000000000001,"wavelength":1550},)"
              R"({"wavelength":1625}]})");
    EXPECT_EQ(SerializeEventThresholdsContainerToJson({}), R"({"thresholds":[]})");
}

TEST(EventThresholds, RoundTripKeepsEveryValueToTheBit)
{
    const TEventThresholdsContainer container = sample();
    const std::string text = SerializeEventThresholdsContainerToJson(container);
    const TEventThresholdsContainer back = DeserializeEventThresholdsContainerFromJson(text);
    ASSERT_EQ(back.GetAll().size(), container.GetAll().size());
    for (const auto& [wavelen, thresholds] : container.GetAll()) {
        const TEventThresholds* read = back.GetThresholds(wavelen);
        ASSERT_NE(read, nullptr) << wavelen;
        ASSERT_EQ(read->GetNamesNum(), thresholds.GetNamesNum());
        for (const auto& [name, value] : thresholds.GetValues()) {
            ASSERT_NE(read->GetThreshold(name), nullptr) << name;
            EXPECT_EQ(bitsOf(*read->GetThreshold(name)), bitsOf(value)) << name;
        }
    }
    EXPECT_EQ(SerializeEventThresholdsContainerToJson(back), text);
}

TEST(EventThresholds, ReaderMessages)
{
    EXPECT_EQ(errorOf("[1]"), "root element is not a map");
    EXPECT_EQ(errorOf(R"({"thresholds": [})"), "Error during json deserializing: syntax error at line 1 near: }");
    EXPECT_EQ(errorOf("{}"), R"(no "thresholds" in top most)");
    EXPECT_EQ(errorOf(R"({"thresholds": {}})"), "thresholdsis not of type array (parent is top most");
    EXPECT_EQ(errorOf(R"({"thresholds": [[]]})"), "thresholds array item is not map");
    EXPECT_EQ(errorOf(R"({"thresholds": [{"splice": 0.1}]})"), R"(no "wavelength" in thresholds map)");
    EXPECT_EQ(errorOf(R"({"thresholds": [{"wavelength": "1310"}]})"),
              "wavelengthis not of type number (parent is thresholds map");
    EXPECT_EQ(errorOf(R"({"thresholds": [{"wavelength": 1310.5}]})"), "wrong wavelength");
    EXPECT_EQ(errorOf(R"({"thresholds": [{"wavelength": 1310, "splice": true}]})"),
              "spliceis not of type number (parent is thresholds map");

    // A wavelength given twice keeps the later item.
    const TEventThresholdsContainer twice = DeserializeEventThresholdsContainerFromJson(
        R"({"thresholds": [{"wavelength": 1310, "a": 1}, {"wavelength": 1310, "b": 2}]})");
    ASSERT_EQ(twice.GetWavelensNum(), 1u);
    EXPECT_EQ(twice.GetThresholds(1310)->GetThreshold("a"), nullptr);
    EXPECT_EQ(*twice.GetThresholds(1310)->GetThreshold("b"), 2.0);
}

TEST(EventThresholds, NonFiniteValuesCannotBeWritten)
{
    for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                       -std::numeric_limits<double>::infinity()}) {
        TEventThresholdsContainer container;
        container.SetThresholds(1310, TEventThresholds({{"splice", bad}}));
        EXPECT_THROW((void)SerializeEventThresholdsContainerToJson(container), std::overflow_error) << bad;
    }
}
