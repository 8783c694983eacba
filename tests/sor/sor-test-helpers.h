// Helpers for the trace model's tests: byte layouts, block reads and writes,
// field listings and sample documents.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"

namespace sortest {

// Little-endian bytes of a record, built field by field the way the format
// lays them out; the result is in `s`.
struct Bytes
{
    std::string s;
    Bytes& text(const std::string& t);            // the text and its NUL
    Bytes& raw(const std::string& t);             // the bytes as they are
    Bytes& raw(const char* t, std::size_t n);     // a fixed-width field
    Bytes& i16(long v);                           // two bytes, two's complement
    Bytes& i32(long v);                           // four bytes, two's complement

private:
    Bytes& littleEndian(long v, int n);
};

// The bytes `block` writes to a memory file (at `revision`, which the block
// keeps, when one is given).
[[nodiscard]] std::string written(TSorBlock& block);
[[nodiscard]] std::string written(TSorBlock& block, std::uint16_t revision);

// Reads `block` from `bytes` in a memory file, at `revision` or at the
// block's own one, and answers the file's status; `end`, when given, gets the
// position where the read stopped.
std::int32_t readBack(TSorBlock& block, const std::string& bytes, std::uint16_t revision,
                      unsigned long* end = nullptr);
std::int32_t readBack(TSorBlock& block, const std::string& bytes, unsigned long* end = nullptr);

// What the block's Damp prints.
[[nodiscard]] std::string dampOf(const TSorBlock& block);

// Whether `action` throws a TSorException of `kind`.
[[nodiscard]] ::testing::AssertionResult throwsSor(TSorException::Kind kind, const std::function<void()>& action);

// Whether Read and Write of a null file both throw the null-pointer
// TSorException, as every block promises.
[[nodiscard]] ::testing::AssertionResult nullFileRefused(TSorBlock& block);

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
