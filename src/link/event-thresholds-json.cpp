#include "link/event-thresholds-json.h"

#include <picojson.h>

#include <cassert>
#include <utility>

#include "link/json-utils.h"

namespace {

const char* const kTopMost = "top most";
const char* const kThresholdsMap = "thresholds map";
const char* const kWavelengthKey = "wavelength";

} // namespace

std::string SerializeEventThresholdsContainerToJson(const TEventThresholdsContainer& container)
{
    picojson::array items;
    for (std::size_t i = 0; i < container.GetWavelensNum(); ++i) {
        const unsigned wavelen = container.GetWavelen(i);
        const TEventThresholds* thresholds = container.GetThresholds(wavelen);
        assert(thresholds);
        picojson::object item;
        for (std::size_t j = 0; j < thresholds->GetNamesNum(); ++j) {
            const std::string& name = thresholds->GetName(j);
            const double* threshold = thresholds->GetThreshold(name);
            assert(threshold);
            assert(name != kWavelengthKey);
            item[name] = picojson::value(*threshold);
        }
        item[kWavelengthKey] = picojson::value(static_cast<double>(wavelen));
        items.emplace_back(std::move(item));
    }
    picojson::object root;
    root["thresholds"] = picojson::value(std::move(items));
    return picojson::value(std::move(root)).serialize();
}

TEventThresholdsContainer DeserializeEventThresholdsContainerFromJson(const std::string& json)
{
    const picojson::object root = detail::ParseJsonRoot(json);
    TEventThresholdsContainer container;
    for (const picojson::value& item : GetValueOrException<picojson::array>(root, "thresholds", kTopMost)) {
        if (!item.is<picojson::object>())
            throw DeserializationException("thresholds array item is not map");
        const auto& map = item.get<picojson::object>();
        const unsigned wavelen = detail::GetUnsignedOrException(map, kWavelengthKey, kThresholdsMap);
        TEventThresholds thresholds;
        for (const auto& [name, value] : map) {
            if (name == kWavelengthKey)
                continue;
            if (!value.is<double>())
                ThrowWrongTypeException<double>(name, kThresholdsMap);
            thresholds.SetThreshold(name, value.get<double>());
        }
        container.SetThresholds(wavelen, std::move(thresholds));
    }
    return container;
}
