#include "util/gzip.h"

#include <zlib.h>

#include <cassert>
#include <climits>

namespace {

// 15 bits of window plus 16 selects the gzip wrapper instead of zlib's own.
constexpr int gzipWindowBits = 31;
constexpr int maxMemoryLevel = 9;
constexpr std::size_t chunkSize = 32768;

// zlib counts in 32-bit lengths; larger buffers are fed in slices.
constexpr std::size_t maxSlice = UINT_MAX;

} // namespace

OptionalBuffer compressToGzip(const char* data, std::size_t size)
{
    assert(data);
    assert(size > 0);
    OptionalBuffer result{false, {}};
    z_stream z{};
    if (deflateInit2(&z, 9, Z_DEFLATED, gzipWindowBits, maxMemoryLevel, Z_DEFAULT_STRATEGY) != Z_OK)
        return result;
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
    std::size_t remaining = size;
    char out[chunkSize];
    int rc = Z_OK;
    do {
        if (z.avail_in == 0 && remaining > 0) {
            const std::size_t slice = remaining < maxSlice ? remaining : maxSlice;
            z.avail_in = static_cast<uInt>(slice);
            remaining -= slice;
        }
        z.next_out = reinterpret_cast<Bytef*>(out);
        z.avail_out = chunkSize;
        rc = deflate(&z, remaining == 0 ? Z_FINISH : Z_NO_FLUSH);
        if (rc != Z_OK && rc != Z_STREAM_END && rc != Z_BUF_ERROR)
            break;
        result.second.insert(result.second.end(), out, out + (chunkSize - z.avail_out));
    } while (rc != Z_STREAM_END);
    deflateEnd(&z);
    if (rc != Z_STREAM_END) {
        result.second.clear();
        return result;
    }
    result.first = true;
    return result;
}

struct GzipCompressor::Stream
{
    z_stream z{};
};

GzipCompressor::GzipCompressor(int level) : stream(std::make_unique<Stream>())
{
    good = deflateInit2(&stream->z, level, Z_DEFLATED, gzipWindowBits, maxMemoryLevel, Z_DEFAULT_STRATEGY) == Z_OK;
    if (!good)
        stream.reset();
}

GzipCompressor::~GzipCompressor()
{
    if (stream)
        deflateEnd(&stream->z);
}

bool GzipCompressor::run(const char* data, std::size_t size, int flush)
{
    z_stream& z = stream->z;
    char out[chunkSize];
    do {
        const std::size_t slice = size < maxSlice ? size : maxSlice;
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
        z.avail_in = static_cast<uInt>(slice);
        data += slice;
        size -= slice;
        const int mode = size == 0 ? flush : Z_NO_FLUSH;
        int rc;
        do {
            z.next_out = reinterpret_cast<Bytef*>(out);
            z.avail_out = chunkSize;
            rc = deflate(&z, mode);
            if (rc == Z_STREAM_ERROR)
                return false;
            output.append(out, chunkSize - z.avail_out);
        } while (z.avail_out == 0 || (mode == Z_FINISH && rc != Z_STREAM_END));
    } while (size > 0);
    return true;
}

bool GzipCompressor::write(const std::basic_string<char>& input)
{
    if (!good || finished)
        return false;
    if (input.empty())
        return true;
    good = run(input.data(), input.size(), Z_NO_FLUSH);
    return good;
}

bool GzipCompressor::finish()
{
    if (!good || finished)
        return good && finished;
    finished = true;
    good = run(nullptr, 0, Z_FINISH);
    return good;
}

std::string GzipCompressor::takeOutput()
{
    std::string taken;
    taken.swap(output);
    return taken;
}

std::pair<bool, std::string> GzipCompressor::compress(const std::string& input, int level)
{
    GzipCompressor compressor(level);
    if (!compressor.write(input) || !compressor.finish())
        return {false, {}};
    return {true, compressor.takeOutput()};
}

struct GzipDecompressor::Stream
{
    z_stream z{};
};

GzipDecompressor::GzipDecompressor(std::size_t maxOutput) : stream(std::make_unique<Stream>()), limit(maxOutput)
{
    good = inflateInit2(&stream->z, gzipWindowBits) == Z_OK;
    if (!good)
        stream.reset();
}

GzipDecompressor::~GzipDecompressor()
{
    if (stream)
        inflateEnd(&stream->z);
}

bool GzipDecompressor::write(const std::basic_string<char>& input)
{
    if (!good)
        return false;
    if (input.empty())
        return true;
    if (done) {
        // Bytes after the end of the member are not ours to interpret.
        good = false;
        return false;
    }
    z_stream& z = stream->z;
    const char* data = input.data();
    std::size_t size = input.size();
    char out[chunkSize];
    while (size > 0 && !done) {
        const std::size_t slice = size < maxSlice ? size : maxSlice;
        z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data));
        z.avail_in = static_cast<uInt>(slice);
        do {
            z.next_out = reinterpret_cast<Bytef*>(out);
            z.avail_out = chunkSize;
            const int rc = inflate(&z, Z_NO_FLUSH);
            if (rc != Z_OK && rc != Z_STREAM_END && rc != Z_BUF_ERROR) {
                good = false;
                return false;
            }
            const std::size_t got = chunkSize - z.avail_out;
            if (got > limit - produced) {
                good = false;
                return false;
            }
            produced += got;
            output.append(out, got);
            if (rc == Z_STREAM_END)
                done = true;
            else if (rc == Z_BUF_ERROR && got == 0)
                break;
        } while (!done && (z.avail_in > 0 || z.avail_out == 0));
        const std::size_t used = slice - z.avail_in;
        data += used;
        size -= used;
        if (done && size > 0) {
            good = false;
            return false;
        }
        if (used == 0 && !done)
            break;
    }
    return good;
}

std::string GzipDecompressor::takeOutput()
{
    std::string taken;
    taken.swap(output);
    return taken;
}

std::pair<bool, std::string> GzipDecompressor::decompress(const std::string& input, std::size_t maxOutput)
{
    GzipDecompressor decompressor(maxOutput);
    if (!decompressor.write(input) || !decompressor.finished())
        return {false, {}};
    return {true, decompressor.takeOutput()};
}
