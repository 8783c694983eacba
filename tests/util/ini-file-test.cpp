#include "util/ini-file.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/files.h"
#include "support/temp-dir.h"

using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

// The sections and keys of an INI as one line per entry, "[name]" for a
// section and "name=value" or "name" (no value) for a key.
std::string outline(const TIni& ini)
{
    std::string out;
    for (int i = 0; i < ini.GetSectionsNum(); ++i) {
        out += "[" + std::string(ini.GetSection(i)->Name) + "]\n";
        for (int k = 0; k < ini.GetSection(i)->GetKeysNum(); ++k) {
            const TIniKey* key = ini.GetSection(i)->GetKey(k);
            out += key->Name;
            if (key->Value != nullptr)
                out += "=" + std::string(key->Value);
            out += "\n";
        }
    }
    return out;
}

std::string written(const TIni& ini)
{
    TString text;
    ini.ToString(text);
    return std::string(text.data, static_cast<std::size_t>(text.length));
}

} // namespace

TEST(IniKeyTest, LineSplitsAtTheFirstEquals)
{
    const TIniKey equation("a=b=c");
    EXPECT_STREQ(equation.Name, "a");
    EXPECT_STREQ(equation.Value, "b=c");
    const TIniKey unnamed("=x");
    EXPECT_STREQ(unnamed.Name, "");
    EXPECT_STREQ(unnamed.Value, "x");
    const TIniKey bare(";comment-like");
    EXPECT_STREQ(bare.Name, ";comment-like");
    EXPECT_EQ(bare.Value, nullptr);
    EXPECT_STREQ(TIniKey("k=v  ").Value, "v  ");
    EXPECT_STREQ(TIniKey("k=").Value, "");
}

TEST(IniKeyTest, TypedValues)
{
    TIniKey key("k", "12ab");
    EXPECT_EQ(key.GetInt(-1), 12);
    for (const char* value : {static_cast<const char*>(nullptr), "", "ab", "  "}) {
        key.SetString(value);
        EXPECT_EQ(key.GetInt(-1), -1) << (value ? value : "null");
        EXPECT_DOUBLE_EQ(key.GetDouble(-1.5), -1.5);
    }
    EXPECT_STREQ(key.GetString("def"), "  ");
    key.SetString("");
    EXPECT_STREQ(key.GetString("def"), "def");

    key.SetDouble(0.123456789);
    EXPECT_STREQ(key.Value, "0.123457");
    key.SetDouble(-65.5);
    EXPECT_DOUBLE_EQ(key.GetDouble(0), -65.5);
    key.SetInt(-40);
    EXPECT_STREQ(key.GetString("def"), "-40");
    key.SetString(key.Value);
    EXPECT_STREQ(key.Value, "-40");
}

TEST(IniSectionTest, ReadsCreateKeysOnlyWhenAsked)
{
    TIniSection section("NON");
    EXPECT_EQ(section.GetInt("MinPin", 10), 10);
    EXPECT_EQ(section.GetKeysNum(), 0);
    EXPECT_EQ(section.GetInt("MinPin", 10, true), 10);
    ASSERT_EQ(section.GetKeysNum(), 1);
    EXPECT_EQ(section.GetKey(0)->Value, nullptr);

    section.SetDouble("THLoss", 0.05);
    section.SetInt("MinPin", 12);
    section.SetInt1("MinPin", 99);
    section.SetInt1("polar", 1);
    EXPECT_EQ(section.GetInt("MinPin", 0), 12);
    EXPECT_EQ(section.GetInt("polar", 0), 1);
    EXPECT_DOUBLE_EQ(section.GetDouble("THLoss", 0), 0.05);
    EXPECT_STREQ(section.GetString("minpin", "absent"), "absent");  // case counts

    section.AddKey("MinPin", "5");
    int index = -1;
    EXPECT_STREQ(section.FindKey("MinPin", index)->Value, "12");
    EXPECT_EQ(index, 0);
    EXPECT_EQ(section.FindKey("none", index), nullptr);
    EXPECT_EQ(index, -1);
    section.DelKey("MinPin");
    EXPECT_STREQ(section.FindKey("MinPin", index)->Value, "5");
    section.DelKey(42);
    EXPECT_EQ(section.GetKeysNum(), 3);
    EXPECT_EQ(section.GetKey(3), nullptr);
    section.Clear();
    EXPECT_EQ(section.GetKeysNum(), 0);
}

TEST(IniTest, TypedAccessCreatesSectionAndKey)
{
    TIni ini;
    EXPECT_DOUBLE_EQ(ini.GetDouble("SM1550", "THRef", -60.0), -60.0);
    EXPECT_EQ(outline(ini), "[SM1550]\nTHRef\n");
    ini.SetString("SM1550", "THRef", "-55");
    EXPECT_EQ(ini.GetInt("SM1550", "THRef", 0), -55);
    EXPECT_STREQ(ini.GetString("SM1550", "THRef", ""), "-55");

    int index = -1;
    EXPECT_EQ(ini.FindKey("missing", "THRef", index), nullptr);
    EXPECT_EQ(index, -1);
    ini.AddKey("B", "k", nullptr);
    ini.DelKey("SM1550", "THRef");
    EXPECT_EQ(outline(ini), "[SM1550]\n[B]\nk\n");
    ini.DelSection("SM1550");
    ini.DelSection(5);
    EXPECT_EQ(outline(ini), "[B]\nk\n");
}

