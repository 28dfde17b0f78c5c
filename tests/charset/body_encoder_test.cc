// Base64 and quoted-printable as the builders write them: worked texts, and any bytes against plain
// models.
#include "charset/body_encoder.h"

#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "charset/base64_lines.h"
#include "charset/byte_run.h"
#include "support/exact_copy.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

using testing::TempSpool;

class BodyEncoder : public ::testing::Test {
 protected:
  template <class Write>
  std::string Through(std::string_view bytes, Write&& write) {
    for (const char* name : {"in", "out"}) std::filesystem::remove(spool_.path(name));
    spool_.File("in", bytes);
    LineReader in;
    FileWriter out;
    EXPECT_TRUE(in.Open(spool_.path("in").c_str()) && out.Create(spool_.path("out").c_str()));
    EXPECT_TRUE(write(in, out) && out.Close());
    return TempSpool::Read(spool_.path("out"));
  }
  std::string Base64(std::string_view bytes) {
    return Through(bytes, [](auto& in, auto& out) { return WriteBase64(in, out); });
  }
  std::string Quoted(std::string_view bytes, QuotedForm form = QuotedForm::kText) {
    return Through(bytes, [&](auto& in, auto& out) { return WriteQuotedPrintable(in, form, out); });
  }

  TempSpool spool_;
};

std::string Times(std::size_t count, char c) { return std::string(count, c); }

// One bit after the other.
std::string ModelBase64(std::string_view bytes) {
  static constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string characters;
  for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
    unsigned value = 0;
    for (std::size_t i = bit; i < bit + 6; ++i) {
      const unsigned byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0u;
      value = value << 1 | (byte >> (7 - i % 8) & 1);
    }
    characters += kAlphabet[value];
  }
  while (characters.size() % 4 != 0) characters += '=';
  std::string text;
  for (std::size_t i = 0; i < characters.size(); i += 72) {
    text += characters.substr(i, 72);
    if (characters.size() - i >= 72) text += "\r\n";
  }
  return text + "\r\n";
}

std::string ModelQuoted(std::string_view bytes, bool text) {
  std::string out;
  int column = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const int c = static_cast<unsigned char>(bytes[i]);
    const int next = i + 1 < bytes.size() ? static_cast<unsigned char>(bytes[i + 1]) : -1;
    if (text && (c == '\n' || (c == '\r' && next == '\n'))) {
      out += bytes[i];
      column = c == '\n' ? 0 : column;
      continue;
    }
    if (column > 72) {
      out += "=\r\n";
      column = 0;
    }
    bool encode = c == '=' || c >= 127 || (c == '.' && column == 0);
    encode = encode || (text ? c < 32 && c != '\t' : c < 33);
    encode = encode || (text && column == 0 && bytes.substr(i, 5) == "From ");
    if (encode) {
      char unit[4];
      std::snprintf(unit, sizeof unit, "=%02X", static_cast<unsigned>(c));
      out += unit;
      column += 3;
    } else {
      out += static_cast<char>(c);
      column += 1;
    }
  }
  return out;
}

TEST_F(BodyEncoder, Base64EndsEveryTextWithALineEnd) {
  EXPECT_EQ(Base64(""), "\r\n");
  EXPECT_EQ(Base64("a"), "YQ==\r\n");
  EXPECT_EQ(Base64("ab"), "YWI=\r\n");
  EXPECT_EQ(Base64("abc"), "YWJj\r\n");
  std::string line;
  for (int i = 0; i < 18; ++i) line += "YWJj";
  EXPECT_EQ(Base64("abcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabcabc"), line + "\r\n\r\n");
  EXPECT_EQ(Base64(Times(53, 'a')).substr(68), "YWE=\r\n\r\n");
}

