#include "link-test-traces.h"

#include <algorithm>

#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "support/own-trace.h"

namespace linktest {

std::int32_t owtAt(double km)
{
    return static_cast<std::int32_t>(std::lround(km / kKmPerOwt));
}

namespace {

double orDefault(double value, double fallback)
{
    return std::isnan(value) ? fallback : value;
}

} // namespace

std::unique_ptr<TSorData> makeLinkTrace(const TraceSpec& trace, const std::vector<EventSpec>& events)
{
    const double pointKm = kmAt(static_cast<double>(trace.spacingOwt));
    const long n = static_cast<long>(trace.rangeKm / pointKm) + 1;
    const double fibreEnd = events.empty() ? trace.rangeKm : events.back().km;
    const double visibleTo = orDefault(trace.noiseFromKm, fibreEnd);
    const auto level = [&](long i) {
        const double km = static_cast<double>(i) * pointKm;
        if (km > visibleTo)
            return trace.noiseLevel;
        double value = trace.launchLevel - trace.attenuation * km;
        for (const EventSpec& e : events)
            if (e.km > 0.0 && km >= e.km)
                value -= e.loss;
        return std::max(value, trace.noiseLevel);
    };
    owntrace::Shape shape;
    shape.pulseNs = trace.pulseNs;
    shape.spacingOwt = trace.spacingOwt;
    shape.noiseFloorDb = trace.noiseFloorDb;
    shape.rangeToLastPoint = true;
    auto data = owntrace::makeTrace(n, level, shape);

    data->GenParams->NW = static_cast<std::int16_t>(trace.wavelength);
    data->FxdParams->AW = static_cast<std::int16_t>(trace.wavelength * 10);
    data->FxdParams->GI = static_cast<std::int32_t>(std::lround(kGroupIndex * 100000));
    TSorBlockAUXParameters& aux = *data->AUXParams;
    aux.Direction = trace.direction;
    aux.SpanBegin.type = trace.spanBeginType;
    aux.SpanBegin.value = trace.spanBeginValue;
    aux.SpanEnd.type = trace.spanEndType;
    aux.SpanEnd.value = trace.spanEndValue;

    const double pulseKm = trace.pulseNs / 0.2 * kKmPerOwt;
    const double lastKm = static_cast<double>(n - 1) * pointKm;
    TSorBlockKeyEvents& table = *data->KeyEvents;
    for (const EventSpec& shape : events) {
        auto* e = new TSorBlockKeyEvents1E;
        const double ml2 = orDefault(shape.ml2, shape.km + pulseKm + pointKm);
        e->EPT = owtAt(shape.km);
        e->ML0 = owtAt(orDefault(shape.ml0, std::max(shape.km - 0.1, 0.0)));
        e->ML1 = owtAt(orDefault(shape.ml1, shape.km));
        e->ML2 = owtAt(ml2);
        e->ML3 = owtAt(orDefault(shape.ml3, std::min(ml2 + 0.1, lastKm)));
        e->ACI = static_cast<std::int16_t>(std::lround(shape.aci * 1000.0));
        e->FullLoss = static_cast<std::int32_t>(std::lround(shape.loss * 1000.0));
        e->EL = static_cast<std::int16_t>(std::clamp(e->FullLoss, -32768, 32767));
        e->ER = static_cast<std::int32_t>(std::lround(shape.reflectance * 1000.0));
        char code[] = "0F9999";
        code[0] = shape.kind;
        e->EC = code;
        table.Events.AddData(e);
    }
    table.TNKE = static_cast<std::int16_t>(table.Events.count);
    table.ENSync();
    return data;
}

} // namespace linktest
