// TTH and TdTH: defaults and the INI persistence of the thresholds.
#include "auto/thresholds.h"

#include "util/ini-file.h"

namespace {

const char* sectionOrDefault(const char* section)
{
    return section != nullptr ? section : "NON";
}

bool isMode(const char* mode, char which)
{
    return mode != nullptr && mode[0] == which && mode[1] == '\0';
}

bool fileHasSection(const TString& fileName, const char* name)
{
    if (name == nullptr)
        return false;
    TIni ini(fileName.data);
    if (ini.Read() != 0)
        return false;
    int index = -1;
    return ini.FindSection(name, index) != nullptr;
}

// A write keeps the other sections of an existing file; a file that cannot be
// read yet is simply started afresh.
void loadForWriting(TIni& ini)
{
    if (ini.Read() != 0) {
        while (ini.GetSectionsNum() > 0)
            ini.DelSection(0);
    }
}

} // namespace

TTH::TTH(const char* file) : FileName(file != nullptr ? file : "ThresH.ini")
{
    Reset();
}

void TTH::Reset()
{
    THLoss = 0.2;
    THRef = -60.0;
    THEnd = 20.0;
    THEndPON = 30.0;
    THSpare1 = -40.0;
    Event = 0.02;
    dBkm = 0.25;
    THSpare2 = 0.05;
    polar = 0.1;
    RefSat = -0.2;
    MinLen = 0.0;
    THSpare3 = 100;
    MinPin = 10;
    AvgPin = 100;
    dNoise = -1.0;
    UseGiven = 0;
    LongPath = 0;
}

int TTH::IniTH(const char* section, const char* mode)
{
    const char* name = sectionOrDefault(section);
    TIni ini(FileName.data);
    if (isMode(mode, 'r')) {
        if (ini.Read() != 0)
            return 0;
        THLoss = ini.GetDouble(name, "THLoss", THLoss);
        THRef = ini.GetDouble(name, "THRef", THRef);
        THEnd = ini.GetDouble(name, "THEnd", THEnd);
        THEndPON = ini.GetDouble(name, "THEndPON", THEndPON);
        Event = ini.GetDouble(name, "Event", Event);
        dBkm = ini.GetDouble(name, "dBkm", dBkm);
        polar = ini.GetDouble(name, "polar", polar);
        RefSat = ini.GetDouble(name, "RefSat", RefSat);
        MinPin = ini.GetInt(name, "MinPin", static_cast<int>(MinPin));
        return 1;
    }
    if (isMode(mode, 'w')) {
        loadForWriting(ini);
        ini.SetDouble(name, "THLoss", THLoss);
        ini.SetDouble(name, "THRef", THRef);
        ini.SetDouble(name, "THEnd", THEnd);
        ini.SetDouble(name, "THEndPON", THEndPON);
        ini.SetDouble(name, "Event", Event);
        ini.SetDouble(name, "dBkm", dBkm);
        ini.SetDouble(name, "polar", polar);
        ini.SetDouble(name, "RefSat", RefSat);
        ini.SetInt(name, "MinPin", static_cast<int>(MinPin));
        return ini.Write() == 0 ? 1 : 0;
    }
    return 1;
}

bool TTH::HasSection(const char* name) const
{
    return fileHasSection(FileName, name);
}

TdTH::TdTH(const char* file) : FileName(file != nullptr ? file : "Monitor.ini")
{
    Reset();
}

void TdTH::Reset()
{
    dTHLoss = 0.2;
    dTHRef = -60.0;
    d_dBkm = 0.25;
}

int TdTH::IniTH(const char* section, const char* mode)
{
    const char* name = sectionOrDefault(section);
    TIni ini(FileName.data);
    if (isMode(mode, 'r')) {
        if (ini.Read() != 0)
            return 0;
        dTHLoss = ini.GetDouble(name, "dTHLoss", dTHLoss);
        dTHRef = ini.GetDouble(name, "dTHRef", dTHRef);
        d_dBkm = ini.GetDouble(name, "d(dBkm)", d_dBkm);
        return 1;
    }
    if (isMode(mode, 'w')) {
        loadForWriting(ini);
        ini.SetDouble(name, "dTHLoss", dTHLoss);
        ini.SetDouble(name, "dTHRef", dTHRef);
        ini.SetDouble(name, "d(dBkm)", d_dBkm);
        // The monitoring callers test this answer for 0: it is Write's own code.
        return ini.Write();
    }
    return 1;
}

bool TdTH::HasSection(const char* name) const
{
    return fileHasSection(FileName, name);
}
