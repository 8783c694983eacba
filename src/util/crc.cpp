#include "util/crc.h"

#include <array>
#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

// The CCITT checksum runs over every byte of every trace that is read or
// written, twice on writing (the sizing pass and the real one). Short runs go
// eight bytes at a time through tables ("slicing by eight": table k holds the
// contribution of a byte followed by k zero bytes), built by the compiler so
// that nothing is initialised at run time; long runs are folded with
// carry-less multiplication where the processor has it.
using CcittTables = std::array<std::array<std::uint16_t, 256>, 8>;

constexpr std::uint16_t ccittPolynomial = 0x1021;
constexpr std::uint16_t arcPolynomial = 0xA001;

constexpr CcittTables makeCcittTables()
{
    CcittTables t{};
    for (unsigned i = 0; i < 256; ++i) {
        auto crc = static_cast<std::uint16_t>(i << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>((crc & 0x8000) ? (crc << 1) ^ ccittPolynomial : crc << 1);
        t[0][i] = crc;
    }
    for (std::size_t k = 1; k < t.size(); ++k)
        for (unsigned i = 0; i < 256; ++i) {
            const std::uint16_t prev = t[k - 1][i];
            t[k][i] = static_cast<std::uint16_t>((prev << 8) ^ t[0][prev >> 8]);
        }
    return t;
}

constexpr std::array<std::uint16_t, 256> makeArcTable()
{
    std::array<std::uint16_t, 256> t{};
    for (unsigned i = 0; i < 256; ++i) {
        auto crc = static_cast<std::uint16_t>(i);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>((crc & 1) ? (crc >> 1) ^ arcPolynomial : crc >> 1);
        t[i] = crc;
    }
    return t;
}

constexpr CcittTables ccitt = makeCcittTables();
constexpr std::array<std::uint16_t, 256> arc = makeArcTable();

std::uint16_t ccittSliced(std::uint16_t c, const unsigned char* p, std::size_t n)
{
    for (; n >= 8; n -= 8, p += 8) {
        c = static_cast<std::uint16_t>(
            ccitt[7][p[0] ^ (c >> 8)] ^ ccitt[6][p[1] ^ (c & 0xFF)] ^ ccitt[5][p[2]] ^
            ccitt[4][p[3]] ^ ccitt[3][p[4]] ^ ccitt[2][p[5]] ^ ccitt[1][p[6]] ^ ccitt[0][p[7]]);
    }
    for (; n > 0; --n, ++p)
        c = static_cast<std::uint16_t>((c << 8) ^ ccitt[0][(c >> 8) ^ *p]);
    return c;
}

#if defined(__x86_64__)

// Long buffers (the points of a trace are most of its bytes) are folded 16
// bytes at a time with carry-less multiplication. The 16-bit checksum is
// the top half of a 32-bit one whose polynomial is 0x1021 moved up by 16
// bits, so the usual folding works: a 128-bit block B followed by D more
// bits is congruent to B_hi * (x^(D+64) mod P) + B_lo * (x^D mod P). What
// is left after the last fold is run through the tables like any 16 bytes.
constexpr std::uint32_t foldPolynomial = std::uint32_t(ccittPolynomial) << 16;

constexpr std::uint64_t xPowerModP(unsigned power)
{
    std::uint32_t r = 1;
    for (unsigned i = 0; i < power; ++i)
        r = (r & 0x80000000u) ? (r << 1) ^ foldPolynomial : r << 1;
    return r;
}

constexpr std::uint64_t foldHigh = xPowerModP(128 + 64);
constexpr std::uint64_t foldLow = xPowerModP(128);
constexpr std::uint64_t fold4High = xPowerModP(512 + 64);
constexpr std::uint64_t fold4Low = xPowerModP(512);

// Loads 16 bytes reversed, so that bit i of the register is the coefficient
// of x^i and the first byte of the block is the highest.
__attribute__((target("pclmul,ssse3"))) inline __m128i loadReversed(const unsigned char* at)
{
    const __m128i reverse = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)), reverse);
}

__attribute__((target("pclmul,ssse3"))) inline __m128i foldBy(__m128i x, __m128i constants, __m128i next)
{
    const __m128i high = _mm_clmulepi64_si128(x, constants, 0x11);
    const __m128i low = _mm_clmulepi64_si128(x, constants, 0x00);
    return _mm_xor_si128(_mm_xor_si128(high, low), next);
}

__attribute__((target("pclmul,ssse3"))) std::uint16_t ccittFolded(std::uint16_t c, const unsigned char* p,
                                                                     std::size_t n)
{
    const auto load = loadReversed;
    const __m128i by1 = _mm_set_epi64x(static_cast<long long>(foldHigh), static_cast<long long>(foldLow));
    const __m128i by4 = _mm_set_epi64x(static_cast<long long>(fold4High), static_cast<long long>(fold4Low));
    // A starting value is the same as that value XORed into the first two bytes.
    const __m128i start = _mm_set_epi64x(static_cast<long long>(std::uint64_t(c) << 48), 0);
    __m128i x;
    if (n >= 128) {
        // Four blocks in flight at a time hide the multiplier's latency; they
        // are folded into one at the end.
        __m128i x0 = _mm_xor_si128(load(p), start);
        __m128i x1 = load(p + 16);
        __m128i x2 = load(p + 32);
        __m128i x3 = load(p + 48);
        p += 64;
        n -= 64;
        for (; n >= 64; n -= 64, p += 64) {
            x0 = foldBy(x0, by4, load(p));
            x1 = foldBy(x1, by4, load(p + 16));
            x2 = foldBy(x2, by4, load(p + 32));
            x3 = foldBy(x3, by4, load(p + 48));
        }
        x = foldBy(foldBy(foldBy(x0, by1, x1), by1, x2), by1, x3);
    } else {
        x = _mm_xor_si128(load(p), start);
        p += 16;
        n -= 16;
    }
    for (; n >= 16; n -= 16, p += 16)
        x = foldBy(x, by1, load(p));
    const __m128i reverse = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    unsigned char rest[16];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rest), _mm_shuffle_epi8(x, reverse));
    return ccittSliced(ccittSliced(0, rest, sizeof rest), p, n);
}

bool canFold()
{
    static const bool supported = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("ssse3");
    return supported;
}

#endif

} // namespace

void TCRC::get_crc_ccitt(unsigned short& crc, const char* data, int size) const
{
    if (data == nullptr || size <= 0)
        return;
    const auto* p = reinterpret_cast<const unsigned char*>(data);
    const auto n = static_cast<std::size_t>(size);
#if defined(__x86_64__)
    // Below a few blocks the tables are as quick, and small fields are most calls.
    if (n >= 64 && canFold()) {
        crc = ccittFolded(crc, p, n);
        return;
    }
#endif
    crc = ccittSliced(crc, p, n);
}

void TCRC::get_crc_16(unsigned short& crc, const char* data, int size) const
{
    if (data == nullptr || size <= 0)
        return;
    const auto* p = reinterpret_cast<const unsigned char*>(data);
    std::uint16_t c = crc;
    for (int i = 0; i < size; ++i)
        c = static_cast<std::uint16_t>((c >> 8) ^ arc[(c ^ p[i]) & 0xFF]);
    crc = c;
}
