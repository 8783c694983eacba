// TLogFile: the trace core's log, a text file and/or standard error.
#pragma once

#include <cstdio>

#include "util/util-export.h"

// Where entries go.
enum LoggingMode
{
    LogToPrimaryFile = 0,
    LogToPrimaryFileAndStdErr = 1,
    LogToStdErr = 2,
};

// How the file is opened: 0 appends, any other value overwrites.
enum WritingMode
{
    AppendToFile = 0,
    OverwriteFile = 1,
};

// Entry lines read "<time>  <module> <kind>\t <a> <b>", kind being E, W or M;
// the first entry of a log is preceded by a header with the date. A log
// whose file could not be opened swallows every entry, in every mode.
// There is no lock: entries from several threads can interleave.
class FIBERTEST_UTIL_EXPORT TLogFile
{
public:
    // Opens `path` ("at" to append, "wt" to overwrite); IsOpen() tells
    // whether that worked. A null path opens nothing.
    TLogFile(const char* path, WritingMode writing, LoggingMode logging);
    virtual ~TLogFile();
    TLogFile(const TLogFile&) = delete;
    TLogFile& operator=(const TLogFile&) = delete;

    // Bit 0 errors, bit 1 warnings, bit 2 messages; a clear bit mutes them.
    virtual void SetLogLevel(int bits);
    // One entry of kind "E", "M" or "W" from `module`; a null `b` prints as
    // empty.
    virtual void Error(char module, const char* a, const char* b);
    virtual void Message(char module, const char* a, const char* b);
    virtual void Warning(char module, const char* a, const char* b);
    // "<a> = <v>" on a line of its own, to the file.
    virtual void Data(const char* a, long v);
    // "<a> <b>" on a line of its own, to the file.
    void Info(const char* a, const char* b);

    // Writes one entry to `file` (which must not be null), with the local
    // time in front when `stamp` is set, and flushes. Nothing happens unless
    // the log is open.
    void Log(FILE* file, char module, char kind, const char* a, const char* b, bool stamp);

    [[nodiscard]] LoggingMode GetLoggingMode() const;
    void SetLoggingMode(LoggingMode mode);
    [[nodiscard]] static bool IsLogToPrimaryFileRequested(LoggingMode mode);
    [[nodiscard]] static bool IsLogToStdErrRequested(LoggingMode mode);

    [[nodiscard]] bool IsOpen() const { return opened; }
    // The primary file; null when it could not be opened. Still owned by the log.
    [[nodiscard]] FILE* GetFile() const { return file; }

private:
    void Entry(char module, char kind, const char* a, const char* b);

    bool opened = false;
    bool error = true;
    bool message = true;
    bool warning = true;
    FILE* file = nullptr;
    bool headerWritten = false;
    LoggingMode loggingMode;
};
