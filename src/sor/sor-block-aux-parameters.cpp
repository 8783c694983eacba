#include "sor/sor-block-aux-parameters.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "sor/sor-block-data-points.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"
#include "sor/sor-log-scale.h"
#include "util/saturating-cast.h"
#include "util/time-util.h"

namespace {

// The slope of the linear stretch |x| <= 2 that joins 5 * log10 at x = 2
// (5 * log10(2) / 2), and its inverse; the float forms use the float values.
constexpr double log5Slope = 0.752574989159953;
constexpr float log5fSlope = 0.752575f;
constexpr double log5InverseSlope = 1.328771237954945;
constexpr float log5fInverseSlope = 1.3287712f;

constexpr unsigned long gainIntervalBytes = 8;
constexpr unsigned long vlRecordBytes = 4;
// FLevel*10 above this in a file is taken for 10.
constexpr std::int16_t maxFilterLevel10 = 100;

// Moves forward over bytes a newer writer added to a self-sized record. A
// length beyond the data ends like a short read; after a failed read there
// is nothing to skip (a seek would clear the status).
void skipForward(TSorFile* F, unsigned long n)
{
    if (n == 0 || F->Status != fsOk)
        return;
    const unsigned long left = F->BytesLeft();
    if (n > left) {
        F->Seek(F->Tell() + left);
        F->Status = fsEndOfFile;
        return;
    }
    F->Seek(F->Tell() + n);
}

// A 16-bit count for writing: what the array holds, as far as the field reaches.
template <class Count, class Vector>
Count countOf(const Vector& v)
{
    const auto most = static_cast<std::size_t>(std::numeric_limits<Count>::max());
    return static_cast<Count>(std::min(v.size(), most));
}

} // namespace

// ---- TAUXServiceInfo ----

void TAUXServiceInfo::Read(TSorFile* F)
{
    assert(F);
    F->Read(valid);
    F->Read(chargerConnected);
    F->Read(batteryVoltage);
    F->Read(length);
    F->Read(totalRam);
    F->Read(freeRam);
    F->Read(displayBrightness);
    F->Read(freeFlash);
    F->Read(reflectogramsInBuffer);
    if (length > KnownSize)
        skipForward(F, length - KnownSize);
    length = KnownSize;
}

void TAUXServiceInfo::Write(TSorFile* F) const
{
    assert(F);
    F->Write(valid);
    F->Write(chargerConnected);
    F->Write(batteryVoltage);
    F->Write(KnownSize);
    F->Write(totalRam);
    F->Write(freeRam);
    F->Write(displayBrightness);
    F->Write(freeFlash);
    F->Write(reflectogramsInBuffer);
}

void TAUXServiceInfo::Damp(FILE* out) const
{
    std::fprintf(out, "valid: %u\n", valid);
    std::fprintf(out, "charger connected:  %u\n", chargerConnected);
    std::fprintf(out, "battery voltage: %u mV\n", batteryVoltage);
    std::fprintf(out, "length: length of ServiceInfo Block\n");
    std::fprintf(out, "total RAM: %u bytes\n", totalRam);
    std::fprintf(out, "free RAM: %u bytes\n", freeRam);
    std::fprintf(out, "display brightness: %u%%\n", displayBrightness);
    std::fprintf(out, "free flash disk space: %u bytes\n", freeFlash);
    std::fprintf(out, "reflectogramms in buffer: %u\n", reflectogramsInBuffer);
}

void TAUXServiceInfo::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("valid", valid);
    visitor.Int("chargerConnected", chargerConnected);
    visitor.Int("batteryVoltage", batteryVoltage);
    visitor.Int("length", length);
    visitor.Int("totalRam", totalRam);
    visitor.Int("freeRam", freeRam);
    visitor.Int("displayBrightness", displayBrightness);
    visitor.Int("freeFlash", freeFlash);
    visitor.Int("reflectogramsInBuffer", reflectogramsInBuffer);
}

// ---- TSpanLocationInfo ----

void TSpanLocationInfo::Read(TSorFile* F)
{
    assert(F);
    F->Read(length);
    F->Read(value);
    F->Read(type);
    if (length > KnownSize)
        skipForward(F, length - KnownSize);
    length = KnownSize;
}

void TSpanLocationInfo::Write(TSorFile* F) const
{
    assert(F);
    F->Write(KnownSize);
    F->Write(value);
    F->Write(type);
}

void TSpanLocationInfo::Damp(FILE* out, const char* which) const
{
    std::fprintf(out, "Span %s Length: %u\n", which, length);
    std::fprintf(out, "Span %s Value: %u\n", which, static_cast<unsigned>(value));
    std::fprintf(out, "Span %s Type: %u\n", which, type);
}

void TSpanLocationInfo::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("length", length);
    visitor.Int("value", value);
    visitor.Int("type", type);
}

// ---- PonParameters ----

void PonParameters::Read(TSorFile* F)
{
    assert(F);
    F->Read(enabled);
    F->Read(splitterType);
}

void PonParameters::Write(TSorFile* F) const
{
    assert(F);
    F->Write(enabled);
    F->Write(splitterType);
}

void PonParameters::Read2(TSorFile* F)
{
    assert(F);
    F->Read(length2);
    F->Read(stages);
    if (length2 > Part2Size)
        skipForward(F, length2 - Part2Size);
    length2 = Part2Size;
}

