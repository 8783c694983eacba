#include "util/log-file.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/temp-dir.h"

namespace {

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

// An entry line without its stamp "dd.mm.yyyy   hh:mm:ss" and the two blanks.
std::string unstamped(const std::string& line)
{
    const bool stamped = line.size() > 23 && line[2] == '.' && line[5] == '.' && line.compare(10, 3, "   ") == 0 &&
                         line[15] == ':' && line[18] == ':' && line.compare(21, 2, "  ") == 0;
    return stamped ? line.substr(23) : "no stamp: " + line;
}

} // namespace

TEST(LogFileTest, HeaderOnceThenStampedEntries)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("trace.log");
    {
        TLogFile log(path.c_str(), OverwriteFile, LogToPrimaryFile);
        ASSERT_TRUE(log.IsOpen());
        log.Error('S', "cannot read block", "KeyEvents");
        log.Message('A', "analysis done", nullptr);
    }
    const auto text = lines(testsupport::readFile(path));
    ASSERT_EQ(text.size(), 6u);
    EXPECT_EQ(text[0], std::string(60, '-'));
    EXPECT_EQ(text[1].size(), 24u) << "ctime text: " << text[1];
    EXPECT_EQ(text[2], "");
    EXPECT_EQ(text[3], text[0]);
    EXPECT_EQ(unstamped(text[4]), "S E\t cannot read block KeyEvents");
    EXPECT_EQ(unstamped(text[5]), "A M\t analysis done ");
}

TEST(LogFileTest, LevelBitsChooseTheKinds)
{
    testsupport::TempDir dir;
    const struct
    {
        int bits;
        const char* kinds;
    } cases[] = {{0, ""}, {1, "E"}, {2, "W"}, {4, "M"}, {7, "EWM"}};
    for (const auto& c : cases) {
        const std::string path = dir.file("level" + std::to_string(c.bits));
        {
            TLogFile log(path.c_str(), OverwriteFile, LogToPrimaryFile);
            log.SetLogLevel(c.bits);
            log.Error('U', "x", nullptr);
            log.Warning('U', "x", nullptr);
            log.Message('U', "x", nullptr);
        }
        std::string kinds;
        for (const std::string& line : lines(testsupport::readFile(path)))
            if (line.size() > 23 && line[2] == '.')
                kinds += unstamped(line)[2];
        EXPECT_EQ(kinds, c.kinds) << "bits " << c.bits;
    }
}

TEST(LogFileTest, InfoDataAndWritingModes)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("info.log");
    testsupport::writeFile(path, "old\n");
    {
        TLogFile log(path.c_str(), AppendToFile, LogToPrimaryFile);
        log.Info("points", "16000");
        log.Data("offset", -42L);
    }
    EXPECT_EQ(testsupport::readFile(path), "old\npoints 16000\noffset = -42\n");
    {
        TLogFile log(path.c_str(), OverwriteFile, LogToPrimaryFile);
        log.Info("fresh", nullptr);
    }
    EXPECT_EQ(testsupport::readFile(path), "fresh \n");
}

TEST(LogFileTest, LoggingModesChooseFileAndStandardError)
{
    EXPECT_TRUE(TLogFile::IsLogToPrimaryFileRequested(LogToPrimaryFileAndStdErr));
    EXPECT_FALSE(TLogFile::IsLogToPrimaryFileRequested(LogToStdErr));
    EXPECT_FALSE(TLogFile::IsLogToStdErrRequested(LogToPrimaryFile));
    EXPECT_TRUE(TLogFile::IsLogToStdErrRequested(LogToPrimaryFileAndStdErr));

    testsupport::TempDir dir;
    const std::string path = dir.file("modes.log");
    TLogFile log(path.c_str(), OverwriteFile, LogToPrimaryFileAndStdErr);
    testing::internal::CaptureStderr();
    log.Warning('U', "both", "ways");
    log.SetLoggingMode(LogToStdErr);
    log.Warning('U', "stderr", "only");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "U W\t both ways\nU W\t stderr only\n");
    const auto text = lines(testsupport::readFile(path));
    ASSERT_EQ(text.size(), 5u);
    EXPECT_EQ(unstamped(text[4]), "U W\t both ways");
}

TEST(LogFileTest, UnopenableLogSwallowsEverything)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("missing/folder/x.log");
    for (LoggingMode mode : {LogToPrimaryFile, LogToPrimaryFileAndStdErr, LogToStdErr}) {
        TLogFile log(path.c_str(), AppendToFile, mode);
        EXPECT_FALSE(log.IsOpen());
        testing::internal::CaptureStderr();
        log.Error('U', "a", "b");
        log.Warning('U', "a", "b");
        log.Message('U', "a", "b");
        log.Info("a", "b");
        log.Data("a", 1);
        log.Log(stderr, 'U', 'E', "a", "b", false);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
    EXPECT_FALSE(TLogFile(nullptr, AppendToFile, LogToStdErr).IsOpen());
}

TEST(LogFileDeathTest, LogOnNullStreamAsserts)
{
    testsupport::TempDir dir;
    const std::string path = dir.file("x.log");
    TLogFile log(path.c_str(), OverwriteFile, LogToPrimaryFile);
    EXPECT_DEATH(log.Log(nullptr, 'U', 'E', "a", "b", true), "Assertion `file' failed");
}
