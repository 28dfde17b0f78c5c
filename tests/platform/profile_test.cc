// Profile files: what a reader gets for every form of line, what a writer leaves in the file, and
// that both hold between threads and processes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "call_counter.h"
#include "platform/os/profile.h"
#include "support/failing_allocator.h"
#include "support/faults.h"
#include "support/temp_spool.h"
#include "support/two_processes.h"

namespace qob::os {
namespace {

using testing::Failing;
using testing::InChildren;
using testing::TempSpool;
using testing::WithoutPrivileges;

constexpr char kMissing[] = "<fall-back>";

class Profile : public ::testing::Test {
 protected:
  std::string Get(const char* section, const char* key, unsigned size = 256) const {
    std::string buffer(size, '#');
    buffer.resize(ReadProfile(section, key, kMissing, buffer.data(), size, "test.ini"));
    return buffer;
  }
  // The first `size` bytes of a larger buffer after a read with that size.
  std::string Raw(const char* section, const char* key, const char* fallback, unsigned size,
                  unsigned* count) const {
    std::string buffer(size + 4, '#');
    *count = ReadProfile(section, key, fallback, buffer.data(), size, "test.ini");
    return buffer;
  }
  void Set(std::string_view text) const { TempSpool::Write(path(), text); }
  std::string text() const { return TempSpool::Read(path()); }
  std::string path() const { return spool_.config() + "/test.ini"; }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(spool_.config())) {
      if (entry.path().filename() != "twmta.ini") names.push_back(entry.path().filename());
    }
    return names;
  }

  TempSpool spool_;
};

struct ReadCase {
  const char* name;
  std::string_view text;
  const char* expected;
};

constexpr ReadCase kReadCases[] = {
    {"plain", "[S]\nk=v\n", "v"},
    {"lines end at CR LF", "[S]\r\nk=v\r\n", "v"},
    {"lines end at CR", "[S]\rk=v\r", "v"},
    {"the last line needs no end", "[S]\nk=v", "v"},
    {"a byte order mark is skipped", "\xEF\xBB\xBF[S]\nk=v\n", "v"},
    {"white space before a line is skipped", " \t[S]\n\t \v\fk=v\n", "v"},
    {"blanks and tabs around key and value do not count", "[S]\nk \t = \t v \t\n", "v"},
    {"blanks inside a value stay", "[S]\nk=a  b\tc\n", "a  b\tc"},
    {"other white space belongs to the value", "[S]\nk=\vv\f\n", "\vv\f"},
    {"a section ends at its first bracket", "[S]]\nk=v\n", "v"},
    {"text behind the bracket is ignored", "[S]k=1\nk=v\n", "v"},
    {"blanks inside the brackets do not count", "[ S\t]\nk=v\n", "v"},
    {"an open bracket is no section", "[S\nk=v\n", kMissing},
    {"an open bracket may begin a key", "[T]\n[S\n[S]\n[x=1\nk=v\n", "v"},
    {"case does not count", "[s]\nK=v\n", "v"},
    {"the first of two keys counts", "[S]\nK=v\nk=w\n", "v"},
    {"only the first section of a name counts", "[S]\na=1\n[s]\nk=v\n", kMissing},
    {"entries before the first section belong to none", "k=w\n[S]\nk=v\n", "v"},
    {"another section's key does not count", "[T]\nk=v\n[S]\n", kMissing},
    {"a semicolon at the start is a comment", "[S]\n;k=w\n ;k=x\nk=v\n", "v"},
    {"a semicolon inside is not", "[S]\nk=v ; w\n", "v ; w"},
    {"a number sign is not", "[S]\n#k=w\nk=v\n", "v"},
    {"a line without '=' is no key", "[S]\nk\nk=v\n", "v"},
    {"the key ends at the first '='", "[S]\nk=a=b\n", "a=b"},
    {"an empty value is not the fall-back", "[S]\nk=\n", ""},
    {"a blank value is empty", "[S]\nk= \t \n", ""},
    {"one pair of double quotes goes", "[S]\nk=\" v \"\n", " v "},
    {"one pair of single quotes goes", "[S]\nk= ' v ' \n", " v "},
    {"only one pair goes", "[S]\nk=\"'v'\"\n", "'v'"},
    {"unlike quotes stay", "[S]\nk=\"v'\n", "\"v'"},
    {"a single quote character stays", "[S]\nk=\"\n", "\""},
    {"a pair around nothing goes", "[S]\nk=\"\"\n", ""},
    {"quotes inside stay", "[S]\nk=\"a\"b\"\n", "a\"b"},
    {"8-bit bytes are bytes", "[S]\nk=\xE4\x80\xFF\n", "\xE4\x80\xFF"},
    {"a control-Z does not end the file", "[S]\n\x1A\nk=v\n", "v"},
    {"a backslash is a byte like others", "[S]\nk=C:\\dir\\\n", "C:\\dir\\"},
    {"an empty file has no keys", "", kMissing},
    {"blank lines only", "\n\r\n\r", kMissing},
};

