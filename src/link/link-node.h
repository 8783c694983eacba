// detail::TNode: one physical point of a link map, with its type and its
// events per wavelength.
#pragma once
#include <cstddef>
#include <map>
#include <string>
#include <vector>
#include "link/link-event.h"
#include "link/link-export.h"
#include "link/optional-double.h"

namespace detail {

class FIBERTEST_LINK_EXPORT TNode
{
public:
    // Stored by number in files: keep the order.
    enum Type
    {
        linkStart = 0,
        linkEnd = 1,
        subscriberSplitter = 2,
        connector = 3,
        apcConnector = 4,
        welding = 5,
        macrobend = 6,
        officeSplitter = 7,
        unknown = 8,
    };

    // The events of the nodes left out of a map as unknown just before this
    // one, at one wavelength. Their losses are still part of the link, so the
    // node after them carries them: a total counts them once, a table can
    // show where they were.
    struct Overrides
    {
        std::vector<Event> events;
    };

    // Per wavelength (nm): the node's event first, then the sub-events of the
    // merged events it was made from.
    using EventsMap = std::map<unsigned, std::vector<Event>>;
    using OverridesMap = std::map<unsigned, Overrides>;

    TNode() = default;
    TNode(Type type, EventsMap events, std::string comment = {}, unsigned splitterRatio = 0);
    // The node, carrying `overrides` (those it had are replaced).
    TNode(const TNode& node, OverridesMap overrides);

    [[nodiscard]] Type GetType() const { return type_; }
    void SetType(Type type) { type_ = type; }
    [[nodiscard]] const std::string& GetComment() const { return comment_; }
    void SetComment(std::string comment) { comment_ = std::move(comment); }
    // The ratio of a splitter node (8 for 1:8); 0 when not known.
    [[nodiscard]] unsigned GetSplitterRatio() const { return splitterRatio_; }
    void SetSplitterRatio(unsigned ratio) { splitterRatio_ = ratio; }
    [[nodiscard]] const EventsMap& GetEvents() const { return events_; }
    [[nodiscard]] const OverridesMap& GetOverrides() const { return overrides_; }

    // Wavelengths in ascending order; i counts them.
    [[nodiscard]] std::size_t GetWavelensNum() const { return events_.size(); }
    [[nodiscard]] unsigned GetWavelen(std::size_t i) const;
    // The node's event at wavelength i.
    [[nodiscard]] const Event& GetEvent(std::size_t i) const;
    // Every event at wavelength w, the node's own first; empty if w is not there.
    [[nodiscard]] const std::vector<Event>& GetEventsOfWavelen(unsigned w) const;
    // The sub-events at wavelength i: empty when there is at most one event.
    [[nodiscard]] std::vector<Event> GetMergedEventsForWavelen(std::size_t i) const;
    [[nodiscard]] double GetAverPosForWavelen(std::size_t i) const;
    [[nodiscard]] double GetAverLenForWavelen(std::size_t i) const;
    [[nodiscard]] OptionalDouble GetAverSectionLossForWavelen(std::size_t i) const;
    [[nodiscard]] OptionalDouble GetAverEventLossForWavelen(std::size_t i) const;
    [[nodiscard]] AnnotatedReflectance GetMaxReflForWavelen(std::size_t i) const;
    [[nodiscard]] OptionalDouble GetPreciseWavelenForWavelen(std::size_t i) const;
    [[nodiscard]] bool IsDwdmWavelen(std::size_t i) const;

    // Mean position over the wavelengths.
    [[nodiscard]] double CalcAverPos() const;
    // The present losses summed and divided by the number of all wavelengths:
    // a loss seen at one wavelength of two counts half. Absent when no
    // wavelength has one.
    [[nodiscard]] OptionalDouble CalcAverEventLoss() const;

private:
    Type type_ = unknown;
    EventsMap events_;
    OverridesMap overrides_;
    std::string comment_;
    unsigned splitterRatio_ = 0;
};

// The node type's text in the link-map file; "unknown" for a value outside
// the enumeration.
FIBERTEST_LINK_EXPORT const char* NodeTypeName(TNode::Type type);
// The type of a text of NodeTypeName; false for any other text.
FIBERTEST_LINK_EXPORT bool NodeTypeFromName(const std::string& name, TNode::Type& type);

} // namespace detail
