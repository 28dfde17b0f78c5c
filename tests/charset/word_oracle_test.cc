// What this library encodes in base64, python3's header reader decodes to the same text. A fold
// that follows a plain word leaves a second blank in an unfolded header, so blanks are compared as
// one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "charset/header_encoder.h"
#include "support/temp_spool.h"

namespace qob {
namespace {

// Reads one header in hexadecimal per line, writes the decoded bytes in hexadecimal.
constexpr const char* kScript =
    "import email.header, re, sys\n"
    "for line in open(sys.argv[1]):\n"
    "    text = bytes.fromhex(line.strip()).decode('ascii').replace('\\r\\n', '')\n"
    "    parts = [p if isinstance(p, bytes) else p.encode('ascii') for p, _ in "
    "email.header.decode_header(text)]\n"
    "    print(re.sub(b' +', b' ', b''.join(parts)).hex())\n";

std::string Hex(std::string_view bytes) {
  std::string text;
  for (char c : bytes) {
    char code[3];
    std::snprintf(code, sizeof code, "%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
    text += code;
  }
  return text;
}

std::vector<std::string> RandomTexts() {
  std::minstd_rand random(2047);
  std::vector<std::string> texts;
  for (int i = 0; i < 1000; ++i) {
    std::string text = "Re:";
    for (auto words = random() % 25 + 1; words > 0; --words) {
      text += ' ';
      const bool eight_bit = random() % 3 == 0;
      for (auto letters = random() % 14 + 1; letters > 0; --letters) {
        text += static_cast<char>(eight_bit ? 0xC0 + random() % 64 : 'a' + random() % 26);
      }
    }
    texts.push_back(text);
  }
  return texts;
}

TEST(EncodedWords, AreUnderstoodByAnIndependentReader) {
  const testing::TempSpool spool;
  const std::vector<std::string> texts = RandomTexts();
  std::string lines;
  for (const std::string& text : texts) {
    EncodingSettings settings;
    settings.charset = "ISO-8859-1";
    settings.base64 = true;
    lines += Hex(EncodeHeaderText(text, settings)) + "\n";
  }
  const std::string command = "python3 " + spool.File("decode.py", kScript) + " " +
                              spool.File("encoded", lines) + " > " + spool.path("decoded");
  ASSERT_EQ(std::system(command.c_str()), 0) << "python3 is needed";
  std::ifstream decoded(spool.path("decoded"));
  for (const std::string& text : texts) {
    std::string line;
    ASSERT_TRUE(std::getline(decoded, line));
    EXPECT_EQ(line, Hex(text)) << text;
  }
}

}  // namespace
}  // namespace qob
