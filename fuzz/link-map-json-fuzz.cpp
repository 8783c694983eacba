// Reads arbitrary text as a link-map file. The reader must refuse what it
// can't use with a DeserializationException and nothing else; what it
// accepts must write out and read back to the same text.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "link/json-utils.h"
#include "link/link-map-json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    TLinkMap map;
    try {
        map = DeserializeLinkMapFromJson(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const DeserializationException&) {
        return 0;
    }
    const std::string text = SerializeLinkMapToJson(map);
    if (SerializeLinkMapToJson(DeserializeLinkMapFromJson(text)) != text)
        std::abort();
    return 0;
}
