// TSorBlockDataPoints: the measured trace, raw 16-bit points plus a float
// cache of levels in dB; TSorBlockDataPoints1SF: one scale-factor sub-block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sor/sor-block.h"
#include "sor/sor-export.h"
#include "util/default-init-allocator.h"
#include "util/lu-array.h"

// One scale-factor sub-block. In the file: TPS (int32, points), SF (int16),
// then TPS raw uint16 values, little-endian, in one transfer. A record
// without a name of its own.
class FIBERTEST_SOR_EXPORT TSorBlockDataPoints1SF : public TSorBlock
{
public:
    // Raw values: reflectometric data counts SF * 1e-6 dB downward from 0 dB
    // per unit; temperature data reads them as int16.
    std::vector<std::uint16_t> Points;
    // Scale factor: one raw unit is SF microdecibels (1000: 0.001 dB).
    std::int16_t SF = 1000;

    // The largest TPS a file may give; more is bad data.
    static constexpr std::int32_t MaxPoints = 1000000;

    [[nodiscard]] bool IsEmpty() const override { return Points.empty(); }
    [[nodiscard]] TBlockType GetBlockType() const override { return btDataPoints1SF; }
    void Assign(const TSorBlockDataPoints1SF& other);
    // Reads TPS, SF and the points. A TPS above MaxPoints throws the bad-data
    // TSorException; one that the rest of the file cannot hold ends as a
    // short read with no points; a negative one reads no points.
    void Read(TSorFile* file) override;
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    [[nodiscard]] long GetPointsNum() const { return static_cast<long>(Points.size()); }
    // Assert "pointNum < GetPointsNum()" (and a non-negative index).
    [[nodiscard]] std::uint16_t GetValue(long pointNum) const;
    void SetValue(long pointNum, std::uint16_t value);

    // Takes SF over, sizes this sub-block as `src` (new points are 0) and
    // copies the points from..to-1 to the same places; the others keep what
    // they had. `to` is cut to src's size, `from` to [0, min(size, to)].
    // Asserts a non-null `src`; assigning from itself does nothing.
    void AssignInRange(const TSorBlockDataPoints1SF* src, long from, long to);

    // MD5 over the head of the trace (at most 100 points): for each point i
    // the 16-bit word p[i-1] + p[i] - p[i+1], indices wrapping within the
    // head, low byte first. 16 raw bytes; 16 zero bytes without points.
    [[nodiscard]] std::vector<unsigned char> GetHash() const;
};

// The "DataPts" block. In the file: the name (second edition), TNDP (int32,
// total points, not used on reading), TSF (int16, sub-blocks; always written
// as 1), then the sub-blocks.
//
// Every access by point number goes to the cache `Levels`, and every setter
// of a level or raw point keeps the cache with it (only the bare raw store
// SetRawLevelToAppropriateSubBlock leaves it). The format allows several sub-blocks;
// this system supports exactly one, and levels are computed and changed only
// with one in place (asserted).
class FIBERTEST_SOR_EXPORT TSorBlockDataPoints : public TSorBlock
{
public:
    // What the points mean; TSorData sets it from TYP of AUXParams.
    enum TDataType : std::int32_t {
        dtReflectometric = 0,  // "RL": dB downward from 0
        dtAS = 1,              // "AS": computed as reflectometric
        dtTemperature = 2      // "TC": signed raw values
    };

    // Level of each point in dB, float for the analysis' millions of reads.
    // Always rebuilt whole after sizing, so sizing leaves it uninitialised.
    std::vector<float, DefaultInitAllocator<float>> Levels;
    TDataType DataType = dtReflectometric;
    // Owned; a new block holds one empty sub-block.
    TLuArray<TSorBlockDataPoints1SF> SubBlocks;

    // The level of a point outside the trace.
    static constexpr float OutsideLevel = -65.5f;

    TSorBlockDataPoints();

    // True without points (also without a sub-block, where GetPointsNum asserts).
    [[nodiscard]] bool IsEmpty() const override;
    [[nodiscard]] TBlockType GetBlockType() const override { return btDataPoints; }
    [[nodiscard]] std::uint16_t GetBlockLastKnownRevisionNo() const override { return 209; }
    // Copies DataType, RevisionNo, the first sub-block and the cache.
    void Assign(const TSorBlockDataPoints& other);
    // Reads the sub-blocks (TSF of them, at least one) and rebuilds the
    // cache. A null file is asserted. A TPS above the limit throws the
    // bad-data TSorException; so does a file with more than one sub-block,
    // after reading them, keeping the first one with its levels.
    void Read(TSorFile* file) override;
    // TNDP and the points of the first sub-block only, with TSF 1.
    void Write(TSorFile* file) override;
    void Damp(FILE* out) const override;
    void Fields(TSorFieldVisitor& visitor) const override;

