// TSorBlock: the frame shared by every block of a trace file and every
// record inside a block.
#pragma once

#include <cstdint>
#include <cstdio>

#include "sor/sor-export.h"
#include "util/t-string.h"

class TSorFile;
class TSorFieldVisitor;

// What GetBlockType() answers.
enum TBlockType {
    btSorBlock = 0,
    btMap = 1,
    btMapBlockInfo = 2,
    btGeneralParameters = 3,
    btFixedParameters = 4,
    btSupplierParameters = 5,
    btKeyEvents = 6,
    btKeyEvents1E = 7,
    btLinkParameters = 8,
    btLinkParamLandmark = 9,
    btDataPoints = 10,
    btDataPoints1SF = 11,
    btSpecial = 12,
    btCRC = 13,
    btAUXEvents = 14,
    btAUXEvents1E = 15,
    btAUXParameters = 16,
    btShortThreshold = 17,
    btThresholdsRFTSSet = 18,
    btRFTSLevel = 19,
    btRFTSParameters = 20,
    btRFTSUniversalParameter = 21,
    btShortDeviation = 22,
    btRFTSEvents1E = 23,
    btRFTSEvents = 24,
    btEmbData1E = 25,
    btEmbData = 26
};

// The name of a block type for the log: "Map", "GenParams", ... and "?" for
// records and for every other value. The names a file carries are in BID.
[[nodiscard]] FIBERTEST_SOR_EXPORT const char* GetBlockID(TBlockType type);

// Revisions 100-199 are the first edition of the format, whose blocks carry
// no name inside; 200 and above the second, whose blocks begin with their
// name. Only the hundreds are compared with the last known revision.
//
// Reads and writes go through a TSorFile and never throw for file trouble
// (that is in the file's Status); a block throws TSorException for data it
// cannot hold.
class FIBERTEST_SOR_EXPORT TSorBlock
{
public:
    std::uint16_t RevisionNo = 0;  // the revision this object reads and writes itself in
    TString BID;                   // the block's name as stored in the file

    TSorBlock();
    virtual ~TSorBlock();
    TSorBlock(const TSorBlock&) = default;
    TSorBlock& operator=(const TSorBlock&) = default;

    [[nodiscard]] virtual bool IsEmpty() const;
    // The bytes that Write produces, measured by writing to a counting file.
    [[nodiscard]] virtual std::int32_t GetBlockSize();
    [[nodiscard]] virtual TBlockType GetBlockType() const;
    [[nodiscard]] virtual std::uint16_t GetBlockLastKnownRevisionNo() const;
    // The base does nothing. Each block has an Assign for its own type, so
    // assignment always goes through the concrete type and is not virtual
    // (a virtual one here would only be hidden by those).
    void Assign(const TSorBlock& other);
    // Set RevisionNo, then Read or Write.
    virtual void ReadRN(TSorFile* file, std::uint16_t revision);
    virtual void WriteRN(TSorFile* file, std::uint16_t revision);
    // The revision check every Read starts with; see the source for the rules.
    [[nodiscard]] virtual bool CanRead(TSorFile* file);
    virtual void Read(TSorFile* file);
    virtual void Write(TSorFile* file);
    // A text dump for diagnostics.
    virtual void Damp(FILE* out) const;
    // Every field, in file order, under the format's short names.
    virtual void Fields(TSorFieldVisitor& visitor) const;

protected:
    // Writes BID and its NUL in the second edition (revision above 199).
    void WriteID(TSorFile* file) const;
    // The three lines that open a block's dump, with the block's name.
    void DampHeader(FILE* out) const;
    // The line between records inside a block's dump.
    static void DampSeparator(FILE* out);
    // Before allocating `count` records of at least `bytesEach` bytes: when the
    // rest of the file cannot hold them, the read ends as a short read
    // (Status fsEndOfFile) and the answer is false. Hostile counts thus never
    // make the process allocate more than the input can supply.
    [[nodiscard]] static bool HasRoom(TSorFile* file, unsigned long count, unsigned long bytesEach);
};
