// TSorBlockAUXParameters: the proprietary acquisition block ("AUXParams"),
// owner of the conversions between the log point scale and linear power.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/t-string.h"

class TSorBlockDataPoints;

// One gain interval: GIU, NPGI (int32 each).
struct FIBERTEST_SOR_EXPORT TAUXGainInterval
{
    std::int32_t GIU = 0;   // gain of the interval, the acquisition module's units
    std::int32_t NPGI = 0;  // points of the interval
};

// One measurement-mode record. In the file: NPMM, AVMM (int32), PWU, BWU1,
// BWU2, GU, SER (int16), then SUMC in the low and TAKT in the high byte of
// a uint16. The first record of a file below revision 201 lacks NPMM and AVMM.
struct FIBERTEST_SOR_EXPORT TAUXMeasurementMode
{
    std::int32_t NPMM = 0;   // points of this mode
    std::int32_t AVMM = 0;   // averages of this mode
    std::int16_t PWU = 0;    // pulse width, ns
    std::int16_t BWU1 = 0;   // bandwidth settings, the acquisition module's units
    std::int16_t BWU2 = 0;
    std::int16_t GU = 0;     // gain, the acquisition module's units
    std::int16_t SER = 1;
    std::uint8_t SUMC = 1;   // low byte of the packed word
    std::uint8_t TAKT = 2;   // high byte of the packed word

    static constexpr unsigned long FileBytes = 4 + 4 + 5 * 2 + 2;
    static constexpr unsigned long ShortFileBytes = FileBytes - 8;  // without NPMM, AVMM
};

// One VL record: TypeEvent, PosInPoint (int16 each).
struct FIBERTEST_SOR_EXPORT TAUXVLRecord
{
    std::int16_t TypeEvent = 0;
    std::int16_t PosInPoint = 0;  // point number
};

// The instrument's service state, nine uint32 values. The record carries its
// own length (the fourth value) so that later versions can grow it: a reader
// skips what it does not know and writes the known form back.
class FIBERTEST_SOR_EXPORT TAUXServiceInfo
{
public:
    std::uint32_t valid = 0;                  // boolean
    std::uint32_t chargerConnected = 0;       // boolean
    std::uint32_t batteryVoltage = 0;         // mV
    std::uint32_t length = KnownSize;         // bytes of this record
    std::uint32_t totalRam = 0;               // bytes
    std::uint32_t freeRam = 0;                // bytes
    std::uint32_t displayBrightness = 0;      // percent
    std::uint32_t freeFlash = 0;              // bytes
    std::uint32_t reflectogramsInBuffer = 0;  // count

    static constexpr std::uint32_t KnownSize = 36;

    // Asserts a non-null file ("F"). Bytes of a longer stored record are
    // skipped; `length` is then KnownSize.
    void Read(TSorFile* F);
    // Always in the known form, with a length of KnownSize.
    void Write(TSorFile* F) const;
    void Damp(FILE* out) const;
    void Fields(TSorFieldVisitor& visitor) const;
};

// A place of the span's begin or end: length (uint32, 12), value (int32),
// type (uint32). Self-sized as TAUXServiceInfo is.
class FIBERTEST_SOR_EXPORT TSpanLocationInfo
{
public:
    std::uint32_t length = KnownSize;  // bytes of this record
    std::int32_t value = 0;
    std::uint32_t type = 0;            // 3 for the span's begin, 4 for its end

    static constexpr std::uint32_t KnownSize = 12;

    TSpanLocationInfo() = default;
    explicit TSpanLocationInfo(std::uint32_t locationType) : type(locationType) {}

    // Asserts a non-null file ("F"); as TAUXServiceInfo::Read.
    void Read(TSorFile* F);
    void Write(TSorFile* F) const;
    // `which` is "Begin" or "End", as in "Span Begin Value: %u".
    void Damp(FILE* out, const char* which) const;
    void Fields(TSorFieldVisitor& visitor) const;
};

// PON settings, stored in two parts: part one (revision 217) is enabled and
// splitterType, part two (revision 224) is length2 and stages, self-sized
// with length2 as its length.
class FIBERTEST_SOR_EXPORT PonParameters
{
public:
    std::uint32_t enabled = 0;        // boolean
    std::uint32_t splitterType = 1;   // split ratio of the larger splitter
    std::uint32_t length2 = Part2Size; // bytes of part two
    std::uint32_t stages = 1;         // splitter stages, 1 or 2

