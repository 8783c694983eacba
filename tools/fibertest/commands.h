// The commands of the fibertest tool, one function per command.
#pragma once

#include "cli-app.h"

namespace cli {

[[nodiscard]] Command infoCommand();
[[nodiscard]] Command dumpCommand();
[[nodiscard]] Command pointsCommand();
[[nodiscard]] Command resaveCommand();
[[nodiscard]] Command editCommand();
[[nodiscard]] Command demoCommand();
[[nodiscard]] Command synthCommand();
[[nodiscard]] Command analyzeCommand();
[[nodiscard]] Command evaluateCommand();
[[nodiscard]] Command linkMapCommand();

} // namespace cli
