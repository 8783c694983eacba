#include "sim/sim-trace.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sim/sim-truth.h"
#include "sor/sor-block-aux-parameters.h"
#include "sor/sor-block-data-points.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-key-events.h"
#include "sor/sor-block-supplier-parameters.h"
#include "sor/sor-data.h"
#include "sor/sor-file.h"
#include "util/saturating-cast.h"
#include "util/version.h"

const char* const SimSupplierName = "FiberTest Simulator";

namespace {

// The noise floor the file stores is the level that noise rarely passes:
// three times the RMS, 5 log10(3) = 2.4 dB above it.
constexpr double noisePeakAboveRmsDb = 2.4;
// A shot takes its round trip over the range and a tenth more to settle.
constexpr double shotPeriodFactor = 2.2;
// Noise records count averages in steps of at most this many.
constexpr long maxAveragesPerRecord = 126;
// 25 degrees C in 0.01 K.
constexpr std::uint16_t roomTemperature = 29815;
// Beyond a reflection the trace counts as back on the backscatter within this.
constexpr double settledDb = 0.3;
// A peak this close to the top of the scale is a saturated reflection.
constexpr double saturatedPeakDb = -0.2;


bool backward(const SimShot& shot)
{
    return shot.direction == SimDirection::Backward;
}

void fillGeneral(const SimShot& shot, TSorData& data)
{
    TSorBlockGeneralParameters& gen = *data.GenParams;
    gen.LC = "EN";
    gen.FT = 652;
    gen.NW = static_cast<std::int16_t>(shot.wavelengthNm);
    gen.OL = backward(shot) ? "B" : "A";
    gen.TL = backward(shot) ? "A" : "B";
    gen.CDF = "BC";
    gen.CMT = TString(("simulated, seed " + std::to_string(shot.seed) +
                       (backward(shot) ? ", backward" : ", forward"))
                          .c_str());

    TSorBlockSupplierParameters& sup = *data.SupParams;
    sup.SN = SimSupplierName;
    sup.MFID = "FiberTest Simulator";
    sup.OTDR = "FTS-1";
    sup.OMID = "SIM-OTDR";
    sup.OMSN = "SIM00001";
    sup.SR = FIBERTEST_VERSION;
    // The bracketed mark of our modules.
    sup.OT = "[6SIM] simulated trace";
}

long averages(const SimShot& shot)
{
    const double period = shotPeriodFactor * shot.rangeOwt * 1e-10;
    return std::clamp(std::lround(shot.averagingS / period), 1L, 2000000000L);
}

void fillFixed(const SimShot& shot, const SimModelOutput& model, TSorData& data)
{
    TSorBlockFixedParameters& fxd = *data.FxdParams;
    fxd.DTS = static_cast<std::int32_t>(shot.timestamp);
    fxd.UD = "km";
    fxd.AW = static_cast<std::int16_t>(shot.wavelengthNm * 10);
    fxd.AO = 0;
    fxd.AOD = 0;
    fxd.SetTPW(1);
    fxd.PWU[0] = roundSaturated<std::int16_t>(shot.pulseNs);
    fxd.DS[0] = shot.ds;
    fxd.NPPW[0] = static_cast<std::int32_t>(model.raw.size());
    fxd.GI = shot.gi;
    fxd.BC = roundSaturated<std::int16_t>(-shot.backscatterDb * 10.0);
    fxd.NAV = static_cast<std::int32_t>(averages(shot));
    fxd.AT = roundSaturated<std::uint16_t>(shot.averagingS);
    fxd.AR = shot.rangeOwt;
    fxd.FPO = 0;
    fxd.PO = 0;
    fxd.TT = "ST";
    fxd.LT = roundSaturated<std::uint16_t>(shot.lossThresholdDb * 1000.0);
    fxd.RT = roundSaturated<std::uint16_t>(-shot.reflectanceThresholdDb * 1000.0);
    fxd.ET = roundSaturated<std::uint16_t>(shot.endThresholdDb * 1000.0);
    fxd.SetNF(shot.noiseFloorDb + noisePeakAboveRmsDb);
}

void fillPoints(const SimModelOutput& model, TSorData& data)
{
    TSorBlockDataPoints1SF* sub = data.DataPts->GetSubBlock();
    sub->SF = 1000;
    sub->Points = model.raw;
    data.DataPts->SetDataType(TSorBlockDataPoints::dtReflectometric);
    data.DataPts->RebuildWholeCache();
}

void fillAuxiliary(const SimShot& shot, const SimModelOutput& model, TSorData& data)
{
    TSorBlockAUXParameters& aux = *data.AUXParams;
    aux.RevisionNo = TSorBlockAUXParameters::NewestRevision;
    aux.ATP0 = roundSaturated<std::uint16_t>(shot.pulseNs * 5.0);  // 0.2 ns
    aux.ReNewMM(1);
    TAUXMeasurementMode& mode = aux.MM.at(0);
    mode.NPMM = static_cast<std::int32_t>(model.raw.size());
    mode.AVMM = static_cast<std::int32_t>(averages(shot));
    mode.PWU = roundSaturated<std::int16_t>(shot.pulseNs);
    mode.BWU1 = roundSaturated<std::int16_t>(model.fallDbPerKm);
    mode.BWU2 = 0;
    aux.TMM = 1;
    aux.Scale = 1000;
    aux.MAX = roundSaturated<std::uint16_t>(-model.logBaseDb * 1000.0);
    aux.SetNegScale(model.negScale - 1);
    aux.ZERO = 0;
    aux.TYP = "RL";
    aux.TEMP = roomTemperature;
    aux.LDTS = static_cast<std::int32_t>(shot.timestamp);
    aux.Direction = backward(shot) ? 1u : 0u;

    // Noise: the RMS level, and the averages in one record.
    aux.SNL = roundSaturated<std::uint16_t>(-shot.noiseFloorDb * 1000.0);
    aux.NLSF = 50;
    const long avr = averages(shot);
    aux.NASF = roundSaturated<std::uint16_t>(std::ceil(static_cast<double>(avr) / maxAveragesPerRecord));
    aux.SetTNL(0);
    aux.AddNL(aux.SNL, avr);

    if (!shot.splitterRatios.empty()) {
        aux.Pon.enabled = 1;
        aux.Pon.stages = std::min<std::uint32_t>(2, static_cast<std::uint32_t>(shot.splitterRatios.size()));
        aux.Pon.splitterType =
            static_cast<std::uint32_t>(*std::max_element(shot.splitterRatios.begin(), shot.splitterRatios.end()));
        aux.PonType = 1;
        aux.FirstSplitterRatio = static_cast<std::uint32_t>(shot.splitterRatios[0]);
        aux.SecondSplitterRatio =
            shot.splitterRatios.size() > 1 ? static_cast<std::uint32_t>(shot.splitterRatios[1]) : 1u;
    }
}

// The markers of one event, one-way time.
struct Markers
{
    long ept = 0;
    long ml[5] = {0, 0, 0, 0, 0};
    bool saturated = false;
};

double sectionSlopeBefore(const SimShot& shot, const SimEvent& e)
{
    if (e.atPort)
        return 0.0;
    double slope = 0.0;
    for (const SimSection& s : shot.sections)
        if (s.endKm <= e.km + 1e-12)
            slope = s.dBPerKm;
    return slope;
}

std::vector<Markers> placeMarkers(const SimShot& shot, const SimModelOutput& model)
{
    const double step = shot.stepOwt();
    const long last = static_cast<long>(model.clean.size()) - 1;
    const long lastOwt = static_cast<long>(static_cast<double>(last) * step);
    const auto owtOf = [step](long n) { return static_cast<double>(n) * step; };
    const double pulseOwt = 5.0 * shot.pulseNs;
    const double tau = SimReceiverTauOwt(shot.receiverMhz);
    const auto pointOf = [&](double owt) { return std::clamp(static_cast<long>(std::floor(owt / step)), 0L, last); };
    // The pulse averages the backscatter over its length: the noiseless trace
    // stands above the line by up to half the fall over one pulse.
    const double pulseKm = pulseOwt / shot.owtPerKm;

    std::vector<Markers> out(shot.events.size());
    for (std::size_t i = 0; i < shot.events.size(); ++i)
        out[i].ept = std::lround(shot.kmToOwt(shot.events[i].km));

    for (std::size_t i = 0; i < shot.events.size(); ++i) {
        const SimEvent& e = shot.events[i];
        Markers& m = out[i];
        const bool isEnd = i + 1 == shot.events.size();
        const long nextEpt = isEnd ? lastOwt : out[i + 1].ept;
        // The dead zone: the pulse, then the reflection's fall until the
        // trace is back on the backscatter of the fiber behind the event.
        long n = pointOf(static_cast<double>(m.ept) + pulseOwt + 2.0 * tau);
        const long stop = pointOf(static_cast<double>(nextEpt));
        const auto behind = std::find_if(shot.sections.begin(), shot.sections.end(),
                                         [&e](const SimSection& s) { return s.endKm > e.km; });
        if (isEnd || behind == shot.sections.end()) {
            n = stop;
        } else {
            const double margin = settledDb + 0.5 * behind->dBPerKm * pulseKm;
            for (; n < stop; ++n) {
                const double km = owtOf(n) / shot.owtPerKm;
                if (km >= behind->endKm)
                    break;
                const double line = behind->startLevelDb - behind->dBPerKm * (km - behind->startKm);
                if (model.clean[static_cast<std::size_t>(n)] <= line + margin)
                    break;
            }
        }
        // An element at the very place of the next one (a connector on the
        // fiber's end) is one event with it: its body reaches past the
        // next one's time, as two events read off a trace overlap.
        m.ml[2] = isEnd ? std::max(lastOwt, m.ept)
                  : nextEpt <= m.ept ? m.ept + 1
                                     : std::clamp(static_cast<long>(owtOf(n)), m.ept, nextEpt);
        m.ml[3] = lastOwt;
        if (e.reflectanceDb) {
            const long from = pointOf(static_cast<double>(m.ept));
            const long to = std::max(from, pointOf(isEnd ? static_cast<double>(m.ept) + pulseOwt + 4.0 * tau
                                                            : static_cast<double>(m.ml[2])));
            long peak = from;
            for (long p = from; p <= to; ++p)
                if (model.clean[static_cast<std::size_t>(p)] > model.clean[static_cast<std::size_t>(peak)])
                    peak = p;
            m.ml[4] = static_cast<long>(owtOf(peak));
            m.saturated = model.clean[static_cast<std::size_t>(peak)] >= saturatedPeakDb;
        }
    }
    // Sections: from the end of one event's dead zone to the start of the
    // next event, just before its leading edge.
    const long edge = std::lround(step + 2.0 * tau);
    for (std::size_t i = 0; i < out.size(); ++i) {
        Markers& m = out[i];
        if (i == 0) {
            m.ml[0] = 0;
            m.ml[1] = 0;
        } else {
            m.ml[0] = std::min(out[i - 1].ml[2], m.ept);
            m.ml[1] = std::max(m.ml[0], m.ept - edge);
            out[i - 1].ml[3] = m.ml[1];
        }
    }
    for (Markers& m : out)
        m.ml[3] = std::max(m.ml[3], m.ml[2]);
    return out;
}

} // namespace

