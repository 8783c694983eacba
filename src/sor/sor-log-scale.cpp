#include "sor/sor-log-scale.h"

#include <array>
#include <cmath>
#include <limits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

constexpr std::int32_t log2Times500k = 150515;       // 500000 * log10(2), one step of the top bit
constexpr std::int32_t fourDecadesTimes500k = 2000000;  // 500000 * log10(10000), one scaling step
constexpr float scaleDownAbove = 2e9f;                // keeps the whole part within 32 bits
constexpr float scaleUpBelow = 4000.0f;               // gives small values enough bits

// Position of the top set bit of a non-zero value.
int topBit(std::uint32_t v)
{
#if defined(__GNUC__) || defined(__clang__)
    return 31 - __builtin_clz(v);
#else
    int e = 0;
    while (v >>= 1)
        ++e;
    return e;
#endif
}

// 500000 * log10(v) for a whole number v >= 1: the top bit gives e * log10(2),
// the 14 bits below it (normalised to 16384..32767) index the table, and the
// low 8 of those interpolate between two entries.
std::int32_t log500kOfWhole(std::uint32_t v)
{
    const int e = topBit(v);
    const std::uint32_t m = e >= 14 ? v >> (e - 14) : v << (14 - e);
    const int i = static_cast<int>((m - 16384u) >> 8);
    const std::int32_t* T = detail::Log5Table();
    const std::int32_t step = ((T[i + 1] - T[i]) * static_cast<std::int32_t>(m & 255u)) >> 8;
    return e * log2Times500k + T[i] + step;
}

} // namespace

namespace detail {

const std::int32_t* Log5Table()
{
    // A function-local static is initialised exactly once, also when several
    // threads ask at the same time.
    static const std::array<std::int32_t, Log5TableSize> table = [] {
        std::array<std::int32_t, Log5TableSize> t{};
        for (int i = 0; i < Log5TableSize; ++i)
            t[i] = static_cast<std::int32_t>(std::trunc(std::log10(1.0 + i / 64.0) * 500000.0));
        return t;
    }();
    return table.data();
}

const float* PowwTable()
{
    static const std::array<float, PowwTableSize> table = [] {
        std::array<float, PowwTableSize> t{};
        for (int i = 0; i < PowwTableSize; ++i)
            t[i] = static_cast<float>(std::pow(10.0, i / 50000.0));
        return t;
    }();
    return table.data();
}

} // namespace detail

float flog5t(float x)
{
    if (!(x > 0.0f))
        return -std::numeric_limits<float>::infinity();
    if (std::isinf(x))
        x = std::numeric_limits<float>::max();
    std::int32_t bias = 0;
    if (x > scaleDownAbove) {
        // Values beyond 2e13 need more than the one step; each step is exact
        // in the result's terms, so the extra ones only extend the range.
        while (x > scaleDownAbove) {
            x /= 10000.0f;
            bias += fourDecadesTimes500k;
        }
    } else if (x < scaleUpBelow) {
        x *= 10000.0f;
        bias -= fourDecadesTimes500k;
        // Below 1e-4 one step still leaves no whole part.
        while (x < 1.0f) {
            x *= 10000.0f;
            bias -= fourDecadesTimes500k;
        }
    }
    const auto v = static_cast<std::uint32_t>(x);
    return static_cast<float>((bias + log500kOfWhole(v)) * 1e-5);
}

std::int32_t log500k(float x)
{
    if (!(x >= 1.0f))
        return 0;
    if (std::isinf(x))
        x = std::numeric_limits<float>::max();
    std::int32_t bias = 0;
    while (x > scaleDownAbove) {
        x /= 10000.0f;
        bias += fourDecadesTimes500k;
    }
    return bias + log500kOfWhole(static_cast<std::uint32_t>(x));
}

double poww(double y)
{
    return detail::PowwFrom(detail::PowwTable(), y);
}

