#include "sor/sor-file.h"

#include <cassert>
#include <climits>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "sor/sor-file-backend.h"
#include "util/crc.h"

namespace {

template <class T>
void littleEndian(T value, char* out)
{
    using U = std::make_unsigned_t<T>;
    const auto bits = static_cast<U>(value);
    for (unsigned i = 0; i < sizeof(T); ++i)
        out[i] = static_cast<char>((bits >> (8 * i)) & 0xFF);
}

} // namespace

TSorFile::TSorFile(const char* filename, const char* mode)
    : FileType(mode != nullptr ? MapCharCodeToFileType(mode[0]) : ftDisk)
{
    if (FileType == ftDisk)
        assert(filename && mode);
    backend = MakeFileBackend(this, FileType, filename, mode);
}

TSorFile::TSorFile(char* buffer, unsigned long size) : FileType(ftFixedBuffer)
{
    assert(buffer != nullptr);
    backend = std::make_unique<FixedBufferSorFileBackend>(this, buffer, buffer, size);
}

TSorFile::TSorFile(const char* buffer, unsigned long size) : FileType(ftFixedBuffer)
{
    assert(buffer != nullptr);
    backend = std::make_unique<FixedBufferSorFileBackend>(this, buffer, nullptr, size);
}

TSorFile::~TSorFile() = default;

TFileType TSorFile::MapCharCodeToFileType(char code)
{
    switch (code) {
    case 'm':
    case 'M':
        return ftMemory;
    case 'v':
    case 'V':
        return ftVirtual;
    default:
        return ftDisk;
    }
}

std::unique_ptr<SorFileBackend> TSorFile::MakeFileBackend(TSorFile* owner, TFileType type, const char* filename,
                                                          const char* mode)
{
    switch (type) {
    case ftMemory:
        return std::make_unique<MemorySorFileBackend>(owner);
    case ftVirtual:
        return std::make_unique<VirtualSorFileBackend>(owner);
    case ftFixedBuffer:
        assert(false && "This backend type backend must be created manually");
        return nullptr;
    case ftDisk:
        break;
    }
    return std::make_unique<DiskSorFileBackend>(owner, filename, mode);
}

void TSorFile::AddToCRC(const char* data, unsigned long n)
{
    static const TCRC crc;
    auto value = static_cast<unsigned short>(CRC & 0xFFFF);
    while (n > 0) {
        const int piece = n > static_cast<unsigned long>(INT_MAX) ? INT_MAX : static_cast<int>(n);
        crc.get_crc_ccitt(value, data, piece);
        data += piece;
        n -= static_cast<unsigned long>(piece);
    }
    CRC = static_cast<std::int32_t>((static_cast<std::uint32_t>(CRC) & 0xFFFF0000u) | value);
}

void TSorFile::Read(std::int16_t& value) { backend->Read(value); }
void TSorFile::Read(std::uint16_t& value) { backend->Read(value); }
void TSorFile::Read(std::int32_t& value) { backend->Read(value); }
void TSorFile::Read(std::uint32_t& value) { backend->Read(value); }

void TSorFile::Read(TString& text)
{
    if (FileType == ftVirtual)
        return;
    backend->ReadImpl(text);
    // The checksum covers the text and its NUL.
    AddToCRC(text.data, static_cast<unsigned long>(text.length) + 1);
}

void TSorFile::Read(TString& text, unsigned int n)
{
    if (n == 0 || FileType == ftVirtual)
        return;
    std::vector<char> field(n + 1, '\0');
    Read(field.data(), n);
    text = TString(field.data());
}

void TSorFile::Read(char* buffer, unsigned long n)
{
    if (n == 0)
        return;
    const unsigned long got = backend->ReadImpl(buffer, n);
    AddToCRC(buffer, got);
}

void TSorFile::Write(std::int16_t value)
{
    backend->WriteImpl(value);
    char bytes[2];
    littleEndian(value, bytes);
    AddToCRC(bytes, 2);
}

void TSorFile::Write(std::uint16_t value)
{
    backend->WriteImpl(value);
    char bytes[2];
    littleEndian(value, bytes);
    AddToCRC(bytes, 2);
}

void TSorFile::Write(std::int32_t value)
{
    backend->WriteImpl(value);
    char bytes[4];
    littleEndian(value, bytes);
    AddToCRC(bytes, 4);
}

void TSorFile::Write(std::uint32_t value)
{
    backend->WriteImpl(value);
    char bytes[4];
    littleEndian(value, bytes);
    AddToCRC(bytes, 4);
}

