// Reads arbitrary text as a link description and, when it is one, simulates
// a small shot of it both ways: the parser and the model must never crash,
// hang or allocate beyond the limits, and a shot must give the points its
// grid promises.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sim/sim-link.h"
#include "sim/sim-model.h"
#include "sim/sim-shot.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    SimLimits limits;
    limits.maxPoints = 20000;
    limits.maxElements = 200;
    SimLink link;
    try {
        link = SimParseLink(std::string(reinterpret_cast<const char*>(data), size), limits);
    } catch (const SimError&) {
        return 0;
    }
    for (SimDirection direction : {SimDirection::Forward, SimDirection::Backward}) {
        SimShotOptions options;
        options.direction = direction;
        SimShot shot;
        try {
            shot = SimResolveShot(link, options, limits);
        } catch (const SimError&) {
            return 0;
        }
        const SimModelOutput out = SimRunModel(shot);
        if (out.raw.size() != static_cast<std::size_t>(shot.points) || out.clean.size() != out.raw.size())
            std::abort();
    }
    return 0;
}
