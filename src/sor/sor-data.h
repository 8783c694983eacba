// TSorData: one trace in memory, owning one object of each block type.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "sor/sor-export.h"
#include "util/lu-array.h"
#include "util/t-string.h"

class TSorFile;
class TSorBlockMap;
class TSorBlockGeneralParameters;
class TSorBlockSupplierParameters;
class TSorBlockFixedParameters;
class TSorBlockKeyEvents;
class TSorBlockLinkParameters;
class TSorBlockDataPoints;
class TSorBlockCRC;
class TSorBlockRFTSParameters;
class TSorBlockRFTSEvents;
class TSorBlockEmbData;
class TSorBlockAUXEvents;
class TSorBlockAUXParameters;
class TSorBlockSpecial;
class TEmbData1E;
class TSorBlock;

// Reads the blocks of a file in the order its Map gives, writes them back in
// a fixed order of its own, and repairs on the way what older or foreign
// files got wrong. Between Init and Clear every block pointer but
// BackupDataPts is valid. Loading and saving report through the file's
// Status; a block that meets data it cannot hold throws TSorException, which
// a caller reading untrusted data catches.
//
// A TSorData belongs to one thread at a time.
class FIBERTEST_SOR_EXPORT TSorData
{
public:
    // When true, foreign blocks held in SpecialBlocks are written out again.
    std::int32_t WriteSpecialBlocks = 1;
    // When true, AUXEvents, AUXParams, RFTSParams, RFTSEvents and EmbData are written.
    std::int32_t WriteProprietaryBlocks = 1;
    // Revision of the whole file: 200 after Init, the Map's after a load.
    std::uint16_t RevisionNo = 200;

    TSorBlockMap* Map = nullptr;
    TSorBlockGeneralParameters* GenParams = nullptr;
    TSorBlockSupplierParameters* SupParams = nullptr;
    TSorBlockFixedParameters* FxdParams = nullptr;
    TSorBlockKeyEvents* KeyEvents = nullptr;
    TSorBlockLinkParameters* LnkParams = nullptr;
    TSorBlockDataPoints* DataPts = nullptr;          // the working points
    TSorBlockCRC* Cksum = nullptr;
    // Null unless a display filter is active; then it keeps the unfiltered
    // points, and it is these that go to the file.
    TSorBlockDataPoints* BackupDataPts = nullptr;
    TSorBlockRFTSParameters* RFTSParams = nullptr;
    TSorBlockRFTSEvents* RFTSEvents = nullptr;
    TSorBlockEmbData* EmbData = nullptr;
    TSorBlockAUXEvents* AUXEvents = nullptr;
    TSorBlockAUXParameters* AUXParams = nullptr;
    // Foreign blocks, carried through byte for byte; owned.
    TLuArray<TSorBlockSpecial> SpecialBlocks;
    std::int32_t SpecialCount = 0;

    // Scratch values of the automatic analysis; never stored in a file.
    std::int32_t AnalysisState[12] = {};

    // 1 unless the points proved to be the instrument's own on load.
    std::uint8_t Untrusted = 1;
    // The display range in dB.
    double MinLevel = -1.0;
    double MaxLevel = 0.0;

    TSorData();
    ~TSorData();
    TSorData(const TSorData&) = delete;
    TSorData& operator=(const TSorData&) = delete;

    // Defaults and a fresh set of blocks.
    void Init();
    // Destroys every block; Init has to follow.
    void Clear();

    // Loads from the file's position: the Map, then every block it lists,
    // found by the Map's sizes, then the repairs. The result is in the
    // file's Status.
    void Read(TSorFile* file);
    // The fast load for listings: the standard blocks and AUXParams only,
    // without the trust check and the linear points.
    void ReadMinimal(TSorFile* file);
    // Opens the file; answers its final Status (1 when it cannot be opened,
    // and then the document is unchanged).
    int Read(const char* name, const char* mode);
    // Saves in the fixed block order with a fresh Map and checksum.
    void Write(TSorFile* file);
    int Write(const char* name, const char* mode);

    // A deep copy; the two write flags stay as Init set them.
    void Assign(const TSorData& other);
    // Only the descriptive fields: GenParams but LC and UOD, TT of FxdParams,
    // and OMSN of SupParams when `withModuleSerial` is non-zero.
    void AssignInfo(const TSorData& src, int withModuleSerial);
    // AUXParams, DataPts and FxdParams.
    void AssignData(const TSorData& src);
    // The text dump of every block; `skipData` zero adds the points, the
    // foreign blocks and the checksum.
    void Damp(FILE* out, int skipData) const;

    // The hash of the points (BackupDataPts when present): 16 raw bytes, or
    // empty for a trace without points.
    [[nodiscard]] std::vector<unsigned char> GetHashId() const;
    // Stores GetHashId() into AUXParams.
    void ComputeHash();

    [[nodiscard]] double GetMinOwt() const;
    [[nodiscard]] double GetMaxOwt() const;
    // Level of point n in dB; -65.5 outside the trace. The one way the
    // analysis reads levels.
    [[nodiscard]] double NumToLevel(long n) const;
    [[nodiscard]] double OwtToLevel(double owt, short interpolate) const;
    [[nodiscard]] double LenIntToLevel(int len, int scale) const;
    void GetMinMax(long from, long to, float& min, float& max) const;
    // The highest level between two one-way times, and the time where it stands.
    double GetMax(long from, long to, long& owt) const;
    // The pulse at `owt` in ns, from the acquisition block's true pulse where
    // it has one.
    [[nodiscard]] double GetRealNsPulse(double owt = 0) const;
    [[nodiscard]] double GetENOB() const;
    // The data of the embedded entry with that description, or null.
    [[nodiscard]] void* GetEmbData(const char* description) const;
    void SetMinLevel(double level) { MinLevel = level; }
    void SetMaxLevel(double level) { MaxLevel = level; }
    // Rebuilds the points from the embedded linear copy; 1 done, 0 without one.
    int LinfToPoints();

    [[nodiscard]] TEmbData1E* GetSavedRFTSEvents(TString level) const;
    void SaveRFTSEvents();
    int LoadRFTSEvents(TString level);
    void DeleteSavedRFTSEvents();

    // The repairs of a load, public for the analysis and the tests.
    void FixScaleFactor();
    void FixNFScaleFactor();
    void FixUserOffset();
    void CalculateValues();
    void SetLinf();

    // The supplier names whose traces count as genuine (with the other
    // conditions of the trust test); the last entry is the empty name.
    static const char* const TrustedSupplierNames[10];

private:
    // The walk over the Map shared by Read and ReadMinimal; answers false
    // when a status other than end of file stopped it.
    bool readBlocks(TSorFile* file, bool minimal);
    void checkTrust();
    // The block of ours that a Map entry names, or null (the fast load knows
    // fewer blocks).
    [[nodiscard]] TSorBlock* knownBlock(const TString& id, bool minimal) const;
    // The data type of the points from TYP of AUXParams.
    void setDataType();
    // SetLinf; `levelsFromRaw` says that the level cache was just rebuilt
    // from the raw points, so that equal raw values have equal levels.
    void setLinf(bool levelsFromRaw);
};
