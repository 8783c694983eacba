#include "link-map-table.h"

#include <cstdio>
#include <string>
#include <vector>

#include "event-table.h"
#include "link/link-map-totals.h"

namespace cli {

namespace {

std::optional<double> shown(const OptionalDouble& v)
{
    return v.first ? std::optional<double>(v.second) : std::nullopt;
}

// A reflectance as read: "-" when it was too small to measure, ">" ahead of
// one that saturated the receiver and is at least that.
std::string reflectanceCell(const detail::AnnotatedReflectance& r)
{
    char text[32];
    switch (r.first) {
    case detail::ReflectanceType::tiny:
        return "       -";
    case detail::ReflectanceType::huge:
        std::snprintf(text, sizeof text, ">%7.2f", r.second);
        return text;
    case detail::ReflectanceType::normal:
        break;
    }
    std::snprintf(text, sizeof text, "%8.2f", r.second);
    return text;
}

std::string typeCell(const detail::TNode& node)
{
    std::string type = detail::NodeTypeName(node.GetType());
    if (node.GetSplitterRatio() > 1)
        type += " 1:" + std::to_string(node.GetSplitterRatio());
    return type;
}

} // namespace

void printLinkMap(std::ostream& out, const TLinkMap& map)
{
    const std::vector<unsigned> wavelens = map.GetWavelens();
    std::string header = "   #  type                          km";
    for (unsigned w : wavelens) {
        char text[64];
        std::snprintf(text, sizeof text, "  %7u nm: loss dB  refl dB", w);
        header += text;
    }
    out << header << "\n";
    for (std::size_t i = 0; i < map.GetNodesNum(); ++i) {
        const detail::TNode& node = map.GetNode(i);
        char row[96];
        std::snprintf(row, sizeof row, "%4zu  %-24s  %8.4f", i + 1, typeCell(node).c_str(),
                      node.GetWavelensNum() > 0 ? node.CalcAverPos() : 0.0);
        std::string line = row;
        for (unsigned w : wavelens) {
            const auto& events = node.GetEventsOfWavelen(w);
            if (events.empty()) {
                line += "                 -        -";
                continue;
            }
            const detail::Event& e = events.front();
            line += "           " + cell("%8.3f", shown(e.loss), 8) + " " + reflectanceCell(e.reflectance);
        }
        out << line << "\n";
    }
    out << "\n";
    for (unsigned w : wavelens) {
        char text[200];
        std::snprintf(text, sizeof text, "%u nm: length %s, total loss %s, ORL %s\n", w,
                      cell("%.4f km", shown(CalcLength(map, w)), 1).c_str(),
                      cell("%.3f dB", shown(CalcTotalLoss(map, w)), 1).c_str(),
                      cell("%.2f dB", shown(CalcTotalOrl(map, w)), 1).c_str());
        out << text;
    }
}

} // namespace cli
