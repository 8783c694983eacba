// Reading helpers for the JSON files of the link analysis (the link map and
// the event thresholds): typed look-ups of the members of a picojson object
// and the one exception the readers throw.
#pragma once
#include <exception>
#include <string>

#include <picojson.h>

#include "link/link-export.h"

// A JSON file of the link analysis cannot be read: bad syntax, or a member
// absent or of the wrong type. what() is the whole message.
class FIBERTEST_LINK_EXPORT DeserializationException : public std::exception
{
public:
    explicit DeserializationException(std::string message);

    [[nodiscard]] const char* what() const noexcept override;

private:
    std::string message_;
};

namespace detail {

// The name of a JSON type in messages, as picojson calls its types.
template <typename T> struct JsonTypeName;
template <> struct JsonTypeName<bool> { static constexpr const char* value = "boolean"; };
template <> struct JsonTypeName<double> { static constexpr const char* value = "number"; };
template <> struct JsonTypeName<std::string> { static constexpr const char* value = "string"; };
template <> struct JsonTypeName<picojson::array> { static constexpr const char* value = "array"; };
template <> struct JsonTypeName<picojson::object> { static constexpr const char* value = "object"; };

} // namespace detail

// Throws the exception for member `key` of the object named `context` not
// being a T. The message keeps the file format's wording to the letter: the
// key runs straight into "is not of type ", and the parenthesis is left open.
template <typename T>
[[noreturn]] void ThrowWrongTypeException(const std::string& key, const std::string& context)
{
    throw DeserializationException(key + "is not of type " + detail::JsonTypeName<T>::value + " (parent is " +
                                   context);
}

// The member `key` of `map` as a T; null when there is no such member. A
// member of another type throws. `context` names the object in messages.
// The pointer is valid as long as `map` is.
template <typename T>
[[nodiscard]] const T* GetOptionalValue(const picojson::object& map, const std::string& key,
                                        const std::string& context)
{
    const auto it = map.find(key);
    if (it == map.end())
        return nullptr;
    if (!it->second.is<T>())
        ThrowWrongTypeException<T>(key, context);
    return &it->second.get<T>();
}

// The member `key` of `map` as a T; throws when it is absent or of another
// type.
template <typename T>
[[nodiscard]] const T& GetValueOrException(const picojson::object& map, const std::string& key,
                                           const std::string& context)
{
    const T* value = GetOptionalValue<T>(map, key, context);
    if (!value)
        throw DeserializationException("no \"" + key + "\" in " + context);
    return *value;
}

namespace detail {

// Parses `json` and returns its root object. A syntax fault throws
// "Error during json deserializing: " with picojson's "syntax error at line
// %d near: " text; a number beyond the range of a double throws the same
// prefix with "number out of range"; a root of another type throws "root
// element is not a map".
FIBERTEST_LINK_EXPORT picojson::object ParseJsonRoot(const std::string& json);

// A member holding an unsigned value (a wavelength, a ratio, a pulse width):
// a whole number from 0 to the largest unsigned, else "wrong " and the key.
FIBERTEST_LINK_EXPORT unsigned GetUnsignedOrException(const picojson::object& map, const std::string& key,
                                                      const std::string& context);

} // namespace detail
