// TEventsMerger: the key events of one trace with overlapping events joined
// into merged events, the view of a trace the link analysis works on.
#pragma once
#include <utility>
#include <vector>
#include "link/link-export.h"

class TSorData;
class TSorBlockKeyEvents1E;

// Whether the last event of a trace, the end of the fibre, has a loss.
enum EofLossCalculationMode
{
    ignoreEofLoss = 0,  // the end event has no loss
    takeEofLoss = 1,    // the end event's loss is taken as stored
};

// What a section attenuation that cannot be right (ACI 0 or negative) stands for.
enum WrongSectionAttenuationMode
{
    keepSectionAttenuation = 0,     // ACI as it stands
    replaceSectionAttenuation = 1,  // a non-positive ACI is replaced by the default of the wavelength
};

// Does not own the document, which must outlive the merger; Update() after
// the key events change. An event joins the merged event before it when it
// starts inside the body of the event just before it (EPT < its ML2). The
// first sub-event (sub-index 0) stands for the merged event.
class FIBERTEST_LINK_EXPORT TEventsMerger
{
public:
    explicit TEventsMerger(const TSorData& data);

    // Rebuilds the merged events from the key events.
    void Update();

    [[nodiscard]] int GetEventsNum() const { return static_cast<int>(events.size()); }
    [[nodiscard]] int GetSubEventsNum(int index) const;
    [[nodiscard]] const TSorBlockKeyEvents1E& GetEvent(int index, int subIndex) const;
    // True for the last merged event, the end of the trace's fibre.
    [[nodiscard]] bool IsEofEvent(int index) const;
    // The (index, subIndex) of key event `rawIndex`.
    [[nodiscard]] std::pair<int, int> Map(int rawIndex) const;

    [[nodiscard]] const TSorData& GetData() const { return data; }

private:
    using SubEvents = std::vector<const TSorBlockKeyEvents1E*>;

    const SubEvents& subEvents(int index) const;

    const TSorData& data;
    std::vector<SubEvents> events;  // each never empty, in key-event order
};
