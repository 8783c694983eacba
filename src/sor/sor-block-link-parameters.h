// TSorBlockLinkParameters: the "LnkParams" block, named places on the link;
// TSorBlockLinkParamLandmark: one landmark of it.
#pragma once

#include <cstdint>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/lu-array.h"

// One landmark. In the file, with no name, the fields below in their order;
// the same in both editions.
class FIBERTEST_SOR_EXPORT TSorBlockLinkParamLandmark : public TSorBlock
{
public:
    std::int16_t LMN = 1;         // landmark number
    TString LMC;                  // landmark code, fixed text of 2
    std::int32_t LML = 0;         // landmark location, one-way time in 100 ps
    std::int16_t REN = 1;         // related event number, from 1; 0 when none
    std::int32_t Longitude = 0;   // GPS longitude
    std::int32_t Latitude = 0;    // GPS latitude
    std::int16_t FCI = 0;         // fiber correction factor
    std::int32_t SMI = 0;         // sheath marker entering
    std::int32_t SML = 0;         // sheath marker leaving
    TString USML;                 // units of the sheath marks, fixed text of 2
    std::int16_t MFDL = 0;        // mode field diameter
    TString CMT;                  // comment

    TSorBlockLinkParamLandmark();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btLinkParamLandmark; }
    void Assign(const TSorBlockLinkParamLandmark& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;
};

// In the file: the name (second edition), TNL, then TNL landmarks. Empty
// without landmarks, and then left out of a file.
//
// Landmarks are kept in order of location. They refer to key events by
// number (REN), which the notifications keep in step when events come and go.
class FIBERTEST_SOR_EXPORT TSorBlockLinkParameters : public TSorBlock
{
public:
    std::int16_t TNL = 0;                             // total number of landmarks; follows the array
    TLuArray<TSorBlockLinkParamLandmark> Landmarks;   // owned, in order of LML
    // The LMN values that the file held, so that a new landmark never takes
    // the number of one that has been deleted since.
    std::vector<std::int16_t> ReadLMNs;

    TSorBlockLinkParameters();

    [[nodiscard]] bool IsEmpty() const override { return Landmarks.count == 0; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btLinkParameters; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockLinkParameters& other);
    // A negative TNL reads no landmarks. A TNL that the rest of the file
    // cannot hold ends the read as a short read (Status fsEndOfFile) before
    // anything is allocated; landmarks cut off by the end of the file end the
    // list, the one that ran into the end included.
    void Read(TSorFile* file) override;
    // TNL is set to the number of landmarks first, so the count and the
    // records always agree.
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] std::int16_t GetTNL() const { return TNL; }
    // By the array's rule: null when there is none, the last one for an
    // index past the end.
    [[nodiscard]] TSorBlockLinkParamLandmark* GetLandmark(std::int16_t i) const { return Landmarks[i]; }
    // The smallest number from 1 to 65534 that neither the file held nor a
    // current landmark has (LMN taken as unsigned); 0 when all are taken.
    [[nodiscard]] std::uint16_t GenerateUniqueLMN() const;
    // Takes `lm` over, gives it a new LMN and puts it behind every landmark
    // that lies at or before its location. Answers the place, or -1 (and
    // takes nothing) when `lm` is already in the block. A null `lm` throws
    // the null-pointer TSorException.
    int InsertLandmark(TSorBlockLinkParamLandmark* lm);
    // Puts the landmark at `i` back in order after its LML has changed,
    // keeping its LMN; answers the new place, or -1 when there is no
    // landmark at `i` (the array's rule applies to an index past the end).
    int ReinsertLandmark(std::int16_t i);
    // Removes and destroys the landmark at `i`, by the array's rule.
    void DeleteLandmark(std::int16_t i);

    // Key event `e` (0-based) was inserted: later references move up.
    void OnKeyEventAdd(int e);
    // Key event `e` was removed: references to it become 0, later ones move down.
    void OnKeyEventDel(int e);
    // All key events were removed: every reference becomes 0.
    void OnKeyEventsClear();

private:
    // Inserts by location as InsertLandmark does, without touching LMN.
    int insertByLocation(TSorBlockLinkParamLandmark* lm);
};
