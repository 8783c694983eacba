// Conversions between points, one-way time and km shared by the line building of TAuto.
#pragma once

class TSorData;

namespace autolines {

// km per owt unit (100 ps) at the document's group index; 0 without one.
[[nodiscard]] double KmPerOwt(const TSorData* sd);
// km of point i, measured as the document measures its times.
[[nodiscard]] double PointKm(const TSorData* sd, long i);
// owt of a distance in km; 0 without a group index.
[[nodiscard]] double KmToOwt(const TSorData* sd, double km);
// Nearest point of a distance in km, within 0 .. points - 1 (0 for an empty trace).
[[nodiscard]] long KmToPoint(const TSorData* sd, double km);
// Number of points of the trace.
[[nodiscard]] long PointCount(const TSorData* sd);
// owt between two points of the first segment; 0 without one.
[[nodiscard]] double SpacingOwt(const TSorData* sd);

} // namespace autolines
