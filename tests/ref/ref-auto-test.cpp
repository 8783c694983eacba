// Searches, extremes, slopes, ripple and the noise floor of RefAuto on
// traces whose answers are known in closed form.
#include "ref/ref-auto.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "ref-test-helpers.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"

using reftest::makeTrace;
using reftest::straightLine;

namespace {

// km per OWT unit at the helpers' group index.
const double kKmPerOwt = 299792.5 / (reftest::kGroupIndex * 1e-5) * 1e-10;

// A fibre from -2 dB falling `slope` a point with a step of `loss` dB
// between points at-1 and at.
std::vector<double> fibreWithStep(long n, double slope, long at, double loss)
{
    return reftest::levelsOf(n, [&](long i) { return -2.0 - slope * static_cast<double>(i) - (i >= at ? loss : 0.0); });
}

} // namespace

TEST(RefAutoSearchTest, ElementarySearchesAndTheTraceEnds)
{
    const float a[] = {5, 4, 3, 2, 1, 2, 3, 4};
    EXPECT_EQ(RefAutoSearchBackLess(a, 7, 2.5f, 0), 5);
    EXPECT_EQ(RefAutoSearchBackLess(a, 7, 5.0f, 0), 7);  // a[i] itself below v
    EXPECT_EQ(RefAutoSearchBackLess(a, 2, 0.0f, 3), 2);  // i below stop
    EXPECT_EQ(RefAutoSearchBackLess(a, 7, 0.5f, 2), 1);  // none: stop - 1
    // Block sums of 3 from the end: 7..9 is the first above 3 x 2.9; the
    // first block answers its start, later ones one below theirs.
    const float b[] = {1, 1, 1, 1, 1, 1, 1, 9, 0, 0, 0};
    EXPECT_EQ(RefAutoSearchBackGreather(b, 10, 3, 2.9f), 6);
    EXPECT_EQ(RefAutoSearchBackGreather(b, 9, 3, 0.0f), 7);
    EXPECT_EQ(RefAutoSearchBackGreather(b, 10, 3, 5.0f), -1);
    EXPECT_EQ(RefAutoSearchBackGreather(b, 1, 3, 0.0f), -1);  // no full block

    auto sd = makeTrace(straightLine(100, -1.0, 0.1));  // level(i) = -1 - 0.1 i
    EXPECT_EQ(RefAutoSearchStraightLess(sd.get(), 0, -3.05f), 21);
    EXPECT_EQ(RefAutoSearchStraightGreather(sd.get(), 50, -1.0f), 100);  // none: N
    EXPECT_EQ(RefAutoSearchStraightLess(sd.get(), 0, -2.0f, 0.1f), 100);  // threshold follows the fibre
    EXPECT_EQ(RefAutoSearchStraightLess(sd.get(), 0, -2.0f, 0.05f), 21);
    EXPECT_EQ(RefAutoSearchBackGreather(sd.get(), 99, -3.05f), 20);
    EXPECT_EQ(RefAutoSearchBackLess(sd.get(), 99, -9.0f, 0), 99);
    EXPECT_EQ(RefAutoSearchBackLess(sd.get(), 50, -9.0f, 10), 9);

    // Outside the trace every level reads -65.5.
    EXPECT_EQ(RefAutoSearchStraightLess(sd.get(), 100, -20.0f), 100);
    EXPECT_EQ(RefAutoSearchStraightLess(sd.get(), -5, -20.0f), -5);
    EXPECT_EQ(RefAutoSearchBackGreather(sd.get(), 130, -70.0f), 130);
    EXPECT_EQ(RefAutoSearchBackGreather(sd.get(), 130, -1.05f), 0);
    EXPECT_EQ(RefAutoSearchBackLess(sd.get(), 120, -20.0f, 0), 120);
    EXPECT_EQ(RefAutoSearchBackGreather(sd.get(), -1, -70.0f), -1);
    // Hostile pins end, at the answer the outside level gives.
    EXPECT_EQ(RefAutoSearchStraightGreather(sd.get(), LONG_MIN / 2, -1.5f), 0);
    EXPECT_EQ(RefAutoSearchBackGreather(sd.get(), LONG_MAX / 2, -1.05f), 0);
}

