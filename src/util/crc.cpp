#include "util/crc.h"

#include <array>
#include <cstdint>

namespace {

// The CCITT checksum runs over every byte of every trace that is read or
// written, twice on writing (the sizing pass and the real one), so it is
// computed eight bytes at a time ("slicing by eight"): table k holds the
// checksum contribution of a byte followed by k zero bytes. The tables are
// built by the compiler, so there is nothing to initialise at run time.
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

} // namespace

void TCRC::get_crc_ccitt(unsigned short& crc, const char* data, int size) const
{
    if (data == nullptr || size <= 0)
        return;
    const auto* p = reinterpret_cast<const unsigned char*>(data);
    std::uint16_t c = crc;
    auto n = static_cast<std::size_t>(size);
    for (; n >= 8; n -= 8, p += 8) {
        c = static_cast<std::uint16_t>(
            ccitt[7][p[0] ^ (c >> 8)] ^ ccitt[6][p[1] ^ (c & 0xFF)] ^ ccitt[5][p[2]] ^
            ccitt[4][p[3]] ^ ccitt[3][p[4]] ^ ccitt[2][p[5]] ^ ccitt[1][p[6]] ^ ccitt[0][p[7]]);
    }
    for (; n > 0; --n, ++p)
        c = static_cast<std::uint16_t>((c << 8) ^ ccitt[0][(c >> 8) ^ *p]);
    crc = c;
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
