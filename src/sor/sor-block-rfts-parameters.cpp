#include "sor/sor-block-rfts-parameters.h"

#include <cstring>

#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-field-visitor.h"
#include "sor/sor-file.h"

namespace {

void requireFile(const TSorFile* file)
{
    if (file == nullptr)
        throw TSorException(TSorException::NullPointer);
}

// Stores `item` at `index` of `array` (the last place past the end) and
// answers it, or answers null when there is no place. Storing an element
// back into its own place leaves it alone instead of destroying it.
template <class T>
T* storeAt(TLuArray<T>& array, T* item, int index)
{
    if (array.count == 0 || index < 0)
        return nullptr;
    if (index >= array.count)
        index = array.count - 1;
    if (array.data[index] != item)
        array.SetData(item, index);
    return item;
}

} // namespace

TSorBlockRFTSParameters::TSorBlockRFTSParameters()
{
    RevisionNo = 209;
    BID = "RFTSParams";
}

void TSorBlockRFTSParameters::syncCounts()
{
    TNL = static_cast<std::uint16_t>(Levels.count);
    TNUP = static_cast<std::uint16_t>(UParameters.count);
}

void TSorBlockRFTSParameters::Assign(const TSorBlockRFTSParameters& other)
{
    if (this == &other)
        return;
    RevisionNo = other.RevisionNo;
    BID = other.BID;
    BlockThresholdsSet.Assign(other.BlockThresholdsSet);
    ActiveLevel = other.ActiveLevel;
    UseUParameters = other.UseUParameters;
    Clear();
    Levels.SetSize(other.Levels.count);
    for (int i = 0; i < other.Levels.count; ++i) {
        auto* level = new TRFTSLevel();
        level->Assign(*other.Levels.data[i]);
        Levels.data[i] = level;
    }
    UParameters.SetSize(other.UParameters.count);
    for (int i = 0; i < other.UParameters.count; ++i) {
        auto* parameter = new TRFTSUniversalParameter();
        parameter->Assign(*other.UParameters.data[i]);
        UParameters.data[i] = parameter;
    }
    syncCounts();
}

void TSorBlockRFTSParameters::Read(TSorFile* file)
{
    requireFile(file);
    BlockThresholdsSet.Assign(TThresholdsRFTSSet());
    ActiveLevel = -1;
    UseUParameters = 0;
    Clear();
    if (!CanRead(file) || RevisionNo < 201)
        return;

    BlockThresholdsSet.Read(file);
    file->Read(ActiveLevel);
    std::uint16_t levels = 0;
    file->Read(levels);
    if (file->Status != fsOk || !HasRoom(file, levels, TRFTSLevel::MinFileSize))
        return;
    // Each level is read into a scratch level at the block's revision and
    // copied, so that a level that runs into the end is still whole.
    TRFTSLevel scratch;
    scratch.RevisionNo = RevisionNo;
    for (int i = 0; i < levels && file->Status == fsOk; ++i) {
        scratch.Read(file);
        auto* level = new TRFTSLevel();
        level->Assign(scratch);
        Levels.AddData(level);
    }
    syncCounts();
    if (file->Status != fsOk || RevisionNo < 202)
        return;

    file->Read(UseUParameters);
    std::uint16_t parameters = 0;
    file->Read(parameters);
    if (file->Status != fsOk || !HasRoom(file, parameters, TRFTSUniversalParameter::MinFileSize))
        return;
    for (int i = 0; i < parameters && file->Status == fsOk; ++i) {
        auto* parameter = new TRFTSUniversalParameter();
        UParameters.AddData(parameter);
        parameter->Read(file);
    }
    syncCounts();
}

void TSorBlockRFTSParameters::Write(TSorFile* file)
{
    requireFile(file);
    WriteID(file);
    // In name only, as a reader at this revision expects.
    if (RevisionNo < 201)
        return;
    syncCounts();
    BlockThresholdsSet.Write(file);
    file->Write(ActiveLevel);
    file->Write(TNL);
    for (int i = 0; i < Levels.count; ++i)
        Levels.data[i]->WriteRN(file, RevisionNo);
    if (RevisionNo < 202)
        return;
    file->Write(UseUParameters);
    file->Write(TNUP);
    for (int i = 0; i < UParameters.count; ++i)
        UParameters.data[i]->Write(file);
}

