#include "sor/sor-data.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "sor/sor-block-aux-events.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-crc.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-emb-data.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-map.h"
#include "sor/sor-block-rfts-events.h"
#include "sor/sor-block-rfts-parameters.h"
#include "sor/sor-block-special.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-file.h"
#include "util/saturating-cast.h"

// Names that the instruments of this product line write as supplier name,
// "SN" of SupParams. A trace of an older acquisition block counts as the
// instrument's own only with one of these (and the other conditions of the
// trust test). The empty name closes the table.
const char* const TSorData::TrustedSupplierNames[10] = {
    "FiberTest",           "FiberTest Instruments", "FiberTest OTDR", "FiberTest OTDR Module",
    "FiberTest Field",     "FiberTest Lab",         "FT Instruments",  "FT-OTDR",
    "FiberTest Simulator", ""};

namespace {

// The level of a point outside the trace.
constexpr double levelOutside = -65.5;

// Speed of light in km/s, as every distance formula of the system uses it.
constexpr double lightSpeed = 299792.5;

// Whether the data type text says temperature only: "TC" without "RL" or "AS".
bool temperatureOnly(const TString& typ)
{
    return typ.Find("TC") >= 0 && typ.Find("RL") < 0 && typ.Find("AS") < 0;
}

// One-way time in 100 ps to km, at the fixed block's group index.
double owtPerKm(const TSorBlockFixedParameters& fxd)
{
    const double gi = fxd.GI * 1e-5;
    return gi > 0 ? 1.0 / ((lightSpeed / gi) * 1e-10) : 0.0;
}

template <class Block>
Block* copyOf(const Block* source)
{
    auto* copy = new Block();
    copy->Assign(*source);
    return copy;
}

bool isRftsEventsEntry(const TEmbData1E* entry)
{
    return entry != nullptr && entry->GetDescription().CompareNoCase(TString("RFTSEVENTS")) == 0;
}

} // namespace

TSorData::TSorData()
{
    Init();
}

TSorData::~TSorData()
{
    Clear();
}

void TSorData::Init()
{
    WriteSpecialBlocks = 1;
    WriteProprietaryBlocks = 1;
    RevisionNo = 200;
    Map = new TSorBlockMap();
    GenParams = new TSorBlockGeneralParameters();
    SupParams = new TSorBlockSupplierParameters();
    FxdParams = new TSorBlockFixedParameters();
    KeyEvents = new TSorBlockKeyEvents();
    LnkParams = new TSorBlockLinkParameters();
    DataPts = new TSorBlockDataPoints();
    Cksum = new TSorBlockCRC();
    BackupDataPts = nullptr;
    RFTSParams = new TSorBlockRFTSParameters();
    RFTSEvents = new TSorBlockRFTSEvents();
    EmbData = new TSorBlockEmbData();
    AUXEvents = new TSorBlockAUXEvents();
    AUXParams = new TSorBlockAUXParameters();
    SpecialBlocks.Clear();
    SpecialCount = 0;
    for (auto& word : AnalysisState)
        word = 0;
    Untrusted = 1;
    MinLevel = -1.0;
    MaxLevel = 0.0;
}

void TSorData::Clear()
{
    delete Map;
    delete GenParams;
    delete SupParams;
    delete FxdParams;
    delete KeyEvents;
    delete LnkParams;
    delete DataPts;
    delete Cksum;
    delete BackupDataPts;
    delete RFTSParams;
    delete RFTSEvents;
    delete EmbData;
    delete AUXEvents;
    delete AUXParams;
    Map = nullptr;
    GenParams = nullptr;
    SupParams = nullptr;
    FxdParams = nullptr;
    KeyEvents = nullptr;
    LnkParams = nullptr;
    DataPts = nullptr;
    Cksum = nullptr;
    BackupDataPts = nullptr;
    RFTSParams = nullptr;
    RFTSEvents = nullptr;
    EmbData = nullptr;
    AUXEvents = nullptr;
    AUXParams = nullptr;
    SpecialBlocks.Clear();
    SpecialCount = 0;
}

// ---- loading ----

