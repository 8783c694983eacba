#include "sor/sor-block-fixed-parameters.h"

#include <cassert>
#include <cmath>
#include <limits>

#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"
#include "util/saturating-cast.h"
#include "util/time-util.h"

namespace {

constexpr unsigned int codeWidth = 2;              // UD and TT
constexpr unsigned long segmentBytes = 2 + 4 + 4;  // one PWU, DS and NPPW in the file
constexpr double dsScale = 10000.0;                // DS counts 1/10000 of 100 ps
constexpr double lightSpeed = 299792.5;            // km/s, the constant of every distance in the system
constexpr double giScale = 1e-5;                   // GI is the group index x 100000
constexpr double owtUnit = 1e-10;                  // one OWT unit is 100 ps

// Sums of point counts are taken in 64 bits: a long has 32 on the instrument,
// and a hostile file may hold counts that overflow it.
long toLong(std::int64_t value)
{
    if (value > std::numeric_limits<long>::max())
        return std::numeric_limits<long>::max();
    if (value < std::numeric_limits<long>::min())
        return std::numeric_limits<long>::min();
    return static_cast<long>(value);
}

} // namespace

TSorBlockFixedParameters::TSorBlockFixedParameters() : UD("km"), TT("ST")
{
    RevisionNo = 209;
    BID = "FxdParams";
    DTS = static_cast<std::int32_t>(GetUTCTimeStamp());
    // TPW segments of which only the first is set; a measurement sets its own.
    PWU = {10, 0, 0};
    DS = {10, 0, 0};
    NPPW = {10, 0, 0};
}

void TSorBlockFixedParameters::Assign(const TSorBlockFixedParameters& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    BC = other.BC;
    GI = other.GI;
    NF = other.NF;
    LT = other.LT;
    RT = other.RT;
    ET = other.ET;
    NFSF = other.NFSF;
    DTS = other.DTS;
    UD = other.UD;
    AW = other.AW;
    AO = other.AO;
    AOD = other.AOD;
    SetTPW(other.TPW);
    PWU = other.PWU;
    DS = other.DS;
    NPPW = other.NPPW;
    NAV = other.NAV;
    AT = other.AT;
    AR = other.AR;
    ARD = other.ARD;
    FPO = other.FPO;
    PO = other.PO;
    TT = other.TT;
    WC0 = other.WC0;
    WC1 = other.WC1;
    WC2 = other.WC2;
    WC3 = other.WC3;
}

void TSorBlockFixedParameters::SetTPW(std::int16_t n)
{
    if (n == TPW)
        return;
    TPW = n;
    const std::size_t size = n > 0 ? static_cast<std::size_t>(n) : 0;
    PWU.assign(size, 0);
    DS.assign(size, 0);
    NPPW.assign(size, 0);
}

int TSorBlockFixedParameters::segmentCount() const
{
    const std::size_t size = TPW > 0 ? static_cast<std::size_t>(TPW) : 0;
    assert(PWU.size() == size && DS.size() == size && NPPW.size() == size);
    return static_cast<int>(size);
}

void TSorBlockFixedParameters::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    const bool secondEdition = RevisionNo > 199;
    file->Read(DTS);
    file->Read(UD, codeWidth);
    file->Read(AW);
    file->Read(AO);
    if (secondEdition)
        file->Read(AOD);
    std::int16_t segments = TPW;
    file->Read(segments);
    if (file->Status != fsOk)
        return;
    if (!HasRoom(file, segments > 0 ? static_cast<unsigned long>(segments) : 0, segmentBytes))
        return;
    SetTPW(segments);
    for (std::int16_t& width : PWU)
        file->Read(width);
    for (std::int32_t& spacing : DS)
        file->Read(spacing);
    for (std::int32_t& points : NPPW)
        file->Read(points);
    file->Read(GI);
    file->Read(BC);
    file->Read(NAV);
    if (secondEdition)
        file->Read(AT);
    file->Read(AR);
    if (secondEdition)
        file->Read(ARD);
    file->Read(FPO);
    file->Read(NF);
    file->Read(NFSF);
    file->Read(PO);
    file->Read(LT);
    file->Read(RT);
    file->Read(ET);
    if (secondEdition) {
        file->Read(TT, codeWidth);
        file->Read(WC0);
        file->Read(WC1);
        file->Read(WC2);
        file->Read(WC3);
    }
}