void SimWriteKeyEvents(const SimShot& shot, const SimModelOutput& model, TSorData& data)
{
    TSorBlockKeyEvents& table = *data.KeyEvents;
    table.Events.Clear();
    const std::vector<Markers> markers = placeMarkers(shot, model);
    double endToEnd = 0.0;
    for (const SimSection& s : shot.sections)
        endToEnd += s.dBPerKm * (s.endKm - s.startKm);
    for (std::size_t i = 0; i < shot.events.size(); ++i) {
        const SimEvent& e = shot.events[i];
        const Markers& m = markers[i];
        const bool isEnd = i + 1 == shot.events.size();
        auto* event = new TSorBlockKeyEvents1E();
        event->EPT = static_cast<std::int32_t>(m.ept);
        const double loss = isEnd ? 0.0 : e.apparentLossDb;
        event->EL = roundSaturated<std::int16_t>(loss * 1000.0);
        event->FullLoss = roundSaturated<std::int32_t>(loss * 1000.0);
        event->ER = e.reflectanceDb ? roundSaturated<std::int32_t>(*e.reflectanceDb * 1000.0) : 0;
        event->ACI = roundSaturated<std::int16_t>(sectionSlopeBefore(shot, e) * 1000.0);
        const char kind = !e.reflectanceDb ? '0' : (m.saturated ? '2' : '1');
        event->EC = TString((std::string(1, kind) + (isEnd ? "E" : "F") + "9999").c_str());
        event->LMT = "LS";
        event->ML0 = static_cast<std::int32_t>(m.ml[0]);
        event->ML1 = static_cast<std::int32_t>(m.ml[1]);
        event->ML2 = static_cast<std::int32_t>(m.ml[2]);
        event->ML3 = static_cast<std::int32_t>(m.ml[3]);
        event->ML4 = static_cast<std::int32_t>(m.ml[4]);
        event->CMT = SimElementName(e.kind);
        table.Events.AddData(event);
        if (!e.atPort && !isEnd)
            endToEnd += e.apparentLossDb;
    }
    table.TNKE = static_cast<std::int16_t>(table.Events.count);
    table.ENSync();
    table.EEL = roundSaturated<std::int32_t>(endToEnd * 1000.0);
    table.ELMP1 = 0;
    table.ELMP2 = static_cast<std::int32_t>(markers.back().ept);
    table.ORL = roundSaturated<std::uint16_t>(model.orlDb * 1000.0);
    table.RLMP1 = 0;
    table.RLMP2 = table.ELMP2;
}

void SimBuildTrace(const SimShot& shot, const SimModelOutput& model, TSorData& data, bool withEvents)
{
    data.Clear();
    data.Init();
    fillGeneral(shot, data);
    fillFixed(shot, model, data);
    fillPoints(model, data);
    fillAuxiliary(shot, model, data);
    if (withEvents && !shot.events.empty() && !model.clean.empty())
        SimWriteKeyEvents(shot, model, data);
    data.ComputeHash();
    data.Untrusted = 0;
}

std::string SimSynthesize(const std::string& linkJson, const SimShotOptions& options, bool withEvents,
                          std::string* truth, const SimLimits& limits)
{
    const SimLink link = SimParseLink(linkJson, limits);
    const SimShot shot = SimResolveShot(link, options, limits);
    const SimModelOutput model = SimRunModel(shot);
    TSorData data;
    SimBuildTrace(shot, model, data, withEvents);
    TSorFile file("", "m");
    data.Write(&file);
    if (file.Status != fsOk)
        throw SimError("cannot write the trace into memory");
    if (truth != nullptr)
        *truth = SimTruthJson(shot, model);
    return std::string(file.GetData(), file.GetDataSize());
}
