#include "support/files.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace testsupport {

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        throw std::runtime_error("cannot write " + path);
}

std::string tracesDir()
{
    const std::string dir = FIBERTEST_TRACES_DIR;
    return std::filesystem::is_directory(dir) ? dir : std::string();
}

} // namespace testsupport
