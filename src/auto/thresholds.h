// TTH and TdTH: the thresholds of the automatic analysis and of monitoring, kept in INI files.
#pragma once

#include "auto/auto-export.h"
#include "util/t-string.h"

// The thresholds an analysis runs with. Only THLoss, THRef, THEnd, THEndPON,
// Event, dBkm, polar, RefSat and MinPin are kept in the settings file; the
// other fields are copied with the object and otherwise live in memory only.
class FIBERTEST_AUTO_EXPORT TTH
{
public:
    double THLoss;    // dB: loss threshold of an event
    double THRef;     // dB: reflectance threshold of an event
    double THEnd;     // dB: a loss of at least this size ends the fiber
    double THEndPON;  // dB: kept and copied; the analysis does not read it
    double THSpare1;  // kept and copied only
    double Event;     // dB: working loss threshold, overwritten by THLoss for each run
    double dBkm;      // dB/km: limit on the attenuation change of a section
    double THSpare2;  // kept and copied only
    double polar;     // dB: typical polarisation noise of the trace
    double RefSat;    // dB: a peak at or above this level counts as saturated
    double MinLen;    // km: shorter sections are merged
    long THSpare3;    // kept and copied only
    long MinPin;      // points: smallest number of points of a section
    long AvgPin;      // points: averaging window, raised to the pulse window at run time
    double dNoise;    // dB: added to the noise level by the single-section event search
    long UseGiven;    // non-zero: the thresholds are used as given when sections are merged
    long LongPath;    // greater than 0: the filtered path is skipped
    TString FileName; // settings file

    // A null `file` gives "ThresH.ini". All fields take their defaults.
    explicit TTH(const char* file = nullptr);

    // The defaults: 0.2, -60.0, 20.0, 30.0, -40.0, 0.02, 0.25, 0.05, 0.1,
    // -0.2, 0.0, 100, 10, 100, -1.0, 0, 0. FileName is left alone.
    void Reset();

    // Mode "r" reads the section from FileName (each key with the current value
    // as its default), mode "w" writes the section into the file and saves it;
    // a null section is "NON". Answers 0 when the file cannot be read ("r") or
    // written ("w"), 1 otherwise (also for any other mode, which does nothing).
    [[nodiscard]] int IniTH(const char* section = nullptr, const char* mode = "r");
    // Whether FileName can be read and holds a section of that name.
    [[nodiscard]] bool HasSection(const char* name) const;
};

// The thresholds of change between a trace and its baseline.
class FIBERTEST_AUTO_EXPORT TdTH
{
public:
    double dTHLoss;   // dB: change of an event's loss
    double dTHRef;    // dB: change of an event's reflectance
    double d_dBkm;    // dB/km: change of a section's attenuation (key "d(dBkm)")
    TString FileName; // settings file

    // A null `file` gives "Monitor.ini". All fields take their defaults.
    explicit TdTH(const char* file = nullptr);

    // The defaults 0.2, -60.0, 0.25. FileName is left alone.
    void Reset();

    // As TTH::IniTH with the keys "dTHLoss", "dTHRef" and "d(dBkm)", with one
    // difference kept for the callers that test it: in mode "w" the answer is
    // that of TIni::Write, 0 on success and non-zero on failure.
    [[nodiscard]] int IniTH(const char* section = nullptr, const char* mode = "r");
    [[nodiscard]] bool HasSection(const char* name) const;
};