void TSorBlockRFTSParameters::Damp(FILE* out) const
{
    DampHeader(out);
    std::fprintf(out, "BID='%s'\n", BID.data);
    BlockThresholdsSet.Damp(out);
    // This line has always shown TNL; readers of old dumps expect it.
    std::fprintf(out, "ActiveLevel=%hu\t", TNL);
    std::fprintf(out, "TNL=%hu\n", TNL);
    for (int i = 0; i < Levels.count; ++i) {
        DampSeparator(out);
        Levels.data[i]->Damp(out);
    }
    std::fprintf(out, "UseUParameters=%hd\t", UseUParameters);
    std::fprintf(out, "TNUP=%hu\n", TNUP);
    for (int i = 0; i < UParameters.count; ++i) {
        DampSeparator(out);
        UParameters.data[i]->Damp(out);
    }
}

void TSorBlockRFTSParameters::Fields(TSorFieldVisitor& visitor) const
{
    visitor.BeginRecord("BlockThresholdsSet");
    BlockThresholdsSet.Fields(visitor);
    visitor.EndRecord();
    visitor.Int("ActiveLevel", ActiveLevel);
    visitor.Int("TNL", TNL);
    visitor.BeginList("Levels");
    for (int i = 0; i < Levels.count; ++i) {
        visitor.BeginRecord(nullptr);
        Levels.data[i]->Fields(visitor);
        visitor.EndRecord();
    }
    visitor.EndList();
    visitor.Int("UseUParameters", UseUParameters);
    visitor.Int("TNUP", TNUP);
    visitor.BeginList("UParameters");
    for (int i = 0; i < UParameters.count; ++i) {
        visitor.BeginRecord(nullptr);
        UParameters.data[i]->Fields(visitor);
        visitor.EndRecord();
    }
    visitor.EndList();
}

void TSorBlockRFTSParameters::SetTNL(unsigned short n)
{
    const int old = Levels.count;
    Levels.SetSize(n);
    for (int i = old; i < Levels.count; ++i)
        Levels.data[i] = new TRFTSLevel();
    syncCounts();
}

void TSorBlockRFTSParameters::SetTNUP(unsigned short n)
{
    const int old = UParameters.count;
    UParameters.SetSize(n);
    for (int i = old; i < UParameters.count; ++i)
        UParameters.data[i] = new TRFTSUniversalParameter();
    syncCounts();
}

// ---- levels ----

int TSorBlockRFTSParameters::GetLevelIndex(const TString& name) const
{
    for (int i = 0; i < Levels.count; ++i)
        if (Levels.data[i]->LevelName == name)
            return i;
    return -1;
}

TRFTSLevel* TSorBlockRFTSParameters::GetLevel(const TString& name) const
{
    const int index = GetLevelIndex(name);
    return index < 0 ? nullptr : Levels.data[index];
}

void TSorBlockRFTSParameters::SetActiveLevel(short index)
{
    if (index < 0 || index >= TNL)
        throw TSorException(TSorException::IndexOutOfBounds);
    ActiveLevel = index;
}

TRFTSLevel* TSorBlockRFTSParameters::GetActiveLevel() const
{
    if (ActiveLevel < 0 || ActiveLevel >= TNL)
        return nullptr;
    return Levels.data[ActiveLevel];
}

TRFTSLevel* TSorBlockRFTSParameters::AddLevel(TRFTSLevel* level)
{
    if (level == nullptr || GetLevelIndex(level->LevelName) >= 0)
        return nullptr;
    Levels.AddData(level);
    syncCounts();
    return level;
}

TRFTSLevel* TSorBlockRFTSParameters::InsertLevel(TRFTSLevel* level, int index)
{
    if (level == nullptr || GetUParameterIndex(level->LevelName) >= 0)
        return nullptr;
    Levels.InsData(level, index);
    syncCounts();
    return level;
}

TRFTSLevel* TSorBlockRFTSParameters::SetLevel(TRFTSLevel* level, int index)
{
    if (level == nullptr)
        return nullptr;
    const int present = GetLevelIndex(level->LevelName);
    const int place = index >= Levels.count ? Levels.count - 1 : index;
    if (present >= 0 && present != place)
        return nullptr;
    return storeAt(Levels, level, index);
}

void TSorBlockRFTSParameters::DeleteLevel(int index)
{
    if (index < 0 || index >= Levels.count)
        return;
    Levels.DelData(index);
    syncCounts();
}

