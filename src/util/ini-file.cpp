#include "util/ini-file.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }

char* copyOf(const char* text, std::size_t size)
{
    char* copy = new char[size + 1];
    std::memcpy(copy, text, size);
    copy[size] = '\0';
    return copy;
}

char* copyOf(const char* text) { return copyOf(text, std::strlen(text)); }

// Builds the sections of a text line by line and installs them in one step at
// the end: the arrays grow by one allocation per element, which would make a
// long file cost quadratic time if every key were added as it came.
class Loader
{
public:
    // With `merge` a header of a name seen before continues that section.
    explicit Loader(bool merge) : merge(merge) { open(""); }

    // One line as a C string, its line end removed.
    void line(const char* text)
    {
        if (text[0] == '\0')
            return;
        if (text[0] == '[') {
            // Whatever the last character is, it is taken for the "]".
            const std::size_t size = std::strlen(text);
            const std::string name = size >= 2 ? std::string(text + 1, size - 2) : std::string();
            if (merge) {
                const auto found = indexByName.find(name);
                if (found != indexByName.end()) {
                    current = found->second;
                    return;
                }
            }
            open(name);
            return;
        }
        keys[current].push_back(std::make_unique<TIniKey>(text));
    }

    // Replaces the sections of `ini` with what was read.
    void install(TIni& ini)
    {
        ini.Sections.Clear();
        ini.Sections.SetSize(static_cast<int>(sections.size()));
        for (std::size_t i = 0; i < sections.size(); ++i) {
            TIniSection* section = sections[i].release();
            ini.Sections.SetData(section, static_cast<int>(i));
            section->Keys.SetSize(static_cast<int>(keys[i].size()));
            for (std::size_t k = 0; k < keys[i].size(); ++k)
                section->Keys.SetData(keys[i][k].release(), static_cast<int>(k));
        }
    }

private:
    void open(const std::string& name)
    {
        current = sections.size();
        sections.push_back(std::make_unique<TIniSection>(name.c_str()));
        keys.emplace_back();
        indexByName.emplace(name, current);
    }

    bool merge;
    std::vector<std::unique_ptr<TIniSection>> sections;
    std::vector<std::vector<std::unique_ptr<TIniKey>>> keys;  // per section
    std::unordered_map<std::string, std::size_t> indexByName;  // first of each name
    std::size_t current = 0;
};

// "%d" and "%lg" as sscanf reads them, through strtol and strtod, which are
// defined on overflow (the int is clamped).
bool parseInt(const char* text, int& value)
{
    char* end = nullptr;
    const long parsed = std::strtol(text, &end, 10);
    if (end == text)
        return false;
    value = parsed > INT_MAX ? INT_MAX : parsed < INT_MIN ? INT_MIN : static_cast<int>(parsed);
    return true;
}

bool parseDouble(const char* text, double& value)
{
    char* end = nullptr;
    const double parsed = std::strtod(text, &end);
    if (end == text)
        return false;
    value = parsed;
    return true;
}

} // namespace

// ---------------------------------------------------------------------------
// TIniKey

TIniKey::TIniKey(const char* line) : Name(nullptr), Value(nullptr)
{
    line = orEmpty(line);
    const char* equals = std::strchr(line, '=');
    if (equals == nullptr) {
        Name = copyOf(line);
        return;
    }
    Name = copyOf(line, static_cast<std::size_t>(equals - line));
    try {
        Value = copyOf(equals + 1);
    } catch (...) {
        delete[] Name;
        throw;
    }
}

TIniKey::TIniKey(const char* name, const char* value) : Name(copyOf(orEmpty(name))), Value(nullptr)
{
    try {
        if (value != nullptr)
            Value = copyOf(value);
    } catch (...) {
        delete[] Name;
        throw;
    }
}

TIniKey::~TIniKey()
{
    delete[] Name;
    delete[] Value;
}

int TIniKey::GetInt(int def) const
{
    int value = def;
    if (Value == nullptr || Value[0] == '\0' || !parseInt(Value, value))
        return def;
    return value;
}

double TIniKey::GetDouble(double def) const
{
    double value = def;
    if (Value == nullptr || !parseDouble(Value, value))
        return def;
    return value;
}

const char* TIniKey::GetString(const char* def) const
{
    return Value == nullptr || Value[0] == '\0' ? def : Value;
}

void TIniKey::SetInt(int value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    SetString(text);
}

void TIniKey::SetDouble(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%lg", value);
    SetString(text);
}

void TIniKey::SetString(const char* value)
{
    // Copied before the old value goes, so `value` may be the old value.
    char* copy = value != nullptr ? copyOf(value) : nullptr;
    delete[] Value;
    Value = copy;
}

