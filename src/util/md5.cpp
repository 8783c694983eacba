#include "util/md5.h"

#include <cstring>

namespace {

// Per-round shift amounts and sine-derived constants of RFC 1321.
constexpr int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

constexpr std::uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr std::uint32_t rotateLeft(std::uint32_t x, int n) { return (x << n) | (x >> (32 - n)); }

} // namespace

TMd5::TMd5()
{
    PaddingFillUp();
    Init();
}

void TMd5::PaddingFillUp()
{
    std::memset(padding, 0, sizeof padding);
    padding[0] = 0x80;
}

void TMd5::Init()
{
    std::memset(buffer, 0, sizeof buffer);
    count[0] = count[1] = 0;
    state[0] = 0x67452301;
    state[1] = 0xefcdab89;
    state[2] = 0x98badcfe;
    state[3] = 0x10325476;
}

void TMd5::Update(const unsigned char* data, int size)
{
    if (data == nullptr || size <= 0)
        return;
    const auto length = static_cast<std::uint32_t>(size);
    unsigned index = (count[0] >> 3) & 0x3F;
    const std::uint32_t bits = length << 3;
    count[0] += bits;
    if (count[0] < bits)
        ++count[1];
    count[1] += length >> 29;

    const unsigned room = 64 - index;
    std::uint32_t i = 0;
    if (length >= room) {
        std::memcpy(&buffer[index], data, room);
        Transform(buffer);
        for (i = room; i + 63 < length; i += 64)
            Transform(&data[i]);
        index = 0;
    }
    std::memcpy(&buffer[index], &data[i], length - i);
}

void TMd5::Final(char* out)
{
    unsigned char bitCount[8];
    DWordToByte(bitCount, count, 8);
    const unsigned index = (count[0] >> 3) & 0x3F;
    const unsigned padLength = index < 56 ? 56 - index : 120 - index;
    Update(padding, static_cast<int>(padLength));
    Update(bitCount, 8);
    DWordToByte(reinterpret_cast<unsigned char*>(out), state, DigestSize);
}

void TMd5::Get(const unsigned char* data, int size, char* out)
{
    Init();
    Update(data, size);
    Final(out);
}

std::string TMd5::GetMd5Hash(const unsigned char* data, int size)
{
    std::string digest(DigestSize, '\0');
    if (data == nullptr || size <= 0)
        return digest;
    TMd5 md5;
    md5.Get(data, size, digest.data());
    return digest;
}

std::string TMd5::GetStringMd5Hash(const std::string& text)
{
    return GetMd5Hash(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
}

void TMd5::ByteToDWord(std::uint32_t* out, const unsigned char* in, int size)
{
    for (int i = 0, j = 0; j < size; ++i, j += 4)
        out[i] = std::uint32_t(in[j]) | (std::uint32_t(in[j + 1]) << 8) | (std::uint32_t(in[j + 2]) << 16) |
                 (std::uint32_t(in[j + 3]) << 24);
}

void TMd5::DWordToByte(unsigned char* out, const std::uint32_t* in, int size)
{
    for (int i = 0, j = 0; j < size; ++i, j += 4) {
        out[j] = static_cast<unsigned char>(in[i] & 0xFF);
        out[j + 1] = static_cast<unsigned char>((in[i] >> 8) & 0xFF);
        out[j + 2] = static_cast<unsigned char>((in[i] >> 16) & 0xFF);
        out[j + 3] = static_cast<unsigned char>((in[i] >> 24) & 0xFF);
    }
}

void TMd5::Transform(const unsigned char block[64])
{
    std::uint32_t x[16];
    ByteToDWord(x, block, 64);
    std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    for (int i = 0; i < 64; ++i) {
        const int round = i / 16;
        std::uint32_t f;
        int g;
        switch (round) {
        case 0: f = (b & c) | (~b & d); g = i; break;
        case 1: f = (b & d) | (c & ~d); g = (5 * i + 1) % 16; break;
        case 2: f = b ^ c ^ d; g = (3 * i + 5) % 16; break;
        default: f = c ^ (b | ~d); g = (7 * i) % 16; break;
        }
        const std::uint32_t rotated = rotateLeft(a + f + sines[i] + x[g], shifts[round][i % 4]);
        a = d;
        d = c;
        c = b;
        b += rotated;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}
