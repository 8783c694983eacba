// Runs the automatic analysis on an arbitrary trace, as loaded. Whatever the
// points, the fixed parameters and the thresholds it stores hold, the only
// outcomes allowed are an event table or the answer that the analysis gave
// up: no crash, no assertion, no hang.
#include <cstddef>
#include <cstdint>

#include "auto/auto.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const char empty = 0;
    const char* bytes = size > 0 ? reinterpret_cast<const char*>(data) : &empty;
    TSorFile file(bytes, static_cast<unsigned long>(size));
    TSorData trace;
    try {
        trace.Read(&file);
    } catch (const TSorException&) {
        return 0;
    }
    TAuto analysis;
    (void)analysis.Automat(&trace, 0);
    return 0;
}
