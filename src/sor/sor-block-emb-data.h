// TSorBlockEmbData: the "EmbData" block that lets a trace carry other things
// inside itself; TEmbData1E: one of its entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <variant>

#include "sor/sor-block-rfts-events.h"
#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/lu-array.h"
#include "util/t-string.h"

class TSorData;

// One embedded thing. In the file: ID, Comment, Description (texts),
// DataSize (int32), then DataSize bytes of data. What the data is follows
// from Description, compared without regard to case:
//   "SOR"         a whole trace with its own Map and Cksum (a TSorData)
//   "RFTSEVENTS"  a saved comparison result: its revision (uint16), then the
//                 RFTSEvents block as it writes itself, name included
//   "LINF"        the linear companion of the trace, one 32-bit float per
//                 point; derived on load and never stored
//   anything else raw bytes, kept as they are
//
// The entry owns its data. The data is held by its real type, so that it is
// always freed as what it is, even when Description is changed while data is
// held (which callers should not do: set Description before the data).
class FIBERTEST_SOR_EXPORT TEmbData1E : public TSorBlock
{
public:
    TString ID;
    TString Comment;
    TString Description;      // says what the data is, see above
    std::int32_t DataSize = 0;  // bytes of the data in the file
    std::uint8_t Writable = 1;  // 0: left out of the file and of TNED

    // What a Description stands for.
    enum TDataKind { dkRaw, dkSor, dkRFTSEvents, dkLinf };

    // An entry takes at least three NULs and DataSize in the file.
    static constexpr unsigned long MinFileSize = 3 + 4;

    TEmbData1E();
    explicit TEmbData1E(const TString& description);
    // Deep, by type.
    TEmbData1E(const TEmbData1E& other);
    TEmbData1E& operator=(const TEmbData1E& other);
    ~TEmbData1E() override;

    // True without data or with a DataSize of 0.
    [[nodiscard]] bool IsEmpty() const override;
    [[nodiscard]] TBlockType GetBlockType() const override { return btEmbData1E; }
    void Assign(const TEmbData1E& other);
    // Throws the null-pointer TSorException for a null file and the bad-data
    // one for a negative DataSize or for nested traces beyond the limits of
    // depth and number (hostile input; see the source). Raw data
    // shorter than DataSize ends like a short read, DataSize then being what
    // there was.
    void Read(TSorFile* file) override;
    // Nothing at all when not writable; otherwise refreshes DataSize by
    // GetDataSize() and writes the header and the data. An entry without
    // data writes its header, DataSize included, and no data bytes.
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] static TDataKind KindOf(const TString& description);
    [[nodiscard]] TDataKind GetDataKind() const { return KindOf(Description); }

    // "LINF" entries are never writable, whatever Writable says.
    [[nodiscard]] bool IsWritable() const;
    void SetWritable(bool writable) { Writable = writable ? 1 : 0; }
    [[nodiscard]] const TString& GetID() const { return ID; }
    void SetID(const TString& id) { ID = id; }
    [[nodiscard]] const TString& GetComment() const { return Comment; }
    void SetComment(const TString& comment) { Comment = comment; }
    [[nodiscard]] const TString& GetDescription() const { return Description; }
    // Setting "LINF" also clears Writable.
    void SetDescription(const TString& description);

    // The data: a TSorData*, a TSorBlockRFTSEvents* or the raw bytes (for
    // "LINF" floats), or null. Owned by the entry.
    [[nodiscard]] void* GetData() const;
    // The data as its type, or null when the entry holds something else.
    [[nodiscard]] TSorData* GetSorData() const;
    [[nodiscard]] TSorBlockRFTSEvents* GetRFTSEvents() const;
    // The raw data as floats (DataSize / 4 of them), for "LINF" entries.
    [[nodiscard]] float* GetLinf() const;

    // A trace is measured by writing it to a counting file, RFTS events are
    // their block size plus 2, raw data is its length; null data answers the
    // stored DataSize. The answer is stored in DataSize.
    [[nodiscard]] std::int32_t GetDataSize();
    // Raw data of `size` bytes with undefined contents. Raw data of that
    // size already held is kept; otherwise Clear(), and for `size` above 0 a
    // new array. A size beyond the int32 range throws the bad-data TSorException.
    void SetData(long size);
    // SetData(size), then a copy of `size` bytes from `data`; nothing for a
    // null `data` or a `size` of 0 or below.
    void SetData(const void* data, long size);
    // A copy of the block; DataSize its size plus 2.
    void SetData(const TSorBlockRFTSEvents& events);
    // A copy of the trace; DataSize measured.
    void SetData(const TSorData& sor);
    // Frees the data; DataSize 0.
    void Clear();

private:
    struct RawBytes {
        std::unique_ptr<unsigned char[]> bytes;  // never null, also for size 0
        std::size_t size = 0;
    };
    using Held = std::variant<std::monostate, RawBytes, std::unique_ptr<TSorBlockRFTSEvents>, std::unique_ptr<TSorData>>;

    void readSor(TSorFile* file);
    void readRFTSEvents(TSorFile* file);
    void readRaw(TSorFile* file);

    Held held;
};

// In the file: "EmbData" and NUL (revision above 199), TNED (uint16), then
// TNED entries. Only writable entries go to the file and count in the TNED
// written; in memory TNED counts every entry.
class FIBERTEST_SOR_EXPORT TSorBlockEmbData : public TSorBlock
{
public:
    std::uint16_t TNED = 0;          // number of entries, always Entries.count
    TLuArray<TEmbData1E> Entries;    // owned, never null entries

    // "EmbData", revision 209, no entries.
    TSorBlockEmbData();

    // Always written, also without entries.
    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btEmbData; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockEmbData& other);
    // Starts empty. Throws the null-pointer TSorException for a null file; an
    // entry's exceptions pass through. A count beyond what the file can hold
    // ends like a short read.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] unsigned short GetTNED() const { return TNED; }
    // Resizes the entries; new places get empty raw entries.
    void SetTNED(unsigned short n);
    // By the array's rule: null without entries, the last one past the end.
    [[nodiscard]] TEmbData1E* GetEmbData(int index) const { return Entries[index]; }
    // The first entry with that Description, case ignored; null if none.
    [[nodiscard]] TEmbData1E* GetEmbData(const TString& description) const;

    // The block takes ownership of what these accept and answers it; a null
    // entry, or one that SetData finds no place for, stays the caller's and
    // the answer is null.
    TEmbData1E* AddData(TEmbData1E* entry);
    // At `index`, clamped to the array.
    TEmbData1E* InsertData(TEmbData1E* entry, int index);
    // Replaces the entry at `index` (the last one past the end).
    TEmbData1E* SetData(TEmbData1E* entry, int index);
    // No effect for an index outside the array.
    void DeleteData(int index);
    void Clear();

private:
    void syncCount() { TNED = static_cast<std::uint16_t>(Entries.count); }
};
