#include "sor/sor-block-aux-events.h"

#include <gtest/gtest.h>

#include <string>

#include "sor-test-helpers.h"
#include "sor/sor-file.h"

using sortest::readBack;
using sortest::written;

namespace {

TSorBlockAUXEvents twoEvents()
{
    TSorBlockAUXEvents block;
    TSorBlockAUXEvents1E event;
    event.EN = 7;
    event.EL = -120;
    event.LMT = "LS";
    event.ML0 = 1000;
    event.ML1 = 2000;
    event.ML2 = 3000;
    event.CMT = "splice";
    event.dCT = 1500;
    event.dLT = 250;
    block.AddEvent(event);
    event.EC = "ABC";
    event.ML0 = -4;
    block.AddEvent(event);
    return block;
}

} // namespace

TEST(AuxEventsFileTest, RecordLayoutAndRenumbering)
{
    TSorBlockAUXEvents block = twoEvents();
    const std::string bytes = written(block, 201);
    // Name, TNE, then each event: EN EL EC(6) LMT(2) ML0..2 "splice" dCT dLT.
    const std::size_t eventBytes = 2 + 2 + 6 + 2 + 12 + 7 + 4;
    ASSERT_EQ(bytes.size(), 10 + 2 + 2 * eventBytes);
    EXPECT_EQ(bytes.substr(0, 12), std::string("AUXEvents\0\2\0", 12));
    EXPECT_EQ(bytes.substr(12, 4), std::string("\1\0\x88\xFF", 4));  // EN renumbered to 1, EL -120
    EXPECT_EQ(bytes.substr(16, 8), std::string("GU9999LS", 8));
    EXPECT_EQ(bytes.substr(12 + eventBytes, 2), std::string("\2\0", 2));
    EXPECT_EQ(bytes.substr(12 + eventBytes + 4, 6), std::string("ABC\0\0\0", 6));  // NUL-padded

    TSorBlockAUXEvents back;
    EXPECT_EQ(readBack(back, bytes, 201), fsOk);
    ASSERT_EQ(back.TNE, 2);
    EXPECT_EQ(back.Events[1].EN, 2);
    EXPECT_EQ(back.Events[1].EC, "ABC");
    EXPECT_EQ(back.Events[1].ML0, -4);
    EXPECT_EQ(back.Events[0].CMT, "splice");
    EXPECT_EQ(back.GetdCT(1), 1.5);
    EXPECT_EQ(written(back, 201), bytes);
}

TEST(AuxEventsFileTest, RevisionTwoHundredHasNoDeviations)
{
    TSorBlockAUXEvents block = twoEvents();
    const std::string bytes = written(block, 200);
    EXPECT_EQ(bytes.size(), written(block, 201).size() - 2 * 4);
    TSorBlockAUXEvents back;
    EXPECT_EQ(readBack(back, bytes, 200), fsOk);
    EXPECT_EQ(back.Events[1].ML2, 3000);
    EXPECT_EQ(back.GetdCT(0), 0.0);
    EXPECT_EQ(back.GetdLT(1), 0.0);
    // The first edition has no name in front.
    EXPECT_EQ(written(block, 100), bytes.substr(10));
}

TEST(AuxEventsFileTest, HostileAndTruncatedInput)
{
    // A count far beyond the data: a short read without allocating for it.
    std::string bytes("AUXEvents\0\xFF\x7F", 12);
    bytes += std::string(40, '\x01');
    TSorBlockAUXEvents block;
    EXPECT_EQ(readBack(block, bytes, 201), fsEndOfFile);
    EXPECT_EQ(block.TNE, 0);
    EXPECT_EQ(block.Events.capacity(), 0u);

    // A negative count reads nothing.
    EXPECT_EQ(readBack(block, std::string("AUXEvents\0\xFE\xFF", 12), 201), fsOk);
    EXPECT_EQ(block.TNE, 0);

    TSorBlockAUXEvents source = twoEvents();
    const std::string whole = written(source, 201);
    for (std::size_t n = 0; n < whole.size(); ++n) {
        TSorBlockAUXEvents back;
        const int status = readBack(back, whole.substr(0, n), 201);
        EXPECT_TRUE(status == fsOk || status == fsEndOfFile) << n;
        EXPECT_EQ(static_cast<std::size_t>(back.TNE), back.Events.size()) << n;
    }
}

TEST(AuxEventsValueTest, DeviationsInThousandths)
{
    TSorBlockAUXEvents block = twoEvents();
    block.SetdCT(0, 1.2345);
    EXPECT_EQ(block.Events[0].dCT, 1235);
    EXPECT_DOUBLE_EQ(block.GetdCT(0), 1.235);
    block.SetdLT(1, 0.0004);
    EXPECT_EQ(block.Events[1].dLT, 0);
    block.SetdLT(1, 70.0);  // beyond the field: held at its top
    EXPECT_EQ(block.Events[1].dLT, 65535);

    // Past the events: -1.0, and setting does nothing.
    EXPECT_EQ(block.GetdCT(2), -1.0);
    EXPECT_EQ(block.GetdLT(-1), -1.0);
    block.SetdCT(2, 5.0);
    block.SetdCT(-1, 5.0);
    EXPECT_EQ(block.Events.size(), 2u);
}

TEST(AuxEventsValueTest, EditingKeepsTheCountInStep)
{
    TSorBlockAUXEvents block = twoEvents();
    TSorBlockAUXEvents1E first;
    first.ML0 = 1;
    block.InsEvent(first, -5);
    EXPECT_EQ(block.TNE, 3);
    EXPECT_EQ(block.Events[0].ML0, 1);
    block.DelEvent(7);
    EXPECT_EQ(block.TNE, 3);
    block.DelEvent(1);
    EXPECT_EQ(block.TNE, 2);
    EXPECT_EQ(block.Events[1].ML0, -4);
    block.SetTNE(-1);
    EXPECT_EQ(block.TNE, 0);
    EXPECT_TRUE(block.Events.empty());
}