void TSorBlockFixedParameters::Write(TSorFile* file)
{
    WriteID(file);
    const bool secondEdition = RevisionNo > 199;
    const int segments = segmentCount();
    file->Write(DTS);
    file->Write(UD, codeWidth);
    file->Write(AW);
    file->Write(AO);
    if (secondEdition)
        file->Write(AOD);
    file->Write(TPW);
    for (int i = 0; i < segments; ++i)
        file->Write(PWU[i]);
    for (int i = 0; i < segments; ++i)
        file->Write(DS[i]);
    for (int i = 0; i < segments; ++i)
        file->Write(NPPW[i]);
    file->Write(GI);
    file->Write(BC);
    file->Write(NAV);
    if (secondEdition)
        file->Write(AT);
    file->Write(AR);
    if (secondEdition)
        file->Write(ARD);
    file->Write(FPO);
    file->Write(NF);
    file->Write(NFSF);
    file->Write(PO);
    file->Write(LT);
    file->Write(RT);
    file->Write(ET);
    if (secondEdition) {
        file->Write(TT, codeWidth);
        file->Write(WC0);
        file->Write(WC1);
        file->Write(WC2);
        file->Write(WC3);
    }
}

long TSorBlockFixedParameters::GetTotalPinPW() const
{
    std::int64_t total = 0;
    for (int i = 0, n = segmentCount(); i < n; ++i)
        total += NPPW[i];
    return toLong(total);
}

int TSorBlockFixedParameters::NumToNPW(long n) const
{
    const int segments = segmentCount();
    if (segments == 0)
        return TPW - 1;
    std::int64_t end = 0;
    for (int i = 0; i < segments; ++i) {
        end += NPPW[i];
        if (n < end)
            return i;
    }
    return segments - 1;
}

double TSorBlockFixedParameters::GetOwtDataOffset() const
{
    return AO != 0 ? static_cast<double>(AO) : -static_cast<double>(FPO);
}

double TSorBlockFixedParameters::NumToOwt(long n) const
{
    double owt = GetOwtDataOffset();
    std::int64_t remaining = n;
    for (int i = 0, segments = segmentCount(); i < segments; ++i) {
        const double step = DS[i] / dsScale;
        if (remaining < NPPW[i])
            return owt + step * static_cast<double>(remaining);
        owt += step * NPPW[i];
        remaining -= NPPW[i];
    }
    return owt;  // at or past the end: the time of the end, not extrapolated
}

double TSorBlockFixedParameters::GetMinOwt() const
{
    return NumToOwt(0);
}

double TSorBlockFixedParameters::GetMaxOwt() const
{
    return NumToOwt(GetTotalPinPW());
}

double TSorBlockFixedParameters::OwtTofNum(double owt) const
{
    if (owt < GetMinOwt())
        return -1.0;
    if (owt > GetMaxOwt())
        return static_cast<double>(GetTotalPinPW());
    const int segments = segmentCount();
    if (segments == 0)
        return 0.0;
    double remaining = owt - GetOwtDataOffset();
    double points = 0.0;
    for (int i = 0; i < segments; ++i) {
        const double step = DS[i] / dsScale;
        const double span = step * NPPW[i];
        // A segment that the time fills exactly is consumed, so a boundary
        // time counts to the next segment, as NumToOwt counts points. A
        // segment without spacing (only in a broken file) cannot hold the
        // rest and is passed over.
        if (span <= remaining || step == 0.0) {
            remaining -= span;
            points += NPPW[i];
        } else {
            return points + remaining / step;
        }
    }
    return points;
}

double TSorBlockFixedParameters::dOwtTodNum(long n, double dOwt) const
{
    if (segmentCount() == 0)
        return 0.0;
    const double step = DS[NumToNPW(n)] / dsScale;
    // Callers truncate the answer to a point count, which an infinity cannot give.
    if (step == 0.0)
        return 0.0;
    return dOwt / step;
}

double TSorBlockFixedParameters::LenDS() const
{
    if (segmentCount() == 0 || GI == 0)
        return 0.0;
    return DS[0] / dsScale * (lightSpeed / (GI * giScale)) * owtUnit;
}

double TSorBlockFixedParameters::GetNsPulse(double owt) const
{
    if (segmentCount() == 0)
        return 0.0;
    // The whole part of the point, held in range even for a NaN time.
    return PWU[NumToNPW(truncSaturated<long>(OwtTofNum(owt)))];
}

