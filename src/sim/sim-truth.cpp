#include "sim/sim-truth.h"

#include <cmath>
#include <cstdio>
#include <optional>

namespace {

// A number to 1e-6 without trailing zeros; null when it is not finite.
std::string number(double v)
{
    if (!std::isfinite(v))
        return "null";
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.6f", v);
    std::string text = buffer;
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.')
        text.pop_back();
    if (text == "-0")
        text = "0";
    return text;
}

std::string optionalNumber(const std::optional<double>& v)
{
    return v ? number(*v) : std::string("null");
}

std::string quoted(const char* text)
{
    return std::string("\"") + text + "\"";
}

// Members of one object on one line: {"a": 1, "b": 2}.
class Line
{
public:
    Line& add(const char* key, const std::string& value)
    {
        text += (text.empty() ? "{" : ", ") + quoted(key) + ": " + value;
        return *this;
    }
    [[nodiscard]] std::string str() const { return text + "}"; }

private:
    std::string text;
};

template <class T, class F>
void list(std::string& out, const char* key, const std::vector<T>& items, F line, bool last)
{
    out += "  " + quoted(key) + ": [";
    for (std::size_t i = 0; i < items.size(); ++i)
        out += std::string(i == 0 ? "\n" : ",\n") + "    " + line(items[i]).str();
    out += items.empty() ? "]" : "\n  ]";
    out += last ? "\n" : ",\n";
}

} // namespace

std::string SimTruthJson(const SimShot& shot, const SimModelOutput& model)
{
    const double spacingM = shot.stepOwt() / shot.owtPerKm * 1000.0;
    double endToEnd = 0.0;
    for (const SimSection& s : shot.sections)
        endToEnd += s.dBPerKm * (s.endKm - s.startKm);
    for (std::size_t i = 0; i + 1 < shot.events.size(); ++i)
        if (!shot.events[i].atPort)
            endToEnd += shot.events[i].apparentLossDb;

    std::string out = "{\n";
    const auto member = [&out](const char* key, const std::string& value) {
        out += "  " + quoted(key) + ": " + value + ",\n";
    };
    member("wavelength_nm", std::to_string(shot.wavelengthNm));
    member("pulse_ns", number(shot.pulseNs));
    member("spacing_m", number(spacingM));
    member("direction", quoted(shot.direction == SimDirection::Backward ? "backward" : "forward"));
    member("fiber_end_km", number(shot.fiberEndKm));
    member("range_km", number(shot.rangeKm));
    member("points", std::to_string(shot.points));
    member("seed", std::to_string(shot.seed));
    member("group_index", number(shot.gi * 1e-5));
    member("backscatter_dB", number(shot.backscatterDb));
    member("launch_dB", number(shot.launchDb));
    member("noise_floor_dB", number(shot.noiseFloorDb));
    member("receiver_mhz", number(shot.receiverMhz));
    member("end_to_end_loss_dB", number(endToEnd));
    member("orl_dB", number(model.orlDb));
    list(out, "sections", shot.sections, [](const SimSection& s) {
        return Line()
            .add("start_km", number(s.startKm))
            .add("end_km", number(s.endKm))
            .add("dB_per_km", number(s.dBPerKm))
            .add("backscatter_dB", number(s.backscatterDb));
    }, false);
    list(out, "ghosts", model.ghosts, [](const SimGhost& g) {
        return Line().add("km", number(g.km)).add("reflectance_dB", number(g.reflectanceDb));
    }, false);
    const SimEvent* endEvent = shot.events.empty() ? nullptr : &shot.events.back();
    list(out, "events", shot.events, [endEvent](const SimEvent& e) {
        const bool isEnd = &e == endEvent;
        return Line()
            .add("km", number(e.km))
            .add("kind", quoted(SimElementName(e.kind)))
            .add("loss_dB", isEnd ? std::string("null") : number(e.apparentLossDb))
            .add("reflectance_dB", optionalNumber(e.reflectanceDb))
            .add("transmission_loss_dB", isEnd ? std::string("null") : number(e.lossDb));
    }, true);
    out += "}\n";
    return out;
}
