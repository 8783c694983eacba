#include "sor/sor-block-link-parameters.h"

#include <limits>

#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

constexpr unsigned int codeWidth = 2;  // LMC and USML

// The fewest bytes a landmark takes in the file: the fixed fields and the
// NUL of an empty comment.
constexpr unsigned long minLandmarkBytes = 2 + codeWidth + 4 + 2 + 4 + 4 + 2 + 4 + 4 + codeWidth + 2 + 1;

// The highest number GenerateUniqueLMN hands out.
constexpr unsigned maxLMN = 65534;

} // namespace

// ---- TSorBlockLinkParamLandmark ----

TSorBlockLinkParamLandmark::TSorBlockLinkParamLandmark() : LMC("?"), USML("FT"), CMT(" ") {}

void TSorBlockLinkParamLandmark::Assign(const TSorBlockLinkParamLandmark& other)
{
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    LMN = other.LMN;
    LMC = other.LMC;
    LML = other.LML;
    REN = other.REN;
    Longitude = other.Longitude;
    Latitude = other.Latitude;
    FCI = other.FCI;
    SMI = other.SMI;
    SML = other.SML;
    USML = other.USML;
    MFDL = other.MFDL;
    CMT = other.CMT;
}

void TSorBlockLinkParamLandmark::Read(TSorFile* file)
{
    file->Read(LMN);
    file->Read(LMC, codeWidth);
    file->Read(LML);
    file->Read(REN);
    file->Read(Longitude);
    file->Read(Latitude);
    file->Read(FCI);
    file->Read(SMI);
    file->Read(SML);
    file->Read(USML, codeWidth);
    file->Read(MFDL);
    file->Read(CMT);
}

void TSorBlockLinkParamLandmark::Write(TSorFile* file)
{
    file->Write(LMN);
    file->Write(LMC, codeWidth);
    file->Write(LML);
    file->Write(REN);
    file->Write(Longitude);
    file->Write(Latitude);
    file->Write(FCI);
    file->Write(SMI);
    file->Write(SML);
    file->Write(USML, codeWidth);
    file->Write(MFDL);
    file->Write(CMT);
}

void TSorBlockLinkParamLandmark::Damp(FILE* out) const
{
    std::fprintf(out, "LMN  = %hd\n", LMN);
    std::fprintf(out, "LMC  = '%s'\n", LMC.data);
    std::fprintf(out, "LML  = %ld\n", static_cast<long>(LML));
    std::fprintf(out, "REN  = %hd\n", REN);
    std::fprintf(out, "Longitude = %ld\t Latitude = %ld\n", static_cast<long>(Longitude), static_cast<long>(Latitude));
    std::fprintf(out, "FCI  = %hd\n", FCI);
    std::fprintf(out, "SMI  = %ld\n", static_cast<long>(SMI));
    std::fprintf(out, "SML  = %ld\n", static_cast<long>(SML));
    std::fprintf(out, "USML = '%s'\n", USML.data);
    std::fprintf(out, "MFDL = %hd\n", MFDL);
    std::fprintf(out, "CMT  = '%s'\n", CMT.data);
}

void TSorBlockLinkParamLandmark::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("LMN", LMN);
    visitor.Text("LMC", LMC);
    visitor.Int("LML", LML);
    visitor.Int("REN", REN);
    visitor.Int("Longitude", Longitude);
    visitor.Int("Latitude", Latitude);
    visitor.Int("FCI", FCI);
    visitor.Int("SMI", SMI);
    visitor.Int("SML", SML);
    visitor.Text("USML", USML);
    visitor.Int("MFDL", MFDL);
    visitor.Text("CMT", CMT);
}

// ---- TSorBlockLinkParameters ----

TSorBlockLinkParameters::TSorBlockLinkParameters()
{
    RevisionNo = 209;
    BID = "LnkParams";
}

void TSorBlockLinkParameters::Assign(const TSorBlockLinkParameters& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    TNL = other.TNL;
    Landmarks.Clear();
    Landmarks.SetSize(other.Landmarks.count);
    for (int i = 0; i < other.Landmarks.count; ++i) {
        auto* landmark = new TSorBlockLinkParamLandmark();
        if (other.Landmarks.data[i] != nullptr)
            landmark->Assign(*other.Landmarks.data[i]);
        Landmarks.SetData(landmark, i);
    }
    ReadLMNs = other.ReadLMNs;
}

void TSorBlockLinkParameters::Read(TSorFile* file)
{
    if (!CanRead(file))
        return;
    Landmarks.Clear();
    ReadLMNs.clear();
    std::int16_t count = 0;
    file->Read(count);
    TNL = 0;
    if (count <= 0 || file->Status != fsOk)
        return;
    if (!HasRoom(file, static_cast<unsigned long>(count), minLandmarkBytes))
        return;
    Landmarks.SetSize(count);
    int filled = 0;
    while (filled < count) {
        auto* landmark = new TSorBlockLinkParamLandmark();
        landmark->RevisionNo = RevisionNo;
        landmark->Read(file);
        Landmarks.SetData(landmark, filled++);
        ReadLMNs.push_back(landmark->LMN);
        if (file->Status != fsOk)
            break;
    }
    Landmarks.SetSize(filled);
    TNL = static_cast<std::int16_t>(filled);
}

