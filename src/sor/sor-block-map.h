// TSorBlockMap: the Map that opens a trace file and says which blocks follow
// and how long each is; TSorBlockMapBlockInfo: one of its entries.
#pragma once

#include <cstdint>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/lu-array.h"

// One Map entry. In the file: ID (text), RevisionNo (uint16), Size (int32);
// the entry has no name of its own in front.
class FIBERTEST_SOR_EXPORT TSorBlockMapBlockInfo : public TSorBlock
{
public:
    TString ID;              // the block's name
    std::int32_t Size = 0;   // the block's length in bytes, its name included

    TSorBlockMapBlockInfo();
    TSorBlockMapBlockInfo(const char* id, std::uint16_t revision, std::int32_t size);

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btMapBlockInfo; }
    void Assign(const TSorBlockMapBlockInfo& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};

// In the file: "Map" and NUL (second edition), RevisionNo (uint16, the
// revision of the whole file), Size (int32, the Map's own bytes), NB (int16,
// blocks including the Map), then NB - 1 entries in file order.
class FIBERTEST_SOR_EXPORT TSorBlockMap : public TSorBlock
{
public:
    std::int32_t Size = 0;   // bytes of the Map itself; after a repair it includes the stray bytes in front
    std::int16_t NB = 1;     // entries plus one
    TLuArray<TSorBlockMapBlockInfo> Entries;  // owned

    // "Map", revision 200, no entries.
    TSorBlockMap();
    // `n` empty places, NB = n + 1, and an empty BID.
    explicit TSorBlockMap(int n);

    [[nodiscard]] bool IsEmpty() const override { return false; }
    // 8 for the fixed fields, each entry's size, and the name from revision 200 on.
    [[nodiscard]] std::int32_t GetBlockSize() override;
    [[nodiscard]] TBlockType GetBlockType() const override { return btMap; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockMap& other);
    // Reads the Map at the file's position, repairing the known case of stray
    // bytes in front of the name. An unknown major revision sets Status to
    // fsReadError; a negative NB throws the bad-data TSorException.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] int GetEntriesNum() const { return Entries.count; }
    // By the array's rule: null when empty, the last entry for an index past the end.
    [[nodiscard]] TSorBlockMapBlockInfo* GetEntry(int index) const { return Entries[index]; }
    // Appends an entry and keeps NB in step.
    void AddEntry(TSorBlockMapBlockInfo* entry);

    // One maker's instruments write stray bytes in front of "Map"; such a
    // file shows 01 00 02 00 in bytes 2 to 5 from `start`.
    [[nodiscard]] bool SuspectJdsuCorrupted(TSorFile* file, unsigned long start);
    // Looks for "Map" from `start` on, a byte at a time; answers how many
    // bytes stand in front of it, with the file just behind the name, or 0
    // (file back at `start`, BID "Map") when it is not found.
    [[nodiscard]] int ReadUntilJdsuCorruptedMap(TSorFile* file, unsigned long start);
};
