// TEventLine and TEventPoint: a straight section of a trace with the event behind it, and a mark of a settings file.
#pragma once

#include <cstdint>

#include "auto/auto-export.h"

class TIniSection;

// A section of clean backscatter and the event that follows it. Positions are
// in km, levels in dB on the trace scale.
class FIBERTEST_AUTO_EXPORT TEventLine
{
public:
    double L1 = 0.0;     // km: start of the line
    double L2 = 0.0;     // km: end of the fitted line
    double Le = 0.0;     // km: where the event after the line begins, at or behind L2
    double P1 = 0.0;     // dB: level of the line at L1
    double P2 = 0.0;     // dB: level of the line at L2
    double Dev = 0.0;    // deviation of the fit
    double Splice = 0.0; // dB: loss from the end of this line to the start of the next
    double Refl = 0.0;   // dB: peak level of the event after the line
    double dBKm = 0.0;   // dB/km: fitted attenuation, 0 without a fit
    double Peak = 0.0;   // km: position of that peak
    // Kind of the event after the line: 'R' reflection, 'N' loss without
    // reflection (Splice <= 0), 'P' positive loss, 'S' short event whose loss
    // is not accurate, 'V' doubled reflection, '=' code left as it is,
    // '_' not yet decided, 0 none.
    char Type = 0;

    // Copies every field except dBKm: a copy keeps its own fit, and a line
    // that needs the fit of its source has it made again by LossSquare.
    void Assign(const TEventLine& other);

    // dBKm when above 0.001; else 0 for a line shorter than 1e-6 km; else the
    // slope (P1 - P2) / (L2 - L1).
    [[nodiscard]] double LossKm() const;
};

// A marked point of a settings file.
class FIBERTEST_AUTO_EXPORT TEventPoint
{
public:
    double position = 0.0;
    double value = 0.0;
    std::int32_t type = 0; // a character, held in a 32-bit word

    // Writes the key "Ev" (followed by `index` in decimal when `index` >= 0)
    // as "%c %6.3lf(%.3lf)" of type, value and position, both numbers first
    // rounded down to thousandths. A null section does nothing.
    void SetIni(TIniSection* section, int index) const;
    // Reads nothing: the marks are written for people, not read back.
    void GetIni(TIniSection* section, int index);
    void Assign(const TEventPoint& other);
};
