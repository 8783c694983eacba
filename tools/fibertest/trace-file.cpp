#include "trace-file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "cli-args.h"
#include "sor/sor-block-fixed-parameters.h"
#include "sor/sor-block-general-parameters.h"
#include "sor/sor-block-map.h"
#include "sor/sor-exception.h"
#include "sor/sor-file.h"

namespace cli {

namespace {

// Nothing this large is a trace; refuse before reading it into memory.
constexpr std::streamoff maxTraceBytes = std::streamoff(1) << 30;

std::string quoted(const std::string& path)
{
    return "'" + path + "'";
}

std::string readWholeFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw InputError("cannot read " + quoted(path) + ": " + std::strerror(errno));
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0)
        throw InputError("cannot read " + quoted(path) + ": not a regular file");
    if (size > maxTraceBytes)
        throw InputError(quoted(path) + " is too large to be a trace (" + std::to_string(size) + " bytes)");
    in.seekg(0, std::ios::beg);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    in.read(bytes.data(), size);
    if (!in)
        throw InputError("cannot read " + quoted(path) + ": read error");
    return bytes;
}

// A file is taken for a trace when its Map is of a known edition and lists
// at least one of the standard blocks.
bool looksLikeTrace(const TSorData& data)
{
    const TSorBlockMap& map = *data.Map;
    if (map.RevisionNo < 100 || map.RevisionNo > 299)
        return false;
    for (int i = 0; i < map.Entries.count; ++i) {
        const TString& id = map.Entries.data[i]->ID;
        if (id == "GenParams" || id == "SupParams" || id == "FxdParams" || id == "DataPts" || id == "KeyEvents")
            return true;
    }
    return false;
}

} // namespace

LoadedTrace loadTrace(const std::string& path, bool minimal)
{
    LoadedTrace trace;
    trace.path = path;
    trace.bytes = readWholeFile(path);
    if (trace.bytes.empty())
        throw InputError(quoted(path) + " is empty");
    trace.data = std::make_unique<TSorData>();
    TSorFile file(trace.bytes.data(), static_cast<unsigned long>(trace.bytes.size()));
    try {
        if (minimal)
            trace.data->ReadMinimal(&file);
        else
            trace.data->Read(&file);
    } catch (const TSorException& e) {
        throw InputError(quoted(path) + " holds block data that cannot be used (" + e.what() + ")");
    }
    if (file.Status == fsReadError && trace.data->Map->RevisionNo / 100 > 2)
        throw InputError(quoted(path) + " is not an SR-4731 trace, or one of a revision newer than 2xx (Map revision " +
                         std::to_string(trace.data->Map->RevisionNo) + ")");
    if (!looksLikeTrace(*trace.data))
        throw InputError(quoted(path) + " is not an SR-4731 trace: no Map of known blocks at its start");
    if (file.Status == fsEndOfFile) {
        trace.truncated = true;
    } else if (file.Status != fsOk) {
        throw InputError(quoted(path) + ": read error (status " + std::to_string(file.Status) + ") near offset " +
                         std::to_string(file.Tell()));
    }
    return trace;
}

void saveFile(const std::string& bytes, const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    std::string pattern = (slash == std::string::npos ? std::string() : folder) + ".fibertest-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = mkstemp(name.data());
    if (fd < 0)
        throw InputError("cannot write " + quoted(path) + ": " + std::strerror(errno));
    const std::string temporary = name.data();
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        written += static_cast<std::size_t>(n);
    }
    const int writeError = written == bytes.size() ? 0 : errno;
    // The new file gets the usual mode of a new file, not mkstemp's 0600.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    const bool closed = ::close(fd) == 0;
    if (writeError != 0 || !closed || std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = writeError != 0 ? writeError : errno;
        std::remove(temporary.c_str());
        throw InputError("cannot write " + quoted(path) + ": " + std::strerror(error));
    }
}

void saveTrace(TSorData& data, const std::string& path)
{
    TSorFile memory("", "m");
    data.Write(&memory);
    if (memory.Status != fsOk)
        throw InputError("cannot encode the trace for " + quoted(path) + " (status " + std::to_string(memory.Status) +
                         ")");
    saveFile(std::string(memory.GetData(), memory.GetDataSize()), path);
}

double owtToKm(const TSorData& data, double owt)
{
    const double groupIndex = data.FxdParams->GI * 1e-5;
    if (groupIndex <= 0)
        return 0.0;
    return (owt - data.GenParams->UO) * (299792.5 / groupIndex) * 1e-10;
}

std::string readTextFile(const std::string& path, long long maxBytes, const std::string& what)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw InputError("cannot read '" + path + "': " + std::strerror(errno));
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0)
        throw InputError("cannot read '" + path + "': not a regular file");
    if (size > maxBytes)
        throw InputError("'" + path + "' is too large to be " + what + " (" + std::to_string(size) + " bytes)");
    in.seekg(0, std::ios::beg);
    std::string text(static_cast<std::size_t>(size), '\0');
    in.read(text.data(), size);
    if (!in)
        throw InputError("cannot read '" + path + "': read error");
    return text;
}

} // namespace cli