bool TSorData::readBlocks(TSorFile* file, bool minimal)
{
    Clear();
    Init();
    const unsigned long start = file->Tell();
    Map->ReadRN(file, 209);
    if (file->Status != fsOk)
        return false;
    if (Map->NB > 0 && !minimal)
        SpecialBlocks.SetSize(Map->NB);

    // Blocks are found by the Map's sizes alone, so a block reader that runs
    // short or long cannot derail the next block, and blocks may stand in any
    // order.
    unsigned long position = start + static_cast<unsigned long>(static_cast<long>(Map->Size));
    // Each block of ours is read from its first Map entry only: a hostile Map
    // that lists one block thousands of times would otherwise have it parse
    // the rest of the file each time. (Foreign blocks read only their own
    // bytes, so they cost no more than the file.)
    std::vector<const TSorBlock*> alreadyRead;
    const auto firstTime = [&alreadyRead](const TSorBlock* block) {
        if (std::find(alreadyRead.begin(), alreadyRead.end(), block) != alreadyRead.end())
            return false;
        alreadyRead.push_back(block);
        return true;
    };
    for (int i = 0; i < Map->Entries.count; ++i) {
        const TSorBlockMapBlockInfo* entry = Map->Entries.data[i];
        if (entry == nullptr || entry->Size < 1)
            continue;
        if (file->Status == fsEndOfFile && !minimal)
            break;
        if (file->Status != fsOk)
            return false;
        file->Seek(position);
        position += static_cast<unsigned long>(entry->Size);

        const TString& id = entry->ID;
        const std::uint16_t revision = entry->RevisionNo;
        TSorBlock* block = knownBlock(id, minimal);
        if (block != nullptr) {
            if (firstTime(block)) {
                block->ReadRN(file, revision);
                if (block == AUXParams && !minimal)
                    checkTrust();
            }
        } else if (!minimal) {
            auto* special = new TSorBlockSpecial(entry->Size);
            special->ReadRN(file, revision);
            special->RevisionNo = revision;
            special->ID = id;
            special->BID = id;
            SpecialBlocks.SetData(special, SpecialCount++);
        }
    }
    RevisionNo = Map->RevisionNo;
    return true;
}

TSorBlock* TSorData::knownBlock(const TString& id, bool minimal) const
{
    // The fast load reads the standard blocks and AUXParams only.
    const std::pair<const char*, TSorBlock*> standard[] = {
        {"GenParams", GenParams}, {"SupParams", SupParams}, {"FxdParams", FxdParams}, {"KeyEvents", KeyEvents},
        {"LnkParams", LnkParams}, {"DataPts", DataPts},     {"AUXParams", AUXParams}};
    for (const auto& [name, block] : standard)
        if (id == name)
            return block;
    if (minimal)
        return nullptr;
    const std::pair<const char*, TSorBlock*> others[] = {{"RFTSParams", RFTSParams}, {"RFTSEvents", RFTSEvents},
                                                         {"EmbData", EmbData},       {"AUXEvents", AUXEvents},
                                                         {"Cksum", Cksum}};
    for (const auto& [name, block] : others)
        if (id == name)
            return block;
    return nullptr;
}

void TSorData::Read(TSorFile* file)
{
    if (!readBlocks(file, false))
        return;
    if (FxdParams->TPW == 1 && FxdParams->NPPW[0] == 0)
        FxdParams->NPPW[0] = static_cast<std::int32_t>(DataPts->GetPointsNum());
    FixScaleFactor();
    FixNFScaleFactor();
    setDataType();
    DataPts->RebuildWholeCache();
    CalculateValues();
    FixUserOffset();
    setLinf(true);
}

void TSorData::ReadMinimal(TSorFile* file)
{
    if (!readBlocks(file, true))
        return;
    setDataType();
    DataPts->RebuildWholeCache();
    CalculateValues();
    FixScaleFactor();
    FixNFScaleFactor();
    FixUserOffset();
}

int TSorData::Read(const char* name, const char* mode)
{
    TSorFile file(name, mode);
    if (file.Status != fsOk)
        return file.Status;
    Read(&file);
    return file.Status;
}

void TSorData::setDataType()
{
    const TString& typ = AUXParams->TYP;
    if (typ.Find("RL") >= 0)
        DataPts->DataType = TSorBlockDataPoints::dtReflectometric;
    else if (typ.Find("AS") >= 0)
        DataPts->DataType = TSorBlockDataPoints::dtAS;
    else if (typ.Find("TC") >= 0)
        DataPts->DataType = TSorBlockDataPoints::dtTemperature;
    else
        DataPts->DataType = TSorBlockDataPoints::dtReflectometric;
}

