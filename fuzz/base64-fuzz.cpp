// Decodes arbitrary text; whatever decodes must encode and decode to itself.
#include "util/base64.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string decoded;
    try {
        decoded = base64_decode(text);
    } catch (const std::invalid_argument&) {
        return 0;
    }
    if (base64_decode(base64_encode(decoded)) != decoded)
        std::abort();
    return 0;
}
