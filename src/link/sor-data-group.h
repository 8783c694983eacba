// TSorDataGroup: the traces of one fibre link, at several wavelengths and
// pulses, shot from either end, each with its merged events.
#pragma once
#include <deque>
#include <string>
#include <vector>
#include "link/events-merger.h"
#include "link/link-export.h"

class TSorData;

// Holds pointers to documents it does not own; they must outlive the group
// and everything made from it.
class FIBERTEST_LINK_EXPORT TSorDataGroup
{
public:
    // The end of the link a trace was shot from. Stored by number: keep the order.
    enum Direction
    {
        forward = 0,
        backward = 1,
    };

    struct FIBERTEST_LINK_EXPORT TTrace
    {
        TTrace(const TSorData* data, Direction direction, std::string name = {});

        const TSorData* data;  // not owned
        TEventsMerger merger;
        Direction direction;
        std::string name;      // the file it came from, as the link map lists its sources
    };

    // Asserts a document. Traces keep their place (and address) in the group.
    void AddTrace(const TSorData* data, Direction direction, std::string name = {});

    [[nodiscard]] unsigned GetTracesNum() const { return static_cast<unsigned>(traces.size()); }
    [[nodiscard]] const TTrace& GetTrace(unsigned index) const;
    // The nominal wavelengths (nm) of the traces, ascending, each once.
    [[nodiscard]] std::vector<unsigned> GetWavelens() const;
    [[nodiscard]] std::vector<unsigned> GetWavelens(Direction direction) const;
    // Distinct (wavelength, direction) pairs among the traces.
    [[nodiscard]] unsigned GetWavelenDirectionsPairsNum() const;
    // The traces of one direction and wavelength, in the order they were added.
    [[nodiscard]] std::vector<const TTrace*> GetTraces(Direction direction, unsigned wavelen) const;

private:
    std::deque<TTrace> traces;
};

namespace detail {

// The nominal wavelength of a trace, nm.
FIBERTEST_LINK_EXPORT unsigned GetWavelen(const TSorData& data);

} // namespace detail