TEST(RefAutoSearchTest, MeansExtremesAndTieModes)
{
    const float a[] = {3, 1, 1, 1, 1, 5, 5, 0};
    EXPECT_FLOAT_EQ(RefAutoGetAverage(a, 1, 4), 1.0f);
    EXPECT_FLOAT_EQ(RefAutoGetAverage(a, -2, 4), 2.0f);  // start cut to 0, count to 2
    EXPECT_EQ(RefAutoGetAverage(a, -4, 4), 0.0f);
    float v = 0;
    EXPECT_EQ(RefAutoGetMin(a, 0, 6, v, 1), 4);
    EXPECT_EQ(v, 1.0f);
    EXPECT_EQ(RefAutoGetMin(a, 0, 6, v, -1), 1);
    EXPECT_EQ(RefAutoGetMin(a, 0, 6, v, 0), 2);  // (1 + 4) / 2
    EXPECT_EQ(RefAutoGetMax(a, 0, 7, v, 0), 5);  // (5 + 6) / 2
    EXPECT_EQ(v, 5.0f);
    EXPECT_EQ(RefAutoGetMax(a, 0, 7, v, 1), 6);

    auto sd = makeTrace({-3, -1, -2, -5, -5, -1, -9});
    EXPECT_EQ(RefAutoGetMax(sd.get(), -4, 6, v, 1), 5);
    EXPECT_FLOAT_EQ(v, -1.0f);
    EXPECT_EQ(RefAutoGetMax(sd.get(), -4, 6, v, -1), 1);
    EXPECT_EQ(RefAutoGetMin(sd.get(), 0, 6, v), 3);  // first strict minimum, 6 not included
    EXPECT_FLOAT_EQ(v, -5.0f);
    EXPECT_EQ(RefAutoGetMin(sd.get(), 0, 9, v), 7);  // past the end: -65.5
    EXPECT_FLOAT_EQ(v, -65.5f);

    // Linear powers of a fibre falling 0.1 dB a point with a bump at 20:
    // without the fall taken out the first window is the largest.
    std::vector<float> lin(60);
    for (std::size_t i = 0; i < lin.size(); ++i)
        lin[i] = static_cast<float>(std::pow(10.0, -0.1 * static_cast<double>(i) / 5.0) *
                                    (i >= 20 && i < 24 ? 1.5 : 1.0));
    float mean = 0;
    EXPECT_EQ(RefAutoGetAvrMax(lin.data(), 0, 59, mean, 4), 0);
    EXPECT_EQ(RefAutoGetAvrMax(lin.data(), 0, 59, mean, 4, 0.1f), 20);
    EXPECT_NEAR(mean, (lin[20] + lin[21] + lin[22] + lin[23]) / 4.0f, 1e-6f);
    // A dip to half at 30: the minimum sees the last window as the least
    // until the fall is taken out.
    for (std::size_t i = 20; i < 24; ++i)
        lin[i] /= 1.5f;
    for (std::size_t i = 30; i < 34; ++i)
        lin[i] *= 0.5f;
    EXPECT_EQ(RefAutoGetAvrMin(lin.data(), 0, 59, mean, 4, 0.0f), 56);
    EXPECT_EQ(RefAutoGetAvrMin(lin.data(), 0, 59, mean, 4, 0.1f), 30);
    EXPECT_EQ(RefAutoGetAvrMin(nullptr, 0, 59, mean, 4, 0.1f), -1);
}