TEST_F(Profile, ReadsEveryFormOfLine) {
  for (const ReadCase& c : kReadCases) {
    SCOPED_TRACE(c.name);
    Set(c.text);
    EXPECT_EQ(Get("S", "k"), c.expected);
  }
}

TEST_F(Profile, StopsAtANulInsideAValueAsEveryCopyOfATextDoes) {
  Set(std::string_view("[S]\nk=a\0b\nx=y\n", 14));
  unsigned count = 0;
  EXPECT_EQ(Raw("S", "k", "", 16, &count).substr(0, 4), std::string_view("a\0b\0", 4));
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(Get("S", "x"), "y");
}

TEST_F(Profile, TrimsTheNamesItIsAskedFor) {
  Set("[S]\nk=v\n");
  EXPECT_EQ(Get(" s ", "\tK "), "v");
  EXPECT_EQ(Get("S", ""), kMissing);
  EXPECT_EQ(Get("", "k"), kMissing);
  EXPECT_EQ(Get("S", ";k"), kMissing);
}

TEST_F(Profile, CutsAValueToTheBuffer) {
  Set("[S]\nk=0123456789\n");
  for (unsigned size = 1; size <= 14; ++size) {
    unsigned count = 0;
    const std::string buffer = Raw("S", "k", "", size, &count);
    const unsigned expected = std::min(size - 1, 10u);
    EXPECT_EQ(count, expected) << size;
    EXPECT_EQ(buffer.substr(0, expected), std::string("0123456789").substr(0, expected));
    EXPECT_EQ(buffer[expected], '\0');
    EXPECT_EQ(buffer.substr(size), "####") << "nothing is written behind the buffer";
  }
}

TEST_F(Profile, LeavesABufferOfNoSizeAlone) {
  Set("[S]\nk=v\n");
  unsigned count = 9;
  EXPECT_EQ(Raw("S", "k", "", 0, &count), "####");
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(ReadProfile("S", "k", "", nullptr, 10, "test.ini"), 0u);
}

TEST_F(Profile, CutsAndStripsTheFallBack) {
  unsigned count = 0;
  EXPECT_EQ(Raw("S", "k", "a b  ", 10, &count).substr(0, 4), std::string_view("a b\0", 4));
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(Raw("S", "k", "0123456789", 5, &count).substr(0, 5), std::string_view("0123\0", 5));
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(Raw("S", "k", "  ", 5, &count)[0], '\0');
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Raw("S", "k", nullptr, 5, &count)[0], '\0');
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Raw("S", "k", "\"q\"", 10, &count).substr(0, 4), std::string_view("\"q\"\0", 4));
}

TEST_F(Profile, ListsKeysAndSections) {
  Set("x=1\n[S]\n;c\na=1\nnovalue\n=2\nB=3\na=4\n[]\n[T]\n[S]\nc=5\n");
  EXPECT_EQ(Get("s", nullptr), std::string_view("a\0B\0a\0", 6));
  EXPECT_EQ(Get(nullptr, nullptr), std::string_view("S\0T\0S\0", 6));
  EXPECT_EQ(Get(nullptr, "k"), std::string_view("S\0T\0S\0", 6));
  EXPECT_EQ(Get("T", nullptr), kMissing);
  EXPECT_EQ(Get("U", nullptr), kMissing);
}

