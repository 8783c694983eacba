// A small streaming JSON writer for the tool's machine-readable output.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace cli {

// Writes one JSON value with two-space indentation. Keys and strings are
// taken as bytes: valid UTF-8 passes, any other byte is read as Latin-1 (the
// usual encoding of older trace files), so the output is always valid JSON.
// Numbers that are not finite are written as null.
class JsonWriter
{
public:
    explicit JsonWriter(std::ostream& out);

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    // The key of the next member; inside objects only.
    void key(const std::string& name);

    void value(const std::string& text);
    void value(const char* text);
    void value(std::int64_t number);
    void value(double number);
    void value(bool flag);
    void null();

    // Shorthands for a member.
    template <class T>
    void member(const std::string& name, const T& v)
    {
        key(name);
        value(v);
    }
    void nullMember(const std::string& name)
    {
        key(name);
        null();
    }

    // Arrays of plain numbers print on as few lines as fit in about 100 columns.
    void compactIntegers(const std::vector<std::int64_t>& numbers);

    // The JSON text of a string (with its quotes).
    [[nodiscard]] static std::string quote(const std::string& text);

private:
    void beforeValue();
    void newline();

    std::ostream& out;
    // One entry per open container: true for an object; and whether it has members yet.
    std::vector<std::pair<bool, bool>> stack;
    bool afterKey = false;
};

} // namespace cli