TEST(RefAutoStepTest, StepsFoundAtTheirPlaceWithTheFibreTakenOut)
{
    const float slope = 0.01f;
    auto sd = makeTrace(fibreWithStep(600, slope, 300, 0.5));
    long at = 0;
    EXPECT_NEAR(RefAutoSearchMaxdbFall(sd.get(), 0, 599, 1, at, 100.0f), 0.51f, 1e-4f);
    EXPECT_EQ(at, 299);
    EXPECT_NEAR(RefAutoSearchMaxdbFall(sd.get(), 0, 599, 1, at, 0.005f), 0.01f, 1e-4f);  // stops at once
    EXPECT_EQ(at, 0);
    EXPECT_EQ(RefAutoSearchMaxdbFall(sd.get(), 10, 12, 5, at, 100.0f), 0.0f);
    EXPECT_EQ(at, 10);
    // dB/km: 0.51 dB over one point of 5 OWT units.
    EXPECT_NEAR(RefAutoSearchMaxFall(sd.get(), 0, 599, 1, at), 0.51 / (5 * kKmPerOwt), 0.1);

    float fall = 0;
    float rise = 0;
    long fallAt = 0;
    long riseAt = 0;
    const float r = RefAutoSearchMaxdbRiseFall(sd.get(), 0, 599, 1, fall, fallAt, rise, riseAt, slope);
    EXPECT_NEAR(fall, -0.5f, 1e-4f);
    EXPECT_EQ(fallAt, 299);
    EXPECT_NEAR(rise, 0.0f, 1e-4f);
    EXPECT_NEAR(r, 0.5f, 1e-4f);
    // Over 20 points the step is seen in full from 280 to 299.
    RefAutoSearchMaxdbRiseFall(sd.get(), 0, 599, 20, fall, fallAt, rise, riseAt, slope);
    EXPECT_NEAR(fall, -0.5f, 1e-4f);
    EXPECT_GE(fallAt, 280);
    EXPECT_LE(fallAt, 299);
    // An empty stretch: w' = 0, all zero.
    EXPECT_EQ(RefAutoSearchMaxdbRiseFall(sd.get(), 50, 40, 8, fall, fallAt, rise, riseAt, slope), 0.0f);
    EXPECT_EQ(fallAt, 50);

    // A rise of 2 dB at 100 on the same fibre.
    auto up = makeTrace(fibreWithStep(300, slope, 100, -2.0));
    RefAutoSearchMaxdbRiseFall(up.get(), 0, 299, 1, fall, fallAt, rise, riseAt, slope);
    EXPECT_NEAR(rise, 2.0f, 1e-4f);
    EXPECT_EQ(riseAt, 99);
    // The band search stops at the first fall that leaves 4 x slope +- 0.05.
    EXPECT_NEAR(RefAutoSearchRefdbFall(sd.get(), 0, 599, 4, 0.05f, slope, at), 0.54f, 1e-4f);
    EXPECT_EQ(at, 296);
    EXPECT_NEAR(RefAutoSearchRefdbFall(sd.get(), 0, 250, 4, 0.05f, slope, at), 0.04f, 1e-4f);
    EXPECT_EQ(at, 0);
    // The ripple form looks beside a spike whose rise and fall lie close
    // together: a flat fibre there has none. Taken as it stands the spike
    // would give |1 - 1| + 2 x 0.25.
    auto spike = makeTrace(reftest::levelsOf(600, [](long i) { return i == 300 ? -4.0 : -5.0; }));
    EXPECT_NEAR(RefAutoSearchMaxdbRiseFall(spike.get(), 0, 599, 3, 0.0f), 0.0f, 1e-6f);
    // SearchRef: the point where a rise passes half way between its ends.
    EXPECT_EQ(RefAutoSearchRef(up.get(), 50, 150), 99);
    EXPECT_EQ(RefAutoSearchRef(up.get(), 150, 50), 150);
}

