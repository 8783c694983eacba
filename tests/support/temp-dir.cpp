#include "support/temp-dir.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace testsupport {

TempDir::TempDir()
{
    const char* base = std::getenv("TMPDIR");
    std::filesystem::path root = (base && *base) ? base : "/tmp";
    std::filesystem::create_directories(root);
    std::string pattern = std::filesystem::absolute(root / "fibertest-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder under " + root.string());
    dir = buffer.data();
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}

std::string TempDir::file(const std::string& name) const
{
    return dir + "/" + name;
}

} // namespace testsupport