// Whether the points are the instrument's own. Newer acquisition blocks store
// a hash of the points and the answer is whether it still matches; older ones
// are judged by who made the trace, whether the true pulse agrees with the
// nominal one, and the mark that our modules leave in the "other" text.
void TSorData::checkTrust()
{
    if (AUXParams->RevisionNo > 214) {
        // A trace without points has no hash; it matches a stored hash that
        // was never filled (all zeros).
        std::vector<unsigned char> hash = GetHashId();
        if (hash.empty())
            hash.assign(AUXParams->Hash.size(), 0);
        const bool same = hash.size() == AUXParams->Hash.size() &&
                          std::equal(hash.begin(), hash.end(), AUXParams->Hash.begin());
        Untrusted = same ? 0 : 1;
        return;
    }
    bool knownSupplier = false;
    for (const char* name : TrustedSupplierNames)
        if (SupParams->SN == name) {
            knownSupplier = true;
            break;
        }
    bool pulseAgrees = false;
    if (AUXParams->ATP0 != 0) {
        const long p = static_cast<long>(GetRealNsPulse(0));
        const long q = static_cast<long>(FxdParams->GetNsPulse(0));
        pulseAgrees = std::labs(q - p) <= static_cast<long>(p * 0.05) + 2;
    }
    bool moduleMark = false;
    const TString& other = SupParams->OT;
    const int open = other.Find("[");
    const int close = other.ReverseFind("]");
    if (open >= 0 && close > open)
        moduleMark = other.data[open + 1] == '6' && open + 1 < close;
    Untrusted = knownSupplier && pulseAgrees && moduleMark ? 0 : 1;
}

std::vector<unsigned char> TSorData::GetHashId() const
{
    const TSorBlockDataPoints* points = BackupDataPts != nullptr ? BackupDataPts : DataPts;
    if (points->GetPointsNum() < 1)
        return {};
    return points->GetHash();
}

void TSorData::ComputeHash()
{
    const std::vector<unsigned char> hash = GetHashId();
    AUXParams->Hash.fill(0);
    std::copy_n(hash.begin(), std::min(hash.size(), AUXParams->Hash.size()), AUXParams->Hash.begin());
}

// ---- repairs ----

void TSorData::FixScaleFactor()
{
    if (!temperatureOnly(AUXParams->TYP))
        return;
    if (DataPts->GetPointsSubBlockScaleFactor(0) == 100)
        DataPts->SetPointsSubBlockScaleFactor(0, 10000);
}

void TSorData::FixNFScaleFactor()
{
    if (FxdParams->NFSF == 100 && AUXParams->ATP0 != 0)
        FxdParams->NFSF = 10000;
}

// A negative user offset is made positive, and every position measured from
// it moves with it, so that a trace saved after the repair loads unchanged.
void TSorData::FixUserOffset()
{
    const std::int32_t offset = GenParams->UO;
    if (offset >= 0)
        return;
    // Positions of a hostile file may sit at the ends of the 32-bit range;
    // they wrap there as the format's integers do, instead of overflowing.
    const auto shift = static_cast<std::uint32_t>(0u - static_cast<std::uint32_t>(offset));
    const auto moved = [shift](std::int32_t& position) {
        position = static_cast<std::int32_t>(static_cast<std::uint32_t>(position) + shift);
    };
    GenParams->UO = static_cast<std::int32_t>(shift);
    for (int i = 0; i < KeyEvents->Events.count; ++i) {
        TSorBlockKeyEvents1E* event = KeyEvents->Events.data[i];
        moved(event->EPT);
        moved(event->ML0);
        moved(event->ML1);
        moved(event->ML2);
        moved(event->ML3);
        moved(event->ML4);
    }
    for (TSorBlockAUXEvents1E& event : AUXEvents->Events) {
        moved(event.ML0);
        moved(event.ML1);
        moved(event.ML2);
    }
    for (int i = 0; i < LnkParams->Landmarks.count; ++i)
        moved(LnkParams->Landmarks.data[i]->LML);
}

