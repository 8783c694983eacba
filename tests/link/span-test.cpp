// The span of a trace from its begin and end marks: position, length, loss
// and return loss.
#include <gtest/gtest.h>

#include "link-test-traces.h"
#include "link/event-losses.h"
#include "link/span.h"
#include "ref/ref-event.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-key-events.h"

using namespace linktest;

namespace {

// Launch, splices at 4 and 9 km, the end at 15 km; ACI 0.2, losses 0.3, 0.6.
std::unique_ptr<TSorData> link(const TraceSpec& trace = {})
{
    return makeLinkTrace(trace, {{0.0}, {4.0, 0.3, 0.2}, {9.0, 0.6, 0.2}, {15.0, 1.0, 0.2, -30.0, '1'}});
}

std::int32_t ept(const TSorData& data, int i)
{
    return data.KeyEvents->Events.data[i]->EPT;
}

TSpanLocationInfo& begin(TSorData& data)
{
    return data.AUXParams->SpanBegin;
}

TSpanLocationInfo& end(TSorData& data)
{
    return data.AUXParams->SpanEnd;
}

} // namespace

TEST(Span, MarkedByEvents)
{
    auto data = link();  // begin: event 0; end: the last event
    EXPECT_EQ(GetSpanBeginOwt(*data), MakeOptionalDouble(ept(*data, 0)));
    EXPECT_EQ(GetSpanEndOwt(*data), MakeOptionalDouble(ept(*data, 3)));
    ASSERT_TRUE(GetSpanEndPos(*data).first);
    EXPECT_DOUBLE_EQ(GetSpanEndPos(*data).second, kmAt(ept(*data, 3)));
    ASSERT_TRUE(CalcSpanLength(*data).first);
    EXPECT_DOUBLE_EQ(CalcSpanLength(*data).second, kmAt(ept(*data, 3) - ept(*data, 0)));

    // Events counted from either end: from event 1 to the one before the last.
    begin(*data).value = 1;
    end(*data).value = 1;
    EXPECT_EQ(GetSpanBeginOwt(*data), MakeOptionalDouble(ept(*data, 1)));
    EXPECT_EQ(GetSpanEndOwt(*data), MakeOptionalDouble(ept(*data, 2)));
    // Event 1 with its section, to event 2 with its loss.
    const double sections = 0.2 * kmAt(ept(*data, 2));
    ASSERT_TRUE(CalcSpanTotalLoss(*data).first);
    EXPECT_NEAR(CalcSpanTotalLoss(*data).second, sections + 0.3 + 0.6, 1e-9);
    EXPECT_EQ(CalcSpanTotalLoss(*data), CalcTotalLoss(*data, 1, true, 2, true));
}

TEST(Span, MarkedByTimes)
{
    auto data = link();
    begin(*data).type = 1;
    begin(*data).value = 2000;
    end(*data).type = 2;
    end(*data).value = 3000;
    EXPECT_EQ(GetSpanBeginOwt(*data), MakeOptionalDouble(2000.0));
    ASSERT_TRUE(GetSpanBeginPos(*data).first);
    EXPECT_DOUBLE_EQ(GetSpanBeginPos(*data).second, kmAt(2000));
    EXPECT_EQ(GetSpanEndOwt(*data), MakeOptionalDouble(ept(*data, 3) - 3000.0));
    EXPECT_DOUBLE_EQ(CalcSpanLength(*data).second, kmAt(ept(*data, 3) - 3000.0 - 2000.0));
    // A begin at a time has a position but no loss to sum from.
    EXPECT_FALSE(CalcSpanTotalLoss(*data).first);
    begin(*data).type = 3;
    begin(*data).value = 0;
    EXPECT_FALSE(CalcSpanTotalLoss(*data).first);  // nor an end at a time
}

TEST(Span, TypesThatMarkNothing)
{
    auto data = link();
    for (const std::uint32_t type : {0u, 2u, 4u}) {
        begin(*data).type = type;
        EXPECT_FALSE(GetSpanBeginOwt(*data).first) << type;
        EXPECT_FALSE(GetSpanBeginPos(*data).first) << type;
        EXPECT_FALSE(CalcSpanLength(*data).first) << type;
        EXPECT_FALSE(CalcSpanTotalOrl(*data).first) << type;
    }
    begin(*data).type = 3;
    for (const std::uint32_t type : {0u, 1u, 3u}) {
        end(*data).type = type;
        EXPECT_FALSE(GetSpanEndOwt(*data).first) << type;
        EXPECT_FALSE(CalcSpanTotalLoss(*data).first) << type;
    }
}

TEST(Span, TooFewEvents)
{
    auto none = makeLinkTrace({}, {});
    EXPECT_FALSE(GetSpanBeginOwt(*none).first);
    EXPECT_FALSE(GetSpanEndOwt(*none).first);
    // One event can begin a span but not end one.
    auto one = makeLinkTrace({}, {{0.5}});
    EXPECT_EQ(GetSpanBeginOwt(*one), MakeOptionalDouble(ept(*one, 0)));
    EXPECT_FALSE(GetSpanEndOwt(*one).first);
    EXPECT_FALSE(CalcSpanLength(*one).first);
}

TEST(Span, ReturnLossBetweenTheEnds)
{
    auto data = link();
    const OptionalDouble orl = CalcSpanTotalOrl(*data);
    ASSERT_TRUE(orl.first);
    EXPECT_EQ(orl.second, RefEventCalcORL(data.get(), ept(*data, 0), ept(*data, 3)));
    // Between the marks, wherever they are.
    begin(*data).value = 1;
    end(*data).value = 2;
    EXPECT_EQ(CalcSpanTotalOrl(*data), MakeOptionalDouble(RefEventCalcORL(data.get(), ept(*data, 1), ept(*data, 1))));
    end(*data).type = 2;
    end(*data).value = 500;
    EXPECT_EQ(CalcSpanTotalOrl(*data),
              MakeOptionalDouble(RefEventCalcORL(data.get(), ept(*data, 1), ept(*data, 3) - 500)));
}

TEST(Span, MarksThatPointNowhereMarkNothing)
{
    // A file's marks, or marks left from an earlier table: beyond the four
    // events, negative, or of a type not known, they give no position.
    auto data = link();
    begin(*data).value = 4;
    EXPECT_FALSE(GetSpanBeginOwt(*data).first);
    begin(*data).value = -1;
    EXPECT_FALSE(GetSpanBeginOwt(*data).first);
    begin(*data).value = 0;
    begin(*data).type = 7;
    EXPECT_FALSE(GetSpanBeginOwt(*data).first);
    end(*data).value = 4;
    EXPECT_FALSE(GetSpanEndOwt(*data).first);
    EXPECT_FALSE(CalcSpanLength(*data).first);
    end(*data).value = 0;
    end(*data).type = 12;
    EXPECT_FALSE(GetSpanEndOwt(*data).first);
    EXPECT_FALSE(CalcSpanTotalOrl(*data).first);
}