void PonParameters::Write2(TSorFile* F) const
{
    assert(F);
    F->Write(Part2Size);
    F->Write(stages);
}

void PonParameters::Damp(FILE* out) const
{
    std::fprintf(out, "PON enabled = %u\n", enabled);
    std::fprintf(out, "PON splitterType = %u\n", splitterType);
    std::fprintf(out, "PON length2 = %u\n", length2);
    std::fprintf(out, "PON stages = %u\n", stages);
}

// ---- TSorBlockAUXParameters ----

TSorBlockAUXParameters::TSorBlockAUXParameters()
    : MM(1), LDTS(static_cast<std::int32_t>(GetLocalTimeStamp()))
{
    RevisionNo = NewestRevision;
    BID = "AUXParams";
}

void TSorBlockAUXParameters::Assign(const TSorBlockAUXParameters& other)
{
    if (this != &other)
        *this = other;
}

void TSorBlockAUXParameters::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    // Fields the revision does not have are left at their defaults, also
    // when this object held a trace before.
    {
        const std::uint16_t revision = RevisionNo;
        const TString id = BID;
        *this = TSorBlockAUXParameters();
        RevisionNo = revision;
        BID = id;
    }
    const unsigned rev = RevisionNo;

    file->Read(Flags);
    if (rev >= 201) {
        file->Read(dOwt0);
        file->Read(dOwt1);
        file->Read(ATP0);
    }
    if (rev >= 202)
        file->Read(LFPO);

    std::int16_t tgi = 0;
    file->Read(tgi);
    TGI = 0;
    GI.clear();
    if (tgi > 0) {
        if (!HasRoom(file, static_cast<unsigned long>(tgi), gainIntervalBytes))
            return;
        GI.resize(static_cast<std::size_t>(tgi));
        TGI = tgi;
        for (auto& gi : GI) {
            file->Read(gi.GIU);
            file->Read(gi.NPGI);
        }
    }

    std::uint16_t tmm = 0;
    file->Read(tmm);
    TMM = 0;
    MM.clear();
    if (tmm > 0) {
        // Below revision 201 the first record is short; the others are not.
        const unsigned long bytes = rev < 201 ? TAUXMeasurementMode::ShortFileBytes
                                              : TAUXMeasurementMode::FileBytes;
        if (!HasRoom(file, tmm, bytes))
            return;
        MM.resize(tmm);
        TMM = tmm;
        for (std::size_t i = 0; i < MM.size(); ++i) {
            TAUXMeasurementMode& mode = MM[i];
            if (!(rev < 201 && i == 0)) {
                file->Read(mode.NPMM);
                file->Read(mode.AVMM);
            }
            file->Read(mode.PWU);
            file->Read(mode.BWU1);
            file->Read(mode.BWU2);
            file->Read(mode.GU);
            file->Read(mode.SER);
            std::uint16_t packed = static_cast<std::uint16_t>(mode.SUMC | (mode.TAKT << 8));
            file->Read(packed);
            mode.SUMC = static_cast<std::uint8_t>(packed & 0xFF);
            mode.TAKT = static_cast<std::uint8_t>(packed >> 8);
        }
    }

    file->Read(MAX);
    file->Read(ZERO);

    std::int16_t tmc = 0;
    file->Read(tmc);
    TMC = 0;
    MC.clear();
    if (tmc > 0) {
        if (!HasRoom(file, static_cast<unsigned long>(tmc), sizeof(std::int16_t)))
            return;
        MC.resize(static_cast<std::size_t>(tmc));
        TMC = tmc;
        for (auto& mc : MC)
            file->Read(mc);
    }

    file->Read(NT);
    file->Read(CT);
    file->Read(BT);
    std::uint16_t tnl = 0;
    file->Read(tnl);
    file->Read(SNL);
    file->Read(NASF);
    file->Read(NLSF);
    TNL = 0;
    NL.clear();
    if (tnl > 0) {
        if (!HasRoom(file, tnl, sizeof(std::uint16_t)))
            return;
        NL.resize(tnl);
        TNL = tnl;
        for (auto& nl : NL)
            file->Read(nl);
    }
    file->Read(COMM);

    if (rev >= 203) {
        file->Read(VLFL);
        std::int16_t tvl = 0;
        file->Read(tvl);
        TVL = 0;
        VL.clear();
        if (tvl > 0) {
            if (!HasRoom(file, static_cast<unsigned long>(tvl), vlRecordBytes))
                return;
            VL.resize(static_cast<std::size_t>(tvl));
            TVL = tvl;
            for (auto& vl : VL) {
                file->Read(vl.TypeEvent);
                file->Read(vl.PosInPoint);
            }
        }
    }
    if (rev >= 204)
        file->Read(TEMP);
    if (rev >= 205) {
        // The paths are dropped: narrow texts below 207, UTF-16 texts from
        // 207 on, walked in 16-bit units up to a zero unit.
        std::uint16_t tnwl = 0;
        file->Read(tnwl);
        for (unsigned i = 0; i < tnwl && file->Status == fsOk; ++i) {
            if (rev < 207) {
                TString path;
                file->Read(path);
            } else {
                std::uint16_t unit = 1;
                while (file->Status == fsOk) {
                    unit = 0;
                    file->Read(unit);
                    if (unit == 0)
                        break;
                }
            }
        }
        TNWL = 0;
        NWL.clear();
    }
    if (rev >= 206) {
        file->Read(FLevel10);
        if (FLevel10 > maxFilterLevel10)
            FLevel10 = 10;
    }
    if (rev >= 208)
        file->Read(TYP);
    if (rev >= 209)
        file->Read(LF);
    if (rev >= 210)
        file->Read(Xol);
    if (rev >= 211)
        file->Read(PWM);
    if (rev >= 212)
        ServiceInfo.Read(file);
    if (rev >= 213)
        file->Read(LDTS);
    else
        LDTS = -1;
    if (rev >= 214) {
        file->Read(NFL);
        file->Read(begLevel);
    }
    if (rev >= 215) {
        char bytes[16] = {};
        file->Read(bytes, sizeof bytes);
        for (std::size_t i = 0; i < Hash.size(); ++i)
            Hash[i] = static_cast<std::uint8_t>(bytes[i]);
    }
    if (rev >= 216) {
        std::int16_t scale = 0;
        file->Read(scale);
        if (scale != 0)
            Scale = scale;
    }
    if (rev >= 217)
        Pon.Read(file);
    if (rev >= 218) {
        file->Read(OffsetA);
        file->Read(OffsetB);
        file->Read(dM);
        file->Read(dMaux);
        file->Read(LevelLimit);
        file->Read(SQO0);
        file->Read(SQO1);
    }
    if (rev >= 219) {
        file->Read(SpanValue);
        SpanBegin.Read(file);
        SpanEnd.Read(file);
    }
    if (rev >= 220)
        file->Read(IntFiber);
    if (rev >= 221)
        file->Read(IntFiberFlag);
    // 222 and 223 added nothing.
    if (rev >= 224)
        Pon.Read2(file);
    if (rev >= 225) {
        file->Read(Job);
        file->Read(Group);
        file->Read(Direction);
        if (Direction > 1)
            Direction = 0;
    }
    if (rev >= 226)
        file->Read(LaserFreq);
    if (rev >= 227) {
        file->Read(PonType);
        file->Read(FirstSplitterRatio);
        file->Read(SecondSplitterRatio);
        if (PonType != 1 && PonType != 2)
            PonType = 0;
        Pon.enabled = PonType != 0 ? 1 : 0;
        Pon.stages = (FirstSplitterRatio >= 2 && SecondSplitterRatio > 1) ? 2 : 1;
        Pon.splitterType = std::max(FirstSplitterRatio, SecondSplitterRatio);
    } else if (rev >= 217) {
        // The older form has only PonParameters; the newer fields follow from
        // them. Done after the whole read, so that `stages` of part two
        // (224 to 226) counts.
        PonType = Pon.enabled;
        if (PonType != 1 && PonType != 2)
            PonType = 0;
        FirstSplitterRatio = Pon.splitterType;
        SecondSplitterRatio = Pon.stages >= 2 ? Pon.splitterType : 1;
    }
    if (rev >= 228)
        file->Read(ZeroCorrectApplied);
}