TEST_F(Profile, EndsACutListWithTwoNuls) {
  Set("[S]\nab=1\ncd=2\nef=3\n");
  struct {
    unsigned size;
    unsigned count;
    std::string bytes;
  } const cases[] = {
      {1, 0, {"\0", 1}},
      {2, 0, {"\0\0", 2}},
      {3, 1, {"a\0\0", 3}},
      {4, 2, {"ab\0\0", 4}},
      {6, 4, {"ab\0c\0\0", 6}},
      {9, 7, {"ab\0cd\0e\0\0", 9}},
      {10, 9, {"ab\0cd\0ef\0\0", 10}},
      {11, 9, {"ab\0cd\0ef\0\0", 10}},
  };
  for (const auto& c : cases) {
    unsigned count = 99;
    const std::string buffer = Raw("S", nullptr, "", c.size, &count);
    EXPECT_EQ(count, c.count) << c.size;
    EXPECT_EQ(buffer.substr(0, c.bytes.size()), c.bytes) << c.size;
    EXPECT_EQ(buffer.substr(c.size), "####") << c.size;
  }
}

TEST_F(Profile, KeepsKeysApartThatDifferInCaseOnly) {
  const auto exact = [](const char* key, const char* other) {
    char buffer[16];
    ReadProfileExact("S", key, other, "none", buffer, sizeof buffer, "test.ini");
    return std::string(buffer);
  };
  Set("[S]\nBounceTo=1\nbounceTo=2\n");
  EXPECT_EQ(exact("BounceTo", "bounceTo"), "1");
  EXPECT_EQ(exact("bounceTo", "BounceTo"), "2");
  Set("[S]\nBounceTo=1\n");
  EXPECT_EQ(exact("BounceTo", "bounceTo"), "1");
  EXPECT_EQ(exact("bounceTo", "BounceTo"), "none");
  Set("[S]\nBOUNCETO=3\nBounceTo=1\n");
  EXPECT_EQ(exact("BounceTo", "bounceTo"), "1");
  EXPECT_EQ(exact("bounceTo", "BounceTo"), "3");
  Set("[S]\nbounceto=4\n");
  EXPECT_EQ(exact("BounceTo", "bounceTo"), "4");
  EXPECT_EQ(exact("bounceTo", "BounceTo"), "4");
  EXPECT_EQ(Get("S", "BounceTo"), "4");
}

TEST_F(Profile, TakesANameWithASeparatorAsItStands) {
  const std::string other = spool_.File("other.ini", "[S]\nk=other\n");
  Set("[S]\nk=config\n");
  char buffer[32];
  ReadProfile("S", "k", "", buffer, sizeof buffer, other.c_str());
  EXPECT_STREQ(buffer, "other");
  std::string backslashes = other;
  std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
  ReadProfile("S", "k", "", buffer, sizeof buffer, backslashes.c_str());
  EXPECT_STREQ(buffer, "other");
  EXPECT_EQ(ProfilePath("test.ini"), path());
  EXPECT_EQ(ProfilePath(".\\x.ini"), "./x.ini");
}

TEST_F(Profile, LooksInTheSystemDirectoryWithoutTheVariable) {
  unsetenv("QOB_CONFIG_DIR");
  EXPECT_EQ(ProfilePath("test.ini"), "/etc/qob3xapi/test.ini");
  setenv("QOB_CONFIG_DIR", "", 1);
  EXPECT_EQ(ProfilePath("test.ini"), "/etc/qob3xapi/test.ini");
}

