// Gzip buffers through zlib: one-shot compression for uploads and stream
// classes for the measuring module's buffers.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "util/util-export.h"

// A byte buffer that may be absent: `first` says whether `second` holds one.
using OptionalBuffer = std::pair<bool, std::vector<char>>;

// Compresses `size` bytes into one gzip member at the highest level. `data`
// must not be null and `size` must be above 0 (both asserted). A failure of
// zlib gives an absent buffer.
[[nodiscard]] FIBERTEST_UTIL_EXPORT OptionalBuffer compressToGzip(const char* data, std::size_t size);

// Gzip compression fed in pieces. Output collects inside the object until
// taken; after finish() no more input is accepted.
class FIBERTEST_UTIL_EXPORT GzipCompressor
{
public:
    // `level` as zlib counts it: 0 (store) to 9 (smallest).
    explicit GzipCompressor(int level = 9);
    ~GzipCompressor();
    GzipCompressor(const GzipCompressor&) = delete;
    GzipCompressor& operator=(const GzipCompressor&) = delete;

    // False when zlib refused the input or the stream is already finished.
    [[nodiscard]] bool write(const std::basic_string<char>& input);
    // Ends the gzip member (trailer with CRC-32 and length).
    [[nodiscard]] bool finish();
    // Hands over what has been produced so far and empties the object's copy.
    [[nodiscard]] std::string takeOutput();
    [[nodiscard]] bool ok() const { return good; }

    // The whole of `input` as one gzip member; absent on failure.
    [[nodiscard]] static std::pair<bool, std::string> compress(const std::string& input, int level = 9);

private:
    bool run(const char* data, std::size_t size, int flush);

    struct Stream;
    std::unique_ptr<Stream> stream;
    std::string output;
    bool good = true;
    bool finished = false;
};

// Gzip decompression fed in pieces, with a ceiling on the output so that a
// small hostile input cannot make the process allocate without bound.
class FIBERTEST_UTIL_EXPORT GzipDecompressor
{
public:
    static constexpr std::size_t DefaultMaxOutput = std::size_t(512) << 20;

    explicit GzipDecompressor(std::size_t maxOutput = DefaultMaxOutput);
    ~GzipDecompressor();
    GzipDecompressor(const GzipDecompressor&) = delete;
    GzipDecompressor& operator=(const GzipDecompressor&) = delete;

    // False when the data is not gzip, is corrupt, runs past the end of the
    // member, or would exceed the output ceiling; the object then stays failed.
    [[nodiscard]] bool write(const std::basic_string<char>& input);
    // True once the member's trailer has been read and checked.
    [[nodiscard]] bool finished() const { return done; }
    [[nodiscard]] bool ok() const { return good; }
    [[nodiscard]] std::string takeOutput();

    // The whole of one gzip member; absent unless it is complete and intact.
    [[nodiscard]] static std::pair<bool, std::string> decompress(const std::string& input,
                                                                 std::size_t maxOutput = DefaultMaxOutput);

private:
    struct Stream;
    std::unique_ptr<Stream> stream;
    std::string output;
    std::size_t limit;
    std::size_t produced = 0;
    bool good = true;
    bool done = false;
};