void TSorBlockAUXParameters::Write(TSorFile* file)
{
    WriteID(file);
    const unsigned rev = RevisionNo;

    // The counts follow the arrays, so that what is written agrees.
    TGI = countOf<std::int16_t>(GI);
    TMM = countOf<std::uint16_t>(MM);
    TMC = countOf<std::int16_t>(MC);
    TNL = countOf<std::uint16_t>(NL);
    TVL = countOf<std::int16_t>(VL);

    file->Write(Flags);
    if (rev >= 201) {
        file->Write(dOwt0);
        file->Write(dOwt1);
        file->Write(ATP0);
    }
    if (rev >= 202)
        file->Write(LFPO);
    file->Write(TGI);
    for (std::int16_t i = 0; i < TGI; ++i) {
        file->Write(GI[static_cast<std::size_t>(i)].GIU);
        file->Write(GI[static_cast<std::size_t>(i)].NPGI);
    }
    file->Write(TMM);
    for (std::size_t i = 0; i < TMM; ++i) {
        const TAUXMeasurementMode& mode = MM[i];
        if (!(rev < 201 && i == 0)) {
            file->Write(mode.NPMM);
            file->Write(mode.AVMM);
        }
        file->Write(mode.PWU);
        file->Write(mode.BWU1);
        file->Write(mode.BWU2);
        file->Write(mode.GU);
        file->Write(mode.SER);
        file->Write(static_cast<std::uint16_t>(mode.SUMC | (mode.TAKT << 8)));
    }
    file->Write(MAX);
    file->Write(ZERO);
    file->Write(TMC);
    for (std::int16_t i = 0; i < TMC; ++i)
        file->Write(MC[static_cast<std::size_t>(i)]);
    file->Write(NT);
    file->Write(CT);
    file->Write(BT);
    file->Write(TNL);
    file->Write(SNL);
    file->Write(NASF);
    file->Write(NLSF);
    for (std::size_t i = 0; i < TNL; ++i)
        file->Write(NL[i]);
    file->Write(COMM);
    if (rev >= 203) {
        file->Write(VLFL);
        file->Write(TVL);
        for (std::int16_t i = 0; i < TVL; ++i) {
            file->Write(VL[static_cast<std::size_t>(i)].TypeEvent);
            file->Write(VL[static_cast<std::size_t>(i)].PosInPoint);
        }
    }
    if (rev >= 204)
        file->Write(TEMP);
    if (rev >= 205)
        file->Write(std::uint16_t{0});  // the paths are never written
    if (rev >= 206)
        file->Write(FLevel10);
    if (rev >= 208)
        file->Write(TYP);
    if (rev >= 209)
        file->Write(LF);
    if (rev >= 210)
        file->Write(Xol);
    if (rev >= 211)
        file->Write(PWM);
    if (rev >= 212)
        ServiceInfo.Write(file);
    if (rev >= 213)
        file->Write(LDTS);
    if (rev >= 214) {
        file->Write(NFL);
        file->Write(begLevel);
    }
    if (rev >= 215)
        file->WriteBuf(reinterpret_cast<const char*>(Hash.data()), Hash.size());
    if (rev >= 216)
        file->Write(Scale);
    if (rev >= 217)
        Pon.Write(file);
    if (rev >= 218) {
        file->Write(OffsetA);
        file->Write(OffsetB);
        file->Write(dM);
        file->Write(dMaux);
        file->Write(LevelLimit);
        file->Write(SQO0);
        file->Write(SQO1);
    }
    if (rev >= 219) {
        file->Write(SpanValue);
        SpanBegin.Write(file);
        SpanEnd.Write(file);
    }
    if (rev >= 220)
        file->Write(IntFiber);
    if (rev >= 221)
        file->Write(IntFiberFlag);
    if (rev >= 224)
        Pon.Write2(file);
    if (rev >= 225) {
        file->Write(Job);
        file->Write(Group);
        file->Write(Direction);
    }
    if (rev >= 226)
        file->Write(LaserFreq);
    if (rev >= 227) {
        file->Write(PonType);
        file->Write(FirstSplitterRatio);
        file->Write(SecondSplitterRatio);
    }
    if (rev >= 228)
        file->Write(ZeroCorrectApplied);
}

