// Texts changed in place, and paths in the system's form.
#include <cctype>
#include <string>

#include <gtest/gtest.h>

#include <qob3xapi/util.h>

#include "frame/heap.h"
#include "support/exact_copy.h"
#include "support/failing_allocator.h"

namespace qob::testing {
namespace {

std::string Cleaned(std::string_view text) {
  ExactText copy(text);
  EXPECT_EQ(EliminateCntrlChars(copy), copy.get());
  return copy.get();
}

TEST(ControlCharacters, AreRemovedInPlace) {
  EXPECT_EQ(Cleaned("a\tb\r\nc\x7F"
                    "d"),
            "abcd");
  EXPECT_EQ(Cleaned("\r\n\t\x01\x1F\x7F"), "");
  EXPECT_EQ(Cleaned("plain text"), "plain text");
  EXPECT_EQ(Cleaned(""), "");
  EXPECT_EQ(EliminateCntrlChars(nullptr), nullptr);
}

TEST(ControlCharacters, AreThoseOfTheCLibrary) {
  for (int c = 1; c < 256; ++c) {
    const std::string text = "a" + std::string(1, static_cast<char>(c)) + "b";
    EXPECT_EQ(Cleaned(text), std::iscntrl(c) ? "ab" : text) << c;
  }
}

TEST(NativePath, TurnsBackslashesIntoSlashes) {
  const HeapText path(QOBNativePath("/spool\\temp\\MIME0001"));
  ASSERT_NE(path, nullptr);
  EXPECT_STREQ(path.get(), "/spool/temp/MIME0001");
  FreeString(QOBNativePath(""));
  EXPECT_EQ(QOBNativePath(nullptr), nullptr);
}

TEST(NativePath, WithoutMemoryGivesNull) {
  char* path = nullptr;
  FailEachAllocation([&] { path = QOBNativePath("a\\long enough path to need memory of its own"); },
                     [&](bool failed) {
                       EXPECT_EQ(path == nullptr, failed);
                       FreeString(path);
                     });
}

TEST(FreeString, TakesNull) { FreeString(nullptr); }

}  // namespace
}  // namespace qob::testing
