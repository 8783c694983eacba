#include "util/base64.h"

#include <array>
#include <stdexcept>

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Decoding classes of the 256 byte values: 0-63 a digit, skip for blanks and
// padding, bad for everything else (the bytes above 127 included).
constexpr signed char skip = -1;
constexpr signed char bad = -2;

constexpr std::array<signed char, 256> makeDecodeTable()
{
    std::array<signed char, 256> t{};
    for (auto& v : t)
        v = bad;
    for (int i = 0; i < 64; ++i)
        t[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
    for (unsigned char c : {' ', '\t', '\n', '\v', '\f', '\r', '='})
        t[c] = skip;
    return t;
}

constexpr std::array<signed char, 256> decodeTable = makeDecodeTable();

// Inputs above this length would make an output longer than 32 bits can count.
constexpr unsigned long long maxEncodableLength = 0xBFFFFFFDull;

} // namespace

std::string base64_encode(const std::string& bytes)
{
    if (static_cast<unsigned long long>(bytes.size()) > maxEncodableLength)
        throw std::length_error("Converting too large a string to base64.");
    const std::size_t n = bytes.size();
    std::string out((n + 2) / 3 * 4, '=');
    std::size_t o = 0;
    std::size_t i = 0;
    const auto byte = [&bytes](std::size_t k) { return static_cast<unsigned char>(bytes[k]); };
    for (; i + 2 < n; i += 3) {
        const unsigned v = (byte(i) << 16) | (byte(i + 1) << 8) | byte(i + 2);
        out[o++] = alphabet[(v >> 18) & 0x3F];
        out[o++] = alphabet[(v >> 12) & 0x3F];
        out[o++] = alphabet[(v >> 6) & 0x3F];
        out[o++] = alphabet[v & 0x3F];
    }
    if (i < n) {
        // One or two bytes remain; the "=" already in place pads the group.
        const unsigned v = (byte(i) << 16) | (i + 1 < n ? byte(i + 1) << 8 : 0u);
        out[o++] = alphabet[(v >> 18) & 0x3F];
        out[o++] = alphabet[(v >> 12) & 0x3F];
        if (i + 1 < n)
            out[o++] = alphabet[(v >> 6) & 0x3F];
    }
    return out;
}

std::string base64_decode(const std::string& text)
{
    std::string out;
    out.reserve(text.size() / 4 * 3 + 2);
    unsigned accumulator = 0;
    int bits = 0;
    for (char ch : text) {
        const signed char v = decodeTable[static_cast<unsigned char>(ch)];
        if (v == skip)
            continue;
        if (v == bad)
            throw std::invalid_argument("This contains characters not legal in a base64 encoded string.");
        accumulator = ((accumulator << 6) | static_cast<unsigned>(v)) & 0xFFFFu;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<char>((accumulator >> bits) & 0xFF));
        }
    }
    return out;
}