// ---------------------------------------------------------------------------
// TIniSection

TIniSection::TIniSection(const char* name) : Name(copyOf(orEmpty(name))) {}

TIniSection::~TIniSection() { delete[] Name; }

int TIniSection::GetKeysNum() const { return Keys.count; }

TIniKey* TIniSection::GetKey(int index) const
{
    return index >= 0 && index < Keys.count ? Keys.data[index] : nullptr;
}

TIniKey* TIniSection::FindKey(const char* name, int& index) const
{
    if (name != nullptr)
        for (index = 0; index < Keys.count; ++index)
            if (std::strcmp(Keys.data[index]->Name, name) == 0)
                return Keys.data[index];
    index = -1;
    return nullptr;
}

TIniKey* TIniSection::FindOrCreateKey(const char* name)
{
    int index = -1;
    if (TIniKey* key = FindKey(orEmpty(name), index))
        return key;
    return AddKey(orEmpty(name), nullptr);
}

TIniKey* TIniSection::AddKey(const char* line) { return AddKey(new TIniKey(line)); }

TIniKey* TIniSection::AddKey(const char* name, const char* value) { return AddKey(new TIniKey(name, value)); }

TIniKey* TIniSection::AddKey(TIniKey* key)
{
    if (key == nullptr)
        return nullptr;
    try {
        Keys.AddData(key);
    } catch (...) {
        delete key;
        throw;
    }
    return key;
}

void TIniSection::DelKey(int index)
{
    if (index >= 0 && index < Keys.count)
        Keys.DelData(index);
}

void TIniSection::DelKey(const char* name)
{
    int index = -1;
    if (FindKey(name, index) != nullptr)
        Keys.DelData(index);
}

void TIniSection::Clear() { Keys.Clear(); }

int TIniSection::GetInt(const char* name, int def, bool create)
{
    int index = -1;
    const TIniKey* key = create ? FindOrCreateKey(name) : FindKey(name, index);
    return key != nullptr ? key->GetInt(def) : def;
}

double TIniSection::GetDouble(const char* name, double def, bool create)
{
    int index = -1;
    const TIniKey* key = create ? FindOrCreateKey(name) : FindKey(name, index);
    return key != nullptr ? key->GetDouble(def) : def;
}

const char* TIniSection::GetString(const char* name, const char* def, bool create)
{
    int index = -1;
    const TIniKey* key = create ? FindOrCreateKey(name) : FindKey(name, index);
    return key != nullptr ? key->GetString(def) : def;
}

void TIniSection::SetInt(const char* name, int value) { FindOrCreateKey(name)->SetInt(value); }

void TIniSection::SetInt1(const char* name, int value)
{
    TIniKey* key = FindOrCreateKey(name);
    if (key->Value == nullptr || key->Value[0] == '\0')
        key->SetInt(value);
}

void TIniSection::SetDouble(const char* name, double value) { FindOrCreateKey(name)->SetDouble(value); }

void TIniSection::SetString(const char* name, const char* value) { FindOrCreateKey(name)->SetString(value); }

// ---------------------------------------------------------------------------
// TIni

TIni::TIni() = default;

TIni::TIni(const char* fileName) : FileName(fileName) {}

const char* TIni::GetFileName() const { return FileName.data; }

int TIni::Read(const char* file)
{
    std::FILE* in = std::fopen(file != nullptr ? file : FileName.data, "rt");
    if (in == nullptr)
        return 1;
    Loader loader(false);
    // Lines are taken whole, however long: settings may embed whole files as
    // one base64 value, which a fixed line buffer would cut into stray keys.
    char* line = nullptr;
    std::size_t capacity = 0;
    try {
        ssize_t got;
        while ((got = ::getline(&line, &capacity, in)) != -1) {
            auto size = static_cast<std::size_t>(got);
            if (size > 0 && line[size - 1] == '\n')
                line[--size] = '\0';
            if (size > 0 && line[size - 1] == '\r')
                line[--size] = '\0';
            loader.line(line);
        }
    } catch (...) {
        std::free(line);
        std::fclose(in);
        throw;
    }
    std::free(line);
    std::fclose(in);
    loader.install(*this);
    return 0;
}

namespace {

// The written form of the sections. Lines have no length limit, in writing
// as in reading.
std::string render(const TIni& ini)
{
    std::string text;
    for (int i = 0; i < ini.GetSectionsNum(); ++i) {
        const TIniSection* section = ini.GetSection(i);
        const bool nameless = section->Name[0] == '\0';
        if (section->GetKeysNum() == 0 && (!ini.WriteEmptySections || nameless))
            continue;
        if (!nameless) {
            text += '[';
            text += section->Name;
            text += "]\r\n";
        }
        for (int k = 0; k < section->GetKeysNum(); ++k) {
            const TIniKey* key = section->GetKey(k);
            text += key->Name;
            if (key->Value != nullptr) {
                text += '=';
                text += key->Value;
            }
            text += "\r\n";
        }
        text += "\r\n";
    }
    return text;
}

} // namespace

