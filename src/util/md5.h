// TMd5: the MD5 digest of RFC 1321, used for the hash of a trace's points.
#pragma once

#include <cstdint>
#include <string>

#include "util/util-export.h"

class FIBERTEST_UTIL_EXPORT TMd5
{
public:
    static constexpr int DigestSize = 16;

    // A new object is ready for use: the padding block is filled and the
    // state initialised.
    TMd5();

    // Fills the padding block: 0x80 followed by 63 zeros.
    void PaddingFillUp();
    // Resets the bit count and loads the standard initial state.
    void Init();
    // Feeds `size` bytes; a null `data` or a size of 0 or below feeds nothing.
    void Update(const unsigned char* data, int size);
    // Pads, appends the 64-bit bit count (low word first) and writes the
    // 16-byte digest to `out`. The object must be re-initialised afterwards.
    void Final(char* out);
    // Init, Update and Final in one call.
    void Get(const unsigned char* data, int size, char* out);

    // The digest as 16 raw bytes (not hexadecimal). A null `data`, or a size
    // of zero or below, gives 16 zero bytes rather than the digest of nothing,
    // so that an absent buffer is told apart from an empty one.
    [[nodiscard]] static std::string GetMd5Hash(const unsigned char* data, int size);
    [[nodiscard]] static std::string GetStringMd5Hash(const std::string& text);

    // Little-endian packing between bytes and 32-bit words; `size` in bytes
    // is a multiple of 4.
    static void ByteToDWord(std::uint32_t* out, const unsigned char* in, int size);
    static void DWordToByte(unsigned char* out, const std::uint32_t* in, int size);

private:
    // The block function over one 64-byte block.
    void Transform(const unsigned char block[64]);

    unsigned char padding[64];
    unsigned char buffer[64];  // input not yet transformed
    std::uint32_t count[2];    // bits fed so far, low word first
    std::uint32_t state[4];    // A, B, C, D
};
