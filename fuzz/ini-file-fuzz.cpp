// Reads arbitrary text as an INI file, writes it and reads the result back:
// every section and key, with its name and value (or absence of value), must
// survive in order.
#include "util/ini-file.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

bool sameText(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr)
        return a == b;
    return std::strcmp(a, b) == 0;
}

bool sameStructure(const TIni& a, const TIni& b)
{
    if (a.GetSectionsNum() != b.GetSectionsNum())
        return false;
    for (int i = 0; i < a.GetSectionsNum(); ++i) {
        const TIniSection* sa = a.GetSection(i);
        const TIniSection* sb = b.GetSection(i);
        if (!sameText(sa->Name, sb->Name) || sa->GetKeysNum() != sb->GetKeysNum())
            return false;
        for (int k = 0; k < sa->GetKeysNum(); ++k)
            if (!sameText(sa->GetKey(k)->Name, sb->GetKey(k)->Name) ||
                !sameText(sa->GetKey(k)->Value, sb->GetKey(k)->Value))
                return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > 1 << 20)
        return 0;
    // The length-bounded constructor stops copying at a NUL; the bytes after
    // one are put in place as well, so that they reach the parser.
    TString text(reinterpret_cast<const char*>(data), static_cast<int>(size));
    if (size > 0)
        std::memcpy(text.data, data, size);
    TIni first;
    first.FromString(text);
    TString written;
    first.ToString(written);
    TIni second;
    second.FromString(written);
    if (!sameStructure(first, second))
        std::abort();
    // Writing is stable from the first round on.
    TString rewritten;
    second.ToString(rewritten);
    if (!(rewritten == written))
        std::abort();
    return 0;
}
