#include "util/len-unit.h"

#include <cassert>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

// Slots of the display-name table.
enum UnitStrIndex
{
    strKm,
    strMt,
    strFt,
    strKf,
    strMi,
    strLevel,
    strTime,
    strMultiMode,
    strSingleMode,
    strCount
};

const char* unitStr[strCount] = {"km", "m", "ft", "kf", "mi", "dB", "ns", "MM", "SM"};

const char* const unitCodes[] = {"km", "mt", "ft", "kf", "mi"};

constexpr short multiModeFiberType = 651;

bool isKnown(TDistanceUnit unit)
{
    return unit >= duKm && unit <= duMi;
}

// Rounding happens in double; the "%d" texts need an int, and a value beyond
// its range (or NaN) must not reach the conversion, which would be undefined.
int toInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (value <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(value);
}

} // namespace

TLenUnit::TLenUnit(TDistanceUnit unit) : unit(unit) {}

TLenUnit::~TLenUnit() = default;

TDistanceUnit TLenUnit::GetLenUnit() const
{
    return unit;
}

void TLenUnit::SetLenUnit(TDistanceUnit value)
{
    unit = value;
}

const char* TLenUnit::GetDistanceUnitCode() const
{
    return GetDistanceUnitCode(unit);
}

const char* TLenUnit::GetDistanceUnitCode(TDistanceUnit unit)
{
    return unitCodes[isKnown(unit) ? unit : duKm];
}

TDistanceUnit TLenUnit::GetDistanceUnit(const char* code)
{
    if (code == nullptr)
        return duKm;
    for (int u = duMt; u <= duMi; ++u)
        if (std::strcmp(code, unitCodes[u]) == 0)
            return static_cast<TDistanceUnit>(u);
    return duKm;
}

double TLenUnit::KmToMt(double km) { return km * 1000.0; }
double TLenUnit::KmToFt(double km) { return km * 3280.84; }
double TLenUnit::KmToKf(double km) { return km / 0.3048; }
double TLenUnit::KmToMi(double km) { return km / 1.609344; }
double TLenUnit::MtToKm(double mt) { return mt / 1000.0; }
double TLenUnit::FtToKm(double ft) { return ft / 3280.84; }
double TLenUnit::KfToKm(double kf) { return kf * 0.3048; }
double TLenUnit::MiToKm(double mi) { return mi * 1.609344; }

double TLenUnit::GetLen(double km) const
{
    return GetLen(km, unit);
}

double TLenUnit::GetLen(double km, TDistanceUnit unit)
{
    switch (unit) {
    case duMt: return KmToMt(km);
    case duFt: return KmToFt(km);
    case duKf: return KmToKf(km);
    case duMi: return KmToMi(km);
    default: return km;
    }
}

double TLenUnit::GetKm(double len) const
{
    return GetKm(len, unit);
}

double TLenUnit::GetKm(double len, TDistanceUnit unit)
{
    switch (unit) {
    case duMt: return MtToKm(len);
    case duFt: return FtToKm(len);
    case duKf: return KfToKm(len);
    case duMi: return MiToKm(len);
    default: return len;
    }
}

// Feet belong to the imperial units only; an unknown unit is taken as km, as
// everywhere else here, so the number and its unit always agree.
bool TLenUnit::IsImperial() const
{
    return unit == duFt || unit == duKf || unit == duMi;
}

double TLenUnit::GetSmallLen(double km) const
{
    return IsImperial() ? KmToFt(km) : KmToMt(km);
}

const char* TLenUnit::GetSmallLenUnitStr() const
{
    return IsImperial() ? unitStr[strFt] : unitStr[strMt];
}

int TLenUnit::GetLenDecimal() const
{
    return GetLenDecimal(unit);
}

int TLenUnit::GetLenDecimal(TDistanceUnit unit)
{
    switch (unit) {
    case duMt:
    case duFt: return 0;
    case duKf:
    case duMi: return 4;
    default: return 5;
    }
}

