#include "json-writer.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace cli {

namespace {

// Length of the valid UTF-8 sequence at `p`, or 0 when it is not one.
std::size_t utf8Length(const unsigned char* p, std::size_t left)
{
    const unsigned char c = p[0];
    std::size_t length;
    std::uint32_t min;
    if (c < 0x80)
        return 1;
    if ((c & 0xE0) == 0xC0) {
        length = 2;
        min = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
        length = 3;
        min = 0x800;
    } else if ((c & 0xF8) == 0xF0) {
        length = 4;
        min = 0x10000;
    } else {
        return 0;
    }
    if (left < length)
        return 0;
    std::uint32_t code = c & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        code = (code << 6) | (p[i] & 0x3F);
    }
    if (code < min || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return 0;
    return length;
}

} // namespace

JsonWriter::JsonWriter(std::ostream& stream) : out(stream) {}

std::string JsonWriter::quote(const std::string& text)
{
    std::string q = "\"";
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = bytes[i];
        if (c == '"' || c == '\\') {
            q += '\\';
            q += static_cast<char>(c);
            ++i;
        } else if (c == '\n') {
            q += "\\n";
            ++i;
        } else if (c == '\r') {
            q += "\\r";
            ++i;
        } else if (c == '\t') {
            q += "\\t";
            ++i;
        } else if (c < 0x20 || c == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            q += escaped;
            ++i;
        } else if (c < 0x80) {
            q += static_cast<char>(c);
            ++i;
        } else if (const std::size_t n = utf8Length(bytes + i, text.size() - i)) {
            q.append(text, i, n);
            i += n;
        } else {
            // Latin-1 byte to its two-byte UTF-8 form.
            q += static_cast<char>(0xC0 | (c >> 6));
            q += static_cast<char>(0x80 | (c & 0x3F));
            ++i;
        }
    }
    q += '"';
    return q;
}

void JsonWriter::newline()
{
    out << '\n' << std::string(stack.size() * 2, ' ');
}

void JsonWriter::beforeValue()
{
    if (afterKey) {
        afterKey = false;
        return;
    }
    if (!stack.empty()) {
        if (stack.back().second)
            out << ',';
        stack.back().second = true;
        newline();
    }
}

void JsonWriter::beginObject()
{
    beforeValue();
    out << '{';
    stack.emplace_back(true, false);
}

void JsonWriter::endObject()
{
    const bool hadMembers = stack.back().second;
    stack.pop_back();
    if (hadMembers)
        newline();
    out << '}';
    if (stack.empty())
        out << '\n';
}

void JsonWriter::beginArray()
{
    beforeValue();
    out << '[';
    stack.emplace_back(false, false);
}

void JsonWriter::endArray()
{
    const bool hadMembers = stack.back().second;
    stack.pop_back();
    if (hadMembers)
        newline();
    out << ']';
    if (stack.empty())
        out << '\n';
}

void JsonWriter::key(const std::string& name)
{
    beforeValue();
    out << quote(name) << ": ";
    afterKey = true;
}

void JsonWriter::value(const std::string& text)
{
    beforeValue();
    out << quote(text);
}

void JsonWriter::value(const char* text)
{
    value(std::string(text != nullptr ? text : ""));
}

void JsonWriter::value(std::int64_t number)
{
    beforeValue();
    out << number;
}

void JsonWriter::value(double number)
{
    beforeValue();
    if (!std::isfinite(number)) {
        out << "null";
        return;
    }
    char text[32];
    // Shortest form that reads back as the same double.
    std::snprintf(text, sizeof text, "%.17g", number);
    for (int precision = 6; precision < 17; ++precision) {
        char shorter[32];
        std::snprintf(shorter, sizeof shorter, "%.*g", precision, number);
        if (std::strtod(shorter, nullptr) == number) {
            std::snprintf(text, sizeof text, "%s", shorter);
            break;
        }
    }
    out << text;
}

void JsonWriter::value(bool flag)
{
    beforeValue();
    out << (flag ? "true" : "false");
}

void JsonWriter::null()
{
    beforeValue();
    out << "null";
}

void JsonWriter::compactIntegers(const std::vector<std::int64_t>& numbers)
{
    beforeValue();
    out << '[';
    std::size_t column = 100;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::string text = std::to_string(numbers[i]);
        if (column + text.size() > 100) {
            out << '\n' << std::string(stack.size() * 2 + 2, ' ');
            column = 0;
        }
        out << text << (i + 1 < numbers.size() ? "," : "");
        column += text.size() + 1;
    }
    if (!numbers.empty())
        newline();
    out << ']';
}

} // namespace cli