void TSorBlockAUXParameters::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "RevisionNo = %hu\n", RevisionNo);
    std::fprintf(out, "Flags = 0x%04hX\n", static_cast<std::uint16_t>(Flags));
    std::fprintf(out, "dOwt0 = %hd\t dOwt1 = %hd\n", dOwt0, dOwt1);
    std::fprintf(out, "ATP0 = %hu\n", ATP0);
    std::fprintf(out, "LFPO = %hu\n", LFPO);
    std::fprintf(out, "TGI = %hd\n", TGI);
    for (const auto& gi : GI)
        std::fprintf(out, "GIU = %ld\t NPGI = %ld\n", static_cast<long>(gi.GIU), static_cast<long>(gi.NPGI));
    std::fprintf(out, "TMM = %hu\n", TMM);
    for (const auto& mode : MM) {
        DampSeparator(out);
        std::fprintf(out, "NPMM = %ld\t AVMM = %ld\n", static_cast<long>(mode.NPMM), static_cast<long>(mode.AVMM));
        std::fprintf(out, "PWU = %hd\t BWU1 = %hd\t BWU2 = %hd\t GU = %hd\t SER = %hd\n", mode.PWU, mode.BWU1,
                     mode.BWU2, mode.GU, mode.SER);
        std::fprintf(out, "SUMC = %u\t TAKT = %u\n", static_cast<unsigned>(mode.SUMC),
                     static_cast<unsigned>(mode.TAKT));
    }
    if (!MM.empty())
        DampSeparator(out);
    std::fprintf(out, "MAX = %hu\n", MAX);
    std::fprintf(out, "ZERO = %hu\n", ZERO);
    std::fprintf(out, "TMC = %hd\n", TMC);
    for (std::int16_t mc : MC)
        std::fprintf(out, "MC = %hd\n", mc);
    std::fprintf(out, "NT = %hu\t CT = %hu\t BT = %hu\n", NT, CT, BT);
    std::fprintf(out, "TNL = %hu\n", TNL);
    std::fprintf(out, "SNL = %hu\t NASF = %hu\t NLSF = %hu\n", SNL, NASF, NLSF);
    for (std::uint16_t nl : NL)
        std::fprintf(out, "NAVR = %u\t SNR = %u\n", nl & 0xFFu, static_cast<unsigned>(nl >> 8));
    std::fprintf(out, "COMM = '%s'\n", COMM.data);
    std::fprintf(out, "VLFL = %hd\n", VLFL);
    std::fprintf(out, "TVL = %hd\n", TVL);
    for (const auto& vl : VL)
        std::fprintf(out, "TypeEvent = %hd\t PosInPoint = %hd\n", vl.TypeEvent, vl.PosInPoint);
    std::fprintf(out, "TEMP = %hu\n", TEMP);
    std::fprintf(out, "TNWL = %hu\n", TNWL);
    for (const auto& path : NWL)
        std::fprintf(out, "path = '%s'\n", path.data);
    std::fprintf(out, "FLevel*10 = %hd\n", FLevel10);
    std::fprintf(out, "TYP = '%s'\n", TYP.data);
    std::fprintf(out, "LF = %hu\n", LF);
    std::fprintf(out, "Xol = %hu\n", Xol);
    std::fprintf(out, "PWM = %hd\n", PWM);
    ServiceInfo.Damp(out);
    std::fprintf(out, "LDTS = %ld\n", static_cast<long>(LDTS));
    std::fprintf(out, "NFL = %hd\t begLevel = %hd\n", NFL, begLevel);
    std::fprintf(out, "hash = ");
    for (std::uint8_t b : Hash)
        std::fprintf(out, "%02X", static_cast<unsigned>(b));
    std::fprintf(out, "\n");
    std::fprintf(out, "Scale = %hd\n", Scale);
    Pon.Damp(out);
    std::fprintf(out, "OffsetA = %hd\t OffsetB = %hd\n", OffsetA, OffsetB);
    std::fprintf(out, "dM = %hu\t dMaux = %hu\n", dM, dMaux);
    std::fprintf(out, "LevelLimit = %hu\n", LevelLimit);
    std::fprintf(out, "SQO0 = %hu\t SQO1 = %hu\n", SQO0, SQO1);
    std::fprintf(out, "SpanValue = %ld\n", static_cast<long>(SpanValue));
    SpanBegin.Damp(out, "Begin");
    SpanEnd.Damp(out, "End");
    std::fprintf(out, "IntFiber = %ld\n", static_cast<long>(IntFiber));
    std::fprintf(out, "IntFiberFlag = %hd\n", IntFiberFlag);
    std::fprintf(out, "Job = '%s'\n", Job.data);
    std::fprintf(out, "Group = '%s'\n", Group.data);
    std::fprintf(out, "Direction = %u\n", Direction);
    std::fprintf(out, "LaserFreq = %hu\n", LaserFreq);
    std::fprintf(out, "PonType = %u\n", PonType);
    std::fprintf(out, "FirstSplitterRatio = %u\t SecondSplitterRatio = %u\n", FirstSplitterRatio,
                 SecondSplitterRatio);
    std::fprintf(out, "ZeroCorrectApplied = %hu\n", ZeroCorrectApplied);
}

