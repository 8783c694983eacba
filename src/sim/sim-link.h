// SimLink: the simulator's input, a described link and the OTDR that
// measures it, read from JSON (the format is documented in docs/simulator.md).
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "sim/sim-export.h"

// Every failure of the simulator: input that cannot be used. The text names
// the JSON key ("link[3].splice.loss_dB: ...") and says what is wrong.
class FIBERTEST_SIM_EXPORT SimError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// How far the simulator goes for one input: hostile input ends with a
// SimError instead of a large allocation or a long run.
struct FIBERTEST_SIM_EXPORT SimLimits
{
    long maxPoints = 1000000;  // points of one trace (the trace format's own limit)
    int maxElements = 10000;   // elements of one link
};

// A number that holds for every wavelength, or one value per wavelength in
// nm. Not given at all when neither was set.
class FIBERTEST_SIM_EXPORT SimPerWavelength
{
public:
    std::string key;  // the JSON path of the value, for errors

    [[nodiscard]] bool given() const { return all.has_value() || !byWavelength.empty(); }
    // The value at `nm`; a SimError naming the key when there is none.
    [[nodiscard]] double at(int nm) const;
    // The value at `nm`, or `fallback` when the key was not given.
    [[nodiscard]] double at(int nm, double fallback) const;

    void setAll(double value);
    void set(int nm, double value);

private:
    std::optional<double> all;
    std::vector<std::pair<int, double>> byWavelength;
};

enum class SimElementKind { Connector, Fiber, Splice, Bend, Splitter, End };

// One element of the link, in order from the near end.
struct FIBERTEST_SIM_EXPORT SimElement
{
    SimElementKind kind = SimElementKind::Fiber;
    std::string path;                // its JSON path, "link[3].splice"
    double km = 0.0;                 // fiber: length
    SimPerWavelength dBPerKm;        // fiber: attenuation; not given: the default of the wavelength
    SimPerWavelength backscatterDb;  // fiber: backscatter at 1 ns; not given: the OTDR's
    SimPerWavelength lossDb;         // connector, splice, bend: loss; splitter: excess loss
    SimPerWavelength lossBackDb;     // splice: the loss seen from the far end (unlike fibers)
    SimPerWavelength reflectanceDb;  // not given: a non-reflective event
    int ratio = 0;                   // splitter: outputs
};

// The instrument's settings. Every number but wavelength_nm, seed and
// timestamp may be given per wavelength.
struct FIBERTEST_SIM_EXPORT SimOtdr
{
    int wavelengthNm = 1550;
    SimPerWavelength pulseNs;        // default 100
    SimPerWavelength spacingM;       // default: by the range
    SimPerWavelength rangeKm;        // default: a standard range beyond the link
    SimPerWavelength groupIndex;     // default by wavelength
    SimPerWavelength backscatterDb;  // dB at 1 ns; default by wavelength
    SimPerWavelength launchDb;       // backscatter level at 0 km; default -3
    SimPerWavelength noiseFloorDb;   // RMS noise level; default by the pulse
    SimPerWavelength receiverMhz;    // receiver bandwidth; default by the pulse
    SimPerWavelength averagingS;     // averaging time; default 15
    // The analysis thresholds stored with the trace, as the user set them
    // on the instrument: loss (dB), reflectance (dB), end of fiber (dB).
    SimPerWavelength lossThresholdDb;
    SimPerWavelength reflectanceThresholdDb;
    SimPerWavelength endThresholdDb;
    bool ghosts = false;
    std::uint64_t seed = 1;
    std::int64_t timestamp = 1735689600;  // date of the measurement, s since 1970 (UTC)
};

struct FIBERTEST_SIM_EXPORT SimLink
{
    SimOtdr otdr;
    std::vector<SimElement> elements;
};

// Reads a link description. Unknown keys are errors too, so that a misspelt
// key does not silently take a default. Throws SimError.
[[nodiscard]] FIBERTEST_SIM_EXPORT SimLink SimParseLink(const std::string& json, const SimLimits& limits = {});

// The name of an element kind as the input and the truth file write it.
[[nodiscard]] FIBERTEST_SIM_EXPORT const char* SimElementName(SimElementKind kind);