    // Asserts that there are sub-blocks ("DPSF").
    [[nodiscard]] long GetSubBlocksNum() const;
    // The first sub-block; asserts "DPSF" and "oneScalePoints".
    [[nodiscard]] TSorBlockDataPoints1SF* GetSubBlock();
    [[nodiscard]] const TSorBlockDataPoints1SF* GetSubBlock() const;
    // Points of the first sub-block.
    [[nodiscard]] long GetPointsNum() const;
    // SF of a sub-block; only index 0 is supported (asserted).
    [[nodiscard]] std::int16_t GetPointsSubBlockScaleFactor(long subBlockIndex) const;
    void SetPointsSubBlockScaleFactor(long subBlockIndex, std::int16_t sf);

    void SetDataType(TDataType type) { DataType = type; }
    [[nodiscard]] TDataType GetDataType() const { return DataType; }

    // Level of point n from the cache; OutsideLevel for n outside the points.
    [[nodiscard]] float numTofLevel(long n) const
    {
        return (n >= 0 && static_cast<unsigned long>(n) < Levels.size()) ? Levels[static_cast<std::size_t>(n)]
                                                                          : OutsideLevel;
    }
    // The same as a double; `mode` has no effect.
    [[nodiscard]] double numToLevel(long n, int /*mode*/) const { return numTofLevel(n); }

    // Minimum and maximum over the points from..to-1, starting with point
    // `from`; the first of equal values wins. Answers the mean level of the
    // range, or the level of `from` when `from` is not below `to`. Null
    // `min`/`max` are allowed.
    float GetMinMax(float* min, float* max, long from, long to, long& minPos, long& maxPos) const;
    // The same on doubles, without the mean.
    void GetMinMax(double* min, double* max, long from, long to, long& minPos, long& maxPos) const;
    [[nodiscard]] double GetMinLevel() const;
    [[nodiscard]] double GetMaxLevel() const;

    // Store the level in the cache as given and the raw point derived from
    // it (which saturates at 65535 and wraps for positive levels). Assert one
    // sub-block and a point inside the trace.
    void SetLevel(long num, double level);
    void SetfLevel(long num, float level);
    // Stores the raw point and recomputes its level; asserts
    // "Point index out of bounds".
    void SetRawLevel(long num, std::uint16_t raw);
    // The raw store alone, without touching the cache.
    void SetRawLevelToAppropriateSubBlock(long num, std::uint16_t raw);
    // trunc(-level / SF * 1e6) in the arithmetic of T, 65535 at most, as 16
    // bits; the cache is not touched.
    template <class T>
    void SetLevelToAppropriateSubBlock(long num, T level);

    // Level of point n by the rule of `t`, from the raw point; T is float or double.
    template <class T>
    [[nodiscard]] T CalcLevel(long n, TDataType t) const;
    // -raw * SF * 1e-6
    template <class T>
    [[nodiscard]] T CalcReflectometricLevel(long n) const;
    // int16(raw) * SF * 1e-6
    template <class T>
    [[nodiscard]] T CalcTemperatureLevel(long n) const;

    // Sizes the cache to the points and recomputes every level.
    void RebuildWholeCache();

    // Replaces this block by a single new sub-block holding src's points
    // from..to-1 at their places and zeros elsewhere, with src's SF,
    // DataType and RevisionNo, and rebuilds the cache. Asserts a non-null
    // `src`; assigning from itself does nothing.
    void AssignInRange(const TSorBlockDataPoints* src, int from, int to);

    // The hash of the points (see TSorBlockDataPoints1SF::GetHash); asserts
    // "GetSubBlocksNum() == 1".
    [[nodiscard]] std::vector<unsigned char> GetHash() const;

private:
    // Resets to one empty sub-block.
    void resetSubBlocks();
};

// ---- inline definitions: these run per point in the analysis' loops ----

template <class T>
T TSorBlockDataPoints::CalcReflectometricLevel(long n) const
{
    const TSorBlockDataPoints1SF* sub = GetSubBlock();
    return -static_cast<T>(sub->GetValue(n)) * static_cast<T>(sub->SF) * static_cast<T>(1e-6);
}

template <class T>
T TSorBlockDataPoints::CalcTemperatureLevel(long n) const
{
    const TSorBlockDataPoints1SF* sub = GetSubBlock();
    const auto raw = static_cast<std::int16_t>(sub->GetValue(n));
    return static_cast<T>(raw) * static_cast<T>(sub->SF) * static_cast<T>(1e-6);
}

template <class T>
T TSorBlockDataPoints::CalcLevel(long n, TDataType t) const
{
    return t == dtTemperature ? CalcTemperatureLevel<T>(n) : CalcReflectometricLevel<T>(n);
}
