#include "link/sor-data-group.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "sor/sor-block-general-parameters.h"
#include "sor/sor-data.h"

TSorDataGroup::TTrace::TTrace(const TSorData* data, Direction direction, std::string name)
    : data(data), merger(*data), direction(direction), name(std::move(name))
{
}

void TSorDataGroup::AddTrace(const TSorData* data, Direction direction, std::string name)
{
    assert(data != nullptr);
    traces.emplace_back(data, direction, std::move(name));
}

const TSorDataGroup::TTrace& TSorDataGroup::GetTrace(unsigned index) const
{
    assert(index < traces.size());
    return traces[index];
}

namespace {

std::vector<unsigned> sortedUnique(std::vector<unsigned> values)
{
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

} // namespace

std::vector<unsigned> TSorDataGroup::GetWavelens() const
{
    std::vector<unsigned> wavelens;
    for (const TTrace& trace : traces)
        wavelens.push_back(detail::GetWavelen(*trace.data));
    return sortedUnique(std::move(wavelens));
}

std::vector<unsigned> TSorDataGroup::GetWavelens(Direction direction) const
{
    std::vector<unsigned> wavelens;
    for (const TTrace& trace : traces)
        if (trace.direction == direction)
            wavelens.push_back(detail::GetWavelen(*trace.data));
    return sortedUnique(std::move(wavelens));
}

unsigned TSorDataGroup::GetWavelenDirectionsPairsNum() const
{
    return static_cast<unsigned>(GetWavelens(forward).size() + GetWavelens(backward).size());
}

std::vector<const TSorDataGroup::TTrace*> TSorDataGroup::GetTraces(Direction direction, unsigned wavelen) const
{
    std::vector<const TTrace*> result;
    for (const TTrace& trace : traces)
        if (trace.direction == direction && detail::GetWavelen(*trace.data) == wavelen)
            result.push_back(&trace);
    return result;
}

namespace detail {

unsigned GetWavelen(const TSorData& data)
{
    return static_cast<unsigned>(data.GenParams->NW);
}

} // namespace detail
