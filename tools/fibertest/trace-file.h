// Loading and saving traces for the tool's commands, with the tool's errors.
#pragma once

#include <memory>
#include <string>

#include "sor/sor-data.h"

namespace cli {

struct LoadedTrace
{
    std::string path;
    std::string bytes;               // the whole file as read
    std::unique_ptr<TSorData> data;  // the loaded document
    bool truncated = false;          // the file ended inside a block; what there was is loaded
};

// Reads a whole trace file (ReadMinimal with `minimal`). A file that cannot
// be read, is not a trace, or holds data the reader cannot use ends with an
// InputError whose text says what and where.
[[nodiscard]] LoadedTrace loadTrace(const std::string& path, bool minimal = false);

// Writes the document to `path` through a temporary file in the same folder
// and a rename, so that a failure leaves no half-written file behind.
void saveTrace(TSorData& data, const std::string& path);

// Writes bytes to `path` the same way.
void saveFile(const std::string& bytes, const std::string& path);

// The whole of a small text file (a link description, a truth file), refused
// unread when it is larger than `maxBytes`; `what` names such a file in the
// error ("a link description").
[[nodiscard]] std::string readTextFile(const std::string& path, long long maxBytes, const std::string& what);

// Distance in km of a one-way time, measured from the user offset.
[[nodiscard]] double owtToKm(const TSorData& data, double owt);

} // namespace cli