TEST_F(BodyEncoder, Base64LinesAreEvenAcrossBlocks) {
  const std::string text = Base64(Times(6000, 'x'));
  EXPECT_EQ(text, ModelBase64(Times(6000, 'x')));
  std::size_t at = 0;
  for (std::size_t end = text.find("\r\n"); end + 2 < text.size(); end = text.find("\r\n", at)) {
    EXPECT_EQ(end - at, 72u);
    at = end + 2;
  }
}

TEST_F(BodyEncoder, QuotedPrintableWritesTheWorkedTexts) {
  EXPECT_EQ(Quoted("From me\r\n.dot\r\nFromage\rx=\xFC\r\n"),
            "=46rom me\r\n=2Edot\r\nFromage=0Dx=3D=FC\r\n");
  EXPECT_EQ(Quoted(Times(74, 'a') + "\r\n"), Times(73, 'a') + "=\r\na\r\n");
  EXPECT_EQ(Quoted(Times(73, 'a') + "\r\n"), Times(73, 'a') + "\r\n");
  EXPECT_EQ(Quoted(Times(73, 'a') + ".b\r\n"), Times(73, 'a') + "=\r\n=2Eb\r\n");
  EXPECT_EQ(Quoted(Times(72, 'a') + "\xFC\xFC"
                                    "b"),
            Times(72, 'a') + "=FC=\r\n=FCb");
  EXPECT_EQ(Quoted("a b\r\n.c", QuotedForm::kBinary), "a=20b=0D=0A.c");
}

TEST_F(BodyEncoder, QuotedPrintableKeepsBlanksTabsAndBareLineFeeds) {
  EXPECT_EQ(Quoted("a \t\nb \r\n"), "a \t\nb \r\n");
  EXPECT_EQ(Quoted(std::string("a\0b", 3)), "a=00b");
  EXPECT_EQ(Quoted("\x7F"), "=7F");
  EXPECT_EQ(Quoted("\r"), "=0D");
  EXPECT_EQ(Quoted(""), "");
}

TEST_F(BodyEncoder, FromIsHiddenBehindASoftBreakToo) {
  EXPECT_EQ(Quoted(Times(73, 'a') + "From b"), Times(73, 'a') + "=\r\n=46rom b");
  EXPECT_EQ(Quoted("From"), "From");
  EXPECT_EQ(Quoted("From\tme"), "From\tme");
  EXPECT_EQ(Quoted("From me", QuotedForm::kBinary), "From=20me");
}

TEST_F(BodyEncoder, AnyBytesComeOutAsThePlainModelsSay) {
  std::mt19937 random(20261121);
  static const std::string kPieces[] = {"From ",
                                        ".",
                                        "\r\n",
                                        "\n",
                                        "\r",
                                        "=",
                                        "\xFC",
                                        "\t",
                                        " ",
                                        "word",
                                        std::string(1, '\0'),
                                        "averylongword",
                                        "Fr"};
  std::uniform_int_distribution<std::size_t> pick(0, std::size(kPieces) - 1);
  for (int i = 0; i < 1500; ++i) {
    // Some begin shortly before the end of what is looked at in one go.
    std::string text = Times(i % 5 == 0 ? 32700 + static_cast<std::size_t>(i) % 80 : 0, 'z');
    for (int k = 0; k < 1 + i % 60; ++k) text += kPieces[pick(random)];
    ASSERT_EQ(Quoted(text), ModelQuoted(text, true)) << i;
    ASSERT_EQ(Quoted(text, QuotedForm::kBinary), ModelQuoted(text, false)) << i;
    ASSERT_EQ(Base64(text), ModelBase64(text)) << i;
  }
}

TEST_F(BodyEncoder, NoOutputLineIsLongerThan76) {
  std::string bytes;
  for (int i = 0; i < 70000; ++i) bytes += static_cast<char>(i * 7919 >> 3);
  for (const QuotedForm form : {QuotedForm::kText, QuotedForm::kBinary}) {
    const std::string text = Quoted(bytes, form);
    std::size_t length = 0;
    for (const char c : text) {
      length = c == '\n' ? 0 : length + 1;
      ASSERT_LE(length, 77u);  // the CR counts here
    }
  }
}

