// Helpers for the trace model's tests: field listings and sample documents.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-data.h"

namespace sortest {

// Every field of a block as "path=value" lines, through its field walk, so
// that two blocks can be compared field by field with a readable difference.
[[nodiscard]] std::vector<std::string> fieldLines(const TSorBlock& block);

// A small trace as an instrument of ours would make it: 2000 points of a
// fiber with a splice and an end reflection, three key events, a landmark.
[[nodiscard]] std::unique_ptr<TSorData> makeSampleTrace();

// The bytes of a document written to a memory file.
[[nodiscard]] std::string writeToBytes(TSorData& data);

// A document read from bytes, and the file status after the read.
struct ReadResult
{
    std::unique_ptr<TSorData> data;
    int status;
};
[[nodiscard]] ReadResult readFromBytes(const std::string& bytes, bool minimal = false);

} // namespace sortest
