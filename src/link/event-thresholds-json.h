// The event-thresholds file: a TEventThresholdsContainer as JSON text and back.
//
//   {"thresholds": [{"wavelength": 1310, "<name>": <value>, ...}, ...]}
//
// one item per wavelength in ascending order, each threshold a member of its
// item beside "wavelength".
#pragma once
#include <string>

#include "link/event-thresholds.h"
#include "link/link-export.h"

// The container as JSON text, numbers written with "%.17g" so that reading
// them back gives the same doubles. A threshold that is not a finite number
// can't be written: the call throws std::overflow_error. A threshold may not
// be named "wavelength" (asserted), as that key is the item's own.
[[nodiscard]] FIBERTEST_LINK_EXPORT std::string SerializeEventThresholdsContainerToJson(
    const TEventThresholdsContainer& container);

// The container of a thresholds file. Throws DeserializationException when
// the text is not JSON, the root is not an object, "thresholds" is absent or
// not an array, an item is not an object, an item has no "wavelength" or one
// that is not a whole number within unsigned, or a threshold is not a number.
// A wavelength given twice keeps the later item.
[[nodiscard]] FIBERTEST_LINK_EXPORT TEventThresholdsContainer DeserializeEventThresholdsContainerFromJson(
    const std::string& json);