TEST(Base64Lines, EveryKernelWritesTheSameAndNothingElse) {
  std::mt19937 random(54);
  for (std::size_t lines = 0; lines < 6; ++lines) {
    for (int round = 0; round < 200; ++round) {
      std::string bytes;
      for (std::size_t i = 0; i < lines * kBase64LineBytes; ++i) {
        bytes += static_cast<char>(random() >> 7);
      }
      // What the model adds behind the last line is its last line end.
      const std::string expected = ModelBase64(bytes).substr(0, lines * kBase64LineSize);
      for (const Base64LineKernel kernel :
           {Base64LineKernel{&EncodeLinesPortable}, Base64LinesSsse3(), Base64LinesAvx2(),
            FastestBase64Lines()}) {
        if (kernel == nullptr) continue;
        // Blocks of exactly the size: the sanitizers see a byte too many.
        const testing::ExactCopy in(bytes);
        const std::unique_ptr<char[]> out(new char[lines * kBase64LineSize]);
        kernel(reinterpret_cast<const unsigned char*>(in.view().data()), lines, out.get());
        ASSERT_EQ(std::string(out.get(), lines * kBase64LineSize), expected);
      }
    }
  }
}

TEST(QuotedPrintableEncoder, AnyCutAndTheRoomItAsksForAreEnough) {
  const std::string text = "From me\r\n.dot\r\nFromage\rx=\xFC\n" + Times(75, 'a') + ".b\r\n" +
                           Times(40, '\xFC') + "\tFrom \r";
  for (const QuotedForm form : {QuotedForm::kText, QuotedForm::kBinary}) {
    const std::string expected = ModelQuoted(text, form == QuotedForm::kText);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
      QuotedPrintableEncoder encoder(form);
      std::string written;
      const auto feed = [&](std::string_view piece, bool last) {
        const testing::ExactCopy in(piece);
        const std::size_t room = QuotedPrintableEncoder::Room(piece.size());
        const std::unique_ptr<char[]> out(new char[room]);
        char* end = out.get();
        const std::size_t taken = encoder.Feed(in.view(), last, &end);
        EXPECT_LE(static_cast<std::size_t>(end - out.get()), room);
        EXPECT_LE(piece.size() - taken, last ? 0u : 4u);
        written.append(out.get(), end);
        return taken;
      };
      const std::size_t taken = feed(std::string_view(text).substr(0, cut), false);
      feed(std::string_view(text).substr(taken), true);
      ASSERT_EQ(written, expected) << cut;
    }
  }
}

// Ends at "=".
struct UpToASign {
  bool Ends(unsigned char c) const { return c == '='; }
#if defined(__SSE2__)
  RunBlock Ends(RunBlock block) const { return Equal(block, '='); }
#endif
};

TEST(ByteRun, BlocksAndSingleBytesFindTheSameEnd) {
  for (std::size_t size = 0; size < 70; ++size) {
    for (std::size_t sign = 0; sign <= size; ++sign) {
      std::string text = Times(size, 'x');
      if (sign < size) text[sign] = '=';
      for (std::size_t limit : {std::size_t{0}, std::size_t{1}, sign, size, std::size_t{40}}) {
        const testing::ExactCopy in(text);
        char blocks[70 + kRunOverhang];
        char bytes[70];
        const std::size_t run = CopyRun(UpToASign(), in.view().data(), size, limit, blocks);
        ASSERT_EQ(run, std::min({sign, size, limit}));
        ASSERT_EQ((CopyRun<UpToASign, false>(UpToASign(), in.view().data(), size, limit, bytes)),
                  run);
        ASSERT_EQ(std::string(blocks, run), text.substr(0, run));
        ASSERT_EQ(std::string(bytes, run), text.substr(0, run));
      }
    }
  }
}

}  // namespace
}  // namespace qob
