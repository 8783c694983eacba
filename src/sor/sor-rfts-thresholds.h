// Monitoring thresholds of the RFTSParams block: one threshold, a set of
// five, a monitoring level, and a named universal parameter.
#pragma once

#include <cstdint>
#include <cstdio>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/lu-array.h"
#include "util/t-string.h"

// One threshold that is either absolute or relative. In the file three
// int16 values: Absolute, AbsoluteThreshold, RelativeThreshold (6 bytes).
// Read and Write throw the null-pointer TSorException for a null file.
class FIBERTEST_SOR_EXPORT TShortThreshold : public TSorBlock
{
public:
    std::int16_t Absolute = 0;           // non-zero when AbsoluteThreshold applies
    std::int16_t AbsoluteThreshold = 0;  // 0.001 dB
    std::int16_t RelativeThreshold = 0;  // 0.001 dB, against the base trace

    TShortThreshold() = default;

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btShortThreshold; }
    void Assign(const TShortThreshold& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] bool IsAbsolute() const { return Absolute != 0; }
    void MakeAbsolute(bool absolute) { Absolute = absolute ? 1 : 0; }
    [[nodiscard]] short GetAbsoluteThreshold() const { return AbsoluteThreshold; }
    [[nodiscard]] short GetRelativeThreshold() const { return RelativeThreshold; }
    void SetAbsoluteThreshold(short value) { AbsoluteThreshold = value; }
    void SetRelativeThreshold(short value) { RelativeThreshold = value; }
    // Whichever of the two applies.
    [[nodiscard]] short GetThreshold() const { return IsAbsolute() ? AbsoluteThreshold : RelativeThreshold; }
    void SetThreshold(short value);
};

// The five thresholds of one event or level: loss (LT), reflectance (RT),
// CT, PT and DT. In the file: Enabled (uint16), LT, RT, CT, DT, 26 bytes.
// PT lives in memory only: it is never stored, and after a load it stands
// at its default.
class FIBERTEST_SOR_EXPORT TThresholdsRFTSSet : public TSorBlock
{
public:
    std::uint16_t Enabled = 1;  // non-zero when the set takes part in the comparison
    TShortThreshold LT;
    TShortThreshold RT;
    TShortThreshold CT;
    TShortThreshold PT;  // not stored in the file
    TShortThreshold DT;

    // Bytes of one set in the file.
    static constexpr unsigned long FileSize = 26;

    TThresholdsRFTSSet() = default;

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btThresholdsRFTSSet; }
    void Assign(const TThresholdsRFTSSet& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] const TShortThreshold& GetDT() const { return DT; }
    void SetDT(const TShortThreshold& value) { DT.Assign(value); }
    [[nodiscard]] const TShortThreshold& GetLT() const { return LT; }
    void SetLT(const TShortThreshold& value) { LT.Assign(value); }
    [[nodiscard]] const TShortThreshold& GetRT() const { return RT; }
    void SetRT(const TShortThreshold& value) { RT.Assign(value); }
    [[nodiscard]] const TShortThreshold& GetCT() const { return CT; }
    void SetCT(const TShortThreshold& value) { CT.Assign(value); }
    [[nodiscard]] const TShortThreshold& GetPT() const { return PT; }
    void SetPT(const TShortThreshold& value) { PT.Assign(value); }
    [[nodiscard]] bool IsEnabled() const { return Enabled != 0; }
    void Enable(bool enable) { Enabled = enable ? 1 : 0; }
    void Disable() { Enabled = 0; }
};

// One monitoring level: a name, the thresholds that apply to the whole
// level, one set per key event (in step with KeyEvents, index for index),
// and the end-of-link threshold. In the file:
//   Enabled (uint16), LevelName (text), LevelThresholdsSet (26 bytes),
//   TNTS (uint16), TNTS sets, and EELT (6 bytes) above revision 202.
// The owning block writes and reads a level at its own revision.
class FIBERTEST_SOR_EXPORT TRFTSLevel : public TSorBlock
{
public:
    std::uint16_t Enabled = 1;                      // non-zero when the level is monitored
    TString LevelName;                              // unique within the block
    TThresholdsRFTSSet LevelThresholdsSet;          // what a new event's set starts from
    std::uint16_t TNTS = 0;                         // number of per-event sets, always ThresholdsSets.count
    TLuArray<TThresholdsRFTSSet> ThresholdsSets;    // per key event; owned, never null entries
    TShortThreshold EELT;                           // end-of-link threshold, revision above 202

    // A level record takes at least this many bytes in the file: Enabled,
    // the name's NUL, the level-wide set and TNTS.
    static constexpr unsigned long MinFileSize = 2 + 1 + TThresholdsRFTSSet::FileSize + 2;

    TRFTSLevel() = default;
    explicit TRFTSLevel(const TString& name);

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btRFTSLevel; }
    void Assign(const TRFTSLevel& other);
    // Starts from the defaults (name, sets and EELT included), then reads at
    // RevisionNo. A set count beyond what the file can hold ends like a short read.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] bool IsEnabled() const { return Enabled != 0; }
    void Enable(bool enable) { Enabled = enable ? 1 : 0; }
    [[nodiscard]] const TString& GetLevelName() const { return LevelName; }
    void SetLevelName(const TString& name) { LevelName = name; }

    [[nodiscard]] unsigned short GetTNTS() const { return TNTS; }
    // Resizes the per-event sets; new places get default sets.
    void SetTNTS(unsigned short n);
    // By the array's rule: null when there are none, the last for an index past the end.
    [[nodiscard]] TThresholdsRFTSSet* GetThresholdsSet(int index) const { return ThresholdsSets[index]; }
    // A copy of `set` at `index` (clamped to the array).
    void InsertThresholdsSet(const TThresholdsRFTSSet& set, int index);
    // Drops the set at `index`; nothing for an index outside the array.
    void DeleteThresholdsSet(int index);
    // Drops the per-event sets; name and level-wide thresholds stay.
    void Clear();

private:
    void syncCount() { TNTS = static_cast<std::uint16_t>(ThresholdsSets.count); }
};

// A named number, stored as a whole Value and a power-of-ten Scale so that
// it survives the file exactly. In the file: Name (text), Value (int32),
// Scale (uint16).
class FIBERTEST_SOR_EXPORT TRFTSUniversalParameter : public TSorBlock
{
public:
    TString Name;              // trimmed of blanks and control characters when set by the constructor
    std::uint16_t Scale = 1;   // divisor of Value: 1, 10, ... 10000
    std::int32_t Value = 0;    // the number times Scale

    // A parameter takes at least the name's NUL, Value and Scale.
    static constexpr unsigned long MinFileSize = 1 + 4 + 2;

    TRFTSUniversalParameter() = default;
    TRFTSUniversalParameter(const TString& name, double value);

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btRFTSUniversalParameter; }
    void Assign(const TRFTSUniversalParameter& other);
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    // The form in which names are stored and compared: without leading and
    // trailing blanks and control characters.
    [[nodiscard]] static TString FormatName(const TString& name) { return name.Trim(); }

    [[nodiscard]] const TString& GetName() const { return Name; }
    void SetName(const TString& name) { Name = FormatName(name); }
    // Value / Scale; a Scale of 0 (only from a damaged file) counts as 1.
    [[nodiscard]] double GetValue() const;
    // Chooses the smallest Scale of 1, 10, ... 10000 that makes `value` a
    // whole number (within 0.0001), then rounds it to Value. Values beyond
    // the 32-bit range are clamped; NaN gives 0.
    void SetValue(double value);
};