void TSorBlockRFTSParameters::DeleteLevel(const TString& name)
{
    DeleteLevel(GetLevelIndex(name));
}

// ---- universal parameters ----

int TSorBlockRFTSParameters::GetUParameterIndex(const TString& name) const
{
    const TString wanted = TRFTSUniversalParameter::FormatName(name);
    for (int i = 0; i < UParameters.count; ++i)
        if (TRFTSUniversalParameter::FormatName(UParameters.data[i]->Name) == wanted)
            return i;
    return -1;
}

TRFTSUniversalParameter* TSorBlockRFTSParameters::GetUParameter(const TString& name) const
{
    const int index = GetUParameterIndex(name);
    return index < 0 ? nullptr : UParameters.data[index];
}

TRFTSUniversalParameter* TSorBlockRFTSParameters::AddUParameter(TRFTSUniversalParameter* parameter)
{
    if (parameter == nullptr || GetUParameterIndex(parameter->Name) >= 0)
        return nullptr;
    UParameters.AddData(parameter);
    syncCounts();
    return parameter;
}

TRFTSUniversalParameter* TSorBlockRFTSParameters::InsertUParameter(TRFTSUniversalParameter* parameter, int index)
{
    if (parameter == nullptr || GetUParameterIndex(parameter->Name) >= 0)
        return nullptr;
    UParameters.InsData(parameter, index);
    syncCounts();
    return parameter;
}

TRFTSUniversalParameter* TSorBlockRFTSParameters::SetUParameter(TRFTSUniversalParameter* parameter, int index)
{
    if (parameter == nullptr)
        return nullptr;
    const int present = GetUParameterIndex(parameter->Name);
    const int place = index >= UParameters.count ? UParameters.count - 1 : index;
    if (present >= 0 && present != place)
        return nullptr;
    return storeAt(UParameters, parameter, index);
}

void TSorBlockRFTSParameters::DeleteUParameter(int index)
{
    if (index < 0 || index >= UParameters.count)
        return;
    UParameters.DelData(index);
    syncCounts();
}

void TSorBlockRFTSParameters::DeleteUParameter(const TString& name)
{
    DeleteUParameter(GetUParameterIndex(name));
}

void TSorBlockRFTSParameters::Clear()
{
    Levels.Clear();
    UParameters.Clear();
    syncCounts();
}

// ---- key event housekeeping ----

void TSorBlockRFTSParameters::OnKeyEventAdd(int index)
{
    for (int i = 0; i < Levels.count; ++i) {
        TRFTSLevel* level = Levels.data[i];
        level->InsertThresholdsSet(level->LevelThresholdsSet, index);
    }
}

void TSorBlockRFTSParameters::OnKeyEventDel(int index)
{
    for (int i = 0; i < Levels.count; ++i)
        Levels.data[i]->DeleteThresholdsSet(index);
}

void TSorBlockRFTSParameters::OnKeyEventsClear()
{
    for (int i = 0; i < Levels.count; ++i)
        Levels.data[i]->Clear();
}

// ---- defaults of the known universal parameters ----

int RFTSUParamsGetDefaultValue(double* value, const char* name, TSorData* sor)
{
    if (value == nullptr || name == nullptr || sor == nullptr)
        return 0;
    const double pulseNs = sor->GetRealNsPulse();
    if (std::strcmp(name, "EvtDetectDeltaLen") == 0) {
        // A third of the pulse's length in km; a pulse of n ns lasts n / 0.2 one-way time units.
        const double kmPerOwt = 299792.5 / (sor->FxdParams->GI * 1e-5) * 1e-10;
        *value = pulseNs / 0.2 * kmPerOwt / 3.0;
        return 1;
    }
    if (std::strcmp(name, "EvtRDetectDeltaLen") == 0) {
        *value = sor->FxdParams->LenDS() * 3.0;
        return 1;
    }
    if (std::strcmp(name, "NoLinkDistance") == 0) {
        if (pulseNs <= 300)
            *value = 0.5;
        else if (pulseNs <= 1000)
            *value = 1.0;
        else if (pulseNs <= 3000)
            *value = 1.5;
        else if (pulseNs <= 10000)
            *value = 2.5;
        else
            *value = 5.0;
        return 1;
    }
    return 0;
}
