// RefMath: lines, clipping, closed-form shapes and the modelled power across
// a non-reflective event. Nothing here reads a trace.
#include "ref/ref-math.h"

#include <algorithm>
#include <cmath>

void RefMathLine(double x1, double y1, double x2, double y2, double& k, double& b)
{
    // A level or vertical pair has no usable slope: the horizontal line
    // through the first point stands in.
    if (y1 == y2 || x1 == x2) {
        k = 0.0;
        b = y1;
        return;
    }
    k = (y1 - y2) / (x1 - x2);
    b = (y1 * x2 - y2 * x1) / (x2 - x1);
}

void RefMathSwap(double& a, double& b)
{
    std::swap(a, b);
}

int RefMathClipLine(double& x1, double& y1, double& x2, double& y2, double xMin, double yMin, double xMax, double yMax)
{
    double k = 0.0;
    double b = 0.0;
    RefMathLine(x1, y1, x2, y2, k, b);
    // Only the y values are put in order; the x values keep their places.
    if (y1 > y2)
        RefMathSwap(y1, y2);
    if (y1 > yMax || y2 < yMin)
        return 0;
    x1 = std::max(x1, xMin);
    x2 = std::min(x2, xMax);
    y1 = std::max(y1, yMin);
    y2 = std::min(y2, yMax);
    if (k != 0.0) {
        double t1 = (y1 - b) / k;
        double t2 = (y2 - b) / k;
        if (t1 > t2)
            RefMathSwap(t1, t2);
        x1 = std::max(x1, t1);
        x2 = std::min(x2, t2);
    }
    if (x1 > xMax || x2 < xMin || x1 > x2)
        return 0;
    y1 = x1 * k + b;
    y2 = x2 * k + b;
    return 1;
}

double RefMathLinesSQO(double a, double b, double c)
{
    const double v = b * c;
    return std::sqrt(a * a + v * v / 3.0 - v * a);
}

double RefMathLinearFactor(double a, double b, double c)
{
    if (a * b <= 0.0)
        return 0.0;
    return 5.0 * std::log10(a * b + 1.0 - a * a * c);
}

double RefMathAmplitudePulse(double pulse, double rate, double step)
{
    // No pulse, no reflection to reach.
    if (!(pulse > 0.0))
        return 0.0;
    const double q = std::pow(10.0, -pulse * rate / 5.0);
    const double m = std::min(pulse, step) / 1.2;
    // (pulse / m)(1 - e^(-m / pulse)) tends to 1 as the step vanishes.
    if (m == 0.0)
        return 1.0 - q;
    return (1.0 - q) * (pulse / m) * (1.0 - std::exp(-m / pulse));
}

// ---- modelled shape of a non-reflective event ----

namespace {

// The linear sum of the two backscatter tails at x inside an event of width
// w: the fibre before it fading out and the fibre after it fading in, the
// latter lowered by the step and its own fall over the width. T is float or
// double, the precision of the caller.
template <class T>
T spliceLinearSum(T step, T s1, T s2, T w, T x)
{
    // A zero-width event has only its start: the level of the fibre before it.
    if (w == T(0))
        return T(1);
    const T ten = T(10);
    const T five = T(5);
    T u;
    if (w * s1 < T(1e-6)) {
        u = T(1) - x / w;
    } else {
        const T e = std::pow(ten, -s1 * w / five);
        u = (std::pow(ten, -s1 * x / five) - e) / (T(1) - e);
    }
    T v;
    if (w * s2 < T(1e-6)) {
        v = x / w;
    } else {
        const T e = std::pow(ten, -s2 * w / five);
        v = (T(1) - std::pow(ten, -s2 * x / five)) / (T(1) - e);
    }
    return u + v * std::pow(ten, (-step - w * s2) / five);
}

} // namespace

double RefMathSplicePower(double step, double s1, double s2, double width, double x)
{
    if (x > width)
        return step + x * s2;
    if (x < 0.0)
        return x * s1;
    const double z = spliceLinearSum(step, s1, s2, width, x);
    if (!(z > 0.0))
        return -0.0;
    return -5.0 * std::log10(z);
}

float RefMathSpliceLinPower(float step, float s1, float s2, int width, int x)
{
    // Outside the event the straight lines, already in dB.
    if (x > width)
        return step + s2 * static_cast<float>(x);
    if (x < 0)
        return s1 * static_cast<float>(x);
    return spliceLinearSum(step, s1, s2, static_cast<float>(width), static_cast<float>(x));
}

float RefMathSplicePower(float step, float s1, float s2, int width, int x)
{
    // Callers ask only inside the event; outside, the dB value of the lines
    // goes through the logarithm as it stands, which is kept as it is.
    const float value = RefMathSpliceLinPower(step, s1, s2, width, x);
    if (!(value > 0.0f))
        return -0.0f;
    return -5.0f * std::log10(value);
}
