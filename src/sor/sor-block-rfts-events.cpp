#include "sor/sor-block-rfts-events.h"

#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

void requireFile(const TSorFile* file)
{
    if (file == nullptr)
        throw TSorException(TSorException::NullPointer);
}

void visitRecord(TSorFieldVisitor& visitor, const char* name, const TSorBlock& record)
{
    visitor.BeginRecord(name);
    record.Fields(visitor);
    visitor.EndRecord();
}

const char* yesNo(bool value)
{
    return value ? "Yes" : "No";
}

} // namespace

// ---- TShortDeviation ----

void TShortDeviation::Assign(const TShortDeviation& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    Flags = other.Flags;
    Deviation = other.Deviation;
}

void TShortDeviation::Read(TSorFile* file)
{
    requireFile(file);
    file->Read(Flags);
    file->Read(Deviation);
}

void TShortDeviation::Write(TSorFile* file)
{
    requireFile(file);
    file->Write(Flags);
    file->Write(Deviation);
}

void TShortDeviation::Damp(FILE* out) const
{
    std::fprintf(out, "// TShortDeviation \n");
    std::fprintf(out, "Flags=%hu\t", Flags);
    std::fprintf(out, "Deviation=%hu\n", Deviation);
}

void TShortDeviation::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("Flags", Flags);
    visitor.Int("Deviation", Deviation);
}

// ---- TSorBlockRFTSEvents1E ----

void TSorBlockRFTSEvents1E::Assign(const TSorBlockRFTSEvents1E& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    LT.Assign(other.LT);
    RT.Assign(other.RT);
    CT.Assign(other.CT);
    PT.Assign(other.PT);
    DT.Assign(other.DT);
    Flags = other.Flags;
}

// PT is passed over in both directions: the format has no place for it.
void TSorBlockRFTSEvents1E::Read(TSorFile* file)
{
    requireFile(file);
    LT.Read(file);
    RT.Read(file);
    CT.Read(file);
    DT.Read(file);
    file->Read(Flags);
}

void TSorBlockRFTSEvents1E::Write(TSorFile* file)
{
    requireFile(file);
    LT.Write(file);
    RT.Write(file);
    CT.Write(file);
    DT.Write(file);
    file->Write(Flags);
}

void TSorBlockRFTSEvents1E::Damp(FILE* out) const
{
    std::fprintf(out, "// TSorBlockRFTSEvents1E \n");
    // The dump has always shown the "new" bit under the label Base.
    std::fprintf(out, "Flags=%hu(Base=%s;Fail=%s)\n", Flags, yesNo(IsNew()), yesNo(IsFail()));
    LT.Damp(out);
    RT.Damp(out);
    CT.Damp(out);
    PT.Damp(out);
    DT.Damp(out);
}

void TSorBlockRFTSEvents1E::Fields(TSorFieldVisitor& visitor) const
{
    visitRecord(visitor, "LT", LT);
    visitRecord(visitor, "RT", RT);
    visitRecord(visitor, "CT", CT);
    visitRecord(visitor, "DT", DT);
    visitor.Int("Flags", Flags);
}

// ---- TSorBlockRFTSEvents ----

TSorBlockRFTSEvents::TSorBlockRFTSEvents()
{
    RevisionNo = 209;
    BID = "RFTSEvents";
}

void TSorBlockRFTSEvents::Assign(const TSorBlockRFTSEvents& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    BaseSorName = other.BaseSorName;
    LevelName = other.LevelName;
    MonitorVersion = other.MonitorVersion;
    Flags = other.Flags;
    Events.Clear();
    Events.SetSize(other.Events.count);
    for (int i = 0; i < other.Events.count; ++i) {
        auto* event = new TSorBlockRFTSEvents1E();
        event->Assign(*other.Events.data[i]);
        Events.data[i] = event;
    }
    syncCount();
    EELD.Assign(other.EELD);
    MonitorResult = other.MonitorResult;
}

void TSorBlockRFTSEvents::MakeFail(bool on)
{
    Flags = static_cast<std::int16_t>(on ? (Flags | FailFlag) : (Flags & ~FailFlag));
}