void TSorData::CalculateValues()
{
    if (temperatureOnly(AUXParams->TYP)) {
        MinLevel = -60.0;
        MaxLevel = 140.0;
        return;
    }
    MinLevel = AUXParams->MAX != 0 ? -AUXParams->MAX * AUXParams->Scale * 1e-6 : DataPts->GetMinLevel();
    MaxLevel = 0.0;
}

namespace {

// The linear values of points whose levels follow from their raw values, as
// right after a load: a trace has several times fewer distinct raw values
// than points, so each distinct one is converted once and the points take
// their value from a table. The passes over the points are free of branches
// on the data: a mark for each value present, the distinct values in order, their
// levels by the cache's own expression, one batch conversion, a lookup per
// point. The tables live with the thread and are reused, so a load
// allocates nothing here.
void linearByRawValue(const TSorBlockDataPoints& points, const TSorBlockAUXParameters& aux, float* linear)
{
    const std::vector<std::uint16_t>& raw = points.GetSubBlock()->Points;
    const auto sf = static_cast<float>(points.GetPointsSubBlockScaleFactor(0));
    thread_local std::vector<float> byRaw(65536);
    // A byte a value (not a bit): plain stores, which do not wait on each
    // other as read-modify-writes of one word would. The marks are all clear
    // between calls: each call clears the ones it set.
    thread_local std::vector<std::uint8_t> present(65536);
    std::uint8_t* mark = present.data();
    // Room for every value, kept with the thread: nothing is allocated (and
    // so nothing can throw) while marks are set.
    thread_local std::vector<std::uint16_t> distinct;
    thread_local std::vector<float, DefaultInitAllocator<float>> levels;
    thread_local std::vector<float, DefaultInitAllocator<float>> converted;
    distinct.reserve(65536);
    distinct.clear();
    for (const std::uint16_t r : raw)
        mark[r] = 1;
    // Eight marks at a time; the set bytes of a word are found by their bits
    // (on a little-endian host the first byte is the lowest).
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the mark scan reads bytes as a little-endian word");
    for (std::size_t value = 0; value < present.size(); value += 8) {
        std::uint64_t word;
        std::memcpy(&word, mark + value, sizeof word);
        while (word != 0) {
            const int byte = __builtin_ctzll(word) / 8;
            distinct.push_back(static_cast<std::uint16_t>(value + static_cast<std::size_t>(byte)));
            word &= ~(std::uint64_t(0xFF) << (byte * 8));
        }
    }
    for (const std::uint16_t value : distinct)
        mark[value] = 0;
    levels.resize(distinct.size());
    for (std::size_t j = 0; j < distinct.size(); ++j)
        levels[j] = -static_cast<float>(distinct[j]) * sf * 1e-6f;
    converted.resize(distinct.size());
    aux.Log5ToLinArray(levels.data(), converted.data(), static_cast<long>(distinct.size()));
    float* table = byRaw.data();
    for (std::size_t j = 0; j < distinct.size(); ++j)
        table[distinct[j]] = converted[j];
    for (std::size_t n = 0; n < raw.size(); ++n)
        linear[n] = table[raw[n]];
}

} // namespace

// The linear companion of the trace, kept in memory as an embedded entry that
// is never written.
void TSorData::SetLinf()
{
    setLinf(false);
}

void TSorData::setLinf(bool levelsFromRaw)
{
    if (temperatureOnly(AUXParams->TYP))
        return;
    TEmbData1E* entry = EmbData->GetEmbData(TString("LINF"));
    if (AUXParams->MAX == 0) {
        const double lowest = DataPts->GetMinLevel();
        if (lowest < -65.535)
            AUXParams->Scale = 2000;
        // Points far below the 16-bit scale (a foreign scale factor) leave
        // the zero at the bottom of the scale rather than wrapping.
        const double zero = std::trunc(-lowest / AUXParams->Scale * 1e6);
        AUXParams->MAX = static_cast<std::uint16_t>(std::clamp(zero, 0.0, 65535.0));
    }
    if (entry == nullptr) {
        entry = new TEmbData1E();
        entry->SetDescription(TString("LINF"));
        EmbData->AddData(entry);
    }
    entry->SetWritable(false);
    const long points = DataPts->GetPointsNum();
    entry->SetData(points * 4);
    auto* linear = static_cast<float*>(entry->GetData());
    if (points <= 0)
        return;
    // The shortcut needs levels made by the reflectometric rule from the raw
    // points, as a load leaves them (temperature data has no linear companion).
    if (levelsFromRaw && DataPts->GetSubBlocksNum() == 1 && DataPts->DataType != TSorBlockDataPoints::dtTemperature)
        linearByRawValue(*DataPts, *AUXParams, linear);
    else
        AUXParams->Log5ToLinArray(DataPts->Levels.data(), linear, points);
}

