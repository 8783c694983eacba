// The event table of an analysed trace as the tool shows it: rows in the
// units people read, the summary, as text or JSON.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "sor/sor-data.h"

namespace cli {

// One row of the table, in the units people read.
struct EventRow
{
    int number = 0;
    std::string code;
    double km = 0.0;
    std::optional<double> lossDb;          // none at the end of the fiber
    std::optional<double> reflectanceDb;   // none when non-reflective
    std::optional<double> attenuation;     // dB/km of the fiber before it; none ahead of the first event
    double cumulativeDb = 0.0;             // fiber and events from the start to just behind it
};

struct EventSummary
{
    std::vector<EventRow> rows;
    std::optional<double> lengthKm;
    std::optional<double> totalLossDb;
    std::optional<double> orlDb;
};

[[nodiscard]] EventSummary summariseEvents(const TSorData& data);
void printEventTable(std::ostream& out, const EventSummary& s);
void printEventTableJson(std::ostream& out, const EventSummary& s);

// A table cell: the value by `fmt`, or "-" in `width` when there is none.
[[nodiscard]] std::string cell(const char* fmt, const std::optional<double>& v, int width);

} // namespace cli
