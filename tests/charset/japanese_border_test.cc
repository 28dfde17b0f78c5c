// Every text of a table, moved byte by byte over every border at which input or output is cut: the
// pieces of a line reader, the part of a block that is looked at in one go, the block, the writer's
// buffer. What comes out must not depend on it.
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "charset/japanese_model.h"
#include "charset/jis_to_shift_jis.h"
#include "charset/shift_jis_to_jis.h"

namespace qob {
namespace {

using namespace std::string_literals;

template <class Convert>
std::string Through(std::string_view bytes, Convert&& convert) {
  const int in = memfd_create("in", 0);
  const int out = memfd_create("out", 0);
  EXPECT_EQ(write(in, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  lseek(in, 0, SEEK_SET);
  {
    LineReader reader;
    reader.Attach(in);
    FileWriter writer;
    writer.Attach(out);
    EXPECT_TRUE(convert(reader, writer) && writer.Flush());
  }
  std::string result(static_cast<std::size_t>(lseek(out, 0, SEEK_END)), '\0');
  EXPECT_EQ(pread(out, result.data(), result.size(), 0), static_cast<ssize_t>(result.size()));
  close(in);
  close(out);
  return result;
}

const std::string kTexts[] = {
    "ab\x1B$B0!0\"\x1B(Bcd\r\n",
    "ab\x1B$@0!\x1B(Jcd\r\n",
    "\x1B$B\x1B(Ba\r\n",
    "\x1B$B0!\r\n0!\x1B(B\r\nab\r\n",
    "\x1BNab\r\n\x1B(Ia\r\n\x1B$Aab\x1B\r\n",
    "\x1B$\r\nab\x1B(\n\x1B\r\n",
    "$B0!(Ba\r\n",
    "$@0!0\"\x1B(Ja\r\n",
    "$B0!(((B$B%((B\r\n",
    "$Bill (Boo)\r\nnext $B0!(B\r\n",
    "$B0!0!\r\n$B0!(B\r\n",
    "a\rb\r\r\nc\nd\r",
    "\x88\x9F"
    "a\x88\x9F\x88\xA0\r\n",
    "a\xB6\xDE\xCA\xDF\xB3\xDE\xB1\xB6\r\n",
    "a\x88\x9F\xB6\xDE\x88\x9F\xB6",
    "a\xFF\x80\x88\x9F\x81\r\n\xF0\x40\x88 \xDE\xDF\r\n",
    "a\0\x88\x9F\0b\x1B$B0!\0\x1B(B"s,
};
constexpr std::size_t kBorders[] = {1024, 32 * 1024, 64 * 1024};

// Text of `size` bytes before it, in one line or ending in a line end.
std::string Before(std::size_t size, bool lines) {
  std::string text(size, 'x');
  if (lines && size >= 2) text.replace(size - 2, 2, "\r\n");
  return text;
}

template <class Check>
void AtEveryBorder(Check&& check) {
  for (const std::string& text : kTexts) {
    for (const std::size_t border : kBorders) {
      for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        for (const bool lines : {false, true}) {
          SCOPED_TRACE(::testing::Message() << ::testing::PrintToString(text) << " cut behind byte "
                                            << cut << " at " << border << " lines " << lines);
          check(Before(border - cut, lines) + text + "tail\r\n");
          if (::testing::Test::HasFailure()) return;
        }
      }
    }
  }
}

TEST(JapaneseBorder, NoCutChangesWhatIsDecoded) {
  AtEveryBorder([](const std::string& whole) {
    for (const bool repair : {false, true}) {
      EXPECT_TRUE(Through(whole, [&](auto& in, auto& out) {
                    return JisToShiftJis(in, INT64_MAX, repair, out);
                  }) == testing::ModelDecode(whole, repair));
    }
  });
}

TEST(JapaneseBorder, NoCutChangesWhatIsEncoded) {
  AtEveryBorder([](const std::string& whole) {
    const std::optional<std::string_view> marks[] = {std::nullopt, "?", "", "<mark>"};
    for (const auto& mark : marks) {
      EXPECT_TRUE(Through(whole, [&](auto& in, auto& out) {
                    return ShiftJisToJis(in, mark, out);
                  }) == testing::ModelEncode(whole, mark));
    }
  });
}

TEST(JapaneseBorder, EveryBeginningOfATextIsConvertedAsTheModelSays) {
  for (const std::string& text : kTexts) {
    for (std::size_t size = 0; size <= text.size(); ++size) {
      const std::string cut = text.substr(0, size);
      for (const bool repair : {false, true}) {
        EXPECT_EQ(
            Through(cut,
                    [&](auto& in, auto& out) { return JisToShiftJis(in, INT64_MAX, repair, out); }),
            testing::ModelDecode(cut, repair));
      }
      EXPECT_EQ(
          Through(cut, [](auto& in, auto& out) { return ShiftJisToJis(in, std::nullopt, out); }),
          testing::ModelEncode(cut, std::nullopt));
    }
  }
}

}  // namespace
}  // namespace qob
