// What a program that links the shared libraries may rely on, in C and in C++.
#include <dlfcn.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <qobplatform/tessera.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "contract/from_c.h"
#include "contract/record_layout.h"
#include "support/temp_spool.h"

namespace qob::testing {
namespace {

class Contract : public ::testing::Test {
 protected:
  Contract() { EXPECT_EQ(InitQOBDll_NOMQ("contract"), 1); }
  // Start-up named a directory in TMP that does not outlive the test.
  ~Contract() override {
    TerminateQOBDll();
    unsetenv("TMP");
  }

  TempSpool spool_;
};

// Four lines, the last one without its line feed; one is longer than a piece of line I/O.
std::string Lines() { return "one\r\n\n" + std::string(3000, 'x') + "\nlast"; }

TEST_F(Contract, LeavesTheCLibrarysGetlineAlone) {
  const std::string path = spool_.File("lines", Lines());
  long bytes = 0;
  EXPECT_EQ(CountLinesWithTheCLibrary(path.c_str(), &bytes), 4);
  EXPECT_EQ(bytes, static_cast<long>(Lines().size()));
}

TEST_F(Contract, ReadsLinesBesideTheCLibrary) {
  const std::string path = spool_.File("lines", Lines());
  long bytes = 0;
  // 3001 bytes are pieces of 1024, 1024 and 953.
  EXPECT_EQ(CountLinesWithLineIo(path.c_str(), &bytes), 6);
  EXPECT_EQ(bytes, static_cast<long>(Lines().size()));
}

TEST_F(Contract, OffersBothGetlinesToCpp) {
  const std::string path = spool_.File("lines", Lines());
  const int32_t handle = fileopen(path.c_str(), 0, 1);
  char* line = nullptr;
  EXPECT_EQ(getline(handle, &line), 1);
  EXPECT_STREQ(line, "one\r\n");
  EXPECT_EQ(fileclose(handle), 1);
  std::FILE* file = std::fopen(path.c_str(), "rb");
  ASSERT_NE(file, nullptr);
  char* own = nullptr;
  size_t room = 0;
  EXPECT_EQ(getline(&own, &room, file), 5);
  EXPECT_STREQ(own, "one\r\n");
  std::free(own);
  std::fclose(file);
}

TEST_F(Contract, KeepsGetlineUnderItsVersion) {
  void* library = dlopen("libqob3xapi.so.1", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr) << dlerror();
  void* versioned = dlvsym(library, "getline", "QOB3X_1");
  ASSERT_NE(versioned, nullptr) << dlerror();
  // Not what a program gets that asks for the name alone: that is the C library's.
  EXPECT_NE(dlsym(library, "getline"), versioned);
  EXPECT_NE(dlsym(RTLD_DEFAULT, "getline"), versioned);

  const auto read = reinterpret_cast<int32_t (*)(int32_t, char**)>(versioned);
  const std::string path = spool_.File("lines", Lines());
  const int32_t handle = fileopen(path.c_str(), 0, 1);
  const int32_t other = fileopen(path.c_str(), 0, 1);
  for (int32_t result = 1; result == 1;) {
    char* line = nullptr;
    char* same = nullptr;
    result = read(handle, &line);
    EXPECT_EQ(QOB_getline(other, &same), result);
    if (result == 1) {
      EXPECT_STREQ(line, same);
    }
  }
  EXPECT_EQ(read(handle + 1000, nullptr), -1);
  fileclose(handle);
  fileclose(other);
  dlclose(library);
}

TEST_F(Contract, ParsesAMessageForC) {
  const std::string path =
      spool_.File("message",
                  "Mime-version: 1.0\r\nContent-type: multipart/mixed; boundary=b\r\n\r\n"
                  "--b\r\n\r\none\r\n--b\r\nContent-type: text/html\r\n\r\ntwo\r\n--b--\r\n");
  EXPECT_EQ(CountPartsFromC(path.c_str()), 3);
  EXPECT_LT(CountPartsFromC(spool_.path("missing").c_str()), 0);
}

TEST_F(Contract, RefusesPointersThatCannotBeRead) {
  const long page = sysconf(_SC_PAGESIZE);
  void* forbidden =
      mmap(nullptr, static_cast<std::size_t>(page), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(forbidden, MAP_FAILED);
  ms* chain = nullptr;
  EXPECT_EQ(appendString(&chain, static_cast<const char*>(forbidden)), 0);
  EXPECT_EQ(appendString(static_cast<ms**>(forbidden), "text"), 0);
  EXPECT_EQ(chain, nullptr);
  // One byte and its NUL in a block of two: whatever the system looks at beside it, nothing is
  // wrong with the text.
  char* small = static_cast<char*>(std::malloc(2));
  small[0] = 'x';
  small[1] = '\0';
  EXPECT_EQ(appendString(&chain, small), 1);
  std::free(small);
  freeStringChain(chain);
  munmap(forbidden, static_cast<std::size_t>(page));
}

TEST_F(Contract, TakesNullWhereReleasesDo) {
  FreeString(nullptr);
  freeStringChain(nullptr);
  MimeFreeMessage(nullptr);
  MimeFreeFile(nullptr);
  EXPECT_EQ(MimeParseMessage(nullptr, 0, nullptr), -1);
  EXPECT_EQ(QOB_getline(-1, nullptr), -1);
}

// A relation's record as a program declares it, in a class whose base lies in the other library.
class Rooms : public tesRel {
 public:
  Rooms(tesseraBase& session, const std::string& directory)
      : tesRel(session, directory.c_str(), "rooms") {
    attach(-1);
  }
  struct {
    char name[16];
    char use[16];
  } room = {};

 protected:
  void* record() override { return &room; }
  uint32_t recordSize() const override { return sizeof room; }
};

std::size_t OpenDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++count;
  }
  return count;
}

TEST_F(Contract, ProgramsDeriveTheirRelations) {
  const std::string directory = spool_.queue();
  ASSERT_EQ(tesRel::create(directory.c_str(), "rooms", 32, 0, 16, false), 0);
  tesseraBase session;
  const std::unique_ptr<tesRel> base = std::make_unique<Rooms>(session, directory);
  Rooms* const rooms = dynamic_cast<Rooms*>(base.get());
  ASSERT_NE(rooms, nullptr);
  ASSERT_EQ(rooms->status(), 0);
  std::strcpy(rooms->room.name, "attic");
  ASSERT_EQ(rooms->lock(false, 0xFFFFFFFF), 0);
  EXPECT_EQ(rooms->add(), 0);
  EXPECT_EQ(rooms->add(), 5);
  EXPECT_EQ(rooms->begin(0), 0);
  EXPECT_EQ(rooms->first(), 0);
  EXPECT_EQ(rooms->next(), 17);
  EXPECT_EQ(rooms->end(), 0);
  EXPECT_EQ(rooms->unlock(), 0);
  std::strcpy(rooms->room.name, "ATTIC");
  EXPECT_EQ(rooms->get(0), 0);
  EXPECT_STREQ(rooms->room.name, "attic");
}

TEST_F(Contract, TerminatingClosesTheRelationsThatStayOpen) {
  TerminateQOBDll();
  const std::size_t before = OpenDescriptors();
  EXPECT_EQ(InitQOBDll_NOMQ("contract"), 1);
  ASSERT_EQ(tesRel::create(spool_.queue().c_str(), "rooms", 32, 0, 16, false), 0);
  tesseraBase session;
  EXPECT_EQ(Rooms(session, spool_.queue()).status(), 0);
  EXPECT_GT(OpenDescriptors(), before);
  TerminateQOBDll();
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace qob::testing