TEST(RefAutoStepTest, DeadZoneOtkatAndTheReflectionTail)
{
    // A triangle of 0.5 dB a point on both sides of a peak at 100.
    auto sd = makeTrace(reftest::levelsOf(200, [](long i) { return -0.5 * std::fabs(static_cast<double>(i - 100)); }));
    EXPECT_NEAR(RefAutoCalcEDZ(sd.get(), 100), 6.0f, 1e-4f);
    // Behind a peak at 50 the trace falls 1 dB a point down to a fibre
    // falling 0.01 dB a point from 60 on; the walk back from the fibre
    // stops where the cliff begins.
    auto cliff = makeTrace(reftest::levelsOf(200, [](long i) {
        return i <= 50 ? -20.0 + 0.2 * static_cast<double>(i)
                       : (i <= 60 ? -10.0 - static_cast<double>(i - 50) : -20.0 - 0.01 * static_cast<double>(i - 60));
    }));
    EXPECT_EQ(RefAutoOtkatEnd(cliff.get(), 150, 0, 0.5), 150);  // fibre: no cliff
    EXPECT_EQ(RefAutoOtkatEnd(cliff.get(), 60, 0, 0.5), 60);    // rises behind: stays
    EXPECT_EQ(RefAutoOtkatEnd(cliff.get(), 30, 40, 0.5), 40);
    // Seen backwards the rise to the peak falls 0.2 dB a point with nothing
    // as high behind: the walk goes on down to stop + 1.
    EXPECT_EQ(RefAutoOtkatEnd(cliff.get(), 40, 0, 0.5), 1);
}

TEST(RefAutoFibreTest, DefaultAttenuationAndLinkDetection)
{
    auto sd = makeTrace(straightLine(10, -1.0, 0.0));
    auto& gen = *sd->GenParams;
    auto& fxd = *sd->FxdParams;
    EXPECT_DOUBLE_EQ(RefAutoGetLoss(sd.get()), 0.2);  // 1550 at 1550.0 nm
    fxd.AW = 15600;  // 10 nm long
    EXPECT_NEAR(RefAutoGetLoss(sd.get()), 0.2 * (1.0 - 40.0 / 1550.0), 1e-12);
    gen.NW = 1625;
    fxd.AW = 16150;
    EXPECT_NEAR(RefAutoGetLoss(sd.get()), 0.22 * (1.0 - 40.0 / 1625.0), 1e-12);
    gen.NW = 1490;
    fxd.AW = 15000;
    EXPECT_DOUBLE_EQ(RefAutoGetLoss(sd.get()), 0.22);
    gen.NW = 1310;
    fxd.AW = 19100;  // 600 nm away: no offset
    EXPECT_DOUBLE_EQ(RefAutoGetLoss(sd.get()), 0.35);
    gen.FT = 651;
    gen.NW = 850;
    fxd.AW = 8600;
    EXPECT_NEAR(RefAutoGetLoss(sd.get()), 3.0 * (1.0 - 40.0 / 850.0), 1e-12);
    gen.NW = 1300;
    fxd.AW = 0;
    EXPECT_DOUBLE_EQ(RefAutoGetLoss(sd.get()), 0.6);
    gen.FT = 652;
    gen.NW = 1383;
    EXPECT_DOUBLE_EQ(RefAutoGetLoss(sd.get()), 0.2);

    EXPECT_FALSE(RefAutoIsFiberLinkDetected(sd.get()));
    auto add = [&](long ml0, long ml1, long ml2, long ml3) {
        auto* e = new TSorBlockKeyEvents1E();
        e->ML0 = ml0;
        e->ML1 = ml1;
        e->ML2 = ml2;
        e->ML3 = ml3;
        sd->KeyEvents->Events.AddData(e);
    };
    add(0, 0, 100, 100);
    add(100, 100, 200, 200);
    EXPECT_FALSE(RefAutoIsFiberLinkDetected(sd.get()));  // touching, no fibre between
    sd->KeyEvents->Events.data[1]->ML0 = 120;
    EXPECT_TRUE(RefAutoIsFiberLinkDetected(sd.get()));
    sd->KeyEvents->Events.data[1]->ML0 = 100;
    add(200, 300, 300, 300);
    EXPECT_TRUE(RefAutoIsFiberLinkDetected(sd.get()));
}

