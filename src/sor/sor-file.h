// TSorFile: typed, checksummed access to a trace file on disk, in memory, in
// a caller's buffer, or in a file that only counts.
#pragma once

#include <cstdint>
#include <memory>

#include "sor/sor-export.h"
#include "util/t-string.h"

class SorFileBackend;

// The longest NUL-terminated text that a read takes whole.
constexpr unsigned long SorMaxTextLength = 1023;

// Where the bytes of a TSorFile go.
enum TFileType {
    ftDisk = 1,        // a stdio stream
    ftMemory = 2,      // a growing byte vector owned by the file
    ftVirtual = 3,     // nothing is stored; positions advance (sizing)
    ftFixedBuffer = 4  // a caller's buffer of fixed size
};

// The outcome of the last operation, in TSorFile::Status. 4 is not used.
enum TFileStatus : std::int32_t {
    fsOk = 0,
    fsOpenError = 1,   // the disk file could not be opened
    fsReadError = 2,   // the stream reported a read error (also: unknown Map revision)
    fsEndOfFile = 3,   // the data ended before the request was met
    fsSeekError = 5,   // seek outside the data, or the stream refused
    fsTellError = 6,   // the stream could not report its position
    fsWriteError = 7,  // a stream write failed, or a fixed buffer is read-only
    fsSizeError = 8    // a write past a fixed buffer, or SetData of another size
};

// The one door through which every block of a trace passes. All integers in
// the file are little-endian with fixed widths (a "long" of the format is 32
// bits on every host). Failures never throw: they land in `Status`, later
// operations go on as far as they can, and the caller looks at `Status`
// between blocks. A successful Seek clears `Status`.
//
// Every byte written, every raw or text read and every skipped UTF-16 text
// also runs through the checksum in `CRC`, which is what the file's closing
// "Cksum" block stores.
class FIBERTEST_SOR_EXPORT TSorFile
{
public:
    // Running checksum; its low 16 bits are the CRC-16/CCITT accumulator,
    // which starts at 0xFFFF.
    std::int32_t CRC = -1;
    // Status of the last operation, a TFileStatus value; read directly.
    std::int32_t Status = fsOk;
    TFileType FileType;

    // A disk file opened by fopen with `mode`, or, when the first character of
    // `mode` is "m"/"M", an empty memory file, or with "v"/"V" a counting
    // file. `filename` and `mode` must not be null for a disk file. A failed
    // open leaves a live object with Status fsOpenError.
    TSorFile(const char* filename, const char* mode);
    // A caller's buffer for reading and writing; the buffer must outlive the file.
    TSorFile(char* buffer, unsigned long size);
    // A caller's buffer for reading only: every write answers fsWriteError.
    TSorFile(const char* buffer, unsigned long size);
    ~TSorFile();
    TSorFile(const TSorFile&) = delete;
    TSorFile& operator=(const TSorFile&) = delete;

    // Typed reads of 2 and 4 bytes. At the end of the data the target is left
    // as it was and Status becomes fsEndOfFile.
    void Read(std::int16_t& value);
    void Read(std::uint16_t& value);
    void Read(std::int32_t& value);
    void Read(std::uint32_t& value);
    // A NUL-terminated text of at most 1024 bytes; a longer one is cut there
    // and the next read starts inside it.
    void Read(TString& text);
    // A fixed-width text of `n` bytes; the result ends at the first NUL among
    // them. `n` of 0 leaves the string as it was.
    void Read(TString& text, unsigned int n);
    // `n` raw bytes; `n` of 0 does nothing.
    void Read(char* buffer, unsigned long n);

    void Write(std::int16_t value);
    void Write(std::uint16_t value);
    void Write(std::int32_t value);
    void Write(std::uint32_t value);
    // The text and its NUL. A text reads back to at most 1024 bytes without
    // its NUL, so a longer one would make the next field start inside it:
    // it goes out cut to 1023 bytes, and what is written always reads back.
    void Write(const TString& text);
    // A fixed-width text field of `n` bytes, NUL-padded when shorter, cut
    // without terminator when as long or longer.
    void Write(const TString& text, unsigned int n);
    // `n` bytes of `buffer`: raw as they are, or, without `raw`, as text that
    // is NUL-padded to `n` when it is shorter.
    void Write(const char* buffer, unsigned long n, bool raw);
    // `n` raw bytes; `n` of 0 does nothing.
    void WriteBuf(const char* buffer, unsigned long n);

    // Absolute positions from the start of the data.
    [[nodiscard]] unsigned long Tell();
    void Seek(unsigned long position);
    // Bytes between the position and the end of the data: what a count read
    // from the file can at most stand for. A counting file has no end.
    [[nodiscard]] unsigned long BytesLeft();

    // Consumes bytes, each into the checksum, until two zero bytes in a row
    // have gone by (alignment is ignored). Returns at once when Status is not
    // 0, and stops when it becomes non-zero.
    void SkipUtf16String();

    // Buffer access, for memory and fixed-buffer files only (asserted).
    [[nodiscard]] const char* GetData() const;
    [[nodiscard]] char* GetData();
    [[nodiscard]] unsigned long GetDataSize() const;
    // Memory: resizes to `size` (zero-filling growth) and copies `data` in
    // when it is not null; with null only resizes and pulls the position back
    // to the new end. Fixed buffer: `size` must equal the buffer's.
    void SetData(const char* data, unsigned long size);
    // Memory only: resizes and pulls the position back.
    void SetDataSize(unsigned long size);
    // Disk only.
    [[nodiscard]] const char* GetFileName() const;

    [[nodiscard]] static TFileType MapCharCodeToFileType(char code);
    // The backend for a file type; the fixed buffer is made by its own
    // constructors only.
    [[nodiscard]] static std::unique_ptr<SorFileBackend> MakeFileBackend(TSorFile* owner, TFileType type,
                                                                         const char* filename, const char* mode);

    // Feeds bytes to the running checksum.
    void AddToCRC(const char* data, unsigned long n);

private:
    std::unique_ptr<SorFileBackend> backend;
};

// Remembers a place in a file (position, checksum, status) and goes back to
// it when destroyed, unless cancelled. Used to try a read and take it back.
class FIBERTEST_SOR_EXPORT TSorFileStateBackup
{
public:
    explicit TSorFileStateBackup(TSorFile* file);
    virtual ~TSorFileStateBackup();
    TSorFileStateBackup(const TSorFileStateBackup&) = delete;
    TSorFileStateBackup& operator=(const TSorFileStateBackup&) = delete;

    void Backup();
    // Checksum back, seek to the saved position, then the saved status.
    void Restore();
    void Cancel() { cancelled = true; }

private:
    TSorFile* file;
    std::int32_t savedCRC = -1;
    unsigned long savedPosition = 0;
    bool cancelled = false;
    std::int32_t savedStatus = fsOk;
};
