// TSorBlockRFTSParameters: the "RFTSParams" block, monitoring thresholds per
// level and named universal parameters for the comparison with a base trace.
#pragma once

#include <cstdint>
#include <cstdio>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "sor/sor-rfts-thresholds.h"
#include "util/lu-array.h"
#include "util/t-string.h"

class TSorData;

// In the file:
//   "RFTSParams" and NUL (revision above 199)
//   BlockThresholdsSet (26 bytes), ActiveLevel (int16), TNL (uint16), TNL levels
//   from revision 202: UseUParameters (int16), TNUP (uint16), TNUP parameters
// Below revision 201 the block exists in name only: nothing after the name is
// read or written. TNL and TNUP always equal the sizes of their arrays.
//
// The per-event sets of every level run in step with KeyEvents; the
// OnKeyEvent... calls keep them so when events are added or removed.
class FIBERTEST_SOR_EXPORT TSorBlockRFTSParameters : public TSorBlock
{
public:
    TThresholdsRFTSSet BlockThresholdsSet;               // thresholds for the whole block
    std::int16_t ActiveLevel = -1;                       // index into Levels; negative for none
    std::uint16_t TNL = 0;                               // number of levels
    TLuArray<TRFTSLevel> Levels;                         // owned, never null entries
    std::int16_t UseUParameters = 0;                     // non-zero when the universal parameters apply; revision 202 on
    std::uint16_t TNUP = 0;                              // number of universal parameters; revision 202 on
    TLuArray<TRFTSUniversalParameter> UParameters;       // owned, never null entries

    // "RFTSParams", revision 209, no levels.
    TSorBlockRFTSParameters();

    // Without levels the block is left out of a file.
    [[nodiscard]] bool IsEmpty() const override { return Levels.count == 0; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btRFTSParameters; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockRFTSParameters& other);
    // Starts from the defaults. Throws the null-pointer TSorException for a
    // null file. Counts beyond what the file can hold end like a short read.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] unsigned short GetTNL() const { return TNL; }
    // Resizes the levels; new places get default (unnamed) levels.
    void SetTNL(unsigned short n);
    [[nodiscard]] unsigned short GetTNUP() const { return TNUP; }
    // Resizes the parameters; new places get default parameters.
    void SetTNUP(unsigned short n);

    // By the array's rule: null without levels, the last one past the end.
    [[nodiscard]] TRFTSLevel* GetLevel(int index) const { return Levels[index]; }
    // By exact name; null when absent.
    [[nodiscard]] TRFTSLevel* GetLevel(const TString& name) const;
    // -1 when absent.
    [[nodiscard]] int GetLevelIndex(const TString& name) const;
    // Throws the index TSorException unless 0 <= index < TNL.
    void SetActiveLevel(short index);
    // Null when ActiveLevel is negative or at or past TNL.
    [[nodiscard]] TRFTSLevel* GetActiveLevel() const;

    // The adding calls take ownership of what they accept and answer it. A
    // refused (or null) level stays the caller's, and the answer is null.
    //
    // Refused when a level of that name exists.
    TRFTSLevel* AddLevel(TRFTSLevel* level);
    // Refused when a universal parameter (not a level) has the level's name:
    // that is the check this call has always made, and callers rely on it.
    TRFTSLevel* InsertLevel(TRFTSLevel* level, int index);
    // Replaces the level at `index` (the last one past the end). Refused when
    // the name belongs to a level at another index, or there is no place.
    TRFTSLevel* SetLevel(TRFTSLevel* level, int index);
    // No effect for an index outside the array or an absent name.
    void DeleteLevel(int index);
    void DeleteLevel(const TString& name);

    [[nodiscard]] bool GetUseUParameters() const { return UseUParameters != 0; }
    void SetUseUParameters(bool use) { UseUParameters = use ? 1 : 0; }

    // The same for universal parameters; names compared after FormatName.
    [[nodiscard]] TRFTSUniversalParameter* GetUParameter(int index) const { return UParameters[index]; }
    [[nodiscard]] TRFTSUniversalParameter* GetUParameter(const TString& name) const;
    [[nodiscard]] int GetUParameterIndex(const TString& name) const;
    TRFTSUniversalParameter* AddUParameter(TRFTSUniversalParameter* parameter);
    TRFTSUniversalParameter* InsertUParameter(TRFTSUniversalParameter* parameter, int index);
    TRFTSUniversalParameter* SetUParameter(TRFTSUniversalParameter* parameter, int index);
    void DeleteUParameter(int index);
    void DeleteUParameter(const TString& name);

    // Drops all levels and parameters.
    void Clear();

    // Key event `index` was added: every level gets a copy of its own
    // level-wide set there.
    void OnKeyEventAdd(int index);
    // Key event `index` was removed: every level drops its set there.
    void OnKeyEventDel(int index);
    // All key events were removed: every level drops its per-event sets.
    void OnKeyEventsClear();

private:
    void syncCounts();
};

// The default of a known universal parameter for the trace `sor`:
// "EvtDetectDeltaLen", "EvtRDetectDeltaLen" and "NoLinkDistance", in km.
// Answers 1 and sets `*value`; 0 for another name or any null argument.
FIBERTEST_SOR_EXPORT int RFTSUParamsGetDefaultValue(double* value, const char* name, TSorData* sor);
