#include "util/program-log.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "support/files.h"
#include "support/temp-dir.h"

namespace {

// The shape of QString as far as the log needs it.
struct FakeUtf8
{
    std::string bytes;
    const char* constData() const { return bytes.c_str(); }
};
struct FakeQString
{
    std::string text;
    FakeUtf8 toUtf8() const { return {text}; }
};

static_assert(detail::HasUtf8Text<FakeQString>::value);
static_assert(!detail::HasUtf8Text<std::string>::value);

// Points the log directory into a temporary folder for one test.
class ProgramLogTest : public testing::Test
{
protected:
    void SetUp() override { setenv("FIBERTEST_LOG_DIR", logDir().c_str(), 1); }
    void TearDown() override { unsetenv("FIBERTEST_LOG_DIR"); }
    std::string logDir() const { return temp.file("logs/deeper"); }

    testsupport::TempDir temp;
};

using ProgramLogDeathTest = ProgramLogTest;

// The entries of a log file after its four header lines, each without the
// 23 characters of its time stamp.
std::string entries(const std::string& path)
{
    std::istringstream in(testsupport::readFile(path));
    std::string out;
    int lineNo = 0;
    for (std::string line; std::getline(in, line);)
        if (++lineNo > 4)
            out += (line.size() > 23 && line.compare(21, 2, "  ") == 0 ? line.substr(23) : "?" + line) + "\n";
    return out;
}

} // namespace

TEST_F(ProgramLogTest, EveryOverloadWritesModuleUUnderTheLogDirectory)
{
    EXPECT_EQ(logDirectory(), logDir());
    EXPECT_FALSE(LogFile.isSet());
    {
        auto guard = initLogFile("otdr");
        ASSERT_TRUE(LogFile.isSet());
        EXPECT_EQ(&*LogFile, &guard->log());
        logMessage("Loading language file:", "common_en.qm");
        logWarning(std::string("low battery"));
        logError(FakeQString{"no module"});
        logMessage("literal");
        EXPECT_EQ(LogFile->GetLoggingMode(), LogToPrimaryFile);
    }
    EXPECT_FALSE(LogFile.isSet());
    EXPECT_EQ(entries(logDir() + "/otdr.log"), "U M\t Loading language file: common_en.qm\n"
                                               "U W\t low battery \n"
                                               "U E\t no module \n"
                                               "U M\t literal \n");
    setenv("FIBERTEST_LOG_DIR", "", 1);
    EXPECT_EQ(logDirectory(), "/var/log");
}

TEST_F(ProgramLogTest, NewerGuardOutlivesAnOlderOne)
{
    auto first = initLogFile(FakeQString{"shell"});
    auto second = initLogFile("shell");
    first.reset();
    ASSERT_TRUE(LogFile.isSet());
    logMessage("still", "logging");
    second.reset();
    EXPECT_FALSE(LogFile.isSet());
    EXPECT_EQ(entries(logDir() + "/shell.log"), "U M\t still logging\n");
}

TEST(ProgramLogDiskSpaceTest, DecisionThresholds)
{
    EXPECT_EQ(logDiskSpaceAction(1000001), DiskSpaceAction::None);
    EXPECT_EQ(logDiskSpaceAction(1000000), DiskSpaceAction::WarnAndStopFileLogging);
    EXPECT_EQ(logDiskSpaceAction(100001), DiskSpaceAction::WarnAndStopFileLogging);
    EXPECT_EQ(logDiskSpaceAction(100000), DiskSpaceAction::StopFileLogging);
    EXPECT_EQ(logDiskSpaceAction(0), DiskSpaceAction::StopFileLogging);
}

TEST(ProgramLogDiskSpaceTest, LowSpaceWarnsOnceThenMovesToStandardError)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("low.log");
    TLogFile log(path.c_str(), OverwriteFile, LogToPrimaryFile);
    detail::applyLogDiskSpace(log, 1000001);
    EXPECT_EQ(log.GetLoggingMode(), LogToPrimaryFile);

    testing::internal::CaptureStderr();
    detail::applyLogDiskSpace(log, 500000);
    detail::applyLogDiskSpace(log, 500000);
    log.Message('U', "later", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "U W\t The file logging has been stopped... \nU M\t later \n");
    EXPECT_EQ(log.GetLoggingMode(), LogToStdErr);
    EXPECT_EQ(entries(path), "U W\t There's no enough of free disk space, the file logging will be stopped after "
                             "this message... \n");
}

TEST(ProgramLogDiskSpaceTest, NearlyFullDiskStopsWithoutTouchingTheFile)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("full.log");
    TLogFile log(path.c_str(), OverwriteFile, LogToPrimaryFileAndStdErr);
    testing::internal::CaptureStderr();
    detail::applyLogDiskSpace(log, 100000);
    // Nothing went to the file before, so the log's header comes out here.
    const std::string err = testing::internal::GetCapturedStderr();
    const std::string tail = std::string(60, '-') + "\nU W\t The file logging has been stopped... \n";
    ASSERT_GE(err.size(), tail.size());
    EXPECT_EQ(err.substr(err.size() - tail.size()), tail);
    EXPECT_EQ(log.GetLoggingMode(), LogToStdErr);
    EXPECT_EQ(testsupport::readFile(path), "");
}

TEST_F(ProgramLogDeathTest, UseBeforeInitLogFileAsserts)
{
    ASSERT_FALSE(LogFile.isSet());
    EXPECT_DEATH(logMessage("too", "early"), "LogFile used before initLogFile");
    EXPECT_DEATH(LogFile->SetLogLevel(0), "LogFile used before initLogFile");
}

TEST_F(ProgramLogDeathTest, UncreatableDirectoryEndsTheProgram)
{
    testsupport::writeFile(temp.file("plain-file"), "");
    setenv("FIBERTEST_LOG_DIR", temp.file("plain-file/logs").c_str(), 1);
    EXPECT_DEATH((void)initLogFile("otdr"),
                 "Can't create log file directory, exiting application.*Assertion `logFileDirCreationSuccess' failed");
}
