// Bytes, read, write, read, write: whatever loads must save, load again, and
// save to the same bytes the second time (a saved trace is a fixed point).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

namespace {

// Loads and saves again; false when the input did not load cleanly.
bool resave(const std::string& in, std::string& out)
{
    TSorFile file(in.data(), static_cast<unsigned long>(in.size()));
    TSorData trace;
    try {
        trace.Read(&file);
    } catch (const TSorException&) {
        return false;
    }
    if (file.Status != fsOk)
        return false;
    TSorFile memory("", "m");
    trace.Write(&memory);
    if (memory.Status != fsOk)
        std::abort();
    out.assign(memory.GetData(), memory.GetDataSize());
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string first;
    if (!resave(input, first))
        return 0;
    std::string second;
    if (!resave(first, second))
        std::abort();  // what we wrote must load
    std::string third;
    if (!resave(second, third) || third != second)
        std::abort();  // and the second save is a fixed point
    return 0;
}
