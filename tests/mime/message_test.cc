// The entry point: which reader a message gets, and what happens to files that cannot be read.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <qob3xapi/lineio.h>

#include "mime_support.h"
#include "platform/os/file.h"
#include "support/two_processes.h"

namespace qob::testing {
namespace {

class AnyMessage : public MimeTest {
 protected:
  static constexpr char kBody[] =
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n1\r\n--b--\r\n";
};

TEST_F(AnyMessage, VersionOneGoesToTheMimeReader) {
  EXPECT_EQ(Any("Mime-Version: 1.0\r\n" + std::string(kBody)).count(), 2);
  EXPECT_EQ(Any("MIME-VERSION: 1.0 (comment)\r\n" + std::string(kBody)).count(), 2);
}

TEST_F(AnyMessage, OtherVersionsThatBeginWithOneAreMimeToo) {
  EXPECT_EQ(Any("Mime-Version: 1.5\r\n" + std::string(kBody)).count(), 2);
  EXPECT_EQ(Any("Mime-Version: 1.\r\n" + std::string(kBody)).count(), 2);
}

TEST_F(AnyMessage, OtherVersionsAndNoneGoToThePlainReader) {
  for (const char* line : {"Mime-Version: 2.0\r\n", "Mime-Version: 10\r\n",
                           "Mime-Version: (1.0) 1.0\r\n", "Mime-Version:\r\n", ""}) {
    EXPECT_EQ(Any(line + std::string(kBody)).count(), 1) << line;
  }
}

TEST_F(AnyMessage, FlagsReachTheMimeReader) {
  const std::string text =
      "Mime-Version: 1.0\r\nContent-Type: message/rfc822\r\n\r\nA: b\r\n\r\nx\r\n";
  EXPECT_EQ(Any(text, 1).count(), 2);
  EXPECT_EQ(Any(text, 0).count(), 1);
}

TEST_F(AnyMessage, FailedMimeReadDoesNotFallBack) {
  const Message message = Any("Mime-Version: 1.0\r\nContent-Type: text\r\n\r\nx\r\n");
  EXPECT_EQ(message.count(), -1);
  EXPECT_EQ(message.pool(), nullptr);
}

TEST_F(AnyMessage, MissingNameOrFileIsRefusedWithoutAWord) {
  MimeMessagePool* pool = nullptr;
  EXPECT_EQ(MimeParseMessage(nullptr, 1, &pool), -1);
  EXPECT_EQ(MimeParseMessage("", 1, &pool), -1);
  EXPECT_EQ(MimeParseMessage(spool_.path("missing").c_str(), 1, &pool), -1);
  EXPECT_EQ(MimeParseMessage(spool_.root().c_str(), 1, &pool), -1);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(AnyMessage, NullPoolAddressIsRefused) {
  const std::string path = File("Mime-Version: 1.0\r\n\r\n");
  EXPECT_EQ(MimeParseMessage(path.c_str(), 1, nullptr), -1);
  EXPECT_EQ(ParseMimeMessage(path.c_str(), 1, nullptr), -1);
  EXPECT_EQ(ParseNonMimeMessage(path.c_str(), nullptr), -1);
}

TEST_F(AnyMessage, MimeReaderReportsANameThatIsNotValid) {
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    log_.Clear();
    MimeMessagePool mark{};
    MimeMessagePool* pool = &mark;
    EXPECT_EQ(ParseMimeMessage(name, 1, &pool), -1);
    EXPECT_EQ(pool, nullptr);
    EXPECT_EQ(log_.texts(1), Texts{"ParseMimeMessage: filename not valid."});
  }
}

TEST_F(AnyMessage, MimeReaderReportsAFileThatCannotBeRead) {
  for (const std::string& path : {spool_.path("missing"), spool_.root()}) {
    log_.Clear();
    MimeMessagePool mark{};
    MimeMessagePool* pool = &mark;
    EXPECT_EQ(ParseMimeMessage(path.c_str(), 1, &pool), -1);
    EXPECT_EQ(pool, nullptr);
    EXPECT_EQ(log_.texts(1), Texts{"ParseMimeMessage: file cannot be read."});
  }
}

TEST_F(AnyMessage, FileWithoutReadPermissionCannotBeRead) {
  const std::string path = File("Subject: x\r\n\r\n");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  ASSERT_EQ(chmod(spool_.root().c_str(), 0755), 0);
  const int result = WithoutPrivileges([&] {
    MimeMessagePool* pool = nullptr;
    const bool refused = ParseMimeMessage(path.c_str(), 1, &pool) == -1 &&
                         ParseNonMimeMessage(path.c_str(), &pool) == -1 &&
                         MimeParseMessage(path.c_str(), 1, &pool) == -1 && pool == nullptr;
    return refused && log_.Has(1, "ParseMimeMessage: file cannot be read.") &&
                   log_.Has(1, "ParseNonMimeMessage failed: message file cannot be read.")
               ? 0
               : 1;
  });
  if (result == kNotPossible) GTEST_SKIP() << "root cannot be given up here";
  EXPECT_EQ(result, 0);
}

TEST_F(AnyMessage, FileBeyondTheReachOfPositionsCannotBeRead) {
  const std::string path = File("Subject: x\r\n\r\n");
  ASSERT_EQ(truncate(path.c_str(), 0x80000000), 0);
  MimeMessagePool* pool = nullptr;
  EXPECT_EQ(ParseMimeMessage(path.c_str(), 1, &pool), -1);
  EXPECT_EQ(ParseNonMimeMessage(path.c_str(), &pool), -1);
  EXPECT_EQ(log_.texts(1), (Texts{"ParseMimeMessage: file cannot be read.",
                                  "ParseNonMimeMessage failed: message file cannot be read."}));
}

TEST_F(AnyMessage, FileThatSomebodyWritesIsReadAsMimeButNotAsPlainText) {
  const std::string path = File("Subject: x\r\n\r\n");
  const std::int32_t writer = fileopen(path.c_str(), 1, 1);
  ASSERT_NE(writer, -1);
  MimeMessagePool* pool = nullptr;
  EXPECT_EQ(ParseMimeMessage(path.c_str(), 1, &pool), 1);
  MimeFreeMessage(&pool);
  EXPECT_EQ(ParseNonMimeMessage(path.c_str(), &pool), -1);
  EXPECT_EQ(log_.texts(1),
            (Texts{"CreateFile failed.", "ParseNonMimeMessage failed: fileopen failed."}));
  fileclose(writer);
}

TEST_F(AnyMessage, FileThatNobodyMayShareCannotBeOpened) {
  const std::string path = File("Subject: x\r\n\r\n");
  const auto open =
      os::OpenFile(path, {os::Access::kReadWrite, os::Share::kNone, os::Create::kOpenExisting});
  ASSERT_TRUE(open);
  MimeMessagePool* pool = nullptr;
  EXPECT_EQ(ParseMimeMessage(path.c_str(), 1, &pool), -1);
  EXPECT_TRUE(log_.Has(1, "ParseMimeMessage: fileopen failed."));
  EXPECT_EQ(MimeParseMessage(path.c_str(), 1, &pool), -1);
  os::CloseFile(open.value);
}

TEST_F(AnyMessage, PathMayUseEitherSeparator) {
  std::string path = File("Subject: x\r\n\r\n");
  path[path.rfind('/')] = '\\';
  MimeMessagePool* pool = nullptr;
  ASSERT_EQ(MimeParseMessage(path.c_str(), 1, &pool), 1);
  EXPECT_EQ(std::string(pool->parts[0]->fileName), path);
  MimeFreeMessage(&pool);
}

TEST_F(AnyMessage, TracesItsFilesWhenTheSiteAsks) {
  SetIni("[Debug]\nLogFileIO=TRUE\n");
  const std::string path = File("Subject: x\r\n\r\n");
  MimeMessagePool* pool = nullptr;
  ASSERT_EQ(ParseNonMimeMessage(path.c_str(), &pool), 1);
  MimeFreeMessage(&pool);
  ASSERT_EQ(log_.texts(1).size(), 2u);
  EXPECT_EQ(log_.texts(1)[0].rfind("fileopen: " + path + ", FileHandle #", 0), 0u);
  EXPECT_EQ(log_.texts(1)[1].rfind("fileclose: FileHandle #", 0), 0u);
}

TEST_F(AnyMessage, MessageIsNeverChanged) {
  const std::string bytes = "Mime-Version: 1.0\r\n" + std::string(kBody);
  Any(bytes);
  EXPECT_EQ(TempSpool::Read(spool_.path("message.eml")), bytes);
  EXPECT_TRUE(LeftFiles().empty());
}

TEST(MimeFreeMessage, TakesNullAndEmptyPools) {
  MimeFreeMessage(nullptr);
  MimeMessagePool* pool = nullptr;
  MimeFreeMessage(&pool);
  EXPECT_EQ(pool, nullptr);
  pool = static_cast<MimeMessagePool*>(std::calloc(1, sizeof(MimeMessagePool)));
  MimeFreeMessage(&pool);
  EXPECT_EQ(pool, nullptr);
}

TEST(MimeFreeMessage, TakesPoolsWithHolesAndHalfFilledRecords) {
  auto* pool = static_cast<MimeMessagePool*>(std::calloc(1, sizeof(MimeMessagePool)));
  pool->parts = static_cast<MimeBodyPart**>(std::calloc(2, sizeof(MimeBodyPart*)));
  pool->parts[1] = static_cast<MimeBodyPart*>(std::calloc(1, sizeof(MimeBodyPart)));
  pool->parts[1]->trueName = strdup("name");
  pool->count = 2;
  MimeFreeMessage(&pool);
  EXPECT_EQ(pool, nullptr);
}

class FreedFile : public MimeTest {};

TEST_F(FreedFile, IsRemovedAndItsNameReleased) {
  const std::string path = spool_.File("gone", "x");
  MimeFreeFile(strdup(path.c_str()));
  EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST_F(FreedFile, NameIsReleasedWhenTheFileIsGone) {
  MimeFreeFile(strdup(spool_.path("never").c_str()));
}

TEST_F(FreedFile, NullAndEmptyNamesAreIgnored) {
  MimeFreeFile(nullptr);
  char empty[] = "";  // not from the heap: releasing it would be noticed
  MimeFreeFile(empty);
}

TEST_F(FreedFile, MayBeNamedWithABackslash) {
  std::string path = spool_.File("gone", "x");
  const std::string native = path;
  path[path.rfind('/')] = '\\';
  MimeFreeFile(strdup(path.c_str()));
  EXPECT_NE(access(native.c_str(), F_OK), 0);
}

}  // namespace
}  // namespace qob::testing
