// RefAuto: the receiver's fall rate and the noise floor of a trace.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "ref/ref-auto-p.h"
#include "ref/ref-auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-aux-parameters.h"

using refauto::level;
using refauto::pointCount;

namespace {

// The highest and lowest level over the points from..to-1; both the level
// of `from` when the range is empty.
void minMaxOf(const TSorData* sd, long from, long to, float& lo, float& hi)
{
    long minPos = 0;
    long maxPos = 0;
    sd->DataPts->GetMinMax(&lo, &hi, from, to, minPos, maxPos);
}

// The point of a one-way time, truncated, within 0..N.
long pointOfOwt(const TSorData* sd, double owt)
{
    const double f = sd->FxdParams->OwtTofNum(owt);
    return std::clamp(truncSaturated<long>(f), 0L, pointCount(sd));
}

// The highest level between two one-way times, both ends included.
float highestBetweenOwt(const TSorData* sd, double owt1, double owt2)
{
    const long from = pointOfOwt(sd, owt1);
    const long to = std::max(pointOfOwt(sd, owt2) + 1, from + 1);
    float lo = 0.0f;
    float hi = 0.0f;
    minMaxOf(sd, from, to, lo, hi);
    return hi;
}

std::int16_t toInt16(double v)
{
    if (!(v == v))
        return 0;
    return static_cast<std::int16_t>(std::clamp(v, -32768.0, 32767.0));
}

} // namespace

double RefAutoGetDbOnOwt(TSorData* sd)
{
    auto& aux = *sd->AUXParams;
    auto& fxd = *sd->FxdParams;
    const double kmPerOwt = refauto::kmPerOwt(sd);
    if (!aux.MM.empty()) {
        const TAUXMeasurementMode& mode = aux.MM.front();
        double b = mode.BWU1;
        if (mode.BWU2 > 0 && mode.BWU1 != 0)
            b = 1.0 / (1.0 / mode.BWU1 + 1.0 / mode.BWU2);
        if (b > 0.0)
            return b * kmPerOwt;  // a rate in dB/km as dB per OWT unit
    }

    // No rate stored: measure the fall behind the launch peak, in dB/km.
    const double ns = fxd.GetNsPulse(0);
    double value = 1000.0;
    const double pulseOwt = ns / 0.2;
    const double depthBelowPeak = ns > 0.0 ? 5.0 * std::log10(ns) : 0.0;
    if (ns > 0.0 && pulseOwt >= fxd.GetMinOwt() && depthBelowPeak < 3.0) {
        const double np = fxd.OwtTofNum(pulseOwt);
        const long npWhole = truncSaturated<long>(np);
        float lmax = 0.0f;
        const long m = RefAutoGetMax(sd, 0, npWhole + 2, lmax, -1);
        long i1 = RefAutoSearchStraightLess(sd, m, lmax - 0.5f);
        const auto depth = static_cast<float>(-depthBelowPeak > lmax - 1.0f ? lmax - 3.0f : -depthBelowPeak);
        long i2 = RefAutoSearchStraightLess(sd, i1, depth);
        const long w = i2 - i1;
        const double nf = RefAutoReSetNF(sd);
        long at = 0;
        if (w > 2) {
            const long i3 = RefAutoSearchStraightLess(sd, i1, depth - 1.5f);
            const long d = i3 - i2;
            const long u = w > 2 * d ? (d - 1) / 2 : (w - 2) / 3;
            const long q = npWhole + 1;
            const long step = std::min(u, q / 3) + 1;
            const float f = RefAutoSearchMaxFall(sd, q, i3, step, at);
            if (q < w) {
                if (at - i1 < q)
                    i2 = at + 1;
                if (at < i2 && i2 - at < q)
                    i1 = at - 1;
            }
            if (f < 200.0f) {
                const double km = refauto::kmBetween(sd, i1, i2);
                value = km != 0.0 ? (level(sd, i1) - level(sd, i2)) / km : 10.0;
                value = std::max(value, 10.0);
            } else {
                value = f;
            }
        } else {
            const long j = npWhole + 1;
            const long k = RefAutoSearchStraightLess(sd, j, static_cast<float>(nf + 5.0));
            value = k - j < 3 ? 1000.0 : RefAutoSearchMaxFall(sd, j, k, 1, at);
        }
    }
    // Kept for the next call. A trace without a mode record has nowhere to
    // keep it and measures again.
    if (!aux.MM.empty())
        aux.MM.front().BWU1 = toInt16(value);
    return value * kmPerOwt;
}

