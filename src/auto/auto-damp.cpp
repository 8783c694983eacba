// TAuto::Damp: the lines and results of the last run as a debugging INI.
#include "auto/auto.h"
#include "auto/event-line.h"
#include "util/ini-file.h"

void TAuto::Damp(const char* path)
{
    if (path == nullptr)
        return;
    TIni ini;
    Damp(&ini);
    (void)ini.Write(path);
}

void TAuto::Damp(TIni* ini)
{
    if (ini == nullptr)
        return;
    ini->SetInt("Main", "Lines", Lines->count);
    ini->SetDouble("Main", "Lend", Lend);
    ini->SetDouble("Main", "Loss", Loss);
    ini->SetDouble("Main", "DR", DR);
    ini->SetDouble("Main", "1Refl", Refl1);
    ini->SetDouble("Main", "Dz0.1dB", Dz01);
    ini->SetDouble("Main", "Dz0.5dB", Dz05);
    for (int i = 0; i < Lines->count; ++i) {
        const TEventLine* line = (*Lines)[i];
        TString section;
        section.Format("Line%d", i);
        ini->SetDouble(section.data, "L1", line->L1);
        ini->SetDouble(section.data, "L2", line->L2);
        if (line->Le != line->L2)
            ini->SetDouble(section.data, "Le", line->Le);
        ini->SetDouble(section.data, "P1", line->P1);
        ini->SetDouble(section.data, "P2", line->P2);
        ini->SetDouble(section.data, "dB/km", line->LossKm());
        ini->SetDouble(section.data, "Splice", line->Splice);
        TString refl;
        refl.Format("%.3f %c", line->Refl, line->Type != 0 ? line->Type : ' ');
        ini->SetString(section.data, "Refl", refl.data);
    }
}