double TLenUnit::GetAttenuation(double dbPerKm) const
{
    switch (unit) {
    case duKm:
    case duMt: return dbPerKm;
    case duFt:
    case duKf: return dbPerKm * 0.3048;
    case duMi: return dbPerKm * 1.60933;
    default: return 0;
    }
}

double TLenUnit::SetAttenuation(double value) const
{
    switch (unit) {
    case duKm:
    case duMt: return value;
    case duFt:
    case duKf: return value / 0.3048;
    case duMi: return value / 1.60933;
    default: return 0;
    }
}

const char* TLenUnit::GetAttenuationUnitStr() const
{
    switch (unit) {
    case duKm:
    case duMt: return "dB/km";
    case duFt:
    case duKf: return "dB/kf";
    case duMi: return "dB/mi";
    default: break;
    }
    assert(!"no attenuation unit for this distance unit");
    return "";
}

const char* TLenUnit::GetLenUnitStr() const
{
    return GetLenUnitStr(unit);
}

const char* TLenUnit::GetLenUnitStr(TDistanceUnit unit)
{
    return unitStr[isKnown(unit) ? unit : duKm];
}

const char* TLenUnit::GetLevelUnitStr()
{
    return unitStr[strLevel];
}

const char* TLenUnit::GetTimeUnitStr()
{
    return unitStr[strTime];
}

void TLenUnit::SetLenUnitStr()
{
    unitStr[strKm] = "km";
    unitStr[strMt] = "m";
    unitStr[strFt] = "ft";
    unitStr[strKf] = "kf";
    unitStr[strMi] = "mi";
    unitStr[strLevel] = "db";
    unitStr[strTime] = "ns";
    unitStr[strMultiMode] = "MM";
    unitStr[strSingleMode] = "SM";
}

void TLenUnit::FormatLaserTypeStr(char* buf, short fiberType, short wavelength)
{
    std::snprintf(buf, FormatBufSize, "%s-%d",
                  unitStr[fiberType == multiModeFiberType ? strMultiMode : strSingleMode], wavelength);
}

void TLenUnit::FormatRoundValueStr(char* buf, double value, double span, int trim)
{
    if (span + 50.0 >= 1000.0)
        std::snprintf(buf, FormatBufSize, "%d", toInt(std::trunc(value / 100.0 + 0.5) * 100));
    else if (span + 5.0 >= 100.0)
        std::snprintf(buf, FormatBufSize, "%d", toInt(std::trunc(value / 10.0 + 0.5) * 10));
    else if (span + 0.5 >= 10.0)
        std::snprintf(buf, FormatBufSize, "%d", toInt(std::trunc(value + 0.5)));
    else if (span + 0.05 >= 1.0)
        std::snprintf(buf, FormatBufSize, "%0.1lf", value);
    else if (span + 0.005 >= 0.1)
        std::snprintf(buf, FormatBufSize, "%0.2lf", value);
    else
        std::snprintf(buf, FormatBufSize, "%0.3lf", value);

    // Only a text with a point has zeros to spare: "1200" must stay 1200.
    if (trim == 0 || std::strchr(buf, '.') == nullptr)
        return;
    std::size_t end = std::strlen(buf);
    while (end > 0 && buf[end - 1] == '0')
        --end;
    if (end > 0 && buf[end - 1] == '.')
        --end;
    buf[end] = '\0';
}

void TLenUnit::FormatRoundValueStr(char* buf, double value)
{
    FormatRoundValueStr(buf, value, value, 0);
}

void TLenUnit::FormatLenStr(char* buf, double km) const
{
    std::snprintf(buf, FormatBufSize, "%.*f %s", GetLenDecimal(), GetLen(km), GetLenUnitStr());
}

void TLenUnit::FormatLevelStr(char* buf, double level)
{
    std::snprintf(buf, FormatBufSize, "%.3f %s", level, GetLevelUnitStr());
}
