#include "util/log-file.h"

#include <cassert>
#include <ctime>

#include "util/time-util.h"

namespace {

const char* const dashes = "------------------------------------------------------------";

const char* orEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace

TLogFile::TLogFile(const char* path, WritingMode writing, LoggingMode logging) : loggingMode(logging)
{
    if (path != nullptr)
        file = std::fopen(path, writing == AppendToFile ? "at" : "wt");
    opened = file != nullptr;
}

TLogFile::~TLogFile()
{
    if (file != nullptr)
        std::fclose(file);
}

void TLogFile::SetLogLevel(int bits)
{
    error = (bits & 1) != 0;
    warning = (bits & 2) != 0;
    message = (bits & 4) != 0;
}

void TLogFile::Error(char module, const char* a, const char* b)
{
    if (error)
        Entry(module, 'E', a, b);
}

void TLogFile::Message(char module, const char* a, const char* b)
{
    if (message)
        Entry(module, 'M', a, b);
}

void TLogFile::Warning(char module, const char* a, const char* b)
{
    if (warning)
        Entry(module, 'W', a, b);
}

void TLogFile::Data(const char* a, long v)
{
    if (!opened)
        return;
    std::fprintf(file, "%s = %ld\n", orEmpty(a), v);
    std::fflush(file);
}

void TLogFile::Info(const char* a, const char* b)
{
    if (!opened)
        return;
    std::fprintf(file, "%s %s\n", orEmpty(a), orEmpty(b));
    std::fflush(file);
}

// Standard error is usually collected by whatever started the program, which
// stamps lines itself; only the file carries the time.
void TLogFile::Entry(char module, char kind, const char* a, const char* b)
{
    if (!opened)
        return;
    if (IsLogToPrimaryFileRequested(loggingMode))
        Log(file, module, kind, a, b, true);
    if (IsLogToStdErrRequested(loggingMode))
        Log(stderr, module, kind, a, b, false);
}

void TLogFile::Log(FILE* file, char module, char kind, const char* a, const char* b, bool stamp)
{
    assert(file);
    if (!opened)
        return;
    if (!headerWritten) {
        headerWritten = true;
        const std::time_t now = std::time(nullptr);
        char date[64] = "";
        if (ctime_r(&now, date) == nullptr)
            date[0] = '\0';
        // ctime's text ends with its own line break.
        std::fprintf(file, "%s\n%s\n%s\n", dashes, date, dashes);
    }
    if (stamp)
        std::fprintf(file, "%s  %c %c\t %s %s\n", FormatTimeStamp(GetUTCTimeStamp()).c_str(), module, kind,
                     orEmpty(a), orEmpty(b));
    else
        std::fprintf(file, "%c %c\t %s %s\n", module, kind, orEmpty(a), orEmpty(b));
    std::fflush(file);
}

LoggingMode TLogFile::GetLoggingMode() const
{
    return loggingMode;
}

void TLogFile::SetLoggingMode(LoggingMode mode)
{
    loggingMode = mode;
}

bool TLogFile::IsLogToPrimaryFileRequested(LoggingMode mode)
{
    return mode == LogToPrimaryFile || mode == LogToPrimaryFileAndStdErr;
}

bool TLogFile::IsLogToStdErrRequested(LoggingMode mode)
{
    return mode == LogToPrimaryFileAndStdErr || mode == LogToStdErr;
}
