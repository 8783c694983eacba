// The commands of the fibertest tool, one function per command.
#pragma once

#include "cli-app.h"

namespace cli {

[[nodiscard]] Command demoCommand();

} // namespace cli
