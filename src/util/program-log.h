// The program's log: one TLogFile per process under the log directory, and
// logMessage, logWarning and logError on top of it.
#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "util/log-file.h"
#include "util/util-export.h"

// Owns the log that the global LogFile points to while the guard lives; its
// destruction closes the log and clears LogFile.
class FIBERTEST_UTIL_EXPORT LogFileGuard
{
public:
    // Makes `log` the global LogFile; `directory` is where the free disk space
    // is measured before each entry (empty: never measured).
    LogFileGuard(std::unique_ptr<TLogFile> log, std::string directory);
    ~LogFileGuard();
    LogFileGuard(const LogFileGuard&) = delete;
    LogFileGuard& operator=(const LogFileGuard&) = delete;

    [[nodiscard]] TLogFile& log() const { return *file; }
    [[nodiscard]] const std::string& directory() const { return dir; }

private:
    std::unique_ptr<TLogFile> file;
    std::string dir;
};

// The log directory: "/var/log", or the environment variable
// FIBERTEST_LOG_DIR when it is set and not empty (a desktop user, or a test,
// cannot or should not write to /var/log).
[[nodiscard]] FIBERTEST_UTIL_EXPORT std::string logDirectory();

// Opens (appending) "<log directory>/<name>.log", making the directories that
// are missing, and makes it the global LogFile; entries go to the file only.
// A directory that cannot be made ends the program: the message "Can't create
// log file directory, exiting application" on standard error, then a failed
// assertion. A later call replaces the global log; an older guard then leaves
// the newer log alone when it goes.
[[nodiscard]] FIBERTEST_UTIL_EXPORT std::unique_ptr<LogFileGuard> initLogFile(const std::string& name);

namespace detail {

// Any string type with toUtf8().constData() (QString among them), as long as
// it is not already served by the narrow overloads.
template <class S, class = void>
struct HasUtf8Text : std::false_type
{
};
template <class S>
struct HasUtf8Text<S, std::void_t<decltype(std::declval<const S&>().toUtf8().constData())>>
    : std::is_convertible<decltype(std::declval<const S&>().toUtf8().constData()), const char*>
{
};
template <class S>
using EnableForUtf8Text = std::enable_if_t<HasUtf8Text<S>::value && !std::is_convertible_v<const S&, std::string> &&
                                               !std::is_convertible_v<const S&, const char*>,
                                           int>;

} // namespace detail

template <class S, detail::EnableForUtf8Text<S> = 0>
[[nodiscard]] std::unique_ptr<LogFileGuard> initLogFile(const S& name)
{
    const auto utf8 = name.toUtf8();
    return initLogFile(std::string(utf8.constData()));
}

// The global log. Reaching through it (-> or *) while no initLogFile guard
// lives is a programming error and fails an assertion.
class FIBERTEST_UTIL_EXPORT ProgramLogFile
{
public:
    TLogFile* operator->() const;
    TLogFile& operator*() const;
    // Whether a log is installed, for code that may run before initLogFile.
    [[nodiscard]] bool isSet() const;
};
extern FIBERTEST_UTIL_EXPORT ProgramLogFile LogFile;

// Entries of kind M, W and E from module "U": "<a> <b>", or the one text.
// Each first looks at the free space of the log directory (unless the log
// already writes to standard error only), see logDiskSpaceAction.
FIBERTEST_UTIL_EXPORT void logMessage(const char* a, const char* b);
FIBERTEST_UTIL_EXPORT void logMessage(const std::string& text);
FIBERTEST_UTIL_EXPORT void logWarning(const char* a, const char* b);
FIBERTEST_UTIL_EXPORT void logWarning(const std::string& text);
FIBERTEST_UTIL_EXPORT void logError(const char* a, const char* b);
FIBERTEST_UTIL_EXPORT void logError(const std::string& text);

template <class S, detail::EnableForUtf8Text<S> = 0>
void logMessage(const S& text)
{
    const auto utf8 = text.toUtf8();
    logMessage(utf8.constData(), nullptr);
}

template <class S, detail::EnableForUtf8Text<S> = 0>
void logWarning(const S& text)
{
    const auto utf8 = text.toUtf8();
    logWarning(utf8.constData(), nullptr);
}

template <class S, detail::EnableForUtf8Text<S> = 0>
void logError(const S& text)
{
    const auto utf8 = text.toUtf8();
    logError(utf8.constData(), nullptr);
}

// What a log does about the free space of its directory, so that a full disk
// does not lose the last words of the program.
enum class DiskSpaceAction
{
    None,                   // more than 1000000 bytes free
    WarnAndStopFileLogging, // more than 100000: a last warning into the file, then standard error only
    StopFileLogging,        // less: standard error only, without touching the file again
};
[[nodiscard]] FIBERTEST_UTIL_EXPORT DiskSpaceAction logDiskSpaceAction(unsigned long long freeBytes);

namespace detail {

// Carries out logDiskSpaceAction(freeBytes) on `log`: the warning "There's no
// enough of free disk space, the file logging will be stopped after this
// message..." into the file where due, then mode LogToStdErr and "The file
// logging has been stopped..." on standard error.
FIBERTEST_UTIL_EXPORT void applyLogDiskSpace(TLogFile& log, unsigned long long freeBytes);

} // namespace detail
