#include "sor/sor-block-aux-events.h"

#include <algorithm>
#include <cmath>

#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

// trunc(v * 1000.0 + 0.5) held within the 16 bits of the field.
std::uint16_t thousandths(double v)
{
    const double t = std::trunc(v * 1000.0 + 0.5);
    if (!(t > 0.0))
        return 0;  // also NaN
    return t >= 65535.0 ? std::uint16_t{65535} : static_cast<std::uint16_t>(t);
}

} // namespace

// ---- TSorBlockAUXEvents1E ----

void TSorBlockAUXEvents1E::Assign(const TSorBlockAUXEvents1E& other)
{
    if (this != &other)
        *this = other;
}

void TSorBlockAUXEvents1E::Read(TSorFile* file)
{
    // A record has no name of its own, so no revision check either.
    if (file == nullptr)
        return;
    file->Read(EN);
    file->Read(EL);
    file->Read(EC, 6);
    file->Read(LMT, 2);
    file->Read(ML0);
    file->Read(ML1);
    file->Read(ML2);
    file->Read(CMT);
    if (RevisionNo > 200) {
        file->Read(dCT);
        file->Read(dLT);
    }
}

void TSorBlockAUXEvents1E::Write(TSorFile* file)
{
    file->Write(EN);
    file->Write(EL);
    file->Write(EC, 6);
    file->Write(LMT, 2);
    file->Write(ML0);
    file->Write(ML1);
    file->Write(ML2);
    file->Write(CMT);
    if (RevisionNo > 200) {
        file->Write(dCT);
        file->Write(dLT);
    }
}

void TSorBlockAUXEvents1E::Damp(FILE* out) const
{
    std::fprintf(out, "EN = %hd\n", EN);
    std::fprintf(out, "EL = %hd\n", EL);
    std::fprintf(out, "EC = '%s'\n", EC.data);
    std::fprintf(out, "LMT = '%s'\n", LMT.data);
    std::fprintf(out, "ML0 = %ld\t ML1 = %ld\t ML2 = %ld\n", static_cast<long>(ML0), static_cast<long>(ML1),
                 static_cast<long>(ML2));
    std::fprintf(out, "CMT = '%s'\n", CMT.data);
    if (RevisionNo > 200) {
        std::fprintf(out, "dCT = %hu\n", dCT);
        std::fprintf(out, "dLT = %hu\n", dLT);
    }
}

void TSorBlockAUXEvents1E::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("EN", EN);
    visitor.Int("EL", EL);
    visitor.Text("EC", EC);
    visitor.Text("LMT", LMT);
    visitor.Int("ML0", ML0);
    visitor.Int("ML1", ML1);
    visitor.Int("ML2", ML2);
    visitor.Text("CMT", CMT);
    visitor.Int("dCT", dCT);
    visitor.Int("dLT", dLT);
}

// ---- TSorBlockAUXEvents ----

TSorBlockAUXEvents::TSorBlockAUXEvents()
{
    RevisionNo = 209;
    BID = "AUXEvents";
}

void TSorBlockAUXEvents::Assign(const TSorBlockAUXEvents& other)
{
    if (this != &other)
        *this = other;
}

void TSorBlockAUXEvents::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    std::int16_t count = 0;
    file->Read(count);
    Events.clear();
    TNE = 0;
    if (count <= 0)
        return;
    if (!HasRoom(file, static_cast<unsigned long>(count), TSorBlockAUXEvents1E::MinRecordBytes))
        return;
    Events.resize(static_cast<std::size_t>(count));
    TNE = count;
    for (auto& event : Events) {
        event.ReadRN(file, RevisionNo);
        if (file->Status != fsOk)
            break;  // the rest keep their defaults
    }
}

void TSorBlockAUXEvents::Write(TSorFile* file)
{
    WriteID(file);
    TNE = static_cast<std::int16_t>(Events.size());
    file->Write(TNE);
    std::int16_t number = 1;
    for (auto& event : Events) {
        event.EN = number++;
        event.WriteRN(file, RevisionNo);
    }
}

void TSorBlockAUXEvents::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "TNE = %hd\n", TNE);
    for (const auto& event : Events) {
        DampSeparator(out);
        event.Damp(out);
    }
}

void TSorBlockAUXEvents::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("TNE", TNE);
    visitor.BeginList("events");
    for (const auto& event : Events) {
        visitor.BeginRecord(nullptr);
        event.Fields(visitor);
        visitor.EndRecord();
    }
    visitor.EndList();
}

void TSorBlockAUXEvents::SetTNE(std::int16_t n)
{
    Events.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    TNE = static_cast<std::int16_t>(Events.size());
}

void TSorBlockAUXEvents::InsEvent(const TSorBlockAUXEvents1E& event, int pos)
{
    if (Events.size() >= 32767)
        return;  // TNE is 16 bits
    pos = std::clamp(pos, 0, static_cast<int>(Events.size()));
    Events.insert(Events.begin() + pos, event);
    TNE = static_cast<std::int16_t>(Events.size());
}

void TSorBlockAUXEvents::DelEvent(int pos)
{
    if (pos < 0 || static_cast<std::size_t>(pos) >= Events.size())
        return;
    Events.erase(Events.begin() + pos);
    TNE = static_cast<std::int16_t>(Events.size());
}

double TSorBlockAUXEvents::GetdCT(int i) const
{
    return has(i) ? Events[static_cast<std::size_t>(i)].dCT / 1000.0 : -1.0;
}

double TSorBlockAUXEvents::GetdLT(int i) const
{
    return has(i) ? Events[static_cast<std::size_t>(i)].dLT / 1000.0 : -1.0;
}

void TSorBlockAUXEvents::SetdCT(int i, double v)
{
    if (has(i))
        Events[static_cast<std::size_t>(i)].dCT = thousandths(v);
}

void TSorBlockAUXEvents::SetdLT(int i, double v)
{
    if (has(i))
        Events[static_cast<std::size_t>(i)].dLT = thousandths(v);
}