int RefAutoReGetNF(TSorData* sd, float f1, float f2, float& nf, int mode)
{
    const auto& aux = *sd->AUXParams;
    const long n = pointCount(sd);
    const float base = static_cast<float>(aux.Scale) * -static_cast<float>(aux.MAX) * 1e-6f;
    const long a = std::clamp(truncSaturated<long>(static_cast<double>(n) * f1), 0L, n);
    const long b = std::clamp(truncSaturated<long>(static_cast<double>(n) * f2), 0L, n);
    if (b - a < 1)
        return 0;
    float lmin = 0.0f;
    float lmax = 0.0f;
    minMaxOf(sd, a, b, lmin, lmax);
    const float* lin = RefEmbGetLinf(sd);
    float p = RefMathPower(sd, lin, a, b - a, 2);
    if (lmin > base + 3.0f)
        return 0;  // the stretch lies above the noise reference
    float s = RefMathLinSQO(sd, f1, f2, p);

    long pos = 0;
    long neg = 0;
    if (lin != nullptr && mode == 1) {
        for (long c = b - 1; c >= a; --c)
            ++(lin[c] > 0.0f ? pos : neg);
        // Mostly negative samples at the tail: the floor lies lower than
        // the stretch's mean shows. Take in the quiet points before it, up
        // to half the trace, until the signs balance.
        if (neg > pos && a > b / 2) {
            const float thr = p + 4.0f * aux.Log5ToLin(s, 0);
            long c = a;
            while (c > b / 2 && neg > pos && lin[c] < thr) {
                --c;
                ++(lin[c] > 0.0f ? pos : neg);
            }
            if (c < a) {
                minMaxOf(sd, c, b, lmin, lmax);
                p = RefMathPower(sd, lin, c, b - c, 2);
                s = aux.LinToLog5(RefMathLinSQO(lin, c, b));
            }
        }
    }

    if (sd->Untrusted != 0) {
        nf = static_cast<double>(neg) > 0.8 * static_cast<double>(pos) ? lmax : s + 2.4f;
        return 1;
    }
    const float z = aux.Log5ToLin(s, 0);
    if (p < 0.0f) {
        nf = aux.LinToLog5(3.0f * z - p);
        return 1;
    }
    if (p >= 2.5f * z) {
        nf = aux.LinToLog5(p + 3.0f * z);
    } else {
        if (lmin > base + 0.01f)
            return 0;
        if (p < 0.3f * z && base <= lmin)
            return 0;
        const float q = aux.LinToLog5(p + 4.5f * z);
        nf = lmax < q + 1.0f ? lmax : q;
    }
    return nf + 3.0f < lmax ? 0 : 1;
}

