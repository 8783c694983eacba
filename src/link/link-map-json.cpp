#include "link/link-map-json.h"

#include <picojson.h>

#include <utility>
#include <vector>

#include "link/json-utils.h"

using detail::Event;
using detail::GetUnsignedOrException;
using detail::ReflectanceType;
using detail::TNode;

namespace {

const char* const kTopMost = "top most";
const char* const kNodeMap = "node map";
const char* const kWavelengthMap = "wavelength map";
const char* const kEventMap = "event map";
const char* const kTraceMap = "trace parameters map";
const char* const kParametersMap = "parameters map";
const char* const kExtrasMap = "extras map";

// --- Writing ---

void PutOptional(picojson::object& out, const char* key, const OptionalDouble& value)
{
    if (value.first)
        out[key] = picojson::value(value.second);
}

// The members of one event, into `out` (an event object, or the wavelength
// object that also carries the node's own event).
void WriteEvent(picojson::object& out, const Event& event)
{
    out["position"] = picojson::value(event.pos);
    PutOptional(out, "loss", event.loss);
    out["reflectanceType"] = picojson::value(std::string(ReflectanceTypeName(event.reflectance.first)));
    out["reflectance"] = picojson::value(event.reflectance.second);
    out["sectionLength"] = picojson::value(event.sectionLength);
    PutOptional(out, "sectionLoss", event.sectionLoss);
    PutOptional(out, "preciseWavelength", event.preciseWavelength);
    out["dwdm"] = picojson::value(event.dwdm);
}

picojson::value WriteNode(const TNode& node)
{
    picojson::object out;
    out["type"] = picojson::value(std::string(NodeTypeName(node.GetType())));
    out["comment"] = picojson::value(node.GetComment());
    if (node.GetSplitterRatio() != 0)
        out["splitterRatio"] = picojson::value(static_cast<double>(node.GetSplitterRatio()));
    picojson::array events;
    for (const auto& [wavelen, list] : node.GetEvents()) {
        if (list.empty())
            continue;
        picojson::object item;
        item["wavelength"] = picojson::value(static_cast<double>(wavelen));
        WriteEvent(item, list.front());
        picojson::array merged;
        for (auto it = list.begin() + 1; it != list.end(); ++it) {
            picojson::object sub;
            WriteEvent(sub, *it);
            merged.emplace_back(std::move(sub));
        }
        item["merged"] = picojson::value(std::move(merged));
        events.emplace_back(std::move(item));
    }
    out["events"] = picojson::value(std::move(events));
    return picojson::value(std::move(out));
}

picojson::value WriteTrace(const TTraceParameters& trace)
{
    picojson::object out;
    out["name"] = picojson::value(trace.name);
    out["refractiveIndex"] = picojson::value(trace.refractiveIndex);
    out["backscatteringCoeff"] = picojson::value(trace.backscatteringCoeff);
    out["wavelength"] = picojson::value(static_cast<double>(trace.wavelength));
    out["pulseWidth"] = picojson::value(static_cast<double>(trace.pulseWidth));
    out["measurementTime"] = picojson::value(trace.measurementTime);
    out["acquisitionRange"] = picojson::value(trace.acquisitionRange);
    out["resolution"] = picojson::value(trace.resolution);
    out["optimalDeadZone"] = picojson::value(trace.optimalDeadZone);
    return picojson::value(std::move(out));
}

picojson::value WriteParameters(unsigned wavelen, const TFiberConstants& constants)
{
    picojson::object out;
    out["wavelength"] = picojson::value(static_cast<double>(wavelen));
    out["backscatteringCoeff"] = picojson::value(constants.backscatteringCoeff);
    out["refractiveIndex"] = picojson::value(constants.refractiveIndex);
    return picojson::value(std::move(out));
}

// --- Reading ---

OptionalDouble ReadOptional(const picojson::object& map, const char* key, const char* context)
{
    const double* value = GetOptionalValue<double>(map, key, context);
    return value ? MakeOptionalDouble(*value) : NoValue();
}

ReflectanceType ReadReflectanceType(const picojson::object& map, const char* context)
{
    const std::string& name = GetValueOrException<std::string>(map, "reflectanceType", context);
    for (ReflectanceType type : {ReflectanceType::tiny, ReflectanceType::normal, ReflectanceType::huge})
        if (name == ReflectanceTypeName(type))
            return type;
    throw DeserializationException("wrong reflectance type");
}

Event ReadEvent(const picojson::object& map, const char* context)
{
    Event event;
    event.pos = GetValueOrException<double>(map, "position", context);
    event.loss = ReadOptional(map, "loss", context);
    event.reflectance.first = ReadReflectanceType(map, context);
    if (event.reflectance.first == ReflectanceType::tiny) {
        const OptionalDouble reflectance = ReadOptional(map, "reflectance", context);
        event.reflectance.second = reflectance.first ? reflectance.second : 0.0;
        const OptionalDouble length = ReadOptional(map, "sectionLength", context);
        event.sectionLength = length.first ? length.second : 0.0;
    } else {
        event.reflectance.second = GetValueOrException<double>(map, "reflectance", context);
        event.sectionLength = GetValueOrException<double>(map, "sectionLength", context);
    }
    event.sectionLoss = ReadOptional(map, "sectionLoss", context);
    event.preciseWavelength = ReadOptional(map, "preciseWavelength", context);
    if (const bool* dwdm = GetOptionalValue<bool>(map, "dwdm", context))
        event.dwdm = *dwdm;
    return event;
}

// One wavelength object of a node: the node's event there, then the
// sub-events of "merged".
std::pair<unsigned, std::vector<Event>> ReadWavelength(const picojson::object& map)
{
    const unsigned wavelen = GetUnsignedOrException(map, "wavelength", kWavelengthMap);
    std::vector<Event> events{ReadEvent(map, kWavelengthMap)};
    if (const auto* merged = GetOptionalValue<picojson::array>(map, "merged", kWavelengthMap)) {
        for (const picojson::value& item : *merged) {
            if (!item.is<picojson::object>())
                throw DeserializationException("merged array element isn't a map");
            events.push_back(ReadEvent(item.get<picojson::object>(), kEventMap));
        }
    }
    return {wavelen, std::move(events)};
}

TNode ReadNode(const picojson::object& map)
{
    TNode::Type type = TNode::unknown;
    if (!NodeTypeFromName(GetValueOrException<std::string>(map, "type", kNodeMap), type))
        throw DeserializationException("wrong node type");
    const std::string* comment = GetOptionalValue<std::string>(map, "comment", kNodeMap);
    unsigned splitterRatio = 0;
    if (map.count("splitterRatio") != 0)
        splitterRatio = GetUnsignedOrException(map, "splitterRatio", kNodeMap);
    TNode::EventsMap events;
    for (const picojson::value& item : GetValueOrException<picojson::array>(map, "events", kNodeMap)) {
        if (!item.is<picojson::object>())
            throw DeserializationException("events array element isn't a map");
        auto [wavelen, list] = ReadWavelength(item.get<picojson::object>());
        events[wavelen] = std::move(list);
    }
    return TNode(type, std::move(events), comment ? *comment : std::string(), splitterRatio);
}

TTraceParameters ReadTrace(const picojson::object& map)
{
    TTraceParameters trace;
    trace.name = GetValueOrException<std::string>(map, "name", kTraceMap);
    trace.refractiveIndex = GetValueOrException<double>(map, "refractiveIndex", kTraceMap);
    trace.backscatteringCoeff = GetValueOrException<double>(map, "backscatteringCoeff", kTraceMap);
    trace.wavelength = GetUnsignedOrException(map, "wavelength", kTraceMap);
    trace.pulseWidth = GetUnsignedOrException(map, "pulseWidth", kTraceMap);
    trace.measurementTime = GetValueOrException<double>(map, "measurementTime", kTraceMap);
    trace.acquisitionRange = GetValueOrException<double>(map, "acquisitionRange", kTraceMap);
    trace.resolution = GetValueOrException<double>(map, "resolution", kTraceMap);
    trace.optimalDeadZone = GetValueOrException<double>(map, "optimalDeadZone", kTraceMap);
    return trace;
}

} // namespace

