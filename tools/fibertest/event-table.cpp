#include "event-table.h"

#include <cstdio>

#include "json-writer.h"
#include "sor/sor-block-key-events.h"
#include "trace-file.h"

namespace cli {

namespace {

bool marksEnd(const TSorBlockKeyEvents1E& e)
{
    return e.EC.length >= 2 && e.EC.data[1] == 'E';
}

void optionalMember(JsonWriter& json, const char* key, const std::optional<double>& v)
{
    if (v)
        json.member(key, *v);
    else
        json.nullMember(key);
}

} // namespace

EventSummary summariseEvents(const TSorData& data)
{
    EventSummary s;
    const TSorBlockKeyEvents& table = *data.KeyEvents;
    double cumulative = 0.0;
    double previousKm = 0.0;
    for (int i = 0; i < table.Events.count; ++i) {
        const TSorBlockKeyEvents1E& e = *table.Events.data[i];
        EventRow row;
        row.number = e.EN;
        row.code = std::string(e.EC.data);
        row.km = owtToKm(data, e.EPT);
        if (!marksEnd(e))
            row.lossDb = (e.FullLoss != 0 ? e.FullLoss : e.EL) / 1000.0;
        // A code of kind "0" is non-reflective whatever ER holds; makers also write 0 or a far-out
        // value (such as the lowest int32) for "no reflectance".
        const bool codedFlat = e.EC.length >= 1 && e.EC.data[0] == '0';
        if (!codedFlat && e.ER < 0 && e.ER > -100000)
            row.reflectanceDb = e.ER / 1000.0;
        if (i > 0 || e.ACI != 0) {
            row.attenuation = e.ACI / 1000.0;
            cumulative += *row.attenuation * (row.km - previousKm);
        }
        cumulative += row.lossDb.value_or(0.0);
        row.cumulativeDb = cumulative;
        previousKm = row.km;
        s.rows.push_back(row);
        if (marksEnd(e) && !s.lengthKm)
            s.lengthKm = row.km;
    }
    if (!s.rows.empty()) {
        if (!s.lengthKm)
            s.lengthKm = s.rows.back().km;
        s.totalLossDb = table.EEL / 1000.0;
        s.orlDb = table.ORL / 1000.0;
    }
    return s;
}

std::string cell(const char* fmt, const std::optional<double>& v, int width)
{
    char text[64];
    if (v)
        std::snprintf(text, sizeof text, fmt, *v);
    else
        std::snprintf(text, sizeof text, "%*s", width, "-");
    return text;
}

void printEventTable(std::ostream& out, const EventSummary& s)
{
    out << "   #  code        km        loss dB   refl dB  att dB/km  total dB\n";
    for (const EventRow& r : s.rows) {
        char row[200];
        std::snprintf(row, sizeof row, "%4d  %-6s  %10.5f  %8s  %8s  %9s  %8.3f\n", r.number, r.code.c_str(), r.km,
                      cell("%8.3f", r.lossDb, 8).c_str(), cell("%8.3f", r.reflectanceDb, 8).c_str(),
                      cell("%9.3f", r.attenuation, 9).c_str(), r.cumulativeDb);
        out << row;
    }
    out << "\nFiber length  " << cell("%.5f km", s.lengthKm, 1) << "\nTotal loss    "
        << cell("%.3f dB", s.totalLossDb, 1) << "\nORL           " << cell("%.3f dB", s.orlDb, 1) << "\n";
}

void printEventTableJson(std::ostream& out, const EventSummary& s)
{
    JsonWriter json(out);
    json.beginObject();
    optionalMember(json, "length_km", s.lengthKm);
    optionalMember(json, "total_loss_dB", s.totalLossDb);
    optionalMember(json, "orl_dB", s.orlDb);
    json.key("events");
    json.beginArray();
    for (const EventRow& r : s.rows) {
        json.beginObject();
        json.member("number", std::int64_t{r.number});
        json.member("code", r.code);
        json.member("km", r.km);
        optionalMember(json, "loss_dB", r.lossDb);
        optionalMember(json, "reflectance_dB", r.reflectanceDb);
        optionalMember(json, "attenuation_dB_per_km", r.attenuation);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    out << "\n";
}

} // namespace cli