void TSorBlockAUXParameters::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("Flags", Flags);
    visitor.Int("dOwt0", dOwt0);
    visitor.Int("dOwt1", dOwt1);
    visitor.Int("ATP0", ATP0);
    visitor.Int("LFPO", LFPO);
    visitor.Int("TGI", TGI);
    visitor.BeginList("GI");
    for (const auto& gi : GI) {
        visitor.BeginRecord(nullptr);
        visitor.Int("GIU", gi.GIU);
        visitor.Int("NPGI", gi.NPGI);
        visitor.EndRecord();
    }
    visitor.EndList();
    visitor.Int("TMM", TMM);
    visitor.BeginList("MM");
    for (const auto& mode : MM) {
        visitor.BeginRecord(nullptr);
        visitor.Int("NPMM", mode.NPMM);
        visitor.Int("AVMM", mode.AVMM);
        visitor.Int("PWU", mode.PWU);
        visitor.Int("BWU1", mode.BWU1);
        visitor.Int("BWU2", mode.BWU2);
        visitor.Int("GU", mode.GU);
        visitor.Int("SER", mode.SER);
        visitor.Int("SUMC", mode.SUMC);
        visitor.Int("TAKT", mode.TAKT);
        visitor.EndRecord();
    }
    visitor.EndList();
    visitor.Int("MAX", MAX);
    visitor.Int("ZERO", ZERO);
    visitor.Int("TMC", TMC);
    visitor.BeginList("MC");
    for (std::int16_t mc : MC)
        visitor.Int(nullptr, mc);
    visitor.EndList();
    visitor.Int("NT", NT);
    visitor.Int("CT", CT);
    visitor.Int("BT", BT);
    visitor.Int("TNL", TNL);
    visitor.Int("SNL", SNL);
    visitor.Int("NASF", NASF);
    visitor.Int("NLSF", NLSF);
    visitor.BeginList("NL");
    for (std::uint16_t nl : NL) {
        visitor.BeginRecord(nullptr);
        visitor.Int("NAVR", nl & 0xFF);
        visitor.Int("SNR", nl >> 8);
        visitor.EndRecord();
    }
    visitor.EndList();
    visitor.Text("COMM", COMM);
    visitor.Int("VLFL", VLFL);
    visitor.Int("TVL", TVL);
    visitor.BeginList("VL");
    for (const auto& vl : VL) {
        visitor.BeginRecord(nullptr);
        visitor.Int("TypeEvent", vl.TypeEvent);
        visitor.Int("PosInPoint", vl.PosInPoint);
        visitor.EndRecord();
    }
    visitor.EndList();
    visitor.Int("TEMP", TEMP);
    visitor.Int("TNWL", TNWL);
    visitor.BeginList("NWL");
    for (const auto& path : NWL)
        visitor.Text(nullptr, path);
    visitor.EndList();
    visitor.Int("FLevel*10", FLevel10);
    visitor.Text("TYP", TYP);
    visitor.Int("LF", LF);
    visitor.Int("Xol", Xol);
    visitor.Int("PWM", PWM);
    visitor.BeginRecord("ServiceInfo");
    ServiceInfo.Fields(visitor);
    visitor.EndRecord();
    visitor.Int("LDTS", LDTS);
    visitor.Int("NFL", NFL);
    visitor.Int("begLevel", begLevel);
    visitor.Bytes("hash", reinterpret_cast<const char*>(Hash.data()), Hash.size());
    visitor.Int("Scale", Scale);
    visitor.BeginRecord("PonParameters");
    visitor.Int("enabled", Pon.enabled);
    visitor.Int("splitterType", Pon.splitterType);
    visitor.EndRecord();
    visitor.Int("OffsetA", OffsetA);
    visitor.Int("OffsetB", OffsetB);
    visitor.Int("dM", dM);
    visitor.Int("dMaux", dMaux);
    visitor.Int("LevelLimit", LevelLimit);
    visitor.Int("SQO0", SQO0);
    visitor.Int("SQO1", SQO1);
    visitor.Int("SpanValue", SpanValue);
    visitor.BeginRecord("SpanBegin");
    SpanBegin.Fields(visitor);
    visitor.EndRecord();
    visitor.BeginRecord("SpanEnd");
    SpanEnd.Fields(visitor);
    visitor.EndRecord();
    visitor.Int("IntFiber", IntFiber);
    visitor.Int("IntFiberFlag", IntFiberFlag);
    visitor.BeginRecord("PonParameters2");
    visitor.Int("length2", Pon.length2);
    visitor.Int("stages", Pon.stages);
    visitor.EndRecord();
    visitor.Text("Job", Job);
    visitor.Text("Group", Group);
    visitor.Int("Direction", Direction);
    visitor.Int("LaserFreq", LaserFreq);
    visitor.Int("PonType", PonType);
    visitor.Int("FirstSplitterRatio", FirstSplitterRatio);
    visitor.Int("SecondSplitterRatio", SecondSplitterRatio);
    visitor.Int("ZeroCorrectApplied", ZeroCorrectApplied);
}