TEST_F(Profile, IgnoresTheVariableWithAnotherUsersRights) {
  const std::string program = spool_.path("program");
  std::filesystem::copy_file(PROFILE_PATH_PROGRAM, program);
  const auto output = [&] {
    std::string text;
    FILE* const pipe = popen(program.c_str(), "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
      text.push_back(static_cast<char>(c));
    return pclose(pipe) == 0 ? text : "failed";
  };
  ASSERT_EQ(output(), spool_.config() + "/x.ini\n");
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  if (geteuid() != 0 || chown(program.c_str(), 65534, 65534) != 0 ||
      chmod(program.c_str(), 04755) != 0) {
    GTEST_SKIP() << "ONLY ROOT CAN GIVE A PROGRAM ANOTHER USER'S RIGHTS";
  }
  EXPECT_EQ(output(), "/etc/qob3xapi/x.ini\n");
}

TEST_F(Profile, GivesTheFallBackWhateverStandsInPlaceOfTheFile) {
  EXPECT_EQ(Get("S", "k"), kMissing);
  std::filesystem::create_directory(path());
  EXPECT_EQ(Get("S", "k"), kMissing);
  std::filesystem::remove(path());
  ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
  EXPECT_EQ(Get("S", "k"), kMissing) << "and does not wait for a writer";
  std::filesystem::remove(path());
  Set("");
  ASSERT_EQ(truncate(path().c_str(), off_t{65} << 20), 0);
  EXPECT_EQ(Get("S", "k"), kMissing) << "a file beyond 64 MiB is no profile";
  char buffer[32];
  ReadProfile("S", "k", "x", buffer, sizeof buffer, nullptr);
  EXPECT_STREQ(buffer, "x");
  ReadProfile("S", "k", "x", buffer, sizeof buffer, "");
  EXPECT_STREQ(buffer, "x");
}

TEST_F(Profile, FindsEveryKeyOfALargeFile) {
  std::string all;
  for (int s = 0; s < 50; ++s) {
    all += "[section" + std::to_string(s) + "]\n";
    for (int k = 0; k < 200; ++k) {
      all += "key" + std::to_string(k) + "=" + std::to_string(s * 1000 + k) + "\n";
    }
  }
  Set(all);
  const ProfileReader reader("test.ini");
  char buffer[16];
  for (int s = 0; s < 50; ++s) {
    for (int k = 0; k < 200; ++k) {
      reader.Read(("SECTION" + std::to_string(s)).c_str(), ("Key" + std::to_string(k)).c_str(), "",
                  buffer, sizeof buffer);
      ASSERT_EQ(buffer, std::to_string(s * 1000 + k));
    }
  }
}

TEST_F(Profile, SeesARewriteOfTheSameSizeWithinTheSameTick) {
  for (int i = 0; i < 1000; ++i) {
    Set(i % 2 == 0 ? "[S]\nk=even\n" : "[S]\nk=odd!\n");
    ASSERT_EQ(Get("S", "k"), i % 2 == 0 ? "even" : "odd!") << i;
  }
}

TEST_F(Profile, AsksOnceWhetherAStillFileChangedAndSeesWhenItDid) {
  Set("[S]\nk=one\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(2200));
  EXPECT_EQ(Get("S", "k"), "one");
  {
    const testing::CallCounter calls;
    EXPECT_EQ(Get("S", "k"), "one");
    EXPECT_EQ(calls.of(Call::kStat), 1);
    EXPECT_EQ(calls.all(), 1);
  }
  // Same size, and the modification time set back.
  struct stat old {};
  ASSERT_EQ(stat(path().c_str(), &old), 0);
  Set("[S]\nk=two\n");
  const timespec times[2] = {old.st_atim, old.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, path().c_str(), times, 0), 0);
  EXPECT_EQ(Get("S", "k"), "two");
}

TEST_F(Profile, OwnWritesAreSeenAtOnce) {
  Set("[S]\nk=one\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(2200));
  EXPECT_EQ(Get("S", "k"), "one");
  ASSERT_TRUE(WriteProfile("S", "k", "two", "test.ini"));
  EXPECT_EQ(Get("S", "k"), "two");
}

struct WriteCase {
  const char* name;
  const char* text;  // null: no file
  const char* section;
  const char* key;
  const char* value;
  const char* expected;
};

constexpr WriteCase kWriteCases[] = {
    {"replaces", "[S]\nk=1\nx=2\n", "S", "k", "9", "[S]\nk=9\nx=2\n"},
    {"replaces in any case, the file's spelling stays", "[s]\nKey=1\n", "S", "kEY", "9",
     "[s]\nKey=9\n"},
    {"keeps what stands before the value", "[S]\n  k \t=  1  \n", "S", "k", "9",
     "[S]\n  k \t=  9\n"},
    {"writes a value's own blanks once", "[S]\nk = 1\n", "S", "k", "  9", "[S]\nk =  9\n"},
    {"replaces the first of two", "[S]\nk=1\nk=2\n", "S", "k", "9", "[S]\nk=9\nk=2\n"},
    {"replaces in the first section of the name", "[S]\nk=1\n[S]\nk=2\n", "S", "k", "9",
     "[S]\nk=9\n[S]\nk=2\n"},
    {"replaces an empty value", "[S]\nk=\n", "S", "k", "9", "[S]\nk=9\n"},
    {"does not take a comment for the key", "[S]\n;k=1\n", "S", "k", "9", "[S]\n;k=1\nk=9\n"},
    {"does not take a line without '=' for the key", "[S]\nk\n", "S", "k", "9", "[S]\nk\nk=9\n"},
    {"appends at the section's end, before blank lines", "[S]\nx=1\n\n[T]\nk=2\n", "S", "k", "9",
     "[S]\nx=1\nk=9\n\n[T]\nk=2\n"},
    {"appends to an empty section", "[S]\n[T]\n", "S", "k", "9", "[S]\nk=9\n[T]\n"},
    {"appends behind a line without end", "[S]\nx=1", "S", "k", "9", "[S]\nx=1\nk=9\n"},
    {"appends a section at the end", "[T]\nx=1\n", "S", "k", "9", "[T]\nx=1\n[S]\nk=9\n"},
    {"appends a section behind a line without end", "[T]\nx=1", "S", "k", "9",
     "[T]\nx=1\n[S]\nk=9\n"},
    {"makes the file", nullptr, "S", "k", "9", "[S]\nk=9\n"},
    {"fills an empty file", "", "S", "k", "9", "[S]\nk=9\n"},
    {"keeps CR LF", "[S]\r\nx=1\r\n", "S", "k", "9", "[S]\r\nx=1\r\nk=9\r\n"},
    {"keeps CR", "[S]\rx=1\r", "T", "k", "9", "[S]\rx=1\r[T]\rk=9\r"},
    {"keeps a byte order mark", "\xEF\xBB\xBF[S]\nk=1\n", "S", "k", "9", "\xEF\xBB\xBF[S]\nk=9\n"},
    {"fills a file that is a byte order mark", "\xEF\xBB\xBF", "S", "k", "9",
     "\xEF\xBB\xBF[S]\nk=9\n"},
    {"keeps comments and order", "; a\n[S]\n; b\nx=1\n; c\nk=1\n; d\n", "S", "k", "9",
     "; a\n[S]\n; b\nx=1\n; c\nk=9\n; d\n"},
    {"writes the value as it stands", "[S]\n", "S", "k", " \"a\" ;b=c", "[S]\nk= \"a\" ;b=c\n"},
    {"leaves no blanks before an empty value", "[S]\nk = 1\n", "S", "k", "", "[S]\nk =\n"},
    {"writes an empty value", "[S]\nk=1\n", "S", "k", "", "[S]\nk=\n"},
    {"removes the first matching key", "[S]\nk=1\nx=2\nk=3\n", "S", "K", nullptr,
     "[S]\nx=2\nk=3\n"},
    {"removes the last line", "[S]\nx=1\nk=2", "S", "k", nullptr, "[S]\nx=1\n"},
    {"removes no key of another section", "[T]\nk=1\n", "S", "k", nullptr, "[T]\nk=1\n"},
    {"removes a section", "a=0\n[S]\nk=1\n;c\n\n[T]\nx=2\n", "S", nullptr, "ignored",
     "a=0\n[T]\nx=2\n"},
    {"removes the first section of the name only", "[S]\nk=1\n[S]\nk=2\n", "s", nullptr, nullptr,
     "[S]\nk=2\n"},
    {"removes the last section", "[T]\nx=2\n[S]\nk=1", "S", nullptr, nullptr, "[T]\nx=2\n"},
    {"leaves a file without that section alone", "[T]\nx=2", "S", nullptr, nullptr, "[T]\nx=2"},
    {"leaves entries before the first section alone", "k=1\n[S]\nk=2\n", "S", "k", "9",
     "k=1\n[S]\nk=9\n"},
};

TEST_F(Profile, WritesTheFewestBytes) {
  for (const WriteCase& c : kWriteCases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove(path());
    if (c.text != nullptr) Set(c.text);
    EXPECT_TRUE(WriteProfile(c.section, c.key, c.value, "test.ini"));
    EXPECT_EQ(text(), c.expected);
    EXPECT_EQ(Names(), std::vector<std::string>{"test.ini"}) << "nothing else is left";
  }
}

TEST_F(Profile, RemovingFromAMissingFileMakesNone) {
  EXPECT_TRUE(WriteProfile("S", "k", nullptr, "test.ini"));
  EXPECT_TRUE(WriteProfile("S", nullptr, nullptr, "test.ini"));
  EXPECT_TRUE(Names().empty());
}

TEST_F(Profile, RefusesLineEndsInWhatIsWritten) {
  Set("[S]\nk=1\n");
  EXPECT_FALSE(WriteProfile("S\nT", "k", "9", "test.ini"));
  EXPECT_FALSE(WriteProfile("S", "k\n", "9", "test.ini"));
  EXPECT_FALSE(WriteProfile("S", "k", "9\nx=1", "test.ini"));
  EXPECT_FALSE(WriteProfile("S", "k", "9\rx=1", "test.ini"));
  EXPECT_FALSE(WriteProfile(nullptr, "k", "9", "test.ini"));
  EXPECT_FALSE(WriteProfile("S", "k", "9", nullptr));
  EXPECT_EQ(text(), "[S]\nk=1\n");
}

TEST_F(Profile, WritesThroughALinkAndKeepsModeAndOwner) {
  const std::string real = spool_.File("real.ini", "[S]\nk=1\n");
  ASSERT_EQ(chmod(real.c_str(), 0640), 0);
  const bool root = geteuid() == 0;
  if (root) {
    ASSERT_EQ(chown(real.c_str(), 65534, 65533), 0);
  }
  std::filesystem::create_symlink(real, path());
  ASSERT_TRUE(WriteProfile("S", "k", "2", "test.ini"));
  EXPECT_TRUE(std::filesystem::is_symlink(path()));
  EXPECT_EQ(TempSpool::Read(real), "[S]\nk=2\n");
  struct stat status {};
  ASSERT_EQ(stat(real.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_EQ(status.st_uid, root ? 65534u : geteuid());
  EXPECT_EQ(status.st_gid, root ? 65533u : getegid());
}

TEST_F(Profile, ANewFileCanBeReadByEveryProgram) {
  const int result = testing::InChild([&] {
    umask(022);
    return WriteProfile("S", "k", "1", "test.ini") ? 0 : 1;
  });
  ASSERT_EQ(result, 0);
  struct stat status {};
  ASSERT_EQ(stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
}

TEST_F(Profile, RefusesToTakeAFileFromItsOwner) {
  Set("[S]\nk=1\n");
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool_.config().c_str(), 0777), 0);
  ASSERT_EQ(chmod(path().c_str(), 0666), 0);
  const int result = WithoutPrivileges([&] {
    if (geteuid() != 65534) return testing::kNotPossible;
    return WriteProfile("S", "k", "2", "test.ini") ? 1 : 0;
  });
  EXPECT_TRUE(result == 0 || result == testing::kNotPossible) << result;
  EXPECT_EQ(text(), "[S]\nk=1\n");
  EXPECT_EQ(Names(), std::vector<std::string>{"test.ini"});
}

TEST_F(Profile, DoesNotWriteThroughALinkThatLeadsNowhere) {
  std::filesystem::create_symlink(spool_.path("nowhere"), path());
  EXPECT_FALSE(WriteProfile("S", "k", "2", "test.ini"));
  EXPECT_FALSE(std::filesystem::exists(spool_.path("nowhere")));
}

TEST_F(Profile, IsRefusedWhereTheSystemRefuses) {
  Set("[S]\nk=1\n");
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  ASSERT_EQ(chmod(spool_.config().c_str(), 0777), 0);
  ASSERT_EQ(chmod(path().c_str(), 0400), 0);
  const int result = WithoutPrivileges([&] {
    if (geteuid() != 65534) return testing::kNotPossible;
    char buffer[32];
    ReadProfile("S", "k", "none", buffer, sizeof buffer, "test.ini");
    const bool read = std::string(buffer) != "none";
    const bool wrote = WriteProfile("S", "k", "2", "test.ini");
    return (read ? 1 : 0) + (wrote ? 2 : 0);
  });
  EXPECT_TRUE(result == 0 || result == testing::kNotPossible) << result;
  EXPECT_EQ(text(), "[S]\nk=1\n");
}

TEST_F(Profile, KeepsTheOldFileWhenAnyCallFails) {
  for (const Call call : {Call::kOpen, Call::kStat, Call::kRead, Call::kWrite, Call::kFlush,
                          Call::kRename, Call::kClose, Call::kLock, Call::kAccess, Call::kMode}) {
    testing::FailEachCall(
        call,
        [&] {
          Set("[S]\nk=1\n");
          if (WriteProfile("S", "k", "2", "test.ini")) Set("[S]\nk=2\n");
        },
        [&](bool) {
          const std::string now = text();
          ASSERT_TRUE(now == "[S]\nk=1\n" || now == "[S]\nk=2\n") << now;
          // A lock file that was made but never held may be another's by now, so it stays.
          std::filesystem::remove(path() + ".lock");
          ASSERT_EQ(Names(), std::vector<std::string>{"test.ini"});
        },
        EIO, 100);
  }
}

TEST_F(Profile, AFullDiskLeavesTheOldFile) {
  Set("[S]\nk=1\n");
  {
    const testing::FailCalls full(Call::kWrite, 1, Failing::kFromThenOn, ENOSPC, "");
    EXPECT_FALSE(WriteProfile("S", "k", "2", "test.ini"));
    EXPECT_TRUE(full.triggered());
  }
  EXPECT_EQ(text(), "[S]\nk=1\n");
  EXPECT_EQ(Names(), std::vector<std::string>{"test.ini"});
}

TEST_F(Profile, GivesTheFallBackWhenAnyCallOrAllocationFails) {
  Set("[S]\nk=1\n");
  char buffer[32] = "";
  const auto read = [&] { ReadProfile("S", "k", "none", buffer, sizeof buffer, "test.ini"); };
  for (const Call call : {Call::kOpen, Call::kStat, Call::kRead}) {
    testing::FailEachCall(call, read,
                          [&](bool failed) { ASSERT_STREQ(buffer, failed ? "none" : "1"); });
  }
  testing::FailEachAllocation(read,
                              [&](bool failed) { ASSERT_STREQ(buffer, failed ? "none" : "1"); });
}

TEST_F(Profile, ReadsOnAfterASignal) {
  Set("[S]\nk=1\n");
  for (const Call call : {Call::kOpen, Call::kStat, Call::kRead}) {
    const testing::FailCalls interrupted(call, 1, Failing::kOnce, EINTR);
    EXPECT_EQ(Get("S", "k"), "1");
    EXPECT_TRUE(interrupted.triggered());
  }
}

TEST_F(Profile, LosesNoWriteOfTwoProcesses) {
  constexpr int kWrites = 60;
  const auto keys = [](int process, int i) {
    return "key" + std::to_string(process) + "_" + std::to_string(i);
  };
  const std::vector<int> results = InChildren(2, [&](int process) {
    for (int i = 0; i < kWrites; ++i) {
      if (!WriteProfile("S", keys(process, i).c_str(), "1", "test.ini")) return 1;
    }
    return 0;
  });
  EXPECT_EQ(results, (std::vector<int>{0, 0}));
  for (int process = 0; process < 2; ++process) {
    for (int i = 0; i < kWrites; ++i) EXPECT_EQ(Get("S", keys(process, i).c_str()), "1");
  }
}

TEST_F(Profile, ReadersNeverSeeAHalfWrittenFile) {
  Set("[S]\nk=" + std::string(200, 'a') + "\n");
  std::atomic<bool> stop{false};
  std::atomic<int> torn{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      while (!stop) {
        const std::string value = Get("S", "k");
        if (value != std::string(200, 'a') && value != std::string(100, 'b')) ++torn;
      }
    });
  }
  for (int i = 0; i < 50; ++i) {
    EXPECT_TRUE(WriteProfile("S", "k", std::string(100, 'b').c_str(), "test.ini"));
    EXPECT_TRUE(WriteProfile("S", "k", std::string(200, 'a').c_str(), "test.ini"));
  }
  stop = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace qob::os
