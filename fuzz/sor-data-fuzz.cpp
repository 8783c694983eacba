// Loads arbitrary bytes as a trace, the whole way and the fast way. The only
// outcomes allowed are a file status and TSorException: no crash, leak, hang
// or allocation beyond what the input can supply.
#include <cstddef>
#include <cstdint>

#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const char empty = 0;
    const char* bytes = size > 0 ? reinterpret_cast<const char*>(data) : &empty;
    for (const bool minimal : {false, true}) {
        TSorFile file(bytes, static_cast<unsigned long>(size));
        TSorData trace;
        try {
            if (minimal)
                trace.ReadMinimal(&file);
            else
                trace.Read(&file);
        } catch (const TSorException&) {
        }
    }
    return 0;
}