// ---- Flags ----

void TSorBlockAUXParameters::setFlag(int bit, int on)
{
    auto bits = static_cast<std::uint16_t>(Flags);
    const auto mask = static_cast<std::uint16_t>(1u << bit);
    bits = static_cast<std::uint16_t>(on != 0 ? (bits | mask) : (bits & ~mask));
    Flags = static_cast<std::int16_t>(bits);
}

void TSorBlockAUXParameters::SetFilterLevel(double level, int dyn)
{
    auto bits = static_cast<std::uint16_t>(static_cast<std::uint16_t>(Flags) & ~0x0070u);
    if (dyn != 0)
        bits = static_cast<std::uint16_t>(bits | 0x0010u);
    FLevel10 = truncSaturated<std::int16_t>(level * 10.0 + 0.5);
    if (level >= 1.5)
        bits = static_cast<std::uint16_t>(bits | 0x0040u);
    else if (level >= 0.9)
        bits = static_cast<std::uint16_t>(bits | 0x0020u);
    Flags = static_cast<std::int16_t>(bits);
}

double TSorBlockAUXParameters::GetFilterLevel() const
{
    if (FLevel10 != 0)
        return FLevel10 * 0.1;
    return static_cast<double>(((static_cast<std::uint16_t>(Flags) >> 5) & 3u) + 1u);
}

int TSorBlockAUXParameters::GetNegScale() const
{
    return static_cast<int>((static_cast<std::uint16_t>(Flags) >> 12) & 3u) + 1;
}

void TSorBlockAUXParameters::SetNegScale(int v)
{
    const auto code = static_cast<std::uint16_t>(std::clamp(v, 0, 3));
    auto bits = static_cast<std::uint16_t>(static_cast<std::uint16_t>(Flags) & ~0x3000u);
    bits = static_cast<std::uint16_t>(bits | (code << 12));
    Flags = static_cast<std::int16_t>(bits);
}

// ---- scalars ----

double TSorBlockAUXParameters::fZero() const
{
    return ZERO / 65535.0;
}

void TSorBlockAUXParameters::SetSQO(double a, double b)
{
    SQO0 = truncSaturated<std::uint16_t>(a * 100.0 + 0.5);
    SQO1 = truncSaturated<std::uint16_t>(b * 100.0 + 0.5);
}

double TSorBlockAUXParameters::GetSQO(int i) const
{
    if (i == 0)
        return SQO0 * 0.01;
    if (i == 1)
        return SQO1 * 0.01;
    return 0.0;
}

double TSorBlockAUXParameters::GetLF() const
{
    if ((LF & 0x8000u) != 0)
        return std::pow(10.0, (LF & 0x7FFFu) / 5000.0);
    return LF * 0.0001;
}

void TSorBlockAUXParameters::SetLF(double v)
{
    if (v >= 3.0) {
        // trunc(log10(v) * 5000 + 0.5) - 32768 in 16 bits is the code with
        // the top bit set; held to the 15 bits so that the top bit stays.
        const auto code = truncSaturated<std::uint16_t>(std::log10(v) * 5000.0 + 0.5);
        LF = static_cast<std::uint16_t>(0x8000u | std::min<unsigned>(code, 0x7FFFu));
    } else {
        LF = truncSaturated<std::uint16_t>(v * 10000.0 + 0.5);
    }
}

// ---- noise records ----