int TIni::Write(const char* file)
{
    const char* path = file != nullptr ? file : FileName.data;
    // Makes an existing file, a read-only one included, writable for its
    // owner. A new file is made below with the usual mode, so a missing file
    // is fine here; only a refused permission is answered.
    if (::chmod(path, S_IRUSR | S_IWUSR) != 0 && errno == EACCES)
        return 4;
    std::FILE* out = std::fopen(path, "wt");
    if (out == nullptr)
        return 1;
    const std::string text = render(*this);
    const bool written = std::fwrite(text.data(), 1, text.size(), out) == text.size();
    const bool closed = std::fclose(out) == 0;
    return written && closed ? 0 : 1;
}

void TIni::ToString(TString& text) const
{
    const std::string rendered = render(*this);
    text += TString(rendered.data(), static_cast<int>(rendered.size()));
}

void TIni::FromString(TString text)
{
    Loader loader(true);
    std::string line;
    int start = 0;
    while (start < text.length) {
        const void* found = std::memchr(text.data + start, '\n', static_cast<std::size_t>(text.length - start));
        const int end = found != nullptr ? static_cast<int>(static_cast<const char*>(found) - text.data) : text.length;
        // The line end counts as CR LF: the character before the LF goes too.
        const int size = found != nullptr ? (end > start ? end - start - 1 : 0) : end - start;
        line.assign(text.data + start, static_cast<std::size_t>(size));
        loader.line(line.c_str());
        start = end + 1;
    }
    loader.install(*this);
}

int TIni::GetSectionsNum() const { return Sections.count; }

TIniSection* TIni::GetSection(int index) const
{
    return index >= 0 && index < Sections.count ? Sections.data[index] : nullptr;
}

TIniSection* TIni::FindSection(const char* name, int& index) const
{
    if (name != nullptr)
        for (index = 0; index < Sections.count; ++index)
            if (std::strcmp(Sections.data[index]->Name, name) == 0)
                return Sections.data[index];
    index = -1;
    return nullptr;
}

TIniSection* TIni::FindOrCreateSection(const char* name)
{
    int index = -1;
    if (TIniSection* section = FindSection(orEmpty(name), index))
        return section;
    return AddSection(name);
}

TIniSection* TIni::AddSection(const char* name) { return AddSection(new TIniSection(name)); }

TIniSection* TIni::AddSection(TIniSection* section)
{
    if (section == nullptr)
        return nullptr;
    try {
        Sections.AddData(section);
    } catch (...) {
        delete section;
        throw;
    }
    return section;
}

void TIni::DelSection(int index)
{
    if (index >= 0 && index < Sections.count)
        Sections.DelData(index);
}

void TIni::DelSection(const char* name)
{
    int index = -1;
    if (FindSection(name, index) != nullptr)
        Sections.DelData(index);
}

TIniKey* TIni::FindKey(const char* section, const char* name, int& index) const
{
    int sectionIndex = -1;
    if (const TIniSection* found = FindSection(section, sectionIndex))
        return found->FindKey(name, index);
    index = -1;
    return nullptr;
}

TIniKey* TIni::FindOrCreateKey(const char* section, const char* name)
{
    return FindOrCreateSection(section)->FindOrCreateKey(name);
}

TIniKey* TIni::AddKey(const char* section, const char* name, const char* value)
{
    return FindOrCreateSection(section)->AddKey(name, value);
}

void TIni::DelKey(const char* section, const char* name)
{
    int index = -1;
    if (TIniSection* found = FindSection(section, index))
        found->DelKey(name);
}

int TIni::GetInt(const char* section, const char* name, int def)
{
    return FindOrCreateSection(section)->GetInt(name, def, true);
}

void TIni::SetInt(const char* section, const char* name, int value)
{
    FindOrCreateSection(section)->SetInt(name, value);
}

double TIni::GetDouble(const char* section, const char* name, double def)
{
    return FindOrCreateSection(section)->GetDouble(name, def, true);
}

void TIni::SetDouble(const char* section, const char* name, double value)
{
    FindOrCreateSection(section)->SetDouble(name, value);
}

const char* TIni::GetString(const char* section, const char* name, const char* def)
{
    return FindOrCreateSection(section)->GetString(name, def, true);
}

void TIni::SetString(const char* section, const char* name, const char* value)
{
    FindOrCreateSection(section)->SetString(name, value);
}
