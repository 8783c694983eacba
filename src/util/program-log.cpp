#include "util/program-log.h"

#include <sys/statvfs.h>

#include <atomic>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

ProgramLogFile LogFile;

namespace {

constexpr char programModule = 'U';
constexpr unsigned long long plentyOfSpace = 1000000;
constexpr unsigned long long roomForOneMoreLine = 100000;

// The guard whose log is the global one. Set and cleared at start-up and
// shut-down; entries only read it.
std::atomic<LogFileGuard*> current{nullptr};

LogFileGuard& currentGuard()
{
    LogFileGuard* guard = current.load();
    assert(guard != nullptr && "LogFile used before initLogFile");
    return *guard;
}

void guardDiskSpace()
{
    LogFileGuard& guard = currentGuard();
    if (guard.log().GetLoggingMode() == LogToStdErr || guard.directory().empty())
        return;
    struct statvfs info {};
    if (statvfs(guard.directory().c_str(), &info) != 0)
        return;
    detail::applyLogDiskSpace(guard.log(), static_cast<unsigned long long>(info.f_bavail) * info.f_frsize);
}

} // namespace

LogFileGuard::LogFileGuard(std::unique_ptr<TLogFile> log, std::string directory)
    : file(std::move(log)), dir(std::move(directory))
{
    current.store(this);
}

LogFileGuard::~LogFileGuard()
{
    LogFileGuard* self = this;
    current.compare_exchange_strong(self, nullptr);
}

std::string logDirectory()
{
    const char* dir = std::getenv("FIBERTEST_LOG_DIR");
    return (dir != nullptr && *dir != '\0') ? dir : "/var/log";
}

std::unique_ptr<LogFileGuard> initLogFile(const std::string& name)
{
    const std::filesystem::path path = logDirectory() + "/" + name + ".log";
    // The name may bring folders of its own; the file's folder is what must exist.
    const std::filesystem::path dir = path.parent_path();
    std::error_code error;
    std::filesystem::create_directories(dir, error);
    const bool logFileDirCreationSuccess = std::filesystem::is_directory(dir, error);
    if (!logFileDirCreationSuccess)
        std::fprintf(stderr, "Can't create log file directory, exiting application\n");
    assert(logFileDirCreationSuccess);
    auto log = std::make_unique<TLogFile>(path.c_str(), AppendToFile, LogToPrimaryFile);
    return std::make_unique<LogFileGuard>(std::move(log), dir.string());
}

TLogFile* ProgramLogFile::operator->() const
{
    return &currentGuard().log();
}

TLogFile& ProgramLogFile::operator*() const
{
    return currentGuard().log();
}

bool ProgramLogFile::isSet() const
{
    return current.load() != nullptr;
}

void logMessage(const char* a, const char* b)
{
    guardDiskSpace();
    LogFile->Message(programModule, a, b);
}

void logMessage(const std::string& text)
{
    logMessage(text.c_str(), nullptr);
}

void logWarning(const char* a, const char* b)
{
    guardDiskSpace();
    LogFile->Warning(programModule, a, b);
}

void logWarning(const std::string& text)
{
    logWarning(text.c_str(), nullptr);
}

void logError(const char* a, const char* b)
{
    guardDiskSpace();
    LogFile->Error(programModule, a, b);
}

void logError(const std::string& text)
{
    logError(text.c_str(), nullptr);
}

DiskSpaceAction logDiskSpaceAction(unsigned long long freeBytes)
{
    if (freeBytes > plentyOfSpace)
        return DiskSpaceAction::None;
    if (freeBytes > roomForOneMoreLine)
        return DiskSpaceAction::WarnAndStopFileLogging;
    return DiskSpaceAction::StopFileLogging;
}

void detail::applyLogDiskSpace(TLogFile& log, unsigned long long freeBytes)
{
    const DiskSpaceAction action = logDiskSpaceAction(freeBytes);
    if (action == DiskSpaceAction::None || log.GetLoggingMode() == LogToStdErr)
        return;
    if (action == DiskSpaceAction::WarnAndStopFileLogging && log.GetFile() != nullptr)
        log.Log(log.GetFile(), programModule, 'W',
                "There's no enough of free disk space, the file logging will be stopped after this message...",
                nullptr, true);
    log.SetLoggingMode(LogToStdErr);
    log.Log(stderr, programModule, 'W', "The file logging has been stopped...", nullptr, false);
}