int TSorBlockAUXParameters::GetNL(std::uint16_t count, std::uint16_t& level, long& avr) const
{
    const std::size_t n = std::min({static_cast<std::size_t>(TNL), static_cast<std::size_t>(count), NL.size()});
    long a = 0;
    // The SNR bytes add up unsigned in 16 bits, and only the sum is signed:
    // files were written that way, so a byte 0x80 counts as +128.
    std::uint16_t snr = 0;
    for (std::size_t i = 0; i < n; ++i) {
        a += NL[i] & 0xFF;
        snr = static_cast<std::uint16_t>(snr + (NL[i] >> 8));
    }
    const long d = static_cast<long>(NLSF) * static_cast<std::int16_t>(snr);
    avr = a * static_cast<long>(NASF);
    const long limit = static_cast<long>(std::trunc(std::sqrt(static_cast<double>(a) + 1.0) * 750.0)) + 5000;
    if (d < limit && d > -5000) {
        level = static_cast<std::uint16_t>(SNL + d);
        return 0;
    }
    level = SNL;
    return 1;
}

void TSorBlockAUXParameters::AddNL(std::uint16_t level, long avr)
{
    std::uint16_t lastLevel = 0;
    long lastAvr = 0;
    GetNL(TNL, lastLevel, lastAvr);
    // A block from a file may carry zero scale factors; a step of one unit
    // per count keeps the division defined.
    const long nlsf = NLSF != 0 ? NLSF : 1;
    const long nasf = NASF != 0 ? NASF : 1;
    const long d = (static_cast<long>(level) - static_cast<long>(lastLevel)) / nlsf;
    const long e = (avr - lastAvr) / nasf;
    // Fillers carry what does not fit in one byte. As files have always been
    // written, a d of exactly 127 or -128 gets neither a filler nor a
    // remainder.
    const long dFillers = d > 127 ? d / 127 : (d < -128 ? -(d / 128) : 0);
    const long eFillers = e / 127;
    const long k = std::max({dFillers, eFillers, 0L});
    // TNL is 16 bits: a step that needs more records than are left is not stored.
    if (NL.size() + static_cast<std::size_t>(k) + 1 > 0xFFFFu)
        return;
    for (long j = 0; j < k; ++j) {
        const unsigned navr = j < eFillers ? 127u : 0u;
        const unsigned snr = j < dFillers ? (d < 0 ? 0x80u : 127u) : 0u;
        NL.push_back(static_cast<std::uint16_t>((snr << 8) | navr));
    }
    const auto navr = static_cast<std::uint8_t>(e % 127);
    const auto snr = static_cast<std::uint8_t>(d > 0 ? d % 127 : d % 128);
    NL.push_back(static_cast<std::uint16_t>((snr << 8) | navr));
    TNL = static_cast<std::uint16_t>(NL.size());
}

double TSorBlockAUXParameters::GetSNR() const
{
    std::uint16_t level = 0;
    long avr = 0;
    GetNL(TNL, level, avr);
    return level / 1000.0;
}

double TSorBlockAUXParameters::GetNoisePeak() const
{
    return 2.4 - GetSNR();
}

// ---- the log scale ----

double TSorBlockAUXParameters::GetLogBase() const
{
    return -static_cast<double>(MAX) * Scale * 1e-6;
}

float TSorBlockAUXParameters::GetfLogBase() const
{
    return -static_cast<float>(MAX) * static_cast<float>(Scale) * 1e-6f;
}

double TSorBlockAUXParameters::Log5(double x, double k)
{
    if (std::fabs(x) <= 2.0)
        return x * log5Slope * k;
    const double l = k * flog5t(static_cast<float>(std::fabs(x)));
    return x < 0.0 ? -l : l;
}

float TSorBlockAUXParameters::Log5(float x, float k)
{
    if (std::fabs(x) <= 2.0f)
        return x * log5fSlope * k;
    const float l = k * flog5t(std::fabs(x));
    return x < 0.0f ? -l : l;
}

double TSorBlockAUXParameters::Log5ToLin(double level, int raw) const
{
    double t = level - GetLogBase();
    if (raw == 0 && t < 0.0)
        t *= GetNegScale();
    const double u = t * log5InverseSlope;
    if (std::fabs(u) <= 2.0)
        return u;
    return t >= 0.0 ? poww(t) : -poww(-t);
}

float TSorBlockAUXParameters::Log5ToLin(float level, int raw) const
{
    float t = level - GetfLogBase();
    if (raw == 0 && t < 0.0f)
        t *= static_cast<float>(GetNegScale());
    const float u = t * log5fInverseSlope;
    if (std::fabs(u) <= 2.0f)
        return u;
    return static_cast<float>(t >= 0.0f ? poww(t) : -poww(-t));
}

void TSorBlockAUXParameters::Log5ToLinArray(const float* levels, float* out, long n) const
{
    detail::Log5ToLinBatch(levels, out, n, GetfLogBase(), static_cast<float>(GetNegScale()), log5fInverseSlope);
}

double TSorBlockAUXParameters::LinToLog5(double x) const
{
    double l = Log5(x, 1.0);
    if (l < 0.0)
        l /= GetNegScale();
    l += GetLogBase();
    return l > 0.0 ? 0.0 : l;
}

