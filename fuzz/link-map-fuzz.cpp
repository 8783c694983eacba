// Builds the link map of an arbitrary trace and its events, as loaded: alone,
// and with itself shot from the other end, then the figures of the map and
// its file. Whatever the events hold (times out of order, markers anywhere,
// reflectances of any value), the only outcome allowed is a map: no crash,
// no assertion, no hang.
#include <cstddef>
#include <cstdint>

#include "link/link-map-builder.h"
#include "link/link-map-json.h"
#include "link/link-map-totals.h"
#include "link/sor-data-group.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

namespace {

void mapAndMeasure(const TSorDataGroup& group)
{
    const TLinkMap map = BuildLinkMap(group, 1.0);
    for (unsigned w : map.GetWavelens()) {
        (void)CalcLength(map, w);
        (void)CalcTotalLoss(map, w);
        (void)CalcTotalOrl(map, w);
    }
    const TLinkMap known(FilterOutUnknownNodes(map.GetNodes()), map.GetParameters(), map.GetSourceTraces());
    (void)DeserializeLinkMapFromJson(SerializeLinkMapToJson(known));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const char empty = 0;
    const char* bytes = size > 0 ? reinterpret_cast<const char*>(data) : &empty;
    TSorFile file(bytes, static_cast<unsigned long>(size));
    TSorData trace;
    try {
        trace.Read(&file);
    } catch (const TSorException&) {
        return 0;
    }
    if (trace.KeyEvents == nullptr || trace.FxdParams == nullptr || trace.KeyEvents->Events.count == 0)
        return 0;
    TSorDataGroup alone;
    alone.AddTrace(&trace, TSorDataGroup::forward);
    mapAndMeasure(alone);
    TSorDataGroup both;
    both.AddTrace(&trace, TSorDataGroup::forward);
    both.AddTrace(&trace, TSorDataGroup::backward);
    mapAndMeasure(both);
    return 0;
}
