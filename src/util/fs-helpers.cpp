#include "util/fs-helpers.h"

#include <dirent.h>
#include <libgen.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int pathBufferSize = 256;
constexpr int pipeBufferSize = 64;
constexpr int fifoParentMode = 0644;
constexpr int fifoMode = 0775;
const char* const pipeDir = "/tmp/var/dev";

// snprintf into a fixed buffer; false when the text does not fit.
template <std::size_t N, class... Args>
bool formatPath(char (&buffer)[N], const char* format, Args... args)
{
    const int length = std::snprintf(buffer, N, format, args...);
    return length >= 0 && static_cast<std::size_t>(length) < N;
}

} // namespace

int ko_rmdir(const char* path, int force)
{
    if (path == nullptr || path[0] != '/')
        return -1;
    struct stat info {};
    if (lstat(path, &info) != 0)
        return (errno == ENOENT || errno == ENOTDIR) ? 0 : -1;
    if (!S_ISDIR(info.st_mode)) {
        if (force == 0)
            return -1;
        unlink(path);
        return 0;
    }

    DIR* dir = opendir(path);
    if (dir == nullptr)
        return -1;
    while (const dirent* entry = readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        char child[pathBufferSize];
        if (!formatPath(child, "%s/%s", path, entry->d_name) || ko_rmdir(child, 1) != 0) {
            closedir(dir);
            return -1;
        }
    }
    closedir(dir);
    return rmdir(path) == 0 ? 0 : -1;
}

int ko_mkdir_parent(const char* path, int mode)
{
    if (path == nullptr || path[0] == '\0')
        return -1;
    // dirname may write into its argument, so it works on a copy.
    char copy[pathBufferSize];
    if (!formatPath(copy, "%s", path))
        return -1;
    const char* parent = dirname(copy);

    struct stat info {};
    if (stat(parent, &info) == 0) {
        if (S_ISDIR(info.st_mode))
            return 0;
        // A file where a directory belongs is in the way: it goes.
        (void)ko_rmdir(parent, 1);
    }
    // "/" and "." are their own parents; when even they are missing (the
    // working directory was removed) there is nothing left to climb.
    if (std::strcmp(parent, path) == 0)
        return -1;
    if (ko_mkdir_parent(parent, mode) != 0)
        return -1;
    return mkdir(parent, static_cast<mode_t>(mode)) == 0 ? 0 : -1;
}

int ko_mkfifo(const char* path, int mode)
{
    if (path == nullptr)
        return -1;
    struct stat info {};
    if (stat(path, &info) == 0 && S_ISFIFO(info.st_mode))
        return 0;
    (void)ko_rmdir(path, 1);
    (void)ko_mkdir_parent(path, fifoParentMode);
    return mkfifo(path, static_cast<mode_t>(mode)) == 0 ? 0 : -1;
}

void setupKeyboard(const char* name)
{
    if (name == nullptr)
        return;
    static const struct
    {
        const char* variable;
        const char* prefix;
    } pipes[] = {
        {"PIPE_TS_EVENT", "/p-event-ts-"},
        {"PIPE_VNC_MOUSE_EVENT", "/p-event-vnc-mouse-"},
        {"PIPE_KBD_EVENT", "/p-event-kbd-"},
        {"PIPE_VNC_KBD_EVENT", "/p-event-vnc-kbd-"},
    };
    char paths[4][pipeBufferSize];
    for (int i = 0; i < 4; ++i)
        if (!formatPath(paths[i], "%s%s%s", pipeDir, pipes[i].prefix, name))
            return;
    for (int i = 0; i < 4; ++i) {
        setenv(pipes[i].variable, paths[i], 1);
        (void)ko_mkfifo(paths[i], fifoMode);
    }
}
