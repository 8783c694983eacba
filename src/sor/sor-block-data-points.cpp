#include "sor/sor-block-data-points.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"
#include "util/md5.h"

namespace {

// Head of the trace that the hash covers.
constexpr long hashedPoints = 100;
// A sub-block takes at least its TPS and SF.
constexpr unsigned long minSubBlockBytes = 4 + 2;

constexpr bool hostIsLittleEndian()
{
#if defined(__BYTE_ORDER__) && defined(__ORDER_BIG_ENDIAN__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    return false;
#else
    return true;
#endif
}

std::uint16_t swapBytes(std::uint16_t v)
{
    return static_cast<std::uint16_t>((v >> 8) | (v << 8));
}

// trunc(-level / sf * 1e6) in T, cut to 65535 above, kept modulo 2^16 below
// 0 (so a positive level wraps instead of saturating, as files have it).
template <class T>
std::uint16_t levelToRaw(T level, std::int16_t sf)
{
    T v = std::trunc(-level / static_cast<T>(sf) * static_cast<T>(1e6));
    if (std::isnan(v))
        return 0;
    if (v > static_cast<T>(65535))
        return 65535;
    if (v < static_cast<T>(-2147483648.0)) {
        if (std::isinf(v))
            return 0;
        v = std::fmod(v, static_cast<T>(65536));
    }
    // int32 to uint16 is the modulo-2^16 conversion.
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(v));
}

} // namespace

// ---- TSorBlockDataPoints1SF ----

void TSorBlockDataPoints1SF::Assign(const TSorBlockDataPoints1SF& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Points = other.Points;
    SF = other.SF;
}

void TSorBlockDataPoints1SF::Read(TSorFile* file)
{
    std::int32_t tps = 0;
    file->Read(tps);
    file->Read(SF);
    if (tps > MaxPoints)
        throw TSorException(TSorException::BadData);
    Points.clear();
    if (tps <= 0)
        return;
    // Allocate only what the file can deliver.
    if (!HasRoom(file, static_cast<unsigned long>(tps), sizeof(std::uint16_t)))
        return;
    Points.assign(static_cast<std::size_t>(tps), 0);
    file->Read(reinterpret_cast<char*>(Points.data()), Points.size() * sizeof(std::uint16_t));
    if (!hostIsLittleEndian())
        for (auto& p : Points)
            p = swapBytes(p);
}

void TSorBlockDataPoints1SF::Write(TSorFile* file)
{
    file->Write(static_cast<std::int32_t>(Points.size()));
    file->Write(SF);
    if (Points.empty())
        return;
    const unsigned long bytes = Points.size() * sizeof(std::uint16_t);
    if (hostIsLittleEndian()) {
        file->WriteBuf(reinterpret_cast<const char*>(Points.data()), bytes);
    } else {
        std::vector<std::uint16_t> swapped(Points);
        for (auto& p : swapped)
            p = swapBytes(p);
        file->WriteBuf(reinterpret_cast<const char*>(swapped.data()), bytes);
    }
}

void TSorBlockDataPoints1SF::Damp(FILE* out) const
{
    std::fprintf(out, "TPS = %ld\n", static_cast<long>(Points.size()));
    std::fprintf(out, "SF  = %hd\n", SF);
    for (std::size_t i = 0; i < Points.size(); ++i) {
        std::fprintf(out, "%hu\t", Points[i]);
        if (i % 10 == 9 || i + 1 == Points.size())
            std::fprintf(out, "\n");
    }
}

void TSorBlockDataPoints1SF::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("TPS", static_cast<std::int64_t>(Points.size()));
    visitor.Int("SF", SF);
    visitor.BeginList("points");
    for (std::uint16_t p : Points)
        visitor.Int(nullptr, p);
    visitor.EndList();
}

std::uint16_t TSorBlockDataPoints1SF::GetValue(long pointNum) const
{
    assert(pointNum < GetPointsNum());
    assert(pointNum >= 0);
    return Points[static_cast<std::size_t>(pointNum)];
}

void TSorBlockDataPoints1SF::SetValue(long pointNum, std::uint16_t value)
{
    assert(pointNum < GetPointsNum());
    assert(pointNum >= 0);
    Points[static_cast<std::size_t>(pointNum)] = value;
}

void TSorBlockDataPoints1SF::AssignInRange(const TSorBlockDataPoints1SF* src, long from, long to)
{
    assert(src);
    if (src == this)
        return;
    SF = src->SF;
    const long n = src->GetPointsNum();
    Points.resize(src->Points.size(), 0);
    to = std::min(to, n);
    from = std::max(0L, std::min({n, from, to}));
    if (from < to)
        std::copy(src->Points.begin() + from, src->Points.begin() + to, Points.begin() + from);
}