    static constexpr std::uint32_t Part2Size = 8;

    // Part one. Asserts a non-null file ("F").
    void Read(TSorFile* F);
    void Write(TSorFile* F) const;
    // Part two, self-sized; asserts a non-null file ("F").
    void Read2(TSorFile* F);
    void Write2(TSorFile* F) const;
    void Damp(FILE* out) const;
};

// The "AUXParams" block: how the acquisition went, the noise figures, the
// meaning of the points, PON and span settings, the hash of the points and
// the instrument's service state. The format grew field by field: the
// fields below stand in file order, each marked with the revision that added
// it, and Read and Write follow RevisionNo for every one; TSorData always
// writes the newest form, 228. Fields of a revision newer than the one read
// keep their defaults. The meanings of dOwt0, dOwt1, LFPO,
// MC, NT, CT, BT, Xol, PWM, OffsetA, OffsetB, dMaux, LevelLimit and SpanValue
// are the acquisition module's; they are carried unchanged.
//
// Levels are on the one-way 5 x log10 scale with its zero at the base
// B = -MAX * Scale * 1e-6 dB; below B they are compressed by GetNegScale(),
// and around B a linear stretch of |x| <= 2 replaces the logarithm.
class FIBERTEST_SOR_EXPORT TSorBlockAUXParameters : public TSorBlock
{
public:
    std::int16_t Flags = 0;        // mode bits, see the accessors
    std::int16_t dOwt0 = 0;        // (201)
    std::int16_t dOwt1 = 0;        // (201)
    std::uint16_t ATP0 = 0;        // (201) true pulse of the first segment, 0.2 ns
    std::uint16_t LFPO = 0;        // (202)
    std::int16_t TGI = 0;          // count of GI
    std::vector<TAUXGainInterval> GI;
    std::uint16_t TMM = 1;         // count of MM
    std::vector<TAUXMeasurementMode> MM;
    std::uint16_t MAX = 0;         // raw value that stands for the zero of the log scale
    std::uint16_t ZERO = 0;        // linear zero, 1/65535
    std::int16_t TMC = 0;          // count of MC
    std::vector<std::int16_t> MC;
    std::uint16_t NT = 200;
    std::uint16_t CT = 300;
    std::uint16_t BT = 3000;
    std::uint16_t TNL = 0;         // count of NL
    std::uint16_t SNL = 0;         // starting noise level, 0.001 dB
    std::uint16_t NASF = 1;        // averages scale factor
    std::uint16_t NLSF = 50;       // noise level scale factor, 0.001 dB per SNR step
    std::vector<std::uint16_t> NL; // noise records: NAVR low byte, SNR high byte
    TString COMM = " ";            // comment
    std::int16_t VLFL = 0;         // (203) the isVL flag
    std::int16_t TVL = 0;          // (203) count of VL
    std::vector<TAUXVLRecord> VL;  // (203)
    std::uint16_t TEMP = 0;        // (204) temperature, 0.01 K
    std::uint16_t TNWL = 0;        // (205) count of NWL; 0 after Read, always written as 0
    std::vector<TString> NWL;      // associated file paths, see ReadAssociatedFilesPathsIfRequired
    std::int16_t FLevel10 = 0;     // (206) "FLevel*10": filter level x 10
    TString TYP = "RL";            // (208) type of the data: contains "RL", "AS" or "TC"
    std::uint16_t LF = 0;          // (209) coded, see GetLF
    std::uint16_t Xol = 0;         // (210)
    std::int16_t PWM = -1;         // (211)
    TAUXServiceInfo ServiceInfo;   // (212)
    std::int32_t LDTS;             // (213) local time stamp, s; -1 when read from an older revision
    std::int16_t NFL = 0;          // (214)
    std::int16_t begLevel = 0;     // (214)
    std::array<std::uint8_t, 16> Hash{};  // (215) hash of the points; all zero for none
    std::int16_t Scale = 1000;     // (216) raw units to microdecibels; a stored 0 leaves 1000
    PonParameters Pon;             // (217 part one, 224 part two)
    std::int16_t OffsetA = 0;      // (218)
    std::int16_t OffsetB = 0;      // (218)
    std::uint16_t dM = 0;          // (218)
    std::uint16_t dMaux = 0;       // (218)
    std::uint16_t LevelLimit = 4095;  // (218)
    std::uint16_t SQO0 = 0;        // (218) 0.01 units
    std::uint16_t SQO1 = 0;        // (218) 0.01 units
    std::int32_t SpanValue = -1;   // (219)
    TSpanLocationInfo SpanBegin{3};  // (219)
    TSpanLocationInfo SpanEnd{4};    // (219)
    std::int32_t IntFiber = 0;     // (220)
    std::int16_t IntFiberFlag = 0; // (221)
    TString Job;                   // (225)
    TString Group;                 // (225)
    std::uint32_t Direction = 0;   // (225) measurement direction, 0 or 1
    std::uint16_t LaserFreq = 0;   // (226)
    std::uint32_t PonType = 0;     // (227) 0 none, 1 or 2
    std::uint32_t FirstSplitterRatio = 1;   // (227)
    std::uint32_t SecondSplitterRatio = 1;  // (227)
    std::uint16_t ZeroCorrectApplied = 0;   // (228)