int TSorData::LinfToPoints()
{
    TEmbData1E* entry = EmbData->GetEmbData(TString("LINF"));
    if (entry == nullptr || entry->GetData() == nullptr)
        return 0;
    AUXParams->LinfToLog(static_cast<float*>(entry->GetData()), *DataPts);
    return 1;
}

// ---- saving ----

void TSorData::Write(TSorFile* file)
{
    delete Map;
    Map = new TSorBlockMap();

    GenParams->RevisionNo = RevisionNo;
    SupParams->RevisionNo = RevisionNo;
    FxdParams->RevisionNo = RevisionNo;
    KeyEvents->RevisionNo = RevisionNo;
    LnkParams->RevisionNo = RevisionNo;
    DataPts->RevisionNo = RevisionNo;
    Cksum->RevisionNo = RevisionNo;
    Map->RevisionNo = RevisionNo;
    RFTSParams->RevisionNo = 203;
    RFTSEvents->RevisionNo = 204;
    EmbData->RevisionNo = 200;
    AUXEvents->RevisionNo = 201;
    AUXParams->RevisionNo = 228;

    // The blocks of the file in their fixed order, each with whether it goes out.
    TSorBlockDataPoints* points = BackupDataPts != nullptr ? BackupDataPts : DataPts;
    const bool proprietary = WriteProprietaryBlocks != 0;
    struct Planned
    {
        TSorBlock* block;
        const char* name;
    };
    std::vector<Planned> plan;
    plan.push_back({GenParams, "GenParams"});
    plan.push_back({SupParams, "SupParams"});
    plan.push_back({FxdParams, "FxdParams"});
    if (!KeyEvents->IsEmpty())
        plan.push_back({KeyEvents, "KeyEvents"});
    if (!LnkParams->IsEmpty())
        plan.push_back({LnkParams, "LnkParams"});
    if (points->GetPointsNum() > 0)
        plan.push_back({points, "DataPts"});
    if (WriteSpecialBlocks != 0)
        for (int i = 0; i < SpecialCount; ++i)
            if (TSorBlockSpecial* special = SpecialBlocks.data[i])
                plan.push_back({special, special->ID.data});
    if (proprietary) {
        plan.push_back({AUXEvents, "AUXEvents"});
        plan.push_back({AUXParams, "AUXParams"});
        if (!RFTSParams->IsEmpty())
            plan.push_back({RFTSParams, "RFTSParams"});
        if (!RFTSEvents->IsEmpty())
            plan.push_back({RFTSEvents, "RFTSEvents"});
        plan.push_back({EmbData, "EmbData"});
    }
    plan.push_back({Cksum, "Cksum"});

    for (const Planned& p : plan)
        Map->AddEntry(new TSorBlockMapBlockInfo(p.name, p.block->RevisionNo, p.block->GetBlockSize()));
    Map->Size = Map->GetBlockSize();
    Map->Write(file);
    for (const Planned& p : plan) {
        // A trace that proved genuine carries the hash of its points; a
        // doubtful one keeps the hash it came with, and stays doubtful.
        if (p.block == AUXParams && Untrusted == 0)
            ComputeHash();
        p.block->Write(file);
    }
}

int TSorData::Write(const char* name, const char* mode)
{
    TSorFile file(name, mode);
    if (file.Status != fsOk)
        return file.Status;
    Write(&file);
    return file.Status;
}

// ---- copies ----

