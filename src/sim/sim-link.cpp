#include "sim/sim-link.h"

#include <picojson.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <set>

#include "sim/sim-error-p.h"

using detail::sim::fail;
using detail::sim::numberText;

namespace {

using Object = picojson::object;

// The allowed range of a number, for the check and its message.
struct Range
{
    double lo;
    double hi;
    bool openLow = false;  // lo itself is excluded
};

double checkedNumber(const picojson::value& v, const std::string& key, Range range)
{
    if (!v.is<double>())
        fail(key, "expected a number");
    const double x = v.get<double>();
    const bool low = range.openLow ? x > range.lo : x >= range.lo;
    if (!std::isfinite(x) || !low || x > range.hi)
        fail(key, numberText(x) + " is outside " + (range.openLow ? "(" : "[") + numberText(range.lo) + ", " +
                      numberText(range.hi) + "]");
    return x;
}

long long checkedInteger(const picojson::value& v, const std::string& key, double lo, double hi)
{
    const double x = checkedNumber(v, key, {lo, hi});
    if (x != std::floor(x))
        fail(key, "expected a whole number, not " + numberText(x));
    return static_cast<long long>(x);
}

// A wavelength key of a per-wavelength object: a whole number of nm as text.
int wavelengthKey(const std::string& text, const std::string& key)
{
    char* end = nullptr;
    const long nm = text.empty() ? 0 : std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || nm < 600 || nm > 1700)
        fail(key, "'" + text + "' is not a wavelength in nm (600 to 1700)");
    return static_cast<int>(nm);
}

SimPerWavelength perWavelength(const picojson::value& v, const std::string& key, Range range)
{
    SimPerWavelength out;
    out.key = key;
    if (v.is<Object>()) {
        const Object& byNm = v.get<Object>();
        if (byNm.empty())
            fail(key, "an object of values by wavelength needs at least one wavelength");
        for (const auto& [name, value] : byNm)
            out.set(wavelengthKey(name, key), checkedNumber(value, key + "." + name, range));
    } else if (v.is<double>()) {
        out.setAll(checkedNumber(v, key, range));
    } else {
        fail(key, "expected a number or an object of numbers by wavelength");
    }
    return out;
}

// The members of one object, read key by key; whatever is left unread at the
// end is an unknown key. Keys beginning with '_' are comments.
class Members
{
public:
    Members(const picojson::value& v, std::string path) : where(std::move(path))
    {
        if (!v.is<Object>())
            fail(where.empty() ? "the link file" : where, "expected an object");
        object = &v.get<Object>();
    }

    const picojson::value* find(const std::string& name)
    {
        const auto it = object->find(name);
        if (it == object->end())
            return nullptr;
        used.insert(name);
        return &it->second;
    }

    std::string key(const std::string& name) const { return where.empty() ? name : where + "." + name; }

    SimPerWavelength wavelengthValue(const std::string& name, Range range)
    {
        SimPerWavelength out;
        out.key = key(name);
        if (const picojson::value* v = find(name))
            out = perWavelength(*v, key(name), range);
        return out;
    }

    SimPerWavelength required(const std::string& name, Range range)
    {
        SimPerWavelength out = wavelengthValue(name, range);
        if (!out.given())
            fail(key(name), "missing");
        return out;
    }

    void finish() const
    {
        for (const auto& entry : *object)
            if (used.count(entry.first) == 0 && entry.first.rfind('_', 0) != 0)
                fail(key(entry.first), "unknown key");
    }

private:
    std::string where;
    const Object* object = nullptr;
    std::set<std::string> used;
};

const Range lossRange{-5.0, 60.0};
const Range reflectanceRange{-100.0, -8.0};
const Range backscatterRange{-100.0, -60.0};

SimOtdr readOtdr(const picojson::value& v)
{
    SimOtdr otdr;
    Members m(v, "otdr");
    if (const picojson::value* w = m.find("wavelength_nm"))
        otdr.wavelengthNm = static_cast<int>(checkedInteger(*w, m.key("wavelength_nm"), 600, 1700));
    otdr.pulseNs = m.wavelengthValue("pulse_ns", {1.0, 20000.0});
    otdr.spacingM = m.wavelengthValue("spacing_m", {0.01, 100.0});
    otdr.rangeKm = m.wavelengthValue("range_km", {0.0, 500.0, true});
    otdr.groupIndex = m.wavelengthValue("group_index", {1.3, 1.7});
    otdr.backscatterDb = m.wavelengthValue("backscatter_dB", backscatterRange);
    otdr.launchDb = m.wavelengthValue("launch_dB", {-40.0, 10.0});
    otdr.noiseFloorDb = m.wavelengthValue("noise_floor_dB", {-60.0, -5.0});
    otdr.receiverMhz = m.wavelengthValue("receiver_mhz", {0.01, 1000.0});
    otdr.averagingS = m.wavelengthValue("averaging_s", {0.1, 3600.0});
    otdr.lossThresholdDb = m.wavelengthValue("loss_threshold_dB", {0.0, 65.0});
    otdr.reflectanceThresholdDb = m.wavelengthValue("reflectance_threshold_dB", {-65.0, 0.0});
    otdr.endThresholdDb = m.wavelengthValue("end_threshold_dB", {0.0, 65.0});
    if (const picojson::value* g = m.find("ghosts")) {
        if (!g->is<bool>())
            fail(m.key("ghosts"), "expected true or false");
        otdr.ghosts = g->get<bool>();
    }
    // Whole numbers that a double holds exactly.
    if (const picojson::value* s = m.find("seed"))
        otdr.seed = static_cast<std::uint64_t>(checkedInteger(*s, m.key("seed"), 0, 9007199254740992.0));
    if (const picojson::value* t = m.find("timestamp"))
        otdr.timestamp = checkedInteger(*t, m.key("timestamp"), 0, 2147483647.0);
    m.finish();
    return otdr;
}

