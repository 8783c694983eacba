// The link-map file: a TLinkMap as JSON text and back. The results tree keeps
// it as "link-map.luscout"; files named "link-map.json", the older name, hold
// the same text.
#pragma once
#include <string>

#include "link/link-export.h"
#include "link/link-map.h"

// The map as JSON text: an object with "nodes", "sourceTraces", "parameters"
// and "extras" (the map's named values, "ponSplitterRatio" among them).
//
// Each node has "type", "comment", "events" and, when its ratio is not 0,
// "splitterRatio". "events" holds one object per wavelength: "wavelength",
// the members of the node's own event and "merged", the sub-events after it.
// An event always has "position", "reflectanceType", "reflectance",
// "sectionLength" and "dwdm"; "loss", "sectionLoss" and "preciseWavelength"
// only when present. Keys within an object are in alphabetical order.
// Numbers are written with "%.17g" (whole numbers below 2^53 without an
// exponent, the same text), so that reading them back gives the same doubles.
//
// A wavelength without events is not written. The shoulders of an event and
// the overrides of a node are working values of the analysis and not part of
// the file. A value that is not a finite number can't be written: the call
// throws std::overflow_error.
[[nodiscard]] FIBERTEST_LINK_EXPORT std::string SerializeLinkMapToJson(const TLinkMap& map);

// The map of a link-map file. Throws DeserializationException when the text
// is not JSON, when a required member is absent or any member has the wrong
// type, and for a type name or wavelength it does not know.
//
// Required: "nodes" and "parameters" at the top; "type" and "events" of a
// node; "wavelength" of a wavelength object; "position" and "reflectanceType"
// of an event, and "reflectance" and "sectionLength" too unless the type is
// "tiny" (a tiny reflectance has no value worth keeping; absent, both read as
// 0); every member of a trace and of a parameter object. The rest is
// optional: no "comment" reads as empty, no "dwdm" as false. A wavelength,
// ratio or pulse width must be a whole number within unsigned, else "wrong "
// and its key. A wavelength given twice in one node or among the parameters
// keeps the later one. Unknown keys are ignored.
[[nodiscard]] FIBERTEST_LINK_EXPORT TLinkMap DeserializeLinkMapFromJson(const std::string& json);