void TSorData::Assign(const TSorData& other)
{
    if (this == &other)
        return;
    Clear();
    Init();
    Map->Assign(*other.Map);
    GenParams->Assign(*other.GenParams);
    SupParams->Assign(*other.SupParams);
    FxdParams->Assign(*other.FxdParams);
    KeyEvents->Assign(*other.KeyEvents);
    LnkParams->Assign(*other.LnkParams);
    DataPts->Assign(*other.DataPts);
    Cksum->Assign(*other.Cksum);
    if (other.BackupDataPts != nullptr)
        BackupDataPts = copyOf(other.BackupDataPts);
    RFTSParams->Assign(*other.RFTSParams);
    RFTSEvents->Assign(*other.RFTSEvents);
    EmbData->Assign(*other.EmbData);
    AUXEvents->Assign(*other.AUXEvents);
    AUXParams->Assign(*other.AUXParams);
    SpecialBlocks.SetSize(other.SpecialBlocks.count);
    SpecialCount = other.SpecialCount;
    for (int i = 0; i < other.SpecialBlocks.count; ++i)
        if (const TSorBlockSpecial* special = other.SpecialBlocks.data[i])
            SpecialBlocks.SetData(copyOf(special), i);
    RevisionNo = other.RevisionNo;
    for (int i = 0; i < 12; ++i)
        AnalysisState[i] = other.AnalysisState[i];
    Untrusted = other.Untrusted;
    MinLevel = other.MinLevel;
    MaxLevel = other.MaxLevel;
}

void TSorData::AssignInfo(const TSorData& src, int withModuleSerial)
{
    GenParams->CID = src.GenParams->CID;
    GenParams->FID = src.GenParams->FID;
    GenParams->FT = src.GenParams->FT;
    GenParams->NW = src.GenParams->NW;
    GenParams->OL = src.GenParams->OL;
    GenParams->TL = src.GenParams->TL;
    GenParams->CCD = src.GenParams->CCD;
    GenParams->CDF = src.GenParams->CDF;
    GenParams->UO = src.GenParams->UO;
    GenParams->OP = src.GenParams->OP;
    GenParams->CMT = src.GenParams->CMT;
    FxdParams->TT = src.FxdParams->TT;
    if (withModuleSerial != 0)
        SupParams->OMSN = src.SupParams->OMSN;
}

void TSorData::AssignData(const TSorData& src)
{
    AUXParams->Assign(*src.AUXParams);
    DataPts->Assign(*src.DataPts);
    FxdParams->Assign(*src.FxdParams);
}

void TSorData::Damp(FILE* out, int skipData) const
{
    const TSorBlock* blocks[] = {Map,        GenParams,  SupParams, FxdParams, KeyEvents, LnkParams,
                                 RFTSParams, RFTSEvents, EmbData,   AUXEvents, AUXParams};
    for (const TSorBlock* block : blocks) {
        block->Damp(out);
        std::fflush(out);
    }
    if (skipData != 0)
        return;
    DataPts->Damp(out);
    std::fflush(out);
    for (int i = 0; i < SpecialCount; ++i)
        if (const TSorBlockSpecial* special = SpecialBlocks.data[i]) {
            special->Damp(out);
            std::fflush(out);
        }
    Cksum->Damp(out);
    std::fflush(out);
}

// ---- reading the trace ----

double TSorData::GetMinOwt() const
{
    return FxdParams->GetMinOwt();
}

double TSorData::GetMaxOwt() const
{
    return FxdParams->GetMaxOwt();
}

double TSorData::NumToLevel(long n) const
{
    return DataPts->numToLevel(n, 0);
}

double TSorData::OwtToLevel(double owt, short interpolate) const
{
    const double f = FxdParams->OwtTofNum(owt);
    const long n = static_cast<long>(f);
    if (interpolate == 0)
        return NumToLevel(n);
    return NumToLevel(n) * (n + 1 - f) + NumToLevel(n + 1) * (f - n);
}

// The level at len / scale km from the user offset. When that distance, in
// scale steps, is where a point stands, the point's own level is taken, so
// that reading a point's distance back gives exactly its level.
double TSorData::LenIntToLevel(int len, int scale) const
{
    const double perKm = owtPerKm(*FxdParams);
    if (scale == 0 || perKm == 0.0)
        return levelOutside;
    const double km = static_cast<double>(len) / scale;
    const double owt = km * perKm + GenParams->UO;
    const double f = FxdParams->OwtTofNum(owt);
    const long n = static_cast<long>(f);
    const auto steps = [&](long point) {
        const double d = (FxdParams->NumToOwt(point) - GenParams->UO) / perKm;
        return static_cast<long>(std::trunc(scale * d + 0.5));
    };
    const long target = static_cast<long>(std::trunc(scale * km + 0.5));
    if (steps(n) == target)
        return NumToLevel(n);
    if (steps(n + 1) == target)
        return NumToLevel(n + 1);
    return OwtToLevel(owt, 1);
}

