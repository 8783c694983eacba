#include "sor/sor-block-key-events.h"

#include <limits>

#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

constexpr unsigned int codeWidth = 6;    // EC
constexpr unsigned int methodWidth = 2;  // LMT

// The fewest bytes an event takes in the file: the fixed fields and the NUL
// of an empty comment, plus the five markers in the second edition.
constexpr unsigned long minEventBytes(std::uint16_t revision)
{
    return 2 + 4 + 2 + 2 + 4 + codeWidth + methodWidth + 1 + (revision > 199 ? 5 * 4 : 0);
}

} // namespace

// ---- TSorBlockKeyEvents1E ----

TSorBlockKeyEvents1E::TSorBlockKeyEvents1E() : EC("0F9999"), LMT("2P"), CMT(" ") {}

void TSorBlockKeyEvents1E::Assign(const TSorBlockKeyEvents1E& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    EN = other.EN;
    EPT = other.EPT;
    ACI = other.ACI;
    EL = other.EL;
    ER = other.ER;
    EC = other.EC;
    LMT = other.LMT;
    ML0 = other.ML0;
    ML1 = other.ML1;
    ML2 = other.ML2;
    ML3 = other.ML3;
    ML4 = other.ML4;
    CMT = other.CMT;
    FullLoss = other.FullLoss;
}

void TSorBlockKeyEvents1E::Read(TSorFile* file)
{
    file->Read(EN);
    file->Read(EPT);
    file->Read(ACI);
    file->Read(EL);
    FullLoss = EL;
    file->Read(ER);
    file->Read(EC, codeWidth);
    file->Read(LMT, methodWidth);
    if (RevisionNo > 199) {
        file->Read(ML0);
        file->Read(ML1);
        file->Read(ML2);
        file->Read(ML3);
        file->Read(ML4);
    }
    file->Read(CMT);
}

void TSorBlockKeyEvents1E::Write(TSorFile* file)
{
    file->Write(EN);
    file->Write(EPT);
    file->Write(ACI);
    file->Write(EL);
    file->Write(ER);
    file->Write(EC, codeWidth);
    file->Write(LMT, methodWidth);
    if (RevisionNo > 199) {
        file->Write(ML0);
        file->Write(ML1);
        file->Write(ML2);
        file->Write(ML3);
        file->Write(ML4);
    }
    file->Write(CMT);
}

void TSorBlockKeyEvents1E::Damp(FILE* out) const
{
    std::fprintf(out, "EN  = %hd\n", EN);
    std::fprintf(out, "EPT = %ld\n", static_cast<long>(EPT));
    std::fprintf(out, "ACI = %hd\n", ACI);
    std::fprintf(out, "EL  = %hd\n", EL);
    std::fprintf(out, "ER  = %ld\n", static_cast<long>(ER));
    std::fprintf(out, "EC  = '%s'\n", EC.data);
    std::fprintf(out, "LMT = '%s'\n", LMT.data);
    std::fprintf(out, "CMT = '%s'\n", CMT.data);
    const std::int32_t markers[] = {ML0, ML1, ML2, ML3, ML4};
    for (int i = 0; i < 5; ++i)
        std::fprintf(out, "ML%d = %ld\n", i, static_cast<long>(markers[i]));
}

void TSorBlockKeyEvents1E::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("EN", EN);
    visitor.Int("EPT", EPT);
    visitor.Int("ACI", ACI);
    visitor.Int("EL", EL);
    visitor.Int("ER", ER);
    visitor.Text("EC", EC);
    visitor.Text("LMT", LMT);
    visitor.Int("ML0", ML0);
    visitor.Int("ML1", ML1);
    visitor.Int("ML2", ML2);
    visitor.Int("ML3", ML3);
    visitor.Int("ML4", ML4);
    visitor.Text("CMT", CMT);
}

// ---- TSorBlockKeyEvents ----

TSorBlockKeyEvents::TSorBlockKeyEvents()
{
    RevisionNo = 209;
    BID = "KeyEvents";
}

void TSorBlockKeyEvents::Assign(const TSorBlockKeyEvents& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    EEL = other.EEL;
    ORL = other.ORL;
    TNKE = other.TNKE;
    Events.Clear();
    Events.SetSize(other.Events.count);
    for (int i = 0; i < other.Events.count; ++i) {
        auto* event = new TSorBlockKeyEvents1E();
        if (other.Events.data[i] != nullptr)
            event->Assign(*other.Events.data[i]);
        Events.SetData(event, i);
    }
    ELMP1 = other.ELMP1;
    ELMP2 = other.ELMP2;
    RLMP1 = other.RLMP1;
    RLMP2 = other.RLMP2;
}

