// TSorBlockFixedParameters: the "FxdParams" block, how the trace was taken,
// and the conversions between point numbers and one-way time.
#pragma once

#include <cstdint>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-export.h"

// In the file: the name (second edition), DTS, UD, AW, AO, AOD, TPW, then
// the whole PWU array, the whole DS array and the whole NPPW array (not one
// triple per segment), GI, BC, NAV, AT, AR, ARD, FPO, NF, NFSF, PO, LT, RT,
// ET, TT, WC0 to WC3. AOD, AT, ARD, TT and the WC fields exist from revision
// 200 on; a first-edition record goes without them.
//
// The trace is cut into TPW segments of equal point spacing, each with its
// own pulse width. One-way times (OWT) are doubles in 100 ps; point numbers
// are longs from 0. Times are measured from the data offset, which is AO, or
// -FPO when AO is 0.
class FIBERTEST_SOR_EXPORT TSorBlockFixedParameters : public TSorBlock
{
public:
    std::int16_t BC = 800;             // backscatter coefficient, 0.1 dB
    std::vector<std::int32_t> DS;      // point spacing of each segment, 1/10000 of 100 ps
    std::int32_t GI = 1;               // group index x 100000
    std::uint16_t NF = 0;              // noise floor level, NFSF x 1e-6 dB below 0 (see GetNF)
    std::uint16_t LT = 200;            // loss threshold, 0.001 dB
    std::uint16_t RT = 40000;          // reflectance threshold, 0.001 dB
    std::uint16_t ET = 3000;           // end-of-fiber threshold, 0.001 dB
    std::int16_t NFSF = 1000;          // noise floor scale factor
    std::int32_t DTS = 0;              // date and time stamp, seconds since 1970 (UTC)
    TString UD;                        // distance unit, fixed text of 2 ("km", "mt", "ft", "kf", "mi")
    std::int16_t AW = 0;               // actual wavelength, 0.1 nm
    std::int32_t AO = 0;               // acquisition offset, one-way time in 100 ps
    std::int32_t AOD = 0;              // acquisition offset distance; second edition only
    std::int16_t TPW = 3;              // number of pulse-width segments
    std::vector<std::int16_t> PWU;     // pulse width of each segment, ns
    std::vector<std::int32_t> NPPW;    // points in each segment
    std::int32_t NAV = 0;              // number of averages
    std::uint16_t AT = 0;              // averaging time; second edition only
    std::int32_t AR = 0;               // acquisition range, one-way time in 100 ps
    std::int32_t ARD = 0;              // acquisition range distance; second edition only
    std::int32_t FPO = 0;              // front panel offset, one-way time in 100 ps
    std::uint16_t PO = 0;              // power offset of the first point, 0.001 dB
    TString TT;                        // trace type, fixed text of 2: "ST", "RT", "DT" or "RF"; second edition only
    std::int32_t WC0 = 0;              // window coordinates; second edition only
    std::int32_t WC1 = 0;
    std::int32_t WC2 = 0;
    std::int32_t WC3 = 0;
    // PWU, DS and NPPW are always exactly TPW long (empty for a TPW below 1):
    // change their length only through SetTPW.

    // The defaults, with DTS the time of construction and three segments of
    // which only the first is set (10 ns, spacing 10, 10 points); the others
    // are 0 until a measurement sets TPW and the arrays.
    TSorBlockFixedParameters();

    [[nodiscard]] bool IsEmpty() const override { return false; }
    [[nodiscard]] TBlockType GetBlockType() const override { return btFixedParameters; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    void Assign(const TSorBlockFixedParameters& other);
    // A TPW that the rest of the file cannot hold ends the read as a short
    // read (Status fsEndOfFile) before anything is allocated; the block then
    // keeps the fields read so far and its old arrays.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    // Nothing when `n` equals TPW; else new zero-filled arrays of `n`
    // elements (none for `n` below 1) replace the old ones.
    void SetTPW(std::int16_t n);

    // Sum of NPPW; 0 for TPW below 1.
    [[nodiscard]] long GetTotalPinPW() const;
    // Segment that holds point `n`: 0 below NPPW[0], the last one for any
    // point at or past the end, TPW - 1 for TPW below 1.
    [[nodiscard]] int NumToNPW(long n) const;
    // AO when it is not 0, otherwise -FPO.
    [[nodiscard]] double GetOwtDataOffset() const;
    // Time of point `n`; a point past the end gives the time of the end.
    [[nodiscard]] double NumToOwt(long n) const;
    [[nodiscard]] double GetMinOwt() const;
    [[nodiscard]] double GetMaxOwt() const;
    // Fractional point number of `owt`: -1.0 below GetMinOwt(),
    // GetTotalPinPW() above GetMaxOwt(), 0 for TPW below 1. A time exactly on
    // a segment boundary belongs to the later segment.
    [[nodiscard]] double OwtTofNum(double owt) const;
    // A span of time `dOwt` in points of the segment of point `n`; 0 where
    // that segment has no spacing.
    [[nodiscard]] double dOwtTodNum(long n, double dOwt) const;
    // Length of one step of the first segment, km; 0 without a segment or a
    // group index.
    [[nodiscard]] double LenDS() const;
    // Pulse width in ns of the segment at `owt`; 0 for TPW below 1.
    [[nodiscard]] double GetNsPulse(double owt) const;

    // Noise floor in dB (0 or negative), with NF taken as unsigned.
    [[nodiscard]] double GetNF() const;
    // Stores a noise floor level in dB. Levels below -65.535 do not fit NF
    // at the scale of 1000, so NFSF grows for them; it is never shrunk again.
    // NF saturates at the ends of its range.
    void SetNF(double level);

    // DTS as local time, "dd.mm.yyyy   hh:mm:ss".
    [[nodiscard]] TString GetDateTimeStr() const;

private:
    // TPW as an array length, checking that the arrays keep to it.
    [[nodiscard]] int segmentCount() const;
};