double TSorBlockFixedParameters::GetNF() const
{
    if (NFSF != 0)
        return -static_cast<double>(NF) * NFSF * 1e-6;
    return NF / -1000.0;
}

void TSorBlockFixedParameters::SetNF(double level)
{
    if (level < -65.535)
        NFSF = truncSaturated<std::int16_t>(level / -65.0 * 1000.0);
    if (NFSF == 0)
        NFSF = 1000;
    NF = truncSaturated<std::uint16_t>(-level / NFSF * 1e6);
}

TString TSorBlockFixedParameters::GetDateTimeStr() const
{
    return TString(FormatTimeStamp(DTS).c_str());
}

void TSorBlockFixedParameters::Damp(FILE* out) const
{
    DampHeader(out);
    const int segments = segmentCount();
    std::fprintf(out, "DTS  = %ld =%s\n", static_cast<long>(DTS), GetDateTimeStr().data);
    std::fprintf(out, "UD   = '%s'\n", UD.data);
    std::fprintf(out, "AW   = %hd\n", AW);
    std::fprintf(out, "AO   = %ld\n", static_cast<long>(AO));
    std::fprintf(out, "AOD  = %ld\n", static_cast<long>(AOD));
    std::fprintf(out, "TPW  = %hd\n", TPW);
    for (int i = 0; i < segments; ++i)
        std::fprintf(out, "PWU[%d] = %hd\t DS[%d] = %ld\t NPPW[%d] = %ld\n", i, PWU[i], i,
                     static_cast<long>(DS[i]), i, static_cast<long>(NPPW[i]));
    std::fprintf(out, "GI   = %ld\n", static_cast<long>(GI));
    std::fprintf(out, "BC   = %hd\n", BC);
    std::fprintf(out, "NAV  = %ld\n", static_cast<long>(NAV));
    std::fprintf(out, "AT   = %hu\n", AT);
    std::fprintf(out, "AR   = %ld\n", static_cast<long>(AR));
    std::fprintf(out, "ARD  = %ld\n", static_cast<long>(ARD));
    std::fprintf(out, "FPO  = %ld\n", static_cast<long>(FPO));
    std::fprintf(out, "NF   = %hu\n", NF);
    std::fprintf(out, "NFSF = %hd\n", NFSF);
    std::fprintf(out, "PO   = %hu\n", PO);
    std::fprintf(out, "LT   = %hu\n", LT);
    std::fprintf(out, "RT   = %hu\n", RT);
    std::fprintf(out, "ET   = %hu\n", ET);
    std::fprintf(out, "TT   = '%s'\n", TT.data);
    std::fprintf(out, "WC0  = %ld\t WC1 = %ld\t WC2 = %ld\t WC3 = %ld\n", static_cast<long>(WC0),
                 static_cast<long>(WC1), static_cast<long>(WC2), static_cast<long>(WC3));
}

void TSorBlockFixedParameters::Fields(TSorFieldVisitor& visitor) const
{
    const int segments = segmentCount();
    visitor.Int("DTS", DTS);
    visitor.Text("UD", UD);
    visitor.Int("AW", AW);
    visitor.Int("AO", AO);
    visitor.Int("AOD", AOD);
    visitor.Int("TPW", TPW);
    visitor.BeginList("PWU");
    for (int i = 0; i < segments; ++i)
        visitor.Int(nullptr, PWU[i]);
    visitor.EndList();
    visitor.BeginList("DS");
    for (int i = 0; i < segments; ++i)
        visitor.Int(nullptr, DS[i]);
    visitor.EndList();
    visitor.BeginList("NPPW");
    for (int i = 0; i < segments; ++i)
        visitor.Int(nullptr, NPPW[i]);
    visitor.EndList();
    visitor.Int("GI", GI);
    visitor.Int("BC", BC);
    visitor.Int("NAV", NAV);
    visitor.Int("AT", AT);
    visitor.Int("AR", AR);
    visitor.Int("ARD", ARD);
    visitor.Int("FPO", FPO);
    visitor.Int("NF", NF);
    visitor.Int("NFSF", NFSF);
    visitor.Int("PO", PO);
    visitor.Int("LT", LT);
    visitor.Int("RT", RT);
    visitor.Int("ET", ET);
    visitor.Text("TT", TT);
    visitor.Int("WC0", WC0);
    visitor.Int("WC1", WC1);
    visitor.Int("WC2", WC2);
    visitor.Int("WC3", WC3);
}
