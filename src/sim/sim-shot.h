// SimShot: one OTDR shot on a described link, every value resolved for one
// wavelength and one direction, with the sampling grid as the trace file
// will store it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "sim/sim-export.h"
#include "sim/sim-link.h"

enum class SimDirection { Forward, Backward };

// What the command line may set over the link file.
struct FIBERTEST_SIM_EXPORT SimShotOptions
{
    std::optional<int> wavelengthNm;
    std::optional<double> pulseNs;
    std::optional<std::uint64_t> seed;
    SimDirection direction = SimDirection::Forward;
};

// An event as the trace sees it, in order along the trace.
struct FIBERTEST_SIM_EXPORT SimEvent
{
    SimElementKind kind = SimElementKind::Connector;
    double km = 0.0;                      // from the start of the trace
    double lossDb = 0.0;                  // one-way loss of the light through it
    double apparentLossDb = 0.0;          // the step of the backscatter across it on this trace
    std::optional<double> reflectanceDb;  // none: non-reflective
    bool atPort = false;                  // stands before the first fiber, at the instrument's port
    double lossBeforeDb = 0.0;            // the light's one-way loss from the port to it
};

// A stretch of fiber between two places of the trace.
struct FIBERTEST_SIM_EXPORT SimSection
{
    double startKm = 0.0;
    double endKm = 0.0;
    double dBPerKm = 0.0;
    double backscatterDb = 0.0;  // at 1 ns
    double startLevelDb = 0.0;   // backscatter level at its start, before the pulse and the receiver
    double lossBeforeDb = 0.0;   // the light's one-way loss from the port to its start
};

struct FIBERTEST_SIM_EXPORT SimShot
{
    int wavelengthNm = 1550;
    double pulseNs = 100.0;
    double spacingM = 0.5;
    double rangeKm = 0.0;
    double groupIndex = 1.4682;
    double backscatterDb = -81.0;  // the instrument's setting, stored in the trace
    double launchDb = -3.0;
    double noiseFloorDb = -30.0;
    double receiverMhz = 10.0;
    double averagingS = 15.0;
    double lossThresholdDb = 0.1;
    double reflectanceThresholdDb = -60.0;
    double endThresholdDb = 3.0;
    bool ghosts = false;
    std::uint64_t seed = 1;
    std::int64_t timestamp = 0;
    SimDirection direction = SimDirection::Forward;

    std::vector<SimSection> sections;  // in order, end to end
    std::vector<SimEvent> events;      // in order; the last one is the end
    double fiberEndKm = 0.0;
    std::vector<int> splitterRatios;   // along the trace

    // The grid as the trace stores it; every time of the model comes from these.
    std::int32_t gi = 146820;      // group index x 100000
    std::int32_t ds = 0;           // point spacing, 1/10000 of 100 ps
    std::int32_t rangeOwt = 0;     // acquisition range, one-way time in 100 ps
    long points = 0;
    double owtPerKm = 0.0;         // one-way time in 100 ps per km, from the stored group index

    [[nodiscard]] double stepOwt() const { return ds / 10000.0; }
    [[nodiscard]] double kmToOwt(double km) const { return km * owtPerKm; }
    // The level of the backscatter alone (an infinitely short pulse, no
    // receiver, no noise) at `km`; -infinity past the end of the fiber.
    [[nodiscard]] double backscatterLevelAt(double km) const;
};

// Resolves a link for one shot: the values of the wavelength, the defaults,
// the direction (seen from the far end the port and the end stay in their
// roles and everything between is reversed) and the grid. Throws SimError.
[[nodiscard]] FIBERTEST_SIM_EXPORT SimShot SimResolveShot(const SimLink& link, const SimShotOptions& options,
                                                        const SimLimits& limits = {});

// Defaults by wavelength for single-mode fiber.
[[nodiscard]] FIBERTEST_SIM_EXPORT double SimDefaultAttenuation(int nm);
[[nodiscard]] FIBERTEST_SIM_EXPORT double SimDefaultBackscatter(int nm);
[[nodiscard]] FIBERTEST_SIM_EXPORT double SimDefaultGroupIndex(int nm);
