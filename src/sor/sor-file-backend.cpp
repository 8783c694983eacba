#include "sor/sor-file-backend.h"

#include <sys/stat.h>

#include <cassert>
#include <climits>
#include <cstring>
#include <type_traits>

#include "sor/sor-file.h"

namespace {

// A NUL-terminated text is read up to this many bytes; a longer one is cut.
constexpr unsigned long maxTextBytes = SorMaxTextLength + 1;

template <class T>
T decodeLittleEndian(const unsigned char* bytes)
{
    using U = std::make_unsigned_t<T>;
    U value = 0;
    for (unsigned i = 0; i < sizeof(T); ++i)
        value = static_cast<U>(value | (U(bytes[i]) << (8 * i)));
    return static_cast<T>(value);
}

template <class T>
void encodeLittleEndian(T value, char* out)
{
    using U = std::make_unsigned_t<T>;
    const auto bits = static_cast<U>(value);
    for (unsigned i = 0; i < sizeof(T); ++i)
        out[i] = static_cast<char>((bits >> (8 * i)) & 0xFF);
}

// Typed read from bytes held in memory: at the end the target and the
// position stay as they are.
template <class T>
bool readFromSpan(const char* data, unsigned long size, unsigned long& position, T& value)
{
    if (position > size || size - position < sizeof(T))
        return false;
    value = decodeLittleEndian<T>(reinterpret_cast<const unsigned char*>(data + position));
    position += sizeof(T);
    return true;
}

// Text read from bytes held in memory: up to and with the NUL, at most
// maxTextBytes taken. Answers false when the data ended before a NUL and
// before the limit.
bool textFromSpan(const char* data, unsigned long size, unsigned long& position, TString& text)
{
    const unsigned long available = position < size ? size - position : 0;
    if (available == 0) {
        text = TString();
        return false;
    }
    const unsigned long limit = available < maxTextBytes ? available : maxTextBytes;
    const char* start = data + position;
    const auto* nul = static_cast<const char*>(std::memchr(start, '\0', limit));
    if (nul != nullptr) {
        const auto length = static_cast<unsigned long>(nul - start);
        text = TString(start, static_cast<int>(length));
        position += length + 1;
        return true;
    }
    text = TString(start, static_cast<int>(limit));
    position += limit;
    return limit == maxTextBytes;
}

unsigned long rawFromSpan(const char* data, unsigned long size, unsigned long& position, char* buffer,
                          unsigned long n)
{
    const unsigned long available = position < size ? size - position : 0;
    const unsigned long taken = n < available ? n : available;
    if (taken > 0)
        std::memcpy(buffer, data + position, taken);
    position += taken;
    return taken;
}

} // namespace

// ---- SorFileBackend ----

SorFileBackend::SorFileBackend(TSorFile* file) : owner(file), status(&file->Status) {}

SorFileBackend::~SorFileBackend() = default;

void SorFileBackend::SetStatus(std::int32_t value)
{
    *status = value;
}

void SorFileBackend::WriteImpl(std::int16_t value)
{
    char bytes[2];
    encodeLittleEndian(value, bytes);
    WriteBufImpl(bytes, 2);
}

void SorFileBackend::WriteImpl(std::uint16_t value)
{
    char bytes[2];
    encodeLittleEndian(value, bytes);
    WriteBufImpl(bytes, 2);
}

void SorFileBackend::WriteImpl(std::int32_t value)
{
    char bytes[4];
    encodeLittleEndian(value, bytes);
    WriteBufImpl(bytes, 4);
}

void SorFileBackend::WriteImpl(std::uint32_t value)
{
    char bytes[4];
    encodeLittleEndian(value, bytes);
    WriteBufImpl(bytes, 4);
}

// ---- DiskSorFileBackend ----

DiskSorFileBackend::DiskSorFileBackend(TSorFile* file, const char* filename, const char* mode)
    : SorFileBackend(file), fileName(filename)
{
    stream = std::fopen(filename, mode);
    if (stream == nullptr)
        SetStatus(fsOpenError);
}

DiskSorFileBackend::~DiskSorFileBackend()
{
    if (stream != nullptr)
        std::fclose(stream);
}

bool DiskSorFileBackend::readTyped(unsigned char* bytes, unsigned width)
{
    if (stream == nullptr) {
        SetStatus(fsReadError);
        return false;
    }
    if (std::feof(stream)) {
        SetStatus(fsEndOfFile);
        return false;
    }
    const std::size_t got = std::fread(bytes, width, 1, stream);
    if (std::ferror(stream)) {
        SetStatus(fsReadError);
        std::clearerr(stream);
        return false;
    }
    if (std::feof(stream) || got != 1) {
        SetStatus(fsEndOfFile);
        return false;
    }
    owner->AddToCRC(reinterpret_cast<const char*>(bytes), width);
    return true;
}

template <class T>
void DiskSorFileBackend::readValue(T& value)
{
    unsigned char bytes[sizeof(T)];
    if (readTyped(bytes, sizeof(T)))
        value = decodeLittleEndian<T>(bytes);
}