TEST(IniTest, ReadTakesBothLineEndsAndKeepsEveryHeader)
{
    TempDir dir;
    const std::string path = dir.file("ThresH.ini");
    writeFile(path, "lead=1\r\n\r\n[NON]\nTHLoss=0.05\r\n;x\n[x\r\nk=v\n[NON]\nMinPin=7\n");
    TIni ini(path.c_str());
    ASSERT_EQ(ini.Read(), 0);
    EXPECT_EQ(outline(ini), "[]\nlead=1\n[NON]\nTHLoss=0.05\n;x\n[]\nk=v\n[NON]\nMinPin=7\n");
    EXPECT_STREQ(ini.GetFileName(), path.c_str());

    EXPECT_EQ(ini.Read(dir.file("absent.ini").c_str()), 1);
    EXPECT_EQ(ini.GetSectionsNum(), 4);
}

TEST(IniTest, LongValuesSurviveWriteAndRead)
{
    // A whole file embedded as one base64 value makes lines of many kilobytes.
    TempDir dir;
    const std::string path = dir.file("long.ini");
    const std::string value(100000, 'v');
    TIni out;
    out.SetString("FSContents", "CompressedFile", value.c_str());
    out.SetInt("FSContents", "next", 1);
    ASSERT_EQ(out.Write(path.c_str()), 0);
    TIni in;
    ASSERT_EQ(in.Read(path.c_str()), 0);
    int index = -1;
    ASSERT_NE(in.FindSection("FSContents", index), nullptr);
    EXPECT_EQ(in.GetSection(index)->GetKeysNum(), 2);
    EXPECT_TRUE(std::string(in.GetString("FSContents", "CompressedFile", "")) == value) << "the long value was cut";
    EXPECT_EQ(in.GetInt("FSContents", "next", 0), 1);
}

TEST(IniTest, WriteFormatAndAnswers)
{
    TempDir dir;
    TIni ini;
    ini.AddSection("")->AddKey("version=3");
    ini.AddSection("NON")->AddKey("THLoss", "0.05");
    ini.GetSection(1)->AddKey("bare");
    ini.AddSection("empty");
    ini.AddSection("Alpha")->AddKey("=x");

    const std::string full = "version=3\r\n\r\n[NON]\r\nTHLoss=0.05\r\nbare\r\n\r\n[empty]\r\n\r\n[Alpha]\r\n=x\r\n\r\n";
    const std::string path = dir.file("out.ini");
    // An existing file, read-only included, is made writable for its owner.
    writeFile(path, "old");
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    ASSERT_EQ(ini.Write(path.c_str()), 0);
    EXPECT_EQ(readFile(path), full);
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);

    ini.WriteEmptySections = false;
    EXPECT_EQ(written(ini), "version=3\r\n\r\n[NON]\r\nTHLoss=0.05\r\nbare\r\n\r\n[Alpha]\r\n=x\r\n\r\n");

    TIni back;
    ASSERT_EQ(back.Read(path.c_str()), 0);
    EXPECT_EQ(outline(back), outline(ini));
    back.FileName = path.c_str();
    ASSERT_EQ(back.Write(), 0);
    EXPECT_EQ(readFile(path), full);

    EXPECT_EQ(ini.Write(dir.file("no/such/folder.ini").c_str()), 1);
}

TEST(IniTest, WriteAnswersFourWhenThePathIsNotSearchable)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "permissions do not bind root";
    TempDir dir;
    const std::string locked = dir.file("locked");
    ASSERT_EQ(::mkdir(locked.c_str(), 0700), 0);
    writeFile(locked + "/settings.ini", "a=1\r\n");
    ASSERT_EQ(::chmod(locked.c_str(), 0600), 0);
    TIni ini;
    ini.AddSection("S")->AddKey("a=2");
    EXPECT_EQ(ini.Write((locked + "/settings.ini").c_str()), 4);
    ASSERT_EQ(::chmod(locked.c_str(), 0700), 0);
    EXPECT_EQ(readFile(locked + "/settings.ini"), "a=1\r\n");
}

TEST(IniTest, FromStringMergesHeadersAndCutsTwoCharacterLineEnds)
{
    TIni ini;
    ini.FromString("x=1\r\n[A]\r\nk=v\r\n[B]\r\nb\r\n[A]\r\nk2=v2\r\n[x\r\ny=2\r\ntail=end");
    EXPECT_EQ(outline(ini), "[]\nx=1\ny=2\ntail=end\n[A]\nk=v\nk2=v2\n[B]\nb\n");

    // Text with bare LF ends loses the last character of each line: the
    // header "[S]" becomes "[S", a section of the empty name.
    ini.FromString("[S]\nkey=val\n\nlast=kept");
    EXPECT_EQ(outline(ini), "[]\nkey=va\nlast=kept\n");

    // ToString appends; reading that back is the same structure.
    TString text("prefix;");
    ini.FromString("a=b\r\n[S]\r\nc\r\n");
    ini.ToString(text);
    EXPECT_EQ(text, "prefix;a=b\r\n\r\n[S]\r\nc\r\n\r\n");
    TIni again;
    again.FromString(text.SubString(7, text.length));
    EXPECT_EQ(outline(again), outline(ini));
}

TEST(IniTest, HostileTextNeverOverrunsAnything)
{
    TIni ini;
    std::string text(3, '\n');
    text += std::string(20000, '[');
    text += "\n=\n[\n]\n\r\r\n";
    text.push_back('\0');
    text += "after-nul=1\n";
    ini.FromString(TString(text.c_str(), static_cast<int>(text.size())));
    TIni again;
    again.FromString(TString(written(ini).c_str()));
    EXPECT_EQ(outline(again), outline(ini));
}
