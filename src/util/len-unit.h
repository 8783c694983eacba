// TLenUnit: lengths and attenuations in the user's distance unit, and their texts.
#pragma once

#include "util/util-export.h"

// Stored in settings by its code ("km", "mt", "ft", "kf", "mi"), so the
// values are fixed.
enum TDistanceUnit
{
    duKm = 0, // kilometres
    duMt = 1, // metres
    duFt = 2, // feet
    duKf = 3, // kilofeet
    duMi = 4, // miles
};

// Lengths inside the system are kilometres; this converts them for display
// in the current unit and back. Units outside the five pass values through as
// kilometres, so a damaged setting shows kilometres rather than nonsense.
class FIBERTEST_UTIL_EXPORT TLenUnit
{
public:
    // Room that every Format*Str function needs in its buffer; longer texts
    // (absurdly large values) are cut to fit.
    static constexpr int FormatBufSize = 64;

    explicit TLenUnit(TDistanceUnit unit = duKm);
    virtual ~TLenUnit();

    [[nodiscard]] TDistanceUnit GetLenUnit() const;
    void SetLenUnit(TDistanceUnit unit);

    // The settings code: "km", "mt", "ft", "kf", "mi" ("km" for other units).
    [[nodiscard]] const char* GetDistanceUnitCode() const;
    [[nodiscard]] static const char* GetDistanceUnitCode(TDistanceUnit unit);
    // The unit of a settings code; anything unknown, null and "km" included,
    // is kilometres.
    [[nodiscard]] static TDistanceUnit GetDistanceUnit(const char* code);

    [[nodiscard]] static double KmToMt(double km);
    [[nodiscard]] static double KmToFt(double km);
    [[nodiscard]] static double KmToKf(double km);
    [[nodiscard]] static double KmToMi(double km);
    [[nodiscard]] static double MtToKm(double mt);
    [[nodiscard]] static double FtToKm(double ft);
    [[nodiscard]] static double KfToKm(double kf);
    [[nodiscard]] static double MiToKm(double mi);

    // Kilometres to the current (or given) unit, and back.
    [[nodiscard]] double GetLen(double km) const;
    [[nodiscard]] static double GetLen(double km, TDistanceUnit unit);
    [[nodiscard]] double GetKm(double len) const;
    [[nodiscard]] static double GetKm(double len, TDistanceUnit unit);

    // Short distances (event widths, dead zones): feet for the imperial units,
    // metres otherwise.
    [[nodiscard]] double GetSmallLen(double km) const;
    [[nodiscard]] const char* GetSmallLenUnitStr() const;

    // Decimals worth showing: km 5, metres and feet 0, kilofeet and miles 4
    // (5 for unknown units, as kilometres).
    [[nodiscard]] int GetLenDecimal() const;
    [[nodiscard]] static int GetLenDecimal(TDistanceUnit unit);

    // dB/km to the attenuation unit of the current distance unit (dB/km for
    // km and metres, dB/kf for feet and kilofeet, dB/mi for miles), and back.
    // An unknown unit gives 0.
    [[nodiscard]] double GetAttenuation(double dbPerKm) const;
    [[nodiscard]] double SetAttenuation(double value) const;
    // "dB/km", "dB/kf" or "dB/mi" as above; any other unit is a programming
    // error and fails an assertion.
    [[nodiscard]] const char* GetAttenuationUnitStr() const;

    // Display names from the shared table.
    [[nodiscard]] const char* GetLenUnitStr() const;
    [[nodiscard]] static const char* GetLenUnitStr(TDistanceUnit unit);
    [[nodiscard]] static const char* GetLevelUnitStr();
    [[nodiscard]] static const char* GetTimeUnitStr();
    // Restores the table of display names; the level then reads "db".
    static void SetLenUnitStr();

    // "SM-1550": "MM" for fiber type 651, "SM" for any other, then the
    // wavelength in nm. `buf` holds FormatBufSize bytes.
    static void FormatLaserTypeStr(char* buf, short fiberType, short wavelength);

    // `value` rounded to a precision that suits `span` (the range the value
    // is shown in): hundreds from a span of 950, tens from 95, units from 9.5,
    // then 1, 2 or 3 decimals. With `trim` non-zero, trailing zeros after the
    // point go, and then a bare point. `buf` holds FormatBufSize bytes.
    static void FormatRoundValueStr(char* buf, double value, double span, int trim);
    static void FormatRoundValueStr(char* buf, double value);

    // A length given in km, in the current unit with its decimals, a blank
    // and the unit: "1.25000 km", "1250 m".
    void FormatLenStr(char* buf, double km) const;
    // A level in dB with three decimals, a blank and the unit: "-12.345 dB".
    static void FormatLevelStr(char* buf, double level);

private:
    [[nodiscard]] bool IsImperial() const;

    TDistanceUnit unit;
};