TEST(RefAutoRippleTest, PolarOnCleanAndNoisyFibre)
{
    // Gaussian ripple of 0.02 dB about a fibre: each half of the deviations
    // has a root mean square of sigma, so the estimate is 2 sigma x 1.5.
    std::mt19937 random(11);
    std::normal_distribution<double> noise(0.0, 0.02);
    auto noisy = makeTrace(
        reftest::levelsOf(4000, [&](long i) { return -3.0 - 0.001 * static_cast<double>(i) + noise(random); }));
    // 4000 samples: the estimate's relative spread is about 1/sqrt(2 x 2000),
    // under 2 %; 5 % covers it and the 0.001 dB storage.
    EXPECT_NEAR(RefAutoCalcPolar2(noisy.get(), 0, 3999, 20, 0.001f, nullptr), 0.06f, 0.003f);
    auto clean = makeTrace(straightLine(4000, -3.0, 0.001));
    EXPECT_NEAR(RefAutoCalcPolar2(clean.get(), 0, 3999, 20, 0.001f, nullptr), 0.0f, 0.002f);
    EXPECT_EQ(RefAutoCalcPolar2(clean.get(), 0, 50, 20, 0.001f, nullptr), 0.0f);  // under 3 n

    long at = -1;
    // Under 16 points: the noise-only estimate poww(NF - level - 2.5 log10 n) x 0.22.
    const double expected = std::pow(10.0, (-30.0 - reftest::stored(-3.01) - 2.5 * std::log10(4.0)) / 5.0) * 0.22;
    EXPECT_NEAR(RefAutoCalcPolar(clean.get(), 10, 20, 4, 0.001f, at), expected, expected * 1e-3);
    EXPECT_EQ(at, 10);
    EXPECT_EQ(RefAutoCalcPolar(clean.get(), 10, 20, 0, 0.001f, at), 0.0f);
    // 150 points of 0.51 m lie within 0.1 km.
    EXPECT_EQ(RefAutoCalcPolar(clean.get(), 10, 160, 4, 0.001f, at), 0.1f);
    // A long noisy section: the ripple estimate follows the noise, and the
    // multimode cap of 0.225 is not reached.
    const float polar = RefAutoCalcPolar(noisy.get(), 0, 3999, 16, 0.001f, at);
    EXPECT_GT(polar, 0.01f);
    EXPECT_LT(polar, 0.2f);
    EXPECT_GE(at, 0);
    EXPECT_LT(at, 4000);
}

TEST(RefAutoNoiseTest, ReceiverRateAndStoredBandwidth)
{
    auto sd = makeTrace(straightLine(500, -1.0, 0.001));
    auto& mode = sd->AUXParams->MM.at(0);
    mode.BWU1 = 500;
    EXPECT_DOUBLE_EQ(RefAutoGetDbOnOwt(sd.get()), 500 * kKmPerOwt);
    mode.BWU2 = 250;  // 1 / (1/500 + 1/250) = 166.67 dB/km
    EXPECT_NEAR(RefAutoGetDbOnOwt(sd.get()), 500.0 / 3.0 * kKmPerOwt, 1e-12);
    EXPECT_NEAR(RefAutoGetOwtBW(sd.get()), 1.5 / (500.0 / 3.0 * kKmPerOwt), 1e-6);
    // None stored and a 100 ns pulse (5 log10 100 >= 3): 1000 dB/km, kept.
    mode.BWU1 = 0;
    mode.BWU2 = 0;
    EXPECT_DOUBLE_EQ(RefAutoGetDbOnOwt(sd.get()), 1000 * kKmPerOwt);
    EXPECT_EQ(mode.BWU1, 1000);
}