void TSorBlockKeyEvents::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    std::int16_t count = 0;
    file->Read(count);
    Events.Clear();
    TNKE = 0;
    if (file->Status != fsOk)
        return;
    if (count < 0)
        throw TSorException(TSorException::BadData);
    if (!HasRoom(file, static_cast<unsigned long>(count), minEventBytes(RevisionNo)))
        return;
    TNKE = count;
    Events.SetSize(TNKE);
    int filled = 0;
    while (filled < TNKE) {
        auto* event = new TSorBlockKeyEvents1E();
        event->RevisionNo = RevisionNo;
        event->Read(file);
        Events.SetData(event, filled++);
        if (file->Status != fsOk)
            break;
    }
    if (filled < TNKE) {
        // Cut off: the table ends with the event that ran into the end.
        Events.SetSize(filled);
        TNKE = static_cast<std::int16_t>(filled);
        return;
    }
    file->Read(EEL);
    file->Read(ELMP1);
    file->Read(ELMP2);
    file->Read(ORL);
    file->Read(RLMP1);
    file->Read(RLMP2);
}

void TSorBlockKeyEvents::Write(TSorFile* file)
{
    WriteID(file);
    const int count = Events.count < std::numeric_limits<std::int16_t>::max()
                          ? Events.count
                          : std::numeric_limits<std::int16_t>::max();
    TNKE = static_cast<std::int16_t>(count);
    file->Write(TNKE);
    for (int i = 0; i < count; ++i) {
        // A place nobody filled still has to go out, or the count would lie.
        TSorBlockKeyEvents1E blank;
        TSorBlockKeyEvents1E* event = Events.data[i] != nullptr ? Events.data[i] : &blank;
        event->RevisionNo = RevisionNo;
        event->Write(file);
    }
    file->Write(EEL);
    file->Write(ELMP1);
    file->Write(ELMP2);
    file->Write(ORL);
    file->Write(RLMP1);
    file->Write(RLMP2);
}

void TSorBlockKeyEvents::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "TNKE  = %hd\n", TNKE);
    for (int i = 0; i < Events.count; ++i) {
        if (const TSorBlockKeyEvents1E* event = Events.data[i]) {
            DampSeparator(out);
            std::fprintf(out, "// event #%d \n", i);
            event->Damp(out);
        }
    }
    DampSeparator(out);
    std::fprintf(out, "EEL   = %ld\n", static_cast<long>(EEL));
    std::fprintf(out, "ELMP1 = %ld\n", static_cast<long>(ELMP1));
    std::fprintf(out, "ELMP2 = %ld\n", static_cast<long>(ELMP2));
    std::fprintf(out, "ORL   = %hu\n", ORL);
    std::fprintf(out, "RLMP1 = %ld\n", static_cast<long>(RLMP1));
    std::fprintf(out, "RLMP2 = %ld\n", static_cast<long>(RLMP2));
}

void TSorBlockKeyEvents::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("TNKE", TNKE);
    visitor.BeginList("events");
    for (int i = 0; i < Events.count; ++i) {
        if (const TSorBlockKeyEvents1E* event = Events.data[i]) {
            visitor.BeginRecord(nullptr);
            event->Fields(visitor);
            visitor.EndRecord();
        }
    }
    visitor.EndList();
    visitor.Int("EEL", EEL);
    visitor.Int("ELMP1", ELMP1);
    visitor.Int("ELMP2", ELMP2);
    visitor.Int("ORL", ORL);
    visitor.Int("RLMP1", RLMP1);
    visitor.Int("RLMP2", RLMP2);
}

void TSorBlockKeyEvents::ENSync()
{
    for (int i = 0; i < Events.count; ++i)
        if (TSorBlockKeyEvents1E* event = Events.data[i])
            event->EN = static_cast<std::int16_t>(i + 1);
}

void TSorBlockKeyEvents::OnKeyEventAdd(int)
{
    ENSync();
}

void TSorBlockKeyEvents::OnKeyEventDel(int)
{
    ENSync();
}

void TSorBlockKeyEvents::OnKeyEventsClear() {}
