// Reads arbitrary text as an event-thresholds file. The reader must refuse
// what it can't use with a DeserializationException and nothing else; what
// it accepts must write out and read back to the same text.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "link/event-thresholds-json.h"
#include "link/json-utils.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    TEventThresholdsContainer container;
    try {
        container = DeserializeEventThresholdsContainerFromJson(std::string(reinterpret_cast<const char*>(data), size));
    } catch (const DeserializationException&) {
        return 0;
    }
    const std::string text = SerializeEventThresholdsContainerToJson(container);
    if (SerializeEventThresholdsContainerToJson(DeserializeEventThresholdsContainerFromJson(text)) != text)
        std::abort();
    return 0;
}