void DiskSorFileBackend::Read(std::int16_t& value) { readValue(value); }
void DiskSorFileBackend::Read(std::uint16_t& value) { readValue(value); }
void DiskSorFileBackend::Read(std::int32_t& value) { readValue(value); }
void DiskSorFileBackend::Read(std::uint32_t& value) { readValue(value); }

unsigned long DiskSorFileBackend::Tell()
{
    const long position = stream != nullptr ? std::ftell(stream) : -1;
    if (position < 0) {
        SetStatus(fsTellError);
        return 0;
    }
    return static_cast<unsigned long>(position);
}

void DiskSorFileBackend::Seek(unsigned long position)
{
    SetStatus(fsOk);
    if (stream == nullptr || position > static_cast<unsigned long>(LONG_MAX) ||
        std::fseek(stream, static_cast<long>(position), SEEK_SET) != 0)
        SetStatus(fsSeekError);
}

void DiskSorFileBackend::WriteBufImpl(const char* buffer, unsigned long n)
{
    if (stream == nullptr || std::fwrite(buffer, 1, n, stream) != n)
        SetStatus(fsWriteError);
}

void DiskSorFileBackend::ReadImpl(TString& text)
{
    char collected[maxTextBytes];
    unsigned long taken = 0;
    unsigned long length = 0;
    if (stream != nullptr) {
        while (taken < maxTextBytes) {
            const int c = std::fgetc(stream);
            if (c == EOF) {
                if (std::feof(stream))
                    SetStatus(fsEndOfFile);
                break;
            }
            ++taken;
            if (c == '\0')
                break;
            collected[length++] = static_cast<char>(c);
        }
        if (std::ferror(stream)) {
            SetStatus(fsReadError);
            std::clearerr(stream);
        }
    } else {
        SetStatus(fsReadError);
    }
    text = TString(collected, static_cast<int>(length));
}

unsigned long DiskSorFileBackend::ReadImpl(char* buffer, unsigned long n)
{
    if (stream == nullptr) {
        SetStatus(fsReadError);
        return 0;
    }
    if (std::feof(stream)) {
        SetStatus(fsEndOfFile);
        return 0;
    }
    const std::size_t got = std::fread(buffer, 1, n, stream);
    if (std::ferror(stream)) {
        SetStatus(fsReadError);
        std::clearerr(stream);
    } else if (got < n && std::feof(stream)) {
        SetStatus(fsEndOfFile);
    }
    return got;
}

unsigned long DiskSorFileBackend::BytesLeft()
{
    if (stream == nullptr)
        return 0;
    struct stat info;
    const long position = std::ftell(stream);
    if (fstat(fileno(stream), &info) != 0 || position < 0 || info.st_size <= position)
        return 0;
    return static_cast<unsigned long>(info.st_size - position);
}

// ---- BufferSorFileBackend ----

template <class T>
void BufferSorFileBackend::readTyped(T& value)
{
    if (!readFromSpan(Span(), SpanSize(), position, value))
        SetStatus(fsEndOfFile);
}

void BufferSorFileBackend::Seek(unsigned long target)
{
    if (target > SpanSize()) {
        SetStatus(fsSeekError);
        return;
    }
    SetStatus(fsOk);
    position = target;
}

void BufferSorFileBackend::ReadImpl(TString& text)
{
    if (!textFromSpan(Span(), SpanSize(), position, text))
        SetStatus(fsEndOfFile);
}

unsigned long BufferSorFileBackend::ReadImpl(char* buffer, unsigned long n)
{
    const unsigned long got = rawFromSpan(Span(), SpanSize(), position, buffer, n);
    if (got < n)
        SetStatus(fsEndOfFile);
    return got;
}

unsigned long BufferSorFileBackend::BytesLeft()
{
    return position < SpanSize() ? SpanSize() - position : 0;
}

// ---- MemorySorFileBackend ----

MemorySorFileBackend::MemorySorFileBackend(TSorFile* file) : BufferSorFileBackend(file) {}

void MemorySorFileBackend::WriteBufImpl(const char* buffer, unsigned long n)
{
    assert(buffer && n);
    if (bytes.size() < position + n)
        bytes.resize(position + n);
    std::memcpy(bytes.data() + position, buffer, n);
    position += n;
}

void MemorySorFileBackend::Resize(unsigned long size)
{
    bytes.resize(size);
    if (position > size)
        position = size;
}

// ---- VirtualSorFileBackend ----

VirtualSorFileBackend::VirtualSorFileBackend(TSorFile* file) : SorFileBackend(file) {}

unsigned long VirtualSorFileBackend::BytesLeft()
{
    return ULONG_MAX;
}

// ---- FixedBufferSorFileBackend ----

FixedBufferSorFileBackend::FixedBufferSorFileBackend(TSorFile* file, const char* readFrom, char* writeTo,
                                                     unsigned long bufferSize)
    : BufferSorFileBackend(file), readData(readFrom), writeData(writeTo), size(bufferSize)
{
}

void FixedBufferSorFileBackend::WriteBufImpl(const char* buffer, unsigned long n)
{
    assert(buffer && n);
    if (writeData == nullptr) {
        SetStatus(fsWriteError);
        return;
    }
    if (n > size - position) {
        SetStatus(fsSizeError);
        return;
    }
    std::memcpy(writeData + position, buffer, n);
    position += n;
}
