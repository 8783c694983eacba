#include "sor/sor-rfts-thresholds.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

void requireFile(const TSorFile* file)
{
    if (file == nullptr)
        throw TSorException(TSorException::NullPointer);
}

void dampRecordName(FILE* out, const char* className)
{
    std::fprintf(out, "// %s \n", className);
}

void visitRecord(TSorFieldVisitor& visitor, const char* name, const TSorBlock& record)
{
    visitor.BeginRecord(name);
    record.Fields(visitor);
    visitor.EndRecord();
}

} // namespace

// ---- TShortThreshold ----

void TShortThreshold::Assign(const TShortThreshold& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Absolute = other.Absolute;
    AbsoluteThreshold = other.AbsoluteThreshold;
    RelativeThreshold = other.RelativeThreshold;
}

void TShortThreshold::SetThreshold(short value)
{
    if (IsAbsolute())
        AbsoluteThreshold = value;
    else
        RelativeThreshold = value;
}

void TShortThreshold::Read(TSorFile* file)
{
    requireFile(file);
    file->Read(Absolute);
    file->Read(AbsoluteThreshold);
    file->Read(RelativeThreshold);
}

void TShortThreshold::Write(TSorFile* file)
{
    requireFile(file);
    file->Write(Absolute);
    file->Write(AbsoluteThreshold);
    file->Write(RelativeThreshold);
}

void TShortThreshold::Damp(FILE* out) const
{
    dampRecordName(out, "TShortThreshold");
    std::fprintf(out, "Absolute=%hu\t", static_cast<unsigned short>(Absolute));
    std::fprintf(out, "AbsoluteThreshold=%hu\t", static_cast<unsigned short>(AbsoluteThreshold));
    std::fprintf(out, "RelativeThreshold=%hu\n", static_cast<unsigned short>(RelativeThreshold));
}

void TShortThreshold::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("Absolute", Absolute);
    visitor.Int("AbsoluteThreshold", AbsoluteThreshold);
    visitor.Int("RelativeThreshold", RelativeThreshold);
}

// ---- TThresholdsRFTSSet ----

void TThresholdsRFTSSet::Assign(const TThresholdsRFTSSet& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Enabled = other.Enabled;
    LT.Assign(other.LT);
    RT.Assign(other.RT);
    CT.Assign(other.CT);
    PT.Assign(other.PT);
    DT.Assign(other.DT);
}

// PT is passed over in both directions: the format has no place for it.
void TThresholdsRFTSSet::Read(TSorFile* file)
{
    requireFile(file);
    file->Read(Enabled);
    LT.Read(file);
    RT.Read(file);
    CT.Read(file);
    DT.Read(file);
}

void TThresholdsRFTSSet::Write(TSorFile* file)
{
    requireFile(file);
    file->Write(Enabled);
    LT.Write(file);
    RT.Write(file);
    CT.Write(file);
    DT.Write(file);
}

void TThresholdsRFTSSet::Damp(FILE* out) const
{
    dampRecordName(out, "TThresholdsRFTSSet");
    std::fprintf(out, "Enabled=%hu\n", Enabled);
    LT.Damp(out);
    RT.Damp(out);
    CT.Damp(out);
    PT.Damp(out);
    DT.Damp(out);
}

void TThresholdsRFTSSet::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("Enabled", Enabled);
    visitRecord(visitor, "LT", LT);
    visitRecord(visitor, "RT", RT);
    visitRecord(visitor, "CT", CT);
    visitRecord(visitor, "DT", DT);
}

// ---- TRFTSLevel ----

TRFTSLevel::TRFTSLevel(const TString& name) : LevelName(name) {}

void TRFTSLevel::Assign(const TRFTSLevel& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Enabled = other.Enabled;
    LevelName = other.LevelName;
    LevelThresholdsSet.Assign(other.LevelThresholdsSet);
    ThresholdsSets.Clear();
    ThresholdsSets.SetSize(other.ThresholdsSets.count);
    for (int i = 0; i < other.ThresholdsSets.count; ++i) {
        auto* set = new TThresholdsRFTSSet();
        if (other.ThresholdsSets.data[i] != nullptr)
            set->Assign(*other.ThresholdsSets.data[i]);
        ThresholdsSets.data[i] = set;
    }
    syncCount();
    EELT.Assign(other.EELT);
}

void TRFTSLevel::SetTNTS(unsigned short n)
{
    const int old = ThresholdsSets.count;
    ThresholdsSets.SetSize(n);
    for (int i = old; i < ThresholdsSets.count; ++i)
        ThresholdsSets.data[i] = new TThresholdsRFTSSet();
    syncCount();
}

void TRFTSLevel::InsertThresholdsSet(const TThresholdsRFTSSet& set, int index)
{
    auto* copy = new TThresholdsRFTSSet();
    copy->Assign(set);
    ThresholdsSets.InsData(copy, index);
    syncCount();
}