void TSorFile::Write(const TString& text)
{
    const auto length = static_cast<unsigned long>(text.length > 0 ? text.length : 0);
    if (length <= SorMaxTextLength) {
        WriteBuf(text.data, length + 1);
        return;
    }
    WriteBuf(text.data, SorMaxTextLength);
    WriteBuf("", 1);
}

void TSorFile::Write(const TString& text, unsigned int n)
{
    Write(text.data, n, false);
}

void TSorFile::Write(const char* buffer, unsigned long n, bool raw)
{
    if (raw || n == 0) {
        WriteBuf(buffer, n);
        return;
    }
    // A text shorter than the field goes out NUL-padded; one as long as the
    // field or longer is cut to it, without terminator.
    const std::size_t textLength = std::strlen(buffer);
    if (n > textLength + 1) {
        std::vector<char> field(n, '\0');
        std::memcpy(field.data(), buffer, textLength);
        WriteBuf(field.data(), n);
    } else {
        WriteBuf(buffer, n);
    }
}

void TSorFile::WriteBuf(const char* buffer, unsigned long n)
{
    if (n == 0)
        return;
    backend->WriteBufImpl(buffer, n);
    AddToCRC(buffer, n);
}

unsigned long TSorFile::Tell()
{
    return backend->Tell();
}

void TSorFile::Seek(unsigned long position)
{
    backend->Seek(position);
}

unsigned long TSorFile::BytesLeft()
{
    return backend->BytesLeft();
}

void TSorFile::SkipUtf16String()
{
    // A counting file delivers nothing, so there is nothing to skip.
    if (Status != fsOk || FileType == ftVirtual)
        return;
    bool previousZero = false;
    for (;;) {
        char byte = 1;
        Read(&byte, 1);
        if (Status != fsOk)
            return;
        if (byte == '\0') {
            if (previousZero)
                return;
            previousZero = true;
        } else {
            previousZero = false;
        }
    }
}

const char* TSorFile::GetData() const
{
    assert((FileType == ftMemory) || (FileType == ftFixedBuffer));
    if (FileType == ftMemory)
        return static_cast<const MemorySorFileBackend&>(*backend).Bytes().data();
    return static_cast<const FixedBufferSorFileBackend&>(*backend).ReadData();
}

char* TSorFile::GetData()
{
    assert((FileType == ftMemory) || (FileType == ftFixedBuffer));
    if (FileType == ftMemory)
        return static_cast<MemorySorFileBackend&>(*backend).Bytes().data();
    return static_cast<FixedBufferSorFileBackend&>(*backend).WriteData();
}

unsigned long TSorFile::GetDataSize() const
{
    assert((FileType == ftMemory) || (FileType == ftFixedBuffer));
    if (FileType == ftMemory)
        return static_cast<const MemorySorFileBackend&>(*backend).Bytes().size();
    return static_cast<const FixedBufferSorFileBackend&>(*backend).Size();
}

void TSorFile::SetData(const char* data, unsigned long size)
{
    assert((FileType == ftMemory) || (FileType == ftFixedBuffer));
    if (FileType == ftMemory) {
        auto& memory = static_cast<MemorySorFileBackend&>(*backend);
        if (data == nullptr) {
            memory.Resize(size);
            return;
        }
        // The position stays where it was; growth is zero-filled.
        std::vector<char>& bytes = memory.Bytes();
        bytes.assign(data, data + size);
        return;
    }
    auto& fixed = static_cast<FixedBufferSorFileBackend&>(*backend);
    if (size != fixed.Size()) {
        Status = fsSizeError;
        return;
    }
    if (data == nullptr)
        return;
    if (fixed.WriteData() == nullptr) {
        Status = fsWriteError;
        return;
    }
    std::memmove(fixed.WriteData(), data, size);
}

void TSorFile::SetDataSize(unsigned long size)
{
    assert(FileType == ftMemory);
    static_cast<MemorySorFileBackend&>(*backend).Resize(size);
}

const char* TSorFile::GetFileName() const
{
    assert(FileType == ftDisk);
    return static_cast<const DiskSorFileBackend&>(*backend).FileName().c_str();
}

// ---- TSorFileStateBackup ----

TSorFileStateBackup::TSorFileStateBackup(TSorFile* f) : file(f)
{
    Backup();
}

TSorFileStateBackup::~TSorFileStateBackup()
{
    if (!cancelled)
        Restore();
}

void TSorFileStateBackup::Backup()
{
    savedCRC = file->CRC;
    savedPosition = file->Tell();
    savedStatus = file->Status;
}

void TSorFileStateBackup::Restore()
{
    file->CRC = savedCRC;
    file->Seek(savedPosition);
    file->Status = savedStatus;
}
