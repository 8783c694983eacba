// TempDir: a fresh folder for one test, removed with everything in it.
#pragma once

#include <string>

namespace testsupport {

class TempDir
{
public:
    // Made under $TMPDIR (the build's own tmp folder under CTest), or /tmp.
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // Absolute path without a trailing separator.
    [[nodiscard]] const std::string& path() const { return dir; }
    // `name` joined to the folder's path.
    [[nodiscard]] std::string file(const std::string& name) const;

private:
    std::string dir;
};

} // namespace testsupport