    // The revision written by this system.
    static constexpr std::uint16_t NewestRevision = 228;

    // Revision 228, the defaults above, LDTS the local time now.
    TSorBlockAUXParameters();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btAUXParameters; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockAUXParameters& other);
    // Reads the form of RevisionNo. Counts that the rest of the file cannot
    // hold end as a short read; negative ones read nothing. The associated
    // file paths are skipped (TNWL 0). FLevel*10 above 100 becomes 10,
    // Direction other than 0 or 1 and PonType other than 1 or 2 become 0.
    void Read(TSorFile* file) override;
    // Writes the form of RevisionNo, the counts taken from the arrays.
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    // ---- Flags ----
    [[nodiscard]] bool isFast() const { return flag(0); }
    void SetFlagFast(int on) { setFlag(0, on); }
    [[nodiscard]] bool isFilter() const { return flag(1); }
    void SetFlagFilter(int on) { setFlag(1, on); }
    [[nodiscard]] bool isHighRes() const { return flag(2); }
    void SetFlagHighRes(int on) { setFlag(2, on); }
    [[nodiscard]] bool isLowPower() const { return flag(3); }
    void SetFlagLowPower(int on) { setFlag(3, on); }
    [[nodiscard]] bool isDynFilter() const { return flag(4); }
    [[nodiscard]] bool isAutoPrm() const { return flag(11); }
    void SetFlagAutoPrm(int on) { setFlag(11, on); }
    [[nodiscard]] bool isLinData() const { return flag(14); }
    void SetFlagLinData(int on) { setFlag(14, on); }
    [[nodiscard]] bool isTime() const { return flag(15); }
    void SetFlagTime(int on) { setFlag(15, on); }
    // On VLFL, not on Flags.
    [[nodiscard]] bool isVL() const { return VLFL != 0; }
    void SetFlagVL(int on) { VLFL = on != 0 ? 1 : 0; }

    // Clears bits 4-6; bit 4 from `dyn`; FLevel*10 = trunc(level * 10 + 0.5);
    // bit 6 for a level of at least 1.5, else bit 5 for at least 0.9.
    void SetFilterLevel(double level, int dyn);
    // FLevel*10 / 10 when set; otherwise the class of bits 5-6 as 1..4.
    [[nodiscard]] double GetFilterLevel() const;
    // Bits 12-13 as 1..4: the compression of levels below the base.
    [[nodiscard]] int GetNegScale() const;
    // Stores min(v, 3) (negative: 0) in bits 12-13.
    void SetNegScale(int v);

    // ---- scalars ----
    // ZERO / 65535.0
    [[nodiscard]] double fZero() const;
    // SQO0, SQO1 in 0.01 units, rounded.
    void SetSQO(double a, double b);
    // SQO0 (i = 0) or SQO1 (i = 1) in units; 0 for any other index.
    [[nodiscard]] double GetSQO(int i) const;
    // With the top bit: 10 ^ ((LF & 0x7FFF) / 5000.0); without: LF * 0.0001.
    [[nodiscard]] double GetLF() const;
    // From 3.0 up the logarithmic code with the top bit, below it 0.0001 steps.
    void SetLF(double v);

    // ---- noise records ----
    // Sums NAVR and SNR over the first min(TNL, count) records. With
    // d = NLSF * SNR sum (the sum taken in 16 bits and then as signed):
    // when -5000 < d < trunc(sqrt(NAVR sum + 1) * 750) + 5000, `level` is
    // SNL + d and the answer 0; otherwise `level` is SNL and the answer 1.
    // `avr` is the NAVR sum times NASF.
    int GetNL(std::uint16_t count, std::uint16_t& level, long& avr) const;
    // Appends the step from the present noise state to (level, avr), with
    // filler records where a step does not fit in a byte.
    void AddNL(std::uint16_t level, long avr);
    // GetNL over all records, in dB.
    [[nodiscard]] double GetSNR() const;
    // 2.4 - GetSNR()
    [[nodiscard]] double GetNoisePeak() const;

    // ---- the log scale ----
    // B = -MAX * Scale * 1e-6, the base of the scale in dB.
    [[nodiscard]] double GetLogBase() const;
    [[nodiscard]] float GetfLogBase() const;
    // k * 5 * log10(|x|) with the sign of x; x * slope * k for |x| <= 2.
    [[nodiscard]] static double Log5(double x, double k);
    [[nodiscard]] static float Log5(float x, float k);
    // Level to signed linear power above the base; `raw` non-zero leaves
    // levels below the base uncompressed.
    [[nodiscard]] double Log5ToLin(double level, int raw) const;
    [[nodiscard]] float Log5ToLin(float level, int raw) const;
    // Log5ToLin(levels[i], 0) into out[i] for n levels: the same float steps,
    // with what is constant over a trace taken once (the load runs this over
    // every point).
    void Log5ToLinArray(const float* levels, float* out, long n) const;
    // Linear power to level, the inverse of Log5ToLin(level, 0); at most 0.
    [[nodiscard]] double LinToLog5(double x) const;
    [[nodiscard]] float LinToLog5(float x) const;
    // Levels below the base stretched by GetNegScale(); others pass.
    [[nodiscard]] double NLogToLog(double level) const;
    [[nodiscard]] float NLogToLog(float level) const;
    // Levels below the base stretched and mirrored to above it.
    [[nodiscard]] double NLogToPLog(double level) const;
    [[nodiscard]] float NLogToPLog(float level) const;
    // Linear power normalised to 1 at 0 dB and lifted by the linear zero.
    [[nodiscard]] double fPow5(double level) const;
    // The same for a raw point at SF 1000 (raw / -1000.0 dB).
    [[nodiscard]] double fPow5(std::uint16_t raw) const;
    // Turns one linear value per point back into raw points, stored by
    // SetRawLevel. Needs one sub-block ("points.GetSubBlocksNum() == 1");
    // `lin` holds at least GetPointsNum() values. A scale factor of 0 or
    // below leaves the points as they are.
    void LinfToLog(const float* lin, TSorBlockDataPoints& points) const;

    // ---- arrays: each drops the old records and makes `n` zeroed ones ----
    void SetTGI(std::int16_t n);
    void SetTVL(std::int16_t n);
    void SetTMC(std::int16_t n);
    void SetTNL(std::uint16_t n);
    void SetTNWL(std::uint16_t n);
    // Only when `n` differs from TMM: `n` mode records with their defaults.
    void ReNewMM(std::int16_t n);

    // ---- the stored hash of the points ----
    // Empty when none is stored (all zero), else the 16 bytes.
    [[nodiscard]] std::vector<unsigned char> GetHash() const;
    // The first 16 bytes of `hash`, zero-filled; an empty one clears it.
    void SetHash(const std::vector<unsigned char>& hash);

    // The other walk over the associated file paths: with the file at TNWL
    // (revision 205 on; below, nothing happens) reads the count into TNWL,
    // and below revision 207 the texts into NWL; from 207 the UTF-16 texts
    // are skipped and their places in NWL stay empty.
    void ReadAssociatedFilesPathsIfRequired(TSorFile* file);

private:
    [[nodiscard]] bool flag(int bit) const { return ((static_cast<std::uint16_t>(Flags) >> bit) & 1u) != 0; }
    void setFlag(int bit, int on);
};
