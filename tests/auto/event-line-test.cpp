// TEventLine and TEventPoint: the record rules.
#include <gtest/gtest.h>

#include "auto/event-line.h"
#include "util/ini-file.h"

TEST(EventLineTest, AttenuationAndCopy)
{
    TEventLine line;
    line.P1 = -10.0;
    line.P2 = -11.0;
    // Length 0 (or under 1e-6 km) and no fit: 0, not a division by zero.
    line.L1 = line.L2 = 3.0;
    EXPECT_DOUBLE_EQ(line.LossKm(), 0.0);
    line.L2 = 3.0 + 0.5e-6;
    EXPECT_DOUBLE_EQ(line.LossKm(), 0.0);
    // Without a fit the slope of the ends; a fit counts above 0.001 only.
    line.L2 = 7.0;
    EXPECT_DOUBLE_EQ(line.LossKm(), 0.25);
    line.dBKm = 0.2;
    EXPECT_DOUBLE_EQ(line.LossKm(), 0.2);
    line.dBKm = 0.001;
    EXPECT_DOUBLE_EQ(line.LossKm(), 0.25);

    // Assign copies all but the fit: the copy keeps its own.
    TEventLine source;
    source.L1 = 1.0;
    source.L2 = 2.0;
    source.Le = 2.1;
    source.P1 = -5.0;
    source.P2 = -5.5;
    source.Dev = 0.01;
    source.Splice = 0.3;
    source.Refl = -2.0;
    source.dBKm = 0.33;
    source.Peak = 2.12;
    source.Type = 'R';
    TEventLine copy;
    copy.dBKm = 0.19;
    copy.Assign(source);
    const double got[] = {copy.L1, copy.L2, copy.Le, copy.P1, copy.P2, copy.Dev, copy.Splice, copy.Refl, copy.Peak};
    const double want[] = {1.0, 2.0, 2.1, -5.0, -5.5, 0.01, 0.3, -2.0, 2.12};
    for (int i = 0; i < 9; ++i)
        EXPECT_DOUBLE_EQ(got[i], want[i]) << i;
    EXPECT_EQ(copy.Type, 'R');
    EXPECT_DOUBLE_EQ(copy.dBKm, 0.19);
}

TEST(EventLineTest, PointMarksInSettings)
{
    TIniSection section("Marks");
    TEventPoint point;
    point.position = 12.34567;
    point.value = -0.0304;
    point.type = 'R';
    point.SetIni(&section, -1);
    point.SetIni(&section, 0);
    point.SetIni(&section, 12);
    point.SetIni(nullptr, 3);
    ASSERT_EQ(section.GetKeysNum(), 3);
    EXPECT_STREQ(section.GetKey(0)->Name, "Ev");
    EXPECT_STREQ(section.GetKey(1)->Name, "Ev0");
    EXPECT_STREQ(section.GetKey(2)->Name, "Ev12");
    // Both rounded down to thousandths: -0.0304 gives -0.031, 12.34567 gives 12.345.
    EXPECT_STREQ(section.GetKey(0)->Value, "R -0.031(12.345)");

    TEventPoint copy;
    copy.Assign(point);
    copy.GetIni(&section, 0);  // reads nothing
    EXPECT_DOUBLE_EQ(copy.position, 12.34567);
    EXPECT_DOUBLE_EQ(copy.value, -0.0304);
    EXPECT_EQ(copy.type, 'R');
}
