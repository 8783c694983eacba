// TIni: the plain settings files of the trace core (analysis thresholds etc.).
#pragma once

#include <cstdint>

#include "util/lu-array.h"
#include "util/t-string.h"
#include "util/util-export.h"

// File form: text lines. "[name]" opens a section, "name=value" is a key and
// a line without "=" is a key without value. What precedes the first header
// belongs to the nameless section, which has the empty name and no header
// line. There is no comment syntax: ";x" is a key. Lines end in CR LF on
// writing and in LF or CR LF on reading; empty lines are passed over on
// reading, and each section ends with one on writing. Section and key order
// survive a read and write. Names are compared exactly, case included.

// One key. `Name` and `Value` are owned C strings (new[]); `Name` is never
// null, `Value` is null for a line without "=".
class FIBERTEST_UTIL_EXPORT TIniKey
{
public:
    char* Name;
    char* Value;

    // Splits at the first "=": "a=b=c" is the key a with the value "b=c". A
    // null line gives the empty name without value.
    explicit TIniKey(const char* line);
    // A null name is taken as the empty name; a null value stays null.
    TIniKey(const char* name, const char* value);
    ~TIniKey();
    TIniKey(const TIniKey&) = delete;
    TIniKey& operator=(const TIniKey&) = delete;

    // `def` when there is no value, the value is empty or holds no number at
    // its start ("%d" / "%lg"); "12ab" reads as 12.
    [[nodiscard]] int GetInt(int def) const;
    [[nodiscard]] double GetDouble(double def) const;
    // `def` when there is no value or the value is empty.
    [[nodiscard]] const char* GetString(const char* def) const;
    // Write "%d", "%lg" (six significant digits) or the text; a null text
    // leaves the key without value.
    void SetInt(int value);
    void SetDouble(double value);
    void SetString(const char* value);
};

// A named list of keys, in file order; owns its keys.
class FIBERTEST_UTIL_EXPORT TIniSection
{
public:
    char* Name;  // owned (new[]), never null
    TLuArray<TIniKey, TIniKey*> Keys;

    // A null name is taken as the empty name.
    explicit TIniSection(const char* name);
    ~TIniSection();
    TIniSection(const TIniSection&) = delete;
    TIniSection& operator=(const TIniSection&) = delete;

    [[nodiscard]] int GetKeysNum() const;
    // Null outside 0 .. GetKeysNum() - 1.
    [[nodiscard]] TIniKey* GetKey(int index) const;
    // The first key of that name and its index, or null and -1.
    TIniKey* FindKey(const char* name, int& index) const;
    // The key of that name; a missing one is appended without value.
    TIniKey* FindOrCreateKey(const char* name);
    // Append a key, also when one of that name exists already.
    TIniKey* AddKey(const char* line);
    TIniKey* AddKey(const char* name, const char* value);
    // Takes ownership of `key`; a null key is ignored and answers null.
    TIniKey* AddKey(TIniKey* key);
    // No effect for an index outside the list or a missing name; by name the
    // first key of that name goes.
    void DelKey(int index);
    void DelKey(const char* name);
    void Clear();

    // With `create` false a missing key gives `def` and adds nothing; with
    // `create` true the key is made by FindOrCreateKey and then read, so a
    // read can add a key without value.
    [[nodiscard]] int GetInt(const char* name, int def, bool create = false);
    [[nodiscard]] double GetDouble(const char* name, double def, bool create = false);
    [[nodiscard]] const char* GetString(const char* name, const char* def, bool create = false);
    // Store a value, creating the key where it is missing.
    void SetInt(const char* name, int value);
    // Store a value only where the key is missing or has none, so that a
    // default is filled in without overriding what the file says.
    void SetInt1(const char* name, int value);
    void SetDouble(const char* name, double value);
    void SetString(const char* name, const char* value);
};

// A settings file in memory; owns its sections.
class FIBERTEST_UTIL_EXPORT TIni
{
public:
    TString FileName;
    TLuArray<TIniSection, TIniSection*> Sections;
    // When false a section without keys is left out of Write and ToString.
    // The nameless section is left out whenever it is empty: it has no
    // header, so an empty one would only be a stray empty line.
    bool WriteEmptySections = true;

    TIni();
    // Only remembers the name; Read loads the file.
    explicit TIni(const char* fileName);
    TIni(const TIni&) = delete;
    TIni& operator=(const TIni&) = delete;

    [[nodiscard]] const char* GetFileName() const;

    // Answer codes of Read and Write: 0 done, 1 the file cannot be opened
    // (for Write also: cannot be written in full), 4 no permission at chmod.
    //
    // A null `file` means FileName. On success the contents are replaced.
    // Lines are taken whole, whatever their length. Every header appends a section,
    // so two headers of the same name make two sections.
    [[nodiscard]] int Read(const char* file = nullptr);
    // A null `file` means FileName. An existing target is set to 0600 first,
    // so that a read-only file can be overwritten.
    [[nodiscard]] int Write(const char* file = nullptr);
    // Appends the text that Write would write to `text`.
    void ToString(TString& text) const;
    // Replaces the contents by those of `text`, read as Read does with two
    // differences: a second header of a name continues that section, and a
    // line end is taken to be two characters, so the character before each
    // LF goes with it (meant for CR LF text).
    void FromString(TString text);

    [[nodiscard]] int GetSectionsNum() const;
    // Null outside 0 .. GetSectionsNum() - 1.
    [[nodiscard]] TIniSection* GetSection(int index) const;
    // The first section of that name and its index, or null and -1.
    TIniSection* FindSection(const char* name, int& index) const;
    TIniSection* FindOrCreateSection(const char* name);
    // Appends a section, also when one of that name exists already.
    TIniSection* AddSection(const char* name);
    // Takes ownership of `section`; a null section is ignored.
    TIniSection* AddSection(TIniSection* section);
    // No effect for an index outside the list or a missing name.
    void DelSection(int index);
    void DelSection(const char* name);

    // Keys by section and name. A missing section answers null or -1 in
    // FindKey and is created by FindOrCreateKey and AddKey.
    TIniKey* FindKey(const char* section, const char* name, int& index) const;
    TIniKey* FindOrCreateKey(const char* section, const char* name);
    TIniKey* AddKey(const char* section, const char* name, const char* value);
    void DelKey(const char* section, const char* name);

    // Typed access. The reads create the section and the key (without
    // value) where they are missing, as TIniSection's reads with `create`.
    [[nodiscard]] int GetInt(const char* section, const char* name, int def);
    void SetInt(const char* section, const char* name, int value);
    [[nodiscard]] double GetDouble(const char* section, const char* name, double def);
    void SetDouble(const char* section, const char* name, double value);
    [[nodiscard]] const char* GetString(const char* section, const char* name, const char* def);
    void SetString(const char* section, const char* name, const char* value);
};
