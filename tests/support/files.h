// Whole-file reads and writes for tests.
#pragma once

#include <string>

namespace testsupport {

// The bytes of a file; throws std::runtime_error when it cannot be read.
[[nodiscard]] std::string readFile(const std::string& path);
// Writes `bytes` as the whole file; throws when it cannot.
void writeFile(const std::string& path, const std::string& bytes);
// The real-trace folder, or empty when it is absent on this machine.
[[nodiscard]] std::string tracesDir();

} // namespace testsupport