void TSorBlockLinkParameters::Write(TSorFile* file)
{
    WriteID(file);
    // The count and the records must agree, within what the 16-bit count holds.
    const int count = Landmarks.count < std::numeric_limits<std::int16_t>::max()
                          ? Landmarks.count
                          : std::numeric_limits<std::int16_t>::max();
    TNL = static_cast<std::int16_t>(count);
    file->Write(TNL);
    for (int i = 0; i < count; ++i) {
        // A place nobody filled still has to go out, or the count would lie.
        TSorBlockLinkParamLandmark blank;
        TSorBlockLinkParamLandmark* landmark = Landmarks.data[i] != nullptr ? Landmarks.data[i] : &blank;
        landmark->RevisionNo = RevisionNo;
        landmark->Write(file);
    }
}

void TSorBlockLinkParameters::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "TNL = %hd\n", TNL);
    for (int i = 0; i < Landmarks.count; ++i) {
        if (const TSorBlockLinkParamLandmark* landmark = Landmarks.data[i]) {
            DampSeparator(out);
            std::fprintf(out, "// Landmark #%d\n", i);
            landmark->Damp(out);
        }
    }
}

void TSorBlockLinkParameters::Fields(TSorFieldVisitor& visitor) const
{
    visitor.Int("TNL", TNL);
    visitor.BeginList("landmarks");
    for (int i = 0; i < Landmarks.count; ++i) {
        if (const TSorBlockLinkParamLandmark* landmark = Landmarks.data[i]) {
            visitor.BeginRecord(nullptr);
            landmark->Fields(visitor);
            visitor.EndRecord();
        }
    }
    visitor.EndList();
}

std::uint16_t TSorBlockLinkParameters::GenerateUniqueLMN() const
{
    std::vector<bool> taken(maxLMN + 1, false);
    const auto mark = [&taken](std::int16_t lmn) {
        const auto number = static_cast<std::uint16_t>(lmn);
        if (number <= maxLMN)
            taken[number] = true;
    };
    for (const std::int16_t lmn : ReadLMNs)
        mark(lmn);
    for (int i = 0; i < Landmarks.count; ++i)
        if (const TSorBlockLinkParamLandmark* landmark = Landmarks.data[i])
            mark(landmark->LMN);
    for (unsigned number = 1; number <= maxLMN; ++number)
        if (!taken[number])
            return static_cast<std::uint16_t>(number);
    return 0;
}

int TSorBlockLinkParameters::insertByLocation(TSorBlockLinkParamLandmark* lm)
{
    int place = 0;
    // Equal locations go behind the landmarks already there.
    while (place < Landmarks.count && !(Landmarks.data[place] != nullptr && Landmarks.data[place]->LML > lm->LML))
        ++place;
    Landmarks.InsData(lm, place);
    TNL = static_cast<std::int16_t>(Landmarks.count);
    return place;
}

int TSorBlockLinkParameters::InsertLandmark(TSorBlockLinkParamLandmark* lm)
{
    if (lm == nullptr)
        throw TSorException(TSorException::NullPointer);
    // The whole list is searched, not only the part before the new place:
    // a landmark whose location has changed may stand anywhere, and taking
    // it in twice would make two owners of it.
    for (int i = 0; i < Landmarks.count; ++i)
        if (Landmarks.data[i] == lm)
            return -1;
    lm->LMN = static_cast<std::int16_t>(GenerateUniqueLMN());
    return insertByLocation(lm);
}

int TSorBlockLinkParameters::ReinsertLandmark(std::int16_t i)
{
    TSorBlockLinkParamLandmark* lm = Landmarks[i];
    if (lm == nullptr)
        return -1;
    Landmarks.DelEntry(i);
    return insertByLocation(lm);
}

void TSorBlockLinkParameters::DeleteLandmark(std::int16_t i)
{
    Landmarks.DelData(i);
    TNL = static_cast<std::int16_t>(Landmarks.count);
}

void TSorBlockLinkParameters::OnKeyEventAdd(int e)
{
    for (int i = 0; i < Landmarks.count; ++i) {
        TSorBlockLinkParamLandmark* landmark = Landmarks.data[i];
        // 0 stands for no event and stays so, whatever `e` is.
        if (landmark != nullptr && landmark->REN > 0 && landmark->REN >= e + 1)
            landmark->REN = static_cast<std::int16_t>(landmark->REN + 1);
    }
}

void TSorBlockLinkParameters::OnKeyEventDel(int e)
{
    for (int i = 0; i < Landmarks.count; ++i) {
        TSorBlockLinkParamLandmark* landmark = Landmarks.data[i];
        if (landmark == nullptr)
            continue;
        if (landmark->REN <= 0)
            continue;
        if (landmark->REN == e + 1)
            landmark->REN = 0;
        else if (landmark->REN > e + 1)
            landmark->REN = static_cast<std::int16_t>(landmark->REN - 1);
    }
}

void TSorBlockLinkParameters::OnKeyEventsClear()
{
    for (int i = 0; i < Landmarks.count; ++i) {
        TSorBlockLinkParamLandmark* landmark = Landmarks.data[i];
        if (landmark != nullptr && landmark->REN > 0)
            landmark->REN = 0;
    }
}