std::vector<unsigned char> TSorBlockDataPoints1SF::GetHash() const
{
    const long n = std::min(GetPointsNum(), hashedPoints);
    std::vector<unsigned char> buffer;
    buffer.reserve(static_cast<std::size_t>(2 * n));
    for (long i = 0; i < n; ++i) {
        const std::uint16_t before = Points[static_cast<std::size_t>((i + n - 1) % n)];
        const std::uint16_t here = Points[static_cast<std::size_t>(i)];
        const std::uint16_t after = Points[static_cast<std::size_t>((i + 1) % n)];
        const auto word = static_cast<std::uint16_t>(before + here - after);
        buffer.push_back(static_cast<unsigned char>(word & 0xFF));
        buffer.push_back(static_cast<unsigned char>(word >> 8));
    }
    const std::string digest = TMd5::GetMd5Hash(buffer.data(), static_cast<int>(buffer.size()));
    return std::vector<unsigned char>(digest.begin(), digest.end());
}

// ---- TSorBlockDataPoints ----

TSorBlockDataPoints::TSorBlockDataPoints()
{
    RevisionNo = 209;
    BID = "DataPts";
    resetSubBlocks();
}

bool TSorBlockDataPoints::IsEmpty() const
{
    const TSorBlockDataPoints1SF* sub = SubBlocks[0];
    return sub == nullptr || sub->Points.empty();
}

void TSorBlockDataPoints::resetSubBlocks()
{
    SubBlocks.Clear();
    SubBlocks.AddData(new TSorBlockDataPoints1SF());
}

void TSorBlockDataPoints::Assign(const TSorBlockDataPoints& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    DataType = other.DataType;
    auto* sub = new TSorBlockDataPoints1SF();
    sub->Assign(*other.GetSubBlock());
    SubBlocks.Clear();
    SubBlocks.AddData(sub);
    Levels = other.Levels;
}

void TSorBlockDataPoints::Read(TSorFile* file)
{
    assert(file);
    if (!CanRead(file))
        return;
    std::int32_t tndp = 0;  // the total; the sub-blocks' own counts rule
    std::int16_t tsf = 0;
    file->Read(tndp);
    file->Read(tsf);
    SubBlocks.Clear();
    Levels.clear();
    const int wanted = tsf < 2 ? 1 : tsf;
    if (!HasRoom(file, static_cast<unsigned long>(wanted), minSubBlockBytes)) {
        resetSubBlocks();
        return;
    }
    try {
        for (int i = 0; i < wanted; ++i) {
            auto* sub = new TSorBlockDataPoints1SF();
            SubBlocks.AddData(sub);
            sub->Read(file);
        }
    } catch (...) {
        // Leave a usable block behind: one empty sub-block.
        resetSubBlocks();
        throw;
    }
    if (SubBlocks.count > 1) {
        // Only one scale factor is supported, and a trace cut to its first
        // part would pass for a whole one; keep that part usable and report
        // the file as bad data rather than stop the process.
        SubBlocks.SetSize(1);
        RebuildWholeCache();
        throw TSorException(TSorException::BadData);
    }
    RebuildWholeCache();
}

void TSorBlockDataPoints::Write(TSorFile* file)
{
    WriteID(file);
    TSorBlockDataPoints1SF* sub = GetSubBlock();
    file->Write(static_cast<std::int32_t>(sub->Points.size()));
    file->Write(static_cast<std::int16_t>(1));
    sub->Write(file);
}

void TSorBlockDataPoints::Damp(FILE* out) const
{
    DampHeader(out);
    long total = 0;
    for (int i = 0; i < SubBlocks.count; ++i)
        if (const TSorBlockDataPoints1SF* sub = SubBlocks.data[i])
            total += sub->GetPointsNum();
    std::fprintf(out, "TNDP = %ld\n", total);
    std::fprintf(out, "TSF  = %hd\n", static_cast<short>(SubBlocks.count));
    for (int i = 0; i < SubBlocks.count; ++i)
        if (const TSorBlockDataPoints1SF* sub = SubBlocks.data[i]) {
            std::fprintf(out, "// data block #%d \n", i);
            sub->Damp(out);
        }
}

void TSorBlockDataPoints::Fields(TSorFieldVisitor& visitor) const
{
    std::int64_t total = 0;
    for (int i = 0; i < SubBlocks.count; ++i)
        if (const TSorBlockDataPoints1SF* sub = SubBlocks.data[i])
            total += sub->GetPointsNum();
    visitor.Int("TNDP", total);
    visitor.Int("TSF", SubBlocks.count);
    visitor.BeginList("subBlocks");
    for (int i = 0; i < SubBlocks.count; ++i)
        if (const TSorBlockDataPoints1SF* sub = SubBlocks.data[i]) {
            visitor.BeginRecord(nullptr);
            sub->Fields(visitor);
            visitor.EndRecord();
        }
    visitor.EndList();
}