void TSorBlockRFTSEvents::Read(TSorFile* file)
{
    requireFile(file);
    BaseSorName = TString();
    LevelName = TString();
    MonitorVersion = TString();
    Flags = 0;
    Clear();
    EELD.Assign(TShortDeviation());
    MonitorResult = 0;
    if (!CanRead(file) || RevisionNo < 201)
        return;

    file->Read(BaseSorName);
    file->Read(LevelName);
    file->Read(MonitorVersion);
    file->Read(Flags);
    std::uint16_t count = 0;
    file->Read(count);
    if (file->Status != fsOk || !HasRoom(file, count, TSorBlockRFTSEvents1E::FileSize))
        return;
    Events.SetSize(count);
    for (int i = 0; i < count; ++i) {
        auto* event = new TSorBlockRFTSEvents1E();
        Events.data[i] = event;
        event->Read(file);
    }
    syncCount();
    if (RevisionNo >= 202)
        EELD.Read(file);
    if (RevisionNo >= 204)
        file->Read(MonitorResult);
}

void TSorBlockRFTSEvents::Write(TSorFile* file)
{
    requireFile(file);
    WriteID(file);
    // In name only, as a reader at this revision expects.
    if (RevisionNo < 201)
        return;
    syncCount();
    file->Write(BaseSorName);
    file->Write(LevelName);
    file->Write(MonitorVersion);
    file->Write(Flags);
    file->Write(TNRFTSE);
    for (int i = 0; i < Events.count; ++i)
        Events.data[i]->Write(file);
    if (RevisionNo >= 202)
        EELD.Write(file);
    if (RevisionNo >= 204)
        file->Write(MonitorResult);
}

void TSorBlockRFTSEvents::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "BaseSorName=%s\t", BaseSorName.data);
    std::fprintf(out, "LevelName=%s\t", LevelName.data);
    std::fprintf(out, "MonitorVersion=%s\n", MonitorVersion.data);
    std::fprintf(out, "Flags=%x\t", static_cast<unsigned>(static_cast<std::uint16_t>(Flags)));
    std::fprintf(out, "TNRFTSE=%hu\t", TNRFTSE);
    std::fprintf(out, "MonitorResult=%ld\n", static_cast<long>(MonitorResult));
    std::fprintf(out, "EELD:\n");
    EELD.Damp(out);
    for (int i = 0; i < Events.count; ++i) {
        DampSeparator(out);
        Events.data[i]->Damp(out);
    }
}

void TSorBlockRFTSEvents::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Text("BaseSorName", BaseSorName);
    visitor.Text("LevelName", LevelName);
    visitor.Text("MonitorVersion", MonitorVersion);
    visitor.Int("Flags", Flags);
    visitor.Int("TNRFTSE", TNRFTSE);
    visitor.BeginList("Events");
    for (int i = 0; i < Events.count; ++i)
        visitRecord(visitor, nullptr, *Events.data[i]);
    visitor.EndList();
    visitRecord(visitor, "EELD", EELD);
    visitor.Int("MonitorResult", MonitorResult);
}

void TSorBlockRFTSEvents::SetTNRFTSE(unsigned short n)
{
    const int old = Events.count;
    Events.SetSize(n);
    for (int i = old; i < Events.count; ++i)
        Events.data[i] = new TSorBlockRFTSEvents1E();
    syncCount();
}

void TSorBlockRFTSEvents::InsertEvent(const TSorBlockRFTSEvents1E& event, int index)
{
    auto* copy = new TSorBlockRFTSEvents1E();
    copy->Assign(event);
    Events.InsData(copy, index);
    syncCount();
}

// The events run in step with the key events; dropping some other event
// than the one meant would put every later one out of step.
void TSorBlockRFTSEvents::DeleteEvent(int index)
{
    if (index < 0 || index >= Events.count)
        return;
    Events.DelData(index);
    syncCount();
}

void TSorBlockRFTSEvents::Clear()
{
    Events.Clear();
    syncCount();
}

void TSorBlockRFTSEvents::OnKeyEventAdd(int index)
{
    if (!IsEmpty())
        InsertEvent(TSorBlockRFTSEvents1E(), index);
}

void TSorBlockRFTSEvents::OnKeyEventDel(int index)
{
    if (!IsEmpty())
        DeleteEvent(index);
}

void TSorBlockRFTSEvents::OnKeyEventsClear()
{
    if (!IsEmpty())
        Clear();
}
