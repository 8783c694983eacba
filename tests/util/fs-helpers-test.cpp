#include "util/fs-helpers.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/files.h"
#include "support/temp-dir.h"

namespace fs = std::filesystem;

namespace {

bool exists(const std::string& path)
{
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

// The file type and permission bits, 0 when there is nothing.
unsigned mode(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? info.st_mode & (S_IFMT | 07777) : 0;
}

unsigned currentUmask()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

} // namespace

TEST(FsHelpersTest, RmdirTouchesOnlyAbsolutePaths)
{
    testsupport::TempDir dir;
    testsupport::writeFile(dir.file("victim"), "keep");
    const fs::path before = fs::current_path();
    fs::current_path(dir.path());
    const int relative = ko_rmdir("victim", 1);
    const int dotted = ko_rmdir("./victim", 1);
    fs::current_path(before);
    EXPECT_EQ(relative, -1);
    EXPECT_EQ(dotted, -1);
    EXPECT_EQ(ko_rmdir(nullptr, 1), -1);
    EXPECT_EQ(testsupport::readFile(dir.file("victim")), "keep");
    EXPECT_EQ(ko_rmdir(dir.file("no/such/thing").c_str(), 0), 0);
}

TEST(FsHelpersTest, RmdirRemovesFilesByForceAndTreesWithoutFollowingLinks)
{
    testsupport::TempDir dir;
    const std::string file = dir.file("file");
    testsupport::writeFile(file, "x");
    EXPECT_EQ(ko_rmdir(file.c_str(), 0), -1);
    EXPECT_TRUE(exists(file));
    EXPECT_EQ(ko_rmdir(file.c_str(), 1), 0);
    EXPECT_FALSE(exists(file));

    fs::create_directories(dir.file("tree/a/b"));
    fs::create_directories(dir.file("outside"));
    testsupport::writeFile(dir.file("tree/a/b/deep.txt"), "2");
    testsupport::writeFile(dir.file("outside/precious"), "3");
    fs::create_directory_symlink(dir.file("outside"), dir.file("tree/a/link"));
    // The entries of a directory go by force even when the call has none.
    EXPECT_EQ(ko_rmdir(dir.file("tree").c_str(), 0), 0);
    EXPECT_FALSE(exists(dir.file("tree")));
    EXPECT_EQ(testsupport::readFile(dir.file("outside/precious")), "3");
}

TEST(FsHelpersTest, RmdirFailsCleanlyWhenAPathOutgrowsItsBuffer)
{
    testsupport::TempDir dir;
    const std::string deep = dir.file("tree/" + std::string(200, 'd') + "/" + std::string(100, 'f'));
    fs::create_directories(fs::path(deep).parent_path());
    testsupport::writeFile(deep, "x");
    EXPECT_EQ(ko_rmdir(dir.file("tree").c_str(), 1), -1);
    EXPECT_TRUE(exists(deep));
}

TEST(FsHelpersTest, MkdirParentMakesTheParentsOnly)
{
    testsupport::TempDir dir;
    EXPECT_EQ(ko_mkdir_parent(dir.file("a/b/c.txt").c_str(), 0700), 0);
    EXPECT_EQ(mode(dir.file("a")), S_IFDIR | 0700u);
    EXPECT_EQ(mode(dir.file("a/b")), S_IFDIR | 0700u);
    EXPECT_FALSE(exists(dir.file("a/b/c.txt")));
    EXPECT_EQ(ko_mkdir_parent(dir.file("a/b/c.txt").c_str(), 0700), 0);

    // A file where a directory has to be goes.
    testsupport::writeFile(dir.file("blocker"), "x");
    EXPECT_EQ(ko_mkdir_parent(dir.file("blocker/sub/leaf").c_str(), 0755), 0);
    EXPECT_TRUE(fs::is_directory(dir.file("blocker/sub")));

    EXPECT_EQ(ko_mkdir_parent(nullptr, 0755), -1);
    EXPECT_EQ(ko_mkdir_parent("", 0755), -1);
    EXPECT_EQ(ko_mkdir_parent(dir.file(std::string(300, 'x') + "/y").c_str(), 0755), -1);
}

TEST(FsHelpersTest, MkfifoReplacesWhatStandsThereButKeepsAFifo)
{
    testsupport::TempDir dir;
    const std::string file = dir.file("pipe");
    testsupport::writeFile(file, "not a pipe");
    EXPECT_EQ(ko_mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(mode(file), S_IFIFO | 0600u);
    // Already a FIFO: kept as it is, mode included.
    EXPECT_EQ(ko_mkfifo(file.c_str(), 0644), 0);
    EXPECT_EQ(mode(file), S_IFIFO | 0600u);

    fs::create_directories(dir.file("folder/inner"));
    EXPECT_EQ(ko_mkfifo(dir.file("folder").c_str(), 0600), 0);
    EXPECT_EQ(mode(dir.file("folder")), S_IFIFO | 0600u);
    EXPECT_EQ(ko_mkfifo(nullptr, 0600), -1);
}

TEST(FsHelpersTest, MkfifoMakesMissingParentsWithMode0644)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("var/dev/p-event");
    const int result = ko_mkfifo(path.c_str(), 0600);
    EXPECT_EQ(mode(dir.file("var")), S_IFDIR | (0644u & ~currentUmask()));
    // Without search permission on those folders only root gets further.
    if (geteuid() != 0)
        GTEST_SKIP() << "a FIFO inside folders of mode 0644 needs root";
    EXPECT_EQ(result, 0);
    EXPECT_EQ(mode(path), S_IFIFO | 0600u);
}

TEST(FsHelpersTest, SetupKeyboardMakesFourPipesAndTheirVariables)
{
    const std::string pipeDir = "/tmp/var/dev";
    const bool hadVar = exists("/tmp/var");
    const bool hadDev = exists(pipeDir);
    if (!hadDev && geteuid() != 0)
        GTEST_SKIP() << pipeDir << " is missing, and its folders of mode 0644 need root";

    const std::string name = "fibertest-" + std::to_string(getpid());
    setenv("PIPE_KBD_EVENT", "old value", 1);
    setupKeyboard(name.c_str());
    const char* variables[] = {"PIPE_TS_EVENT", "PIPE_VNC_MOUSE_EVENT", "PIPE_KBD_EVENT", "PIPE_VNC_KBD_EVENT"};
    const char* prefixes[] = {"/p-event-ts-", "/p-event-vnc-mouse-", "/p-event-kbd-", "/p-event-vnc-kbd-"};
    for (int i = 0; i < 4; ++i) {
        const std::string path = pipeDir + prefixes[i] + name;
        const char* value = std::getenv(variables[i]);
        EXPECT_EQ(value != nullptr ? value : "", path);
        EXPECT_EQ(mode(path), S_IFIFO | (0775u & ~currentUmask()));
        unlink(path.c_str());
        unsetenv(variables[i]);
    }
    if (!hadDev)
        rmdir(pipeDir.c_str());
    if (!hadVar)
        rmdir("/tmp/var");
}

TEST(FsHelpersTest, SetupKeyboardIgnoresNullAndOverlongNames)
{
    setenv("PIPE_TS_EVENT", "untouched", 1);
    setupKeyboard(nullptr);
    // "/tmp/var/dev/p-event-vnc-mouse-" leaves 32 of the 64 bytes for the name.
    setupKeyboard(std::string(33, 'n').c_str());
    EXPECT_STREQ(std::getenv("PIPE_TS_EVENT"), "untouched");
    unsetenv("PIPE_TS_EVENT");
}
