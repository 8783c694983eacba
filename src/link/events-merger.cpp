#include "link/events-merger.h"

#include <cassert>
#include <cstddef>

#include "sor/sor-block-key-events.h"
#include "sor/sor-data.h"

TEventsMerger::TEventsMerger(const TSorData& data)
    : data(data)
{
    Update();
}

void TEventsMerger::Update()
{
    events.clear();
    const TSorBlockKeyEvents& keyEvents = *data.KeyEvents;
    const int count = keyEvents.TNKE < keyEvents.Events.count ? keyEvents.TNKE : keyEvents.Events.count;
    const TSorBlockKeyEvents1E* prev = nullptr;
    for (int i = 0; i < count; ++i) {
        const TSorBlockKeyEvents1E* event = keyEvents.Events.data[i];
        // Compared with the sub-event just before, not with the first of the
        // merged event: a chain of overlapping events stays one event.
        if (prev != nullptr && event->EPT >= prev->EPT && event->EPT < prev->ML2)
            events.back().push_back(event);
        else
            events.push_back({event});
        prev = event;
    }
}

const TEventsMerger::SubEvents& TEventsMerger::subEvents(int index) const
{
    assert((index >= 0) || (index < GetEventsNum()));
    // The check above lets either end through alone; both must hold.
    assert((index >= 0) && (index < GetEventsNum()));
    return events[static_cast<std::size_t>(index)];
}

int TEventsMerger::GetSubEventsNum(int index) const
{
    return static_cast<int>(subEvents(index).size());
}

const TSorBlockKeyEvents1E& TEventsMerger::GetEvent(int index, int subIndex) const
{
    const SubEvents& es = subEvents(index);
    assert((subIndex >= 0) && (static_cast<size_t>(subIndex) < es.size()));
    const TSorBlockKeyEvents1E* result = es[static_cast<std::size_t>(subIndex)];
    assert(result);
    return *result;
}

bool TEventsMerger::IsEofEvent(int index) const
{
    assert((index >= 0) && (index < GetEventsNum()));
    return index + 1 == GetEventsNum();
}

std::pair<int, int> TEventsMerger::Map(int rawIndex) const
{
    assert((rawIndex >= 0) && (rawIndex < data.KeyEvents->TNKE));
    int rest = rawIndex;
    for (int index = 0; index < GetEventsNum(); ++index) {
        const int n = GetSubEventsNum(index);
        if (rest < n)
            return {index, rest};
        rest -= n;
    }
    assert(false && "TNKE counts more key events than the table holds");
    return {GetEventsNum() - 1, 0};
}