double RefAutoReSetNF(TSorData* sd)
{
    auto& fxd = *sd->FxdParams;
    auto& aux = *sd->AUXParams;
    const long n = pointCount(sd);
    const double lastOwt = sd->GetMaxOwt();
    const double m = std::trunc(lastOwt);
    const double k0 = fxd.LenDS();
    const bool has = static_cast<long>(aux.SNL) * aux.MAX != 0;
    auto baseLevel = [&] { return aux.Scale * -static_cast<double>(aux.MAX) * 1e-6; };

    // An old file gave the scale factor as its inverse.
    if (fxd.NFSF >= 17 && fxd.NFSF <= 100)
        fxd.NFSF = static_cast<std::int16_t>(1000000 / fxd.NFSF);

    double nf0 = fxd.GetNF();
    double np = has ? aux.GetNoisePeak() : nf0;
    double base = baseLevel();
    if (has && nf0 < base)
        nf0 = np;

    // A fresh estimate far from both stored values wins at once.
    float x = 0.0f;
    if (RefAutoReGetNF(sd, 0.98f, 1.0f, x, 1) != 0 && std::fabs(nf0 - x) > 1.5 && std::fabs(np - x) > 1.5) {
        if (x > base) {
            fxd.SetNF(x);
            return x;
        }
        return np;
    }
    std::uint16_t noiseLevel = 0;
    long averages = 0;
    if (aux.GetNL(10000, noiseLevel, averages) == 1 && std::fabs(nf0 - x) < 1.0)
        return nf0;

    // The trace ended before the range did: its tail is not noise.
    if (0.99 * fxd.AR > lastOwt && aux.SNL != 0) {
        float y = 0.0f;
        if (np > nf0 + 0.5 && RefAutoReGetNF(sd, 0.98f, 1.0f, y, 0) != 0) {
            const double dA = std::fabs(y - nf0);
            const double dB = std::fabs(y - np);
            if (dA > 3.0 && dB > 3.0) {
                fxd.SetNF(y);
                return y;
            }
            if (dB > dA)
                return nf0;
        }
        fxd.SetNF(np);
        return np;
    }

    float lmin = 0.0f;
    minMaxOf(sd, pointOfOwt(sd, 0.98 * m), std::min(pointOfOwt(sd, m) + 1, n), lmin, x);

    float riseFall = -1.0f;
    if (!has) {
        if (aux.MAX != 0 && nf0 < x && nf0 - sd->MinLevel > 1.0)
            return nf0;
        // Without a noise reference the lowest level of the trace becomes it.
        if (sd->MinLevel < -65.535)
            aux.Scale = 2000;
        if (aux.Scale > 0)
            aux.MAX = static_cast<std::uint16_t>(std::clamp(-sd->MinLevel / aux.Scale * 1e6, 0.0, 65535.0));
        float fall = 0.0f;
        float rise = 0.0f;
        long fallAt = 0;
        long riseAt = 0;
        riseFall = RefAutoSearchMaxdbRiseFall(sd, truncSaturated<long>(0.98 * static_cast<double>(n)), n, n / 500 + 1,
                                              fall, fallAt, rise, riseAt,
                                              static_cast<float>(k0 * RefAutoGetLoss(sd)));
        np = x;
    }

    RefAutoReGetNF(sd, 0.98f, 1.0f, x, has ? 0 : 1);
    const float y = x;
    base = baseLevel();

    // Fine sampling averages the noise down; the floor is corrected for it.
    double corr = 0.0;
    double lim = 3.0;
    if (lmin + 0.02 < base && k0 > 0.0 && k0 < 0.0025) {
        corr = 0.4 * std::sqrt(0.5 * 0.0025 / k0);
        lim = std::max(3.0 - corr, 0.5);
    }

    if (np >= -65.0 && np < -5.0 && np <= y + lim && !(np < x && base < (x + lmin) / 2.0 + 3.0)) {
        if (std::fabs(fxd.GetNF() - np) <= 0.1)
            return np;
        fxd.SetNF(np);
        return np;
    }

    // Three estimates further in, each falling back on the one before.
    float ea = y;
    if (RefAutoReGetNF(sd, 0.95f, 1.0f, ea, 0) == 0)
        ea = y;
    float eb = ea;
    if (RefAutoReGetNF(sd, 0.9f, 0.95f, eb, 0) == 0)
        eb = ea;
    float ec = eb;
    if (RefAutoReGetNF(sd, 0.8f, 0.9f, ec, 0) == 0)
        ec = eb;

    double r = 0.0;
    if (aux.SNL == 0 && (std::fabs(nf0 - ea) < 2.5 || std::fabs(nf0 - eb) < 2.5 || std::fabs(nf0 - ec) < 2.5)) {
        r = std::fabs(nf0 + 2.4 - ea) < std::fabs(nf0 - ea) ? nf0 + 2.4 : nf0;
    } else if (ea >= eb && ea >= ec) {
        if (ea - eb < 1.0f) {
            r = ea;
        } else {
            const float ma = highestBetweenOwt(sd, 0.95 * m / 2.0, m / 2.0);
            const float mb = highestBetweenOwt(sd, 0.9 * m / 2.0, 0.95 * m / 2.0);
            r = mb < ma ? eb : ea;
        }
    } else if (ea <= eb && eb >= ec) {
        if (eb - ea < 1.0f) {
            r = eb;
        } else {
            const float ma = highestBetweenOwt(sd, 0.8 * m / 2.0, 0.9 * m / 2.0);
            const float mb = highestBetweenOwt(sd, 0.9 * m / 2.0, 0.95 * m / 2.0);
            const float early = highestBetweenOwt(sd, 2.0 * 0.8 * m / 3.0, 2.0 * 0.9 * m / 3.0);
            const float late = highestBetweenOwt(sd, 2.0 * 0.9 * m / 3.0, 2.0 * 0.95 * m / 3.0);
            r = mb < ma && early > late + 3.0f ? eb : ea;
        }
    } else {
        r = (eb < ec && ea < ec && ec - ea < 1.0f) || np > ec ? ec : ea;
    }

    const double r2 = r + corr;
    if (std::fabs(nf0 - r) > std::fabs(r2 - nf0))
        r = r2;
    double final = r;
    if (!has && riseFall >= 0.0f && riseFall < 0.75f)
        final = std::max(r - 1.5, base + 0.3);
    if (base + 2.4 > final && has && m > 0.95 * fxd.AR)
        final = base + 2.4;
    fxd.SetNF(final);
    return final;
}
