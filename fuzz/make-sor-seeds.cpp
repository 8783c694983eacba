// Writes the seed traces of the trace fuzzers into a folder: small documents
// made by this library that reach every block reader (first and second
// edition, events and landmarks, foreign, monitoring and embedded blocks, a
// cut file). They are made at build time, so that nothing generated is kept
// in the repository.
//
//   make-sor-seeds FOLDER
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

#include "sor/sor-block-data-points.h"
#include "sor/sor-block-emb-data.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-link-parameters.h"
#include "sor/sor-block-rfts-events.h"
#include "sor/sor-block-rfts-parameters.h"
#include "sor/sor-block-special.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "sor/sor-rfts-thresholds.h"

namespace {

void fill(TSorData& data, int points)
{
    data.GenParams->CID = "C1";
    data.GenParams->FID = "F1";
    auto& fxd = *data.FxdParams;
    fxd.SetTPW(1);
    fxd.PWU[0] = 30;
    fxd.DS[0] = 20000;
    fxd.NPPW[0] = points;
    fxd.GI = 146800;
    auto& raw = data.DataPts->GetSubBlock()->Points;
    raw.resize(static_cast<std::size_t>(points));
    for (int n = 0; n < points; ++n)
        raw[static_cast<std::size_t>(n)] =
            static_cast<std::uint16_t>(3000 + n * 2 + (n == points / 2 ? 0 : 0) + (n > points * 3 / 4 ? 20000 : 0));
    data.DataPts->RebuildWholeCache();
    for (int i = 0; i < 2; ++i) {
        auto* event = new TSorBlockKeyEvents1E();
        event->EPT = (i + 1) * points;
        event->EL = 150;
        event->ER = i == 1 ? -14000 : 0;
        data.KeyEvents->Events.AddData(event);
    }
    data.KeyEvents->TNKE = 2;
    data.KeyEvents->ENSync();
    auto* landmark = new TSorBlockLinkParamLandmark();
    landmark->LML = points;
    data.LnkParams->InsertLandmark(landmark);
}

std::string bytesOf(TSorData& data)
{
    TSorFile file("", "m");
    data.Write(&file);
    return std::string(file.GetData(), file.GetDataSize());
}

void save(const std::string& folder, const char* name, const std::string& bytes)
{
    std::ofstream out(folder + "/" + name, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        std::fprintf(stderr, "cannot write %s/%s\n", folder.c_str(), name);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make-sor-seeds FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];

    TSorData fresh;
    save(folder, "fresh.sor", bytesOf(fresh));

    TSorData sample;
    fill(sample, 200);
    auto* foreign = new TSorBlockSpecial(12);
    foreign->ID = "Foreign";
    foreign->RevisionNo = 100;
    foreign->Data.assign({'F', 'o', 'r', 'e', 'i', 'g', 'n', '\0', 1, 2, 3, 4});
    sample.SpecialBlocks.AddData(foreign);
    sample.SpecialCount = 1;
    const std::string sampleBytes = bytesOf(sample);
    save(folder, "sample.sor", sampleBytes);
    save(folder, "truncated.sor", sampleBytes.substr(0, sampleBytes.size() * 2 / 3));

    TSorData first;
    fill(first, 120);
    first.RevisionNo = 100;
    save(folder, "first-edition.sor", bytesOf(first));

    TSorData monitored;
    fill(monitored, 150);
    auto* level = new TRFTSLevel();
    level->LevelName = "Minor";
    monitored.RFTSParams->AddLevel(level);
    monitored.RFTSEvents->LevelName = "Minor";
    monitored.RFTSEvents->SetTNRFTSE(2);
    auto* raw = new TEmbData1E();
    raw->SetDescription(TString("NOTES"));
    raw->SetData("embedded notes", 14);
    monitored.EmbData->AddData(raw);
    auto* nested = new TEmbData1E();
    nested->SetDescription(TString("SOR"));
    TSorData inner;
    fill(inner, 40);
    nested->SetData(inner);
    monitored.EmbData->AddData(nested);
    monitored.SaveRFTSEvents();
    save(folder, "monitoring.sor", bytesOf(monitored));
    return 0;
}