void TSorData::GetMinMax(long from, long to, float& min, float& max) const
{
    long minPos = 0;
    long maxPos = 0;
    const auto first = truncSaturated<long>(FxdParams->OwtTofNum(static_cast<double>(from)));
    const auto last = truncSaturated<long>(FxdParams->OwtTofNum(static_cast<double>(to)));
    DataPts->GetMinMax(&min, &max, first, last, minPos, maxPos);
}

double TSorData::GetMax(long from, long to, long& owt) const
{
    float min = 0;
    float max = 0;
    long minPos = 0;
    long maxPos = 0;
    const auto first = truncSaturated<long>(FxdParams->OwtTofNum(static_cast<double>(from)));
    const auto last = truncSaturated<long>(FxdParams->OwtTofNum(static_cast<double>(to)));
    DataPts->GetMinMax(&min, &max, first, last, minPos, maxPos);
    // The nearest whole time: a truncated one would read back a fraction of a
    // point before the maximum, and an interpolated level there falls short
    // of it (a saturated peak would no longer read as saturated).
    owt = roundSaturated<long>(FxdParams->NumToOwt(maxPos));
    return max;
}

double TSorData::GetRealNsPulse(double owt) const
{
    const long point = static_cast<long>(FxdParams->OwtTofNum(owt));
    const int segment = static_cast<int>(FxdParams->NumToNPW(point));
    const double nominal = FxdParams->GetNsPulse(owt);
    // The acquisition block knows the true width of the first segment's pulse
    // (in 0.2 ns), which differs from the nominal one for short pulses.
    if (segment == 0 && AUXParams->ATP0 != 0 && nominal <= 12000.0)
        return AUXParams->ATP0 * 0.2;
    return nominal;
}

double TSorData::GetENOB() const
{
    if (AUXParams == nullptr)
        return 0.0;
    const double averages = std::min<double>(AUXParams->NASF, FxdParams->NAV);
    if (averages <= 0)
        return 0.0;
    return std::log2(std::pow(10.0, (AUXParams->SNL - FxdParams->PO) / 5000.0) / std::sqrt(averages));
}

void* TSorData::GetEmbData(const char* description) const
{
    const TEmbData1E* entry = EmbData->GetEmbData(TString(description));
    return entry != nullptr ? entry->GetData() : nullptr;
}

// ---- saved comparison results ----

TEmbData1E* TSorData::GetSavedRFTSEvents(TString level) const
{
    for (int i = 0; i < EmbData->GetTNED(); ++i) {
        TEmbData1E* entry = EmbData->GetEmbData(i);
        const TSorBlockRFTSEvents* stored = entry != nullptr ? entry->GetRFTSEvents() : nullptr;
        if (stored == nullptr)
            continue;
        if (stored->LevelName == level)
            return entry;
    }
    return nullptr;
}

void TSorData::SaveRFTSEvents()
{
    TEmbData1E* entry = GetSavedRFTSEvents(RFTSEvents->LevelName);
    if (entry == nullptr) {
        entry = new TEmbData1E();
        entry->SetDescription(TString("RFTSEVENTS"));
        EmbData->AddData(entry);
    }
    entry->SetData(*RFTSEvents);
}

int TSorData::LoadRFTSEvents(TString level)
{
    const TEmbData1E* entry = GetSavedRFTSEvents(level);
    const TSorBlockRFTSEvents* stored = entry != nullptr ? entry->GetRFTSEvents() : nullptr;
    if (stored == nullptr || stored->TNRFTSE != KeyEvents->TNKE)
        return 0;
    RFTSEvents->Assign(*stored);
    return 1;
}

void TSorData::DeleteSavedRFTSEvents()
{
    for (int i = EmbData->GetTNED() - 1; i >= 0; --i)
        if (isRftsEventsEntry(EmbData->GetEmbData(i)))
            EmbData->DeleteData(i);
}
