// The places a TSorFile reads from and writes to: a disk stream, a memory
// vector, a caller's fixed buffer, or nothing at all (sizing).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "sor/sor-export.h"
#include "util/t-string.h"

class TSorFile;

// A backend moves bytes and reports failures into its owner's Status; the
// checksum is the owner's business, except that the disk stream feeds it in
// its typed reads (the other backends do not: the checksum is never checked
// on reading, so the difference does no harm).
class FIBERTEST_SOR_EXPORT SorFileBackend
{
public:
    explicit SorFileBackend(TSorFile* owner);
    virtual ~SorFileBackend();
    SorFileBackend(const SorFileBackend&) = delete;
    SorFileBackend& operator=(const SorFileBackend&) = delete;

    virtual void Read(std::int16_t& value) = 0;
    virtual void Read(std::uint16_t& value) = 0;
    virtual void Read(std::int32_t& value) = 0;
    virtual void Read(std::uint32_t& value) = 0;
    virtual unsigned long Tell() = 0;
    virtual void Seek(unsigned long position) = 0;
    // Typed writes go out little-endian through WriteBufImpl.
    virtual void WriteImpl(std::int16_t value);
    virtual void WriteImpl(std::uint16_t value);
    virtual void WriteImpl(std::int32_t value);
    virtual void WriteImpl(std::uint32_t value);
    virtual void WriteBufImpl(const char* buffer, unsigned long n) = 0;
    // A NUL-terminated text of at most 1024 bytes.
    virtual void ReadImpl(TString& text) = 0;
    // Up to `n` raw bytes; answers how many were delivered.
    virtual unsigned long ReadImpl(char* buffer, unsigned long n) = 0;
    virtual unsigned long BytesLeft() = 0;

protected:
    void SetStatus(std::int32_t value);

    TSorFile* owner;
    std::int32_t* status;
};

class FIBERTEST_SOR_EXPORT DiskSorFileBackend : public SorFileBackend
{
public:
    DiskSorFileBackend(TSorFile* owner, const char* filename, const char* mode);
    ~DiskSorFileBackend() override;

    void Read(std::int16_t& value) override;
    void Read(std::uint16_t& value) override;
    void Read(std::int32_t& value) override;
    void Read(std::uint32_t& value) override;
    unsigned long Tell() override;
    void Seek(unsigned long position) override;
    void WriteBufImpl(const char* buffer, unsigned long n) override;
    void ReadImpl(TString& text) override;
    unsigned long ReadImpl(char* buffer, unsigned long n) override;
    unsigned long BytesLeft() override;

    [[nodiscard]] bool IsOpen() const { return stream != nullptr; }
    [[nodiscard]] const std::string& FileName() const { return fileName; }

private:
    // One typed read of `width` bytes, fed to the checksum when it succeeds.
    bool readTyped(unsigned char* bytes, unsigned width);
    template <class T>
    void readValue(T& value);

    std::string fileName;
    std::FILE* stream = nullptr;
};

// What the memory and the fixed-buffer files share: reading from bytes held
// in memory, with a position of their own. At the end of the data a typed
// read leaves its target and the position as they are.
class FIBERTEST_SOR_EXPORT BufferSorFileBackend : public SorFileBackend
{
public:
    using SorFileBackend::SorFileBackend;

    void Read(std::int16_t& value) override { readTyped(value); }
    void Read(std::uint16_t& value) override { readTyped(value); }
    void Read(std::int32_t& value) override { readTyped(value); }
    void Read(std::uint32_t& value) override { readTyped(value); }
    unsigned long Tell() override { return position; }
    // Inside the data or exactly at its end; otherwise fsSeekError and the
    // position stays.
    void Seek(unsigned long target) override;
    void ReadImpl(TString& text) override;
    unsigned long ReadImpl(char* buffer, unsigned long n) override;
    unsigned long BytesLeft() override;

protected:
    // The bytes readable now.
    [[nodiscard]] virtual const char* Span() const = 0;
    [[nodiscard]] virtual unsigned long SpanSize() const = 0;

    unsigned long position = 0;

private:
    template <class T>
    void readTyped(T& value);
};

class FIBERTEST_SOR_EXPORT MemorySorFileBackend : public BufferSorFileBackend
{
public:
    explicit MemorySorFileBackend(TSorFile* owner);

    // Grows the vector as far as needed; a write in the middle overwrites.
    void WriteBufImpl(const char* buffer, unsigned long n) override;

    [[nodiscard]] std::vector<char>& Bytes() { return bytes; }
    [[nodiscard]] const std::vector<char>& Bytes() const { return bytes; }
    // Resizes (zero-filling growth) and pulls the position back to the end.
    void Resize(unsigned long size);

protected:
    [[nodiscard]] const char* Span() const override { return bytes.data(); }
    [[nodiscard]] unsigned long SpanSize() const override { return bytes.size(); }

private:
    std::vector<char> bytes;
};

class FIBERTEST_SOR_EXPORT VirtualSorFileBackend : public SorFileBackend
{
public:
    explicit VirtualSorFileBackend(TSorFile* owner);

    // Reads do nothing at all.
    void Read(std::int16_t&) override {}
    void Read(std::uint16_t&) override {}
    void Read(std::int32_t&) override {}
    void Read(std::uint32_t&) override {}
    unsigned long Tell() override { return position; }
    // Takes any position; the status stays as it was.
    void Seek(unsigned long target) override { position = target; }
    void WriteBufImpl(const char*, unsigned long n) override { position += n; }
    void ReadImpl(TString&) override {}
    unsigned long ReadImpl(char*, unsigned long) override { return 0; }
    unsigned long BytesLeft() override;

private:
    unsigned long position = 0;
};

class FIBERTEST_SOR_EXPORT FixedBufferSorFileBackend : public BufferSorFileBackend
{
public:
    // `writeData` null makes the buffer read-only.
    FixedBufferSorFileBackend(TSorFile* owner, const char* readData, char* writeData, unsigned long size);

    // fsWriteError when read-only, fsSizeError past the end; nothing is written then.
    void WriteBufImpl(const char* buffer, unsigned long n) override;

    [[nodiscard]] const char* ReadData() const { return readData; }
    [[nodiscard]] char* WriteData() { return writeData; }
    [[nodiscard]] unsigned long Size() const { return size; }

protected:
    [[nodiscard]] const char* Span() const override { return readData; }
    [[nodiscard]] unsigned long SpanSize() const override { return size; }

private:
    const char* readData;
    char* writeData;
    unsigned long size;
};