long TSorBlockDataPoints::GetSubBlocksNum() const
{
    const auto* DPSF = SubBlocks.data;
    assert(DPSF);
    return SubBlocks.count;
}

TSorBlockDataPoints1SF* TSorBlockDataPoints::GetSubBlock()
{
    const auto* DPSF = SubBlocks.data;
    assert(DPSF);
    TSorBlockDataPoints1SF* oneScalePoints = SubBlocks.data[0];
    assert(oneScalePoints);
    return oneScalePoints;
}

const TSorBlockDataPoints1SF* TSorBlockDataPoints::GetSubBlock() const
{
    const auto* DPSF = SubBlocks.data;
    assert(DPSF);
    const TSorBlockDataPoints1SF* oneScalePoints = SubBlocks.data[0];
    assert(oneScalePoints);
    return oneScalePoints;
}

long TSorBlockDataPoints::GetPointsNum() const
{
    return GetSubBlock()->GetPointsNum();
}

std::int16_t TSorBlockDataPoints::GetPointsSubBlockScaleFactor(long subBlockIndex) const
{
    assert(subBlockIndex == 0 && "Only one subblock is supported");
    return GetSubBlock()->SF;
}

void TSorBlockDataPoints::SetPointsSubBlockScaleFactor(long subBlockIndex, std::int16_t sf)
{
    assert(subBlockIndex == 0 && "Only one subblock is supported");
    GetSubBlock()->SF = sf;
}

float TSorBlockDataPoints::GetMinMax(float* min, float* max, long from, long to, long& minPos, long& maxPos) const
{
    float lo = numTofLevel(from);
    float hi = lo;
    minPos = maxPos = from;
    if (from >= to) {
        if (min != nullptr)
            *min = lo;
        if (max != nullptr)
            *max = hi;
        return lo;
    }
    double sum = lo;
    const auto take = [&](float level, long i) {
        if (level < lo) {
            lo = level;
            minPos = i;
        }
        if (level > hi) {
            hi = level;
            maxPos = i;
        }
    };
    // Points off the trace all read the outside level: each run of them
    // counts at once, its first point standing for it, so that a range of
    // billions of points (a hostile file's times) costs what the trace holds.
    const long count = static_cast<long>(Levels.size());
    const auto outsideRun = [&](long begin, long end) {
        if (begin >= end)
            return;
        sum += static_cast<double>(OutsideLevel) * static_cast<double>(end - begin);
        take(OutsideLevel, begin);
    };
    outsideRun(from + 1, std::min(to, 0L));
    for (long i = std::max(from + 1, 0L); i < std::min(to, count); ++i) {
        const float level = numTofLevel(i);
        sum += level;
        take(level, i);
    }
    outsideRun(std::max(from + 1, count), to);
    if (min != nullptr)
        *min = lo;
    if (max != nullptr)
        *max = hi;
    return static_cast<float>(sum / static_cast<double>(to - from));
}

void TSorBlockDataPoints::GetMinMax(double* min, double* max, long from, long to, long& minPos, long& maxPos) const
{
    double lo = numTofLevel(from);
    double hi = lo;
    minPos = maxPos = from;
    for (long i = from + 1; i < to; ++i) {
        const double level = numTofLevel(i);
        if (level < lo) {
            lo = level;
            minPos = i;
        }
        if (level > hi) {
            hi = level;
            maxPos = i;
        }
    }
    if (min != nullptr)
        *min = lo;
    if (max != nullptr)
        *max = hi;
}

namespace {

// The lowest (or, with `Higher`, the highest) of the levels, as a scan from
// the first would find it. It runs on every load, so it keeps sixteen
// independent running values; for levels that are numbers the order of the
// comparisons does not change the result, and a NaN is passed over either
// way unless it comes first. On x86 the vector min/max instructions compute
// exactly "v < m ? v : m" (the second operand on NaN), so they are used as is.
template <bool Higher>
float extremeLevel(const std::vector<float, DefaultInitAllocator<float>>& levels)
{
    const float first = levels[0];
    if (first != first)
        return first;
    const std::size_t n = levels.size();
    const float* p = levels.data();
    std::size_t i = 0;
    float result = first;
#if defined(__SSE2__)
    __m128 lanes[4] = {_mm_set1_ps(first), _mm_set1_ps(first), _mm_set1_ps(first), _mm_set1_ps(first)};
    for (; i + 16 <= n; i += 16)
        for (int k = 0; k < 4; ++k) {
            const __m128 v = _mm_loadu_ps(p + i + 4 * k);
            lanes[k] = Higher ? _mm_max_ps(v, lanes[k]) : _mm_min_ps(v, lanes[k]);
        }
    float collected[16];
    for (int k = 0; k < 4; ++k)
        _mm_storeu_ps(collected + 4 * k, lanes[k]);
    for (const float lane : collected)
        result = (Higher ? lane > result : lane < result) ? lane : result;
#endif
    for (; i < n; ++i)
        result = (Higher ? p[i] > result : p[i] < result) ? p[i] : result;
    return result;
}

} // namespace

