// Inflates arbitrary bytes under a small output ceiling, in one piece and in
// small pieces; both ways must agree.
#include "util/gzip.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t ceiling = 1 << 20;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto whole = GzipDecompressor::decompress(input, ceiling);

    GzipDecompressor pieces(ceiling);
    std::string output;
    bool ok = true;
    for (std::size_t at = 0; at < input.size() && ok; at += 7) {
        ok = pieces.write(input.substr(at, 7));
        output += pieces.takeOutput();
    }
    ok = ok && pieces.finished();
    if (ok != whole.first || (ok && output != whole.second))
        std::abort();
    return 0;
}
