// The link map as the tool shows it: one row per node with its type and
// position, then the loss and reflectance at each wavelength; and the
// figures of the whole link per wavelength.
#pragma once

#include <ostream>

#include "link/link-map.h"

namespace cli {

void printLinkMap(std::ostream& out, const TLinkMap& map);

} // namespace cli