// The sets run in step with the key events; dropping some other set than
// the one meant would put every later event out of step, so an index
// outside the array changes nothing.
void TRFTSLevel::DeleteThresholdsSet(int index)
{
    if (index < 0 || index >= ThresholdsSets.count)
        return;
    ThresholdsSets.DelData(index);
    syncCount();
}

void TRFTSLevel::Clear()
{
    ThresholdsSets.Clear();
    syncCount();
}

void TRFTSLevel::Read(TSorFile* file)
{
    requireFile(file);
    Enabled = 1;
    LevelName = TString();
    LevelThresholdsSet.Assign(TThresholdsRFTSSet());
    EELT.Assign(TShortThreshold());
    Clear();

    file->Read(Enabled);
    file->Read(LevelName);
    LevelThresholdsSet.Read(file);
    std::uint16_t count = 0;
    file->Read(count);
    if (file->Status != fsOk || !HasRoom(file, count, TThresholdsRFTSSet::FileSize))
        return;
    ThresholdsSets.SetSize(count);
    for (int i = 0; i < count; ++i) {
        auto* set = new TThresholdsRFTSSet();
        ThresholdsSets.data[i] = set;
        set->Read(file);
    }
    syncCount();
    if (RevisionNo > 202)
        EELT.Read(file);
}

void TRFTSLevel::Write(TSorFile* file)
{
    requireFile(file);
    syncCount();
    file->Write(Enabled);
    file->Write(LevelName);
    LevelThresholdsSet.Write(file);
    file->Write(TNTS);
    for (int i = 0; i < ThresholdsSets.count; ++i)
        ThresholdsSets.data[i]->Write(file);
    if (RevisionNo > 202)
        EELT.Write(file);
}

void TRFTSLevel::Damp(FILE* out) const
{
    dampRecordName(out, "TRFTSLevel");
    std::fprintf(out, "Enabled=%hu\t", Enabled);
    std::fprintf(out, "LevelName='%s'\n", LevelName.data);
    LevelThresholdsSet.Damp(out);
    std::fprintf(out, "TNTS=%hu\n", TNTS);
    for (int i = 0; i < ThresholdsSets.count; ++i)
        ThresholdsSets.data[i]->Damp(out);
    std::fprintf(out, "EELT:\n");
    EELT.Damp(out);
}

void TRFTSLevel::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("Enabled", Enabled);
    visitor.Text("LevelName", LevelName);
    visitRecord(visitor, "LevelThresholdsSet", LevelThresholdsSet);
    visitor.Int("TNTS", TNTS);
    visitor.BeginList("ThresholdsSets");
    for (int i = 0; i < ThresholdsSets.count; ++i)
        visitRecord(visitor, nullptr, *ThresholdsSets.data[i]);
    visitor.EndList();
    visitRecord(visitor, "EELT", EELT);
}

// ---- TRFTSUniversalParameter ----

TRFTSUniversalParameter::TRFTSUniversalParameter(const TString& name, double value) : Name(FormatName(name))
{
    SetValue(value);
}

void TRFTSUniversalParameter::Assign(const TRFTSUniversalParameter& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Name = other.Name;
    Scale = other.Scale;
    Value = other.Value;
}

double TRFTSUniversalParameter::GetValue() const
{
    return static_cast<double>(Value) / (Scale != 0 ? Scale : 1);
}

void TRFTSUniversalParameter::SetValue(double value)
{
    Scale = 1;
    for (int step = 0; step < 4; ++step) {
        const double scaled = value * Scale;
        // Close to a whole number from below (0.29 * 100 = 28.99999...) counts too.
        const double fraction = std::fabs(scaled - std::trunc(scaled));
        if (fraction < 0.0001 || fraction > 1.0 - 0.0001)
            break;
        Scale = static_cast<std::uint16_t>(Scale * 10);
    }
    const double rounded = std::trunc((value >= 0 ? value + 5e-5 : value - 5e-5) * Scale);
    if (std::isnan(rounded))
        Value = 0;
    else if (rounded >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
        Value = std::numeric_limits<std::int32_t>::max();
    else if (rounded <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
        Value = std::numeric_limits<std::int32_t>::min();
    else
        Value = static_cast<std::int32_t>(rounded);
}

void TRFTSUniversalParameter::Read(TSorFile* file)
{
    requireFile(file);
    file->Read(Name);
    file->Read(Value);
    file->Read(Scale);
}

void TRFTSUniversalParameter::Write(TSorFile* file)
{
    requireFile(file);
    file->Write(Name);
    file->Write(Value);
    file->Write(Scale);
}

void TRFTSUniversalParameter::Damp(FILE* out) const
{
    dampRecordName(out, "TRFTSUniversalParameter");
    std::fprintf(out, "Name=%s\t", Name.data);
    std::fprintf(out, "Value=%ld\t", static_cast<long>(Value));
    std::fprintf(out, "Scale=%hu\n", Scale);
}

void TRFTSUniversalParameter::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Text("Name", Name);
    visitor.Int("Value", Value);
    visitor.Int("Scale", Scale);
}