std::string SerializeLinkMapToJson(const TLinkMap& map)
{
    picojson::array nodes;
    for (const TNode& node : map.GetNodes())
        nodes.push_back(WriteNode(node));
    picojson::array traces;
    for (const TTraceParameters& trace : map.GetSourceTraces())
        traces.push_back(WriteTrace(trace));
    picojson::array parameters;
    for (const auto& [wavelen, constants] : map.GetParameters())
        parameters.push_back(WriteParameters(wavelen, constants));
    picojson::object extras;
    for (const auto& [name, value] : map.GetExtras())
        extras[name] = picojson::value(value);

    picojson::object root;
    root["nodes"] = picojson::value(std::move(nodes));
    root["sourceTraces"] = picojson::value(std::move(traces));
    root["parameters"] = picojson::value(std::move(parameters));
    root["extras"] = picojson::value(std::move(extras));
    return picojson::value(std::move(root)).serialize();
}

TLinkMap DeserializeLinkMapFromJson(const std::string& json)
{
    const picojson::object root = detail::ParseJsonRoot(json);

    TLinkMap::Nodes nodes;
    for (const picojson::value& item : GetValueOrException<picojson::array>(root, "nodes", kTopMost)) {
        if (!item.is<picojson::object>())
            throw DeserializationException("nodes array element isn't a map");
        nodes.push_back(ReadNode(item.get<picojson::object>()));
    }

    TLinkMap::Extras extras;
    if (const auto* map = GetOptionalValue<picojson::object>(root, "extras", kTopMost)) {
        for (const auto& [name, value] : *map) {
            if (!value.is<double>())
                ThrowWrongTypeException<double>(name, kExtrasMap);
            extras[name] = value.get<double>();
        }
    }

    TLinkMap::SourceTraces traces;
    if (const auto* list = GetOptionalValue<picojson::array>(root, "sourceTraces", kTopMost)) {
        for (const picojson::value& item : *list) {
            if (!item.is<picojson::object>())
                throw DeserializationException("sourceTraces array member is not of object type");
            traces.push_back(ReadTrace(item.get<picojson::object>()));
        }
    }

    TLinkMap::Parameters parameters;
    for (const picojson::value& item : GetValueOrException<picojson::array>(root, "parameters", kTopMost)) {
        // The message says "array" where an object is meant; files and tests
        // know it by this text.
        if (!item.is<picojson::object>())
            throw DeserializationException("parameters array member is not of array type");
        const auto& map = item.get<picojson::object>();
        const unsigned wavelen = GetUnsignedOrException(map, "wavelength", kParametersMap);
        TFiberConstants constants;
        constants.backscatteringCoeff = GetValueOrException<double>(map, "backscatteringCoeff", kParametersMap);
        constants.refractiveIndex = GetValueOrException<double>(map, "refractiveIndex", kParametersMap);
        parameters[wavelen] = constants;
    }

    return TLinkMap(std::move(nodes), std::move(parameters), std::move(traces), std::move(extras));
}