float TSorBlockAUXParameters::LinToLog5(float x) const
{
    float l = Log5(x, 1.0f);
    if (l < 0.0f)
        l /= static_cast<float>(GetNegScale());
    l += GetfLogBase();
    return l > 0.0f ? 0.0f : l;
}

double TSorBlockAUXParameters::NLogToLog(double level) const
{
    const double b = GetLogBase();
    return level < b ? b + (level - b) * GetNegScale() : level;
}

float TSorBlockAUXParameters::NLogToLog(float level) const
{
    const float b = GetfLogBase();
    return level < b ? b + (level - b) * static_cast<float>(GetNegScale()) : level;
}

double TSorBlockAUXParameters::NLogToPLog(double level) const
{
    const double b = GetLogBase();
    return level < b ? 2.0 * b - NLogToLog(level) : level;
}

float TSorBlockAUXParameters::NLogToPLog(float level) const
{
    const float b = GetfLogBase();
    return level < b ? 2.0f * b - NLogToLog(level) : level;
}

double TSorBlockAUXParameters::fPow5(double level) const
{
    const double r = Log5ToLin(level, 0) / std::pow(10.0, -GetLogBase() / 5.0);
    const double zero = fZero();
    return r * (1.0 - zero) + zero;
}

double TSorBlockAUXParameters::fPow5(std::uint16_t raw) const
{
    return fPow5(raw / -1000.0);
}

void TSorBlockAUXParameters::LinfToLog(const float* lin, TSorBlockDataPoints& points) const
{
    assert(points.GetSubBlocksNum() == 1);
    const long sf = points.GetPointsSubBlockScaleFactor(0);
    if (lin == nullptr || sf <= 0)
        return;
    const long K = 100000 / sf;          // raw units per 5 x log10 step of log500k
    const long N = GetNegScale();
    const long S = log500k(2.0f);
    const long n = points.GetPointsNum();
    for (long i = 0; i < n; ++i) {
        const float a = lin[i];
        long raw = MAX;  // NaN stands for the zero of the scale
        if (a > -1.0f && a < 1.0f) {
            // S / D in whole numbers, as the raw scale has them.
            const long D = a >= 0.0f ? K : N * K;
            raw = static_cast<long>(std::trunc(static_cast<double>(MAX) - static_cast<double>(a) * (S / D)));
        } else if (a <= -1.0f) {
            raw = MAX + log500k(-a) / (N * K);
        } else if (a >= 1.0f) {
            raw = MAX - (log500k(a) + K / 2) / K;
        }
        raw = std::clamp(raw, 0L, 65535L);
        points.SetRawLevel(i, static_cast<std::uint16_t>(raw));
    }
}

// ---- arrays ----

void TSorBlockAUXParameters::SetTGI(std::int16_t n)
{
    GI.assign(n > 0 ? static_cast<std::size_t>(n) : 0, TAUXGainInterval{});
    TGI = countOf<std::int16_t>(GI);
}

void TSorBlockAUXParameters::SetTVL(std::int16_t n)
{
    VL.assign(n > 0 ? static_cast<std::size_t>(n) : 0, TAUXVLRecord{});
    TVL = countOf<std::int16_t>(VL);
}

void TSorBlockAUXParameters::SetTMC(std::int16_t n)
{
    MC.assign(n > 0 ? static_cast<std::size_t>(n) : 0, 0);
    TMC = countOf<std::int16_t>(MC);
}

void TSorBlockAUXParameters::SetTNL(std::uint16_t n)
{
    NL.assign(n, 0);
    TNL = n;
}

void TSorBlockAUXParameters::SetTNWL(std::uint16_t n)
{
    NWL.assign(n, TString());
    TNWL = n;
}

void TSorBlockAUXParameters::ReNewMM(std::int16_t n)
{
    const std::size_t wanted = n > 0 ? static_cast<std::size_t>(n) : 0;
    if (wanted == TMM && wanted == MM.size())
        return;
    MM.assign(wanted, TAUXMeasurementMode{});
    TMM = static_cast<std::uint16_t>(wanted);
}

// ---- the stored hash ----

std::vector<unsigned char> TSorBlockAUXParameters::GetHash() const
{
    const bool none = std::all_of(Hash.begin(), Hash.end(), [](std::uint8_t b) { return b == 0; });
    if (none)
        return {};
    return std::vector<unsigned char>(Hash.begin(), Hash.end());
}

void TSorBlockAUXParameters::SetHash(const std::vector<unsigned char>& hash)
{
    Hash.fill(0);
    std::copy_n(hash.begin(), std::min(hash.size(), Hash.size()), Hash.begin());
}

void TSorBlockAUXParameters::ReadAssociatedFilesPathsIfRequired(TSorFile* file)
{
    if (file == nullptr || RevisionNo < 205)
        return;
    std::uint16_t count = 0;
    file->Read(count);
    NWL.clear();
    TNWL = 0;
    const bool wide = RevisionNo >= 207;
    // A narrow text takes at least its NUL, a wide one its two zero bytes.
    if (!HasRoom(file, count, wide ? 2 : 1))
        return;
    NWL.resize(count);
    TNWL = count;
    for (auto& path : NWL) {
        if (file->Status != fsOk)
            break;
        if (wide)
            file->SkipUtf16String();
        else
            file->Read(path);
    }
}