namespace {

#if defined(__x86_64__)

// Quotient and remainder of whole numbers below 2^24, held exactly in
// floats, by the reciprocal: the estimate can be one off next to a multiple,
// which the remainder shows and one correction each way mends.
__attribute__((target("avx2,fma"))) inline void wholeDivision(__m256 value, __m256 divisor, __m256 reciprocal,
                                                               __m256& quotient, __m256& remainder)
{
    const __m256 one = _mm256_set1_ps(1.0f);
    const __m256 zero = _mm256_setzero_ps();
    quotient = _mm256_floor_ps(_mm256_mul_ps(value, reciprocal));
    remainder = _mm256_sub_ps(value, _mm256_mul_ps(quotient, divisor));
    const __m256 tooSmall = _mm256_cmp_ps(remainder, divisor, _CMP_GE_OQ);
    quotient = _mm256_add_ps(quotient, _mm256_and_ps(tooSmall, one));
    remainder = _mm256_sub_ps(remainder, _mm256_and_ps(tooSmall, divisor));
    const __m256 tooLarge = _mm256_cmp_ps(remainder, zero, _CMP_LT_OQ);
    quotient = _mm256_sub_ps(quotient, _mm256_and_ps(tooLarge, one));
    remainder = _mm256_add_ps(remainder, _mm256_and_ps(tooLarge, divisor));
}

// trunc(y * 20000) for eight floats, exactly. The float product can round
// up onto a whole number that the exact product stays just below; the
// fused multiply-add gives the rounding error exactly and corrects that case.
// (Off whole numbers the rounding cannot cross one: they are floats too.)
__attribute__((target("avx2,fma"))) inline __m256 tableSteps(__m256 y)
{
    const __m256 steps = _mm256_set1_ps(20000.0f);
    const __m256 product = _mm256_mul_ps(y, steps);
    const __m256 error = _mm256_fmsub_ps(y, steps, product);
    const __m256 whole = _mm256_floor_ps(product);
    const __m256 roundedUp = _mm256_and_ps(_mm256_cmp_ps(whole, product, _CMP_EQ_OQ),
                                           _mm256_cmp_ps(error, _mm256_setzero_ps(), _CMP_LT_OQ));
    return _mm256_sub_ps(whole, _mm256_and_ps(roundedUp, _mm256_set1_ps(1.0f)));
}

// The exact product of the power's factors, times 1e8 where `over`, rounded
// to double and then to float, as the scalar steps round it.
__attribute__((target("avx2,fma"))) inline __m128 finalProduct(__m128 factor, __m128 entry, __m128 over)
{
    __m256d r = _mm256_mul_pd(_mm256_cvtps_pd(factor), _mm256_cvtps_pd(entry));
    const __m256d overWide = _mm256_castsi256_pd(_mm256_cvtepi32_epi64(_mm_castps_si128(over)));
    r = _mm256_blendv_pd(r, _mm256_mul_pd(r, _mm256_set1_pd(1e8)), overWide);
    return _mm256_cvtpd_ps(r);
}

// Eight levels of Log5ToLinOne at a time, with the same rounding at every
// step, so the results agree bit for bit. The arithmetic that the scalar
// steps do in double is exact there, and so it is here in float (the product
// y * 20000 with a correction). The last product is one rounding of an exact
// product, in float too, unless a factor 1e8 makes it two roundings (double,
// then float), which is then done in double. A block with
// a lane that would take another path (NaN, or more than one factor 1e8,
// whose repeated products round differently from one) goes the scalar way.
__attribute__((target("avx2,fma"))) long log5ToLinAvx2(const float* levels, float* out, long n, float base,
                                                          float negative, float inverseSlope, const float* table)
{
    const __m256 vBase = _mm256_set1_ps(base);
    const __m256 vNegative = _mm256_set1_ps(negative);
    const __m256 vInverse = _mm256_set1_ps(inverseSlope);
    const __m256 two = _mm256_set1_ps(2.0f);
    const __m256 zero = _mm256_setzero_ps();
    const __m256 absMask = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF));
    const __m256 forty = _mm256_set1_ps(40.0f);
    const __m256 eighty = _mm256_set1_ps(80.0f);
    const __m256 tenFactor = _mm256_set1_ps(100000.0f);
    const __m256 twoFactor = _mm256_set1_ps(30103.0f);
    const __m256 tenReciprocal = _mm256_set1_ps(1.0f / 100000.0f);
    const __m256 twoReciprocal = _mm256_set1_ps(1.0f / 30103.0f);
    // 10^0 to 10^7 are exact in float; 10^8 (y exactly 40) is put in apart.
    const __m256 powersOfTen = _mm256_setr_ps(1.0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f);
    const __m256i eight = _mm256_set1_epi32(8);
    const __m256 tenToEight = _mm256_set1_ps(1e8f);
    long i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256 level = _mm256_loadu_ps(levels + i);
        __m256 t = _mm256_sub_ps(level, vBase);
        const __m256 below = _mm256_cmp_ps(t, zero, _CMP_LT_OQ);
        t = _mm256_blendv_ps(t, _mm256_mul_ps(t, vNegative), below);
        const __m256 u = _mm256_mul_ps(t, vInverse);
        const __m256 small = _mm256_cmp_ps(_mm256_and_ps(u, absMask), two, _CMP_LE_OQ);
        if (_mm256_movemask_ps(small) == 0xFF) {
            _mm256_storeu_ps(out + i, u);
            continue;
        }
        const __m256 y = _mm256_and_ps(t, absMask);
        const __m256 unusual = _mm256_or_ps(_mm256_cmp_ps(t, t, _CMP_UNORD_Q), _mm256_cmp_ps(y, eighty, _CMP_GT_OQ));
        if (_mm256_movemask_ps(unusual) != 0) {
            for (int k = 0; k < 8; ++k)
                out[i + k] = detail::Log5ToLinOne(table, levels[i + k], base, negative, inverseSlope);
            continue;
        }
        // One factor 1e8 above 40; y - 40 is exact there (y is at most 80).
        const __m256 over = _mm256_cmp_ps(y, forty, _CMP_GT_OQ);
        const __m256 rest40 = _mm256_sub_ps(y, _mm256_and_ps(over, forty));
        __m256 tens;
        __m256 afterTens;
        __m256 twos;
        __m256 index;
        wholeDivision(tableSteps(rest40), tenFactor, tenReciprocal, tens, afterTens);
        wholeDivision(afterTens, twoFactor, twoReciprocal, twos, index);
        const __m256i tensInt = _mm256_cvttps_epi32(tens);
        __m256 factor = _mm256_permutevar8x32_ps(powersOfTen, tensInt);
        factor = _mm256_blendv_ps(factor, tenToEight, _mm256_castsi256_ps(_mm256_cmpeq_epi32(tensInt, eight)));
        // times 2^twos, exactly, by adding twos to the float's exponent.
        const __m256i exponent = _mm256_slli_epi32(_mm256_cvttps_epi32(twos), 23);
        factor = _mm256_castsi256_ps(_mm256_add_epi32(_mm256_castps_si256(factor), exponent));
        const __m256i tableIndex = _mm256_srai_epi32(_mm256_cvttps_epi32(index), 1);
        const __m256 entry = _mm256_mask_i32gather_ps(zero, table, tableIndex, _mm256_castsi256_ps(_mm256_set1_epi32(-1)), 4);
        __m256 result;
        if (_mm256_movemask_ps(over) == 0)
            result = _mm256_mul_ps(factor, entry);
        else
            result = _mm256_set_m128(finalProduct(_mm256_extractf128_ps(factor, 1), _mm256_extractf128_ps(entry, 1),
                                                  _mm256_extractf128_ps(over, 1)),
                                     finalProduct(_mm256_castps256_ps128(factor), _mm256_castps256_ps128(entry),
                                                  _mm256_castps256_ps128(over)));
        // The sign of t, then the linear stretch where it applies.
        result = _mm256_blendv_ps(result, _mm256_sub_ps(zero, result), below);
        _mm256_storeu_ps(out + i, _mm256_blendv_ps(result, u, small));
    }
    return i;
}

bool hasAvx2()
{
    static const bool supported = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return supported;
}

#endif

} // namespace

namespace detail {

void Log5ToLinBatch(const float* levels, float* out, long n, float base, float negative, float inverseSlope)
{
    const float* table = PowwTable();
    long i = 0;
#if defined(__x86_64__)
    if (hasAvx2())
        i = log5ToLinAvx2(levels, out, n, base, negative, inverseSlope, table);
#endif
    for (; i < n; ++i)
        out[i] = Log5ToLinOne(table, levels[i], base, negative, inverseSlope);
}

} // namespace detail
