// TEventLine and TEventPoint.
#include "auto/event-line.h"

#include <cmath>
#include <cstdio>

#include "util/ini-file.h"

void TEventLine::Assign(const TEventLine& other)
{
    L1 = other.L1;
    L2 = other.L2;
    Le = other.Le;
    P1 = other.P1;
    P2 = other.P2;
    Dev = other.Dev;
    Splice = other.Splice;
    Refl = other.Refl;
    Peak = other.Peak;
    Type = other.Type;
}

double TEventLine::LossKm() const
{
    if (dBKm > 0.001)
        return dBKm;
    const double length = L2 - L1;
    if (length < 1e-6)
        return 0.0;
    return (P1 - P2) / length;
}

void TEventPoint::SetIni(TIniSection* section, int index) const
{
    if (section == nullptr)
        return;
    char key[24];
    if (index >= 0)
        std::snprintf(key, sizeof key, "Ev%d", index);
    else
        std::snprintf(key, sizeof key, "Ev");
    const double shownValue = std::floor(value * 1000.0) / 1000.0;
    const double shownPosition = std::floor(position * 1000.0) / 1000.0;
    char text[128];
    std::snprintf(text, sizeof text, "%c %6.3lf(%.3lf)", static_cast<char>(type), shownValue, shownPosition);
    section->SetString(key, text);
}

void TEventPoint::GetIni(TIniSection* /*section*/, int /*index*/) {}

void TEventPoint::Assign(const TEventPoint& other)
{
    position = other.position;
    value = other.value;
    type = other.type;
}