namespace {

// A fibre of 5000 points from -5 dB falling 0.002 dB a point, then a tail
// of 5000 points of zero-mean Gaussian noise of `sigma` in the linear domain of a scale
// whose zero lies at -45 dB (MAX 45000).
std::unique_ptr<TSorData> traceWithNoiseTail(double sigma)
{
    std::mt19937 random(5);
    std::normal_distribution<double> noise(0.0, sigma);
    TSorBlockAUXParameters scale;
    scale.MAX = 45000;
    auto levels = reftest::levelsOf(10000, [&](long i) {
        if (i < 5000)
            return -5.0 - 0.002 * static_cast<double>(i);
        return scale.LinToLog5(noise(random));
    });
    auto sd = makeTrace(levels);
    sd->AUXParams->MAX = 45000;
    sd->Untrusted = 0;
    sd->CalculateValues();
    sd->SetLinf();
    return sd;
}

} // namespace

TEST(RefAutoNoiseTest, NoiseFloorOfAGaussianTail)
{
    const double sigma = 300.0;
    auto sd = traceWithNoiseTail(sigma);
    const auto& aux = *sd->AUXParams;
    float nf = 0;
    // Over the tail the mean is near 0 and the root mean square sigma: the
    // floor lands at 3 sigma (a negative mean) or at the highest sample
    // (about 3.7 sigma for 5000 samples) below 4.5 sigma. In dB that is
    // 5 log10 of 2.5 .. 5 sigma over the scale's zero.
    ASSERT_EQ(RefAutoReGetNF(sd.get(), 0.85f, 1.0f, nf, 1), 1);
    EXPECT_GT(nf, aux.LinToLog5(2.5 * sigma));
    EXPECT_LT(nf, aux.LinToLog5(5.0 * sigma));
    // The fibre part lies far above the zero of the scale: no estimate.
    EXPECT_EQ(RefAutoReGetNF(sd.get(), 0.1f, 0.3f, nf, 1), 0);
    // An untrusted trace takes the deviation plus 2.4 dB.
    sd->Untrusted = 1;
    ASSERT_EQ(RefAutoReGetNF(sd.get(), 0.85f, 1.0f, nf, 0), 1);
    EXPECT_NEAR(nf, aux.LinToLog5(static_cast<float>(sigma)) + 2.4f, 0.3f);
}

TEST(RefAutoNoiseTest, ReSetNFRewritesTheStoredFields)
{
    auto sd = traceWithNoiseTail(300.0);
    auto& fxd = *sd->FxdParams;
    auto& aux = *sd->AUXParams;
    // The old form of the scale factor is turned round before use.
    fxd.NFSF = 100;
    fxd.NF = 3;  // 3 x 100 x 1e-6: -0.0003 dB in the old reading
    const double nf = RefAutoReSetNF(sd.get());
    EXPECT_NE(fxd.NFSF, 100);
    EXPECT_NEAR(fxd.GetNF(), nf, 0.01);
    EXPECT_GT(nf, aux.LinToLog5(2.0 * 300.0) - 1.0);
    EXPECT_LT(nf, aux.LinToLog5(5.0 * 300.0) + 2.5);

    // Without a noise reference the trace's lowest level becomes one; a
    // lowest level under the 16-bit scale doubles Scale.
    // (A stored floor of 0 dB agrees with what the tail gives against a
    // zero at 0 dB, so the decision goes on to the reference.)
    auto bare = makeTrace(straightLine(2000, -5.0, 0.01), reftest::kSpacingOwt, 0.0);
    bare->Untrusted = 0;
    bare->CalculateValues();
    ASSERT_EQ(bare->AUXParams->MAX, 0);
    const double lowest = bare->MinLevel;
    const double floor = RefAutoReSetNF(bare.get());
    EXPECT_EQ(bare->AUXParams->MAX, static_cast<std::uint16_t>(-lowest / 1000 * 1e6));
    EXPECT_EQ(bare->AUXParams->Scale, 1000);
    EXPECT_NEAR(bare->FxdParams->GetNF(), floor, 0.01);
    auto deep = makeTrace(straightLine(2000, -5.0, 0.01), reftest::kSpacingOwt, 0.0);
    deep->Untrusted = 0;
    deep->MinLevel = -70.0;
    RefAutoReSetNF(deep.get());
    EXPECT_EQ(deep->AUXParams->Scale, 2000);
    EXPECT_EQ(deep->AUXParams->MAX, 35000);
}
