// Splits arbitrary text as a command line (narrow and wide) and as a list of
// items. Every word and item must lie within the input, and the splitting
// must end.
#include "util/command-line.h"
#include "util/list-items.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

namespace {

void check(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    // The text as the splitters see it: up to the first NUL.
    const std::size_t visible = std::strlen(text.c_str());

    // The words take their characters from the line and drop at least one
    // separator between them (a blank or a quote), so together they can
    // never be longer than the line.
    TCommandLine narrow(text.c_str());
    std::size_t total = 0;
    while (const char* word = narrow.GetNextWord()) {
        total += std::strlen(word);
        check(total <= visible);
    }
    check(narrow.GetNextWord() == nullptr);
    check(narrow.GetNextWordW() == nullptr);

    // Each byte widened on its own: the wide scan must agree word for word.
    std::wstring wideText(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(visible));
    for (std::size_t i = 0; i < wideText.size(); ++i)
        wideText[i] = static_cast<wchar_t>(static_cast<unsigned char>(text[i]));
    TCommandLine narrowAgain(text.c_str());
    TCommandLine wide(wideText.c_str());
    for (;;) {
        const char* word = narrowAgain.GetNextWord();
        const wchar_t* wideWord = wide.GetNextWordW();
        check((word == nullptr) == (wideWord == nullptr));
        if (word == nullptr)
            break;
        check(std::strlen(word) == std::wcslen(wideWord));
    }

    const TString list(text.c_str(), static_cast<int>(visible));
    const int count = CountItems(list);
    check(count >= 0 && static_cast<std::size_t>(count) <= visible);
    for (int i = 0; i < count; ++i)
        check(GetItem(list, i).length > 0);
    check(GetItem(list, count).length == 0);
    check(GetItemByIndex(list, 0).length <= static_cast<std::int32_t>(visible));

    const TwString wideList(wideText.c_str());
    check(CountItems(wideList) == count);
    check(GetItemByIndex(wideList, 1).length == GetItemByIndex(list, 1).length);
    return 0;
}