double TSorBlockDataPoints::GetMinLevel() const
{
    return Levels.empty() ? numTofLevel(0) : extremeLevel<false>(Levels);
}

double TSorBlockDataPoints::GetMaxLevel() const
{
    return Levels.empty() ? numTofLevel(0) : extremeLevel<true>(Levels);
}

template <class T>
void TSorBlockDataPoints::SetLevelToAppropriateSubBlock(long num, T level)
{
    assert(GetSubBlocksNum() == 1);
    assert(num >= 0 && num < GetPointsNum());
    TSorBlockDataPoints1SF* sub = GetSubBlock();
    sub->Points[static_cast<std::size_t>(num)] = levelToRaw<T>(level, sub->SF);
}

template void TSorBlockDataPoints::SetLevelToAppropriateSubBlock<float>(long, float);
template void TSorBlockDataPoints::SetLevelToAppropriateSubBlock<double>(long, double);

void TSorBlockDataPoints::SetLevel(long num, double level)
{
    SetLevelToAppropriateSubBlock<double>(num, level);
    // A cache out of step (points changed behind its back) is brought back first.
    if (Levels.size() != static_cast<std::size_t>(GetPointsNum()))
        RebuildWholeCache();
    Levels[static_cast<std::size_t>(num)] = static_cast<float>(level);
}

void TSorBlockDataPoints::SetfLevel(long num, float level)
{
    SetLevelToAppropriateSubBlock<float>(num, level);
    if (Levels.size() != static_cast<std::size_t>(GetPointsNum()))
        RebuildWholeCache();
    Levels[static_cast<std::size_t>(num)] = level;
}

void TSorBlockDataPoints::SetRawLevel(long num, std::uint16_t raw)
{
    assert(((num >= 0) && (num < GetPointsNum())) && "Point index out of bounds");
    SetRawLevelToAppropriateSubBlock(num, raw);
    if (Levels.size() != static_cast<std::size_t>(GetPointsNum()))
        RebuildWholeCache();
    else
        Levels[static_cast<std::size_t>(num)] = CalcLevel<float>(num, DataType);
}

void TSorBlockDataPoints::SetRawLevelToAppropriateSubBlock(long num, std::uint16_t raw)
{
    assert(GetSubBlocksNum() == 1);
    assert(num >= 0 && num < GetPointsNum());
    GetSubBlock()->Points[static_cast<std::size_t>(num)] = raw;
}

// Every load converts every point; where the processor has wider vectors a
// second version of the loop uses them, chosen once when the library loads.
// (Not under ThreadSanitizer: the chooser runs before its runtime is up.)
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && !defined(__SANITIZE_THREAD__)
__attribute__((target_clones("avx2", "default")))
#endif
void TSorBlockDataPoints::RebuildWholeCache()
{
    assert(GetSubBlocksNum() == 1);
    const TSorBlockDataPoints1SF* sub = GetSubBlock();
    const std::size_t n = sub->Points.size();
    Levels.resize(n);
    const std::uint16_t* raw = sub->Points.data();
    float* level = Levels.data();
    const auto sf = static_cast<float>(sub->SF);
    // The same float expressions as CalcLevel, so that one point recomputed
    // later agrees with the whole rebuild to the bit.
    if (DataType == dtTemperature) {
        for (std::size_t i = 0; i < n; ++i)
            level[i] = static_cast<float>(static_cast<std::int16_t>(raw[i])) * sf * 1e-6f;
    } else {
        for (std::size_t i = 0; i < n; ++i)
            level[i] = -static_cast<float>(raw[i]) * sf * 1e-6f;
    }
}

void TSorBlockDataPoints::AssignInRange(const TSorBlockDataPoints* src, int from, int to)
{
    assert(src);
    if (src == this)
        return;
    auto* sub = new TSorBlockDataPoints1SF();
    sub->AssignInRange(src->GetSubBlock(), from, to);
    SubBlocks.Clear();
    SubBlocks.AddData(sub);
    DataType = src->DataType;
    RevisionNo = src->RevisionNo;
    RebuildWholeCache();
}

std::vector<unsigned char> TSorBlockDataPoints::GetHash() const
{
    assert(GetSubBlocksNum() == 1);
    return GetSubBlock()->GetHash();
}