const std::map<std::string, SimElementKind>& elementKinds()
{
    static const std::map<std::string, SimElementKind> kinds = {
        {"connector", SimElementKind::Connector}, {"fiber", SimElementKind::Fiber},
        {"splice", SimElementKind::Splice},       {"bend", SimElementKind::Bend},
        {"splitter", SimElementKind::Splitter},   {"end", SimElementKind::End}};
    return kinds;
}

SimElement readElement(const picojson::value& v, const std::string& path)
{
    if (!v.is<Object>() || v.get<Object>().size() != 1)
        fail(path, "expected an object with one key: connector, fiber, splice, bend, splitter or end");
    const auto& [name, body] = *v.get<Object>().begin();
    const auto kind = elementKinds().find(name);
    if (kind == elementKinds().end())
        fail(path + "." + name, "unknown element (connector, fiber, splice, bend, splitter or end)");

    SimElement e;
    e.kind = kind->second;
    e.path = path + "." + name;
    Members m(body, e.path);
    switch (e.kind) {
    case SimElementKind::Fiber:
        if (const picojson::value* km = m.find("km"))
            e.km = checkedNumber(*km, m.key("km"), {0.0, 500.0, true});
        else
            fail(m.key("km"), "missing");
        e.dBPerKm = m.wavelengthValue("dB_per_km", {0.0, 20.0});
        e.backscatterDb = m.wavelengthValue("backscatter_dB", backscatterRange);
        break;
    case SimElementKind::Connector:
    case SimElementKind::Bend:
        e.lossDb = m.required("loss_dB", {0.0, 60.0});
        e.reflectanceDb = m.wavelengthValue("reflectance_dB", reflectanceRange);
        break;
    case SimElementKind::Splice:
        e.lossDb = m.required("loss_dB", lossRange);
        e.lossBackDb = m.wavelengthValue("loss_back_dB", lossRange);
        e.reflectanceDb = m.wavelengthValue("reflectance_dB", reflectanceRange);
        break;
    case SimElementKind::Splitter:
        if (const picojson::value* r = m.find("ratio"))
            e.ratio = static_cast<int>(checkedInteger(*r, m.key("ratio"), 2, 1024));
        else
            fail(m.key("ratio"), "missing");
        e.lossDb = m.wavelengthValue("excess_dB", {0.0, 20.0});
        e.lossDb.key = m.key("excess_dB");
        e.reflectanceDb = m.wavelengthValue("reflectance_dB", reflectanceRange);
        break;
    case SimElementKind::End:
        e.reflectanceDb = m.wavelengthValue("reflectance_dB", reflectanceRange);
        break;
    }
    m.finish();
    return e;
}

} // namespace

double SimPerWavelength::at(int nm) const
{
    if (all)
        return *all;
    for (const auto& [wavelength, value] : byWavelength)
        if (wavelength == nm)
            return value;
    fail(key, given() ? "no value for " + std::to_string(nm) + " nm" : std::string("missing"));
}

double SimPerWavelength::at(int nm, double fallback) const
{
    return given() ? at(nm) : fallback;
}

void SimPerWavelength::setAll(double value)
{
    all = value;
    byWavelength.clear();
}

void SimPerWavelength::set(int nm, double value)
{
    all.reset();
    for (auto& entry : byWavelength)
        if (entry.first == nm) {
            entry.second = value;
            return;
        }
    byWavelength.emplace_back(nm, value);
}

const char* SimElementName(SimElementKind kind)
{
    switch (kind) {
    case SimElementKind::Connector: return "connector";
    case SimElementKind::Fiber: return "fiber";
    case SimElementKind::Splice: return "splice";
    case SimElementKind::Bend: return "bend";
    case SimElementKind::Splitter: return "splitter";
    case SimElementKind::End: return "end";
    }
    return "?";
}

SimLink SimParseLink(const std::string& json, const SimLimits& limits)
{
    picojson::value root;
    std::string error;
    try {
        error = picojson::parse(root, json);
    } catch (const std::exception& e) {
        // picojson throws for numbers that do not fit a double.
        error = e.what();
    }
    if (!error.empty()) {
        // picojson's message runs over several lines; the first says where.
        error = error.substr(0, error.find('\n'));
        throw SimError("not valid JSON: " + error);
    }

    SimLink link;
    Members top(root, "");
    if (const picojson::value* otdr = top.find("otdr"))
        link.otdr = readOtdr(*otdr);
    else
        link.otdr = readOtdr(picojson::value(Object()));
    const picojson::value* elements = top.find("link");
    if (elements == nullptr)
        fail("link", "missing");
    if (!elements->is<picojson::array>() || elements->get<picojson::array>().empty())
        fail("link", "expected a list of elements");
    const picojson::array& list = elements->get<picojson::array>();
    if (list.size() > static_cast<std::size_t>(std::max(limits.maxElements, 0)))
        fail("link", std::to_string(list.size()) + " elements; at most " + std::to_string(limits.maxElements));
    for (std::size_t i = 0; i < list.size(); ++i)
        link.elements.push_back(readElement(list[i], "link[" + std::to_string(i) + "]"));
    top.finish();
    return link;
}
