#include "link/json-utils.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

DeserializationException::DeserializationException(std::string message)
    : message_(std::move(message))
{
}

const char* DeserializationException::what() const noexcept { return message_.c_str(); }

namespace detail {

namespace {

const char* const kParseErrorPrefix = "Error during json deserializing: ";

} // namespace

picojson::object ParseJsonRoot(const std::string& json)
{
    picojson::value root;
    std::string error;
    try {
        error = picojson::parse(root, json);
    } catch (const std::overflow_error&) {
        // picojson refuses to hold an infinite number and throws from inside
        // the parser for a literal such as 1e999.
        error = "number out of range";
    }
    if (!error.empty())
        throw DeserializationException(kParseErrorPrefix + error);
    if (!root.is<picojson::object>())
        throw DeserializationException("root element is not a map");
    return std::move(root.get<picojson::object>());
}

unsigned GetUnsignedOrException(const picojson::object& map, const std::string& key, const std::string& context)
{
    const double value = GetValueOrException<double>(map, key, context);
    // The file holds doubles; one outside unsigned would make the conversion
    // undefined, and a fraction would be dropped without a word.
    if (!(value >= 0.0) || value > static_cast<double>(std::numeric_limits<unsigned>::max()) ||
        value != std::floor(value))
        throw DeserializationException("wrong " + key);
    return static_cast<unsigned>(value);
}

} // namespace detail
