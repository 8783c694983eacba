// TAuto: the noise model that tells which step a stretch of trace can show.
#include <algorithm>
#include <cmath>

#include "auto/auto.h"
#include "ref/ref-math.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"

namespace {

// Linear ratio of a level difference on the one-way scale.
double powDb(double x)
{
    return std::pow(10.0, x / 5.0);
}

} // namespace

double TAuto::RequirePower(double f, double n)
{
    if (f <= 0.0)
        f = 0.001;
    if (n < 1.0)
        n = 1.0;
    return -5.0 * std::log10(powDb(f) - 1.0) - 2.5 * std::log10(n) + 2.0;
}

double TAuto::RequireFault(double p, double n)
{
    if (n <= 0.0)
        n = 1.0;
    const double fault = 5.0 * std::log10(powDb(-(p - 2.0)) / std::sqrt(n) + 1.0) + 0.002;
    return std::max(fault, 0.002);
}

double TAuto::GetFault(double p, double n) const
{
    return RequireFault(p - NF, n) + BaseFault;
}

long TAuto::RequireAvgPin(double p, double f)
{
    const double need = std::pow(10.0, (RequirePower(f, 1.0) - p) / 2.5);
    return static_cast<long>(std::min(need, 32767.0) + 0.999);
}

long TAuto::SetAvgPin(double p, double f, long nMin, long nMax) const
{
    long n = RequireAvgPin(p - NF, f);
    if (n > 20)
        n = (n - 20) / 2 + 20;
    if (n > nMax)
        n = nMax;
    if (n < nMin)
        n = nMin;
    return n;
}

double TAuto::GetTypPol() const
{
    double ns = 0.0;
    if (Sor != nullptr && Sor->FxdParams != nullptr && !Sor->FxdParams->PWU.empty())
        ns = Sor->FxdParams->PWU[0];
    if (ns < 1.0)
        ns = 1.0;
    return 0.5 / std::sqrt(ns) + 0.002;
}

int TAuto::GetPol(long beg, long end, float& slope, float& pol)
{
    if (Sor == nullptr || end - beg < 4)
        return 0;
    if (LevelAt(beg) < NF + 3.0 || LevelAt(end) < NF + 3.0)
        return 0;
    float deviation = 0.0f;
    float yFirst = 0.0f;
    float yLast = 0.0f;
    if (RefMathSQO(Sor, beg, end, deviation, yFirst, yLast) == 0)
        return 0;
    slope = (yFirst - yLast) / static_cast<float>(end - beg);
    // The spread in dB as a relative swing of the linear power.
    const double x = std::min(powDb(deviation) - 1.0, 0.99);
    double p = 5.0 * std::log10(1.0 + x) - 5.0 * std::log10(1.0 - x);
    p = std::clamp(p, 0.002, 0.25);
    pol = static_cast<float>(p);
    return 1;
}

int TAuto::GetPol(long p, long n, long beg, float& slope, float& pol)
{
    const long wideStart = std::min((p + beg) / 2, std::max(beg, p - 4 * n));
    if (GetPol(wideStart, p + n, slope, pol) == 0)
        return 0;
    if (pol > GetTypPol() && n >= th.MinPin) {
        float tightSlope = 0.0f;
        float tightPol = 0.0f;
        if (GetPol(p, p + n, tightSlope, tightPol) != 0 && tightPol < pol) {
            slope = tightSlope;
            pol = tightPol;
        }
    }
    return 1;
}
