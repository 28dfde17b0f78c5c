// What the writing rows read: bodies to encode and Japanese text in both codes.
#include <fstream>
#include <stdexcept>

#include "workload.h"
#include "workload_codec.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kVersion = "writing 1\n";
constexpr std::size_t kBodyBytes = 100'000'000;
constexpr std::size_t kJapaneseBytes = 50'000'000;

void WriteWhole(const fs::path& file, std::string_view bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw std::runtime_error("cannot write " + file.string());
}

// German text in ISO-8859-1: lines of up to 100 bytes, one word in eight with an 8-bit character,
// now and then an equals sign.
std::string LatinText(std::size_t bytes) {
  static constexpr std::string_view kWords[] = {
      "und",          "die",        "Nachricht", "wird",  "an",     "den",
      "Empf\xE4nger", "gesandt",    "sobald",    "der",   "Server", "bereit",
      "ist",          "Anh\xE4nge", "werden",    "als",   "Datei",  "beigef\xFCgt",
      "mit",          "x=1",        "Abschnitt", "Zeile", "Text",   "Verzeichnis"};
  Random random(kSeed + 101);
  std::string text;
  while (text.size() < bytes) {
    const std::size_t end = text.size() + 20 + random.Below(75);
    while (text.size() < end) {
      text += kWords[random.Below(std::size(kWords))];
      text += ' ';
    }
    text.back() = '.';
    text += "\r\n";
  }
  return text;
}

struct JapaneseText {
  std::string shift_jis;
  std::string jis;
};

void AppendCharacter(JapaneseText* text, unsigned row, unsigned cell) {
  text->jis += static_cast<char>(row);
  text->jis += static_cast<char>(cell);
  const unsigned lead = (row - 0x21) / 2 + (row < 0x5F ? 0x81 : 0xC1);
  const unsigned trail = row % 2 == 0 ? cell + 0x7E : cell >= 0x60 ? cell + 0x20 : cell + 0x1F;
  text->shift_jis += static_cast<char>(lead);
  text->shift_jis += static_cast<char>(trail);
}

// A run of hiragana, katakana and kanji of the first level.
void AppendRun(JapaneseText* text, Random* random) {
  text->jis += "\x1B$B";
  for (std::size_t left = 3 + random->Below(28); left > 0; --left) {
    const std::size_t kind = random->Below(10);
    if (kind < 5) {
      AppendCharacter(text, 0x24, 0x21 + static_cast<unsigned>(random->Below(83)));
    } else if (kind < 6) {
      AppendCharacter(text, 0x25, 0x21 + static_cast<unsigned>(random->Below(86)));
    } else {
      AppendCharacter(text, 0x30 + static_cast<unsigned>(random->Below(31)),
                      0x21 + static_cast<unsigned>(random->Below(94)));
    }
  }
  text->jis += "\x1B(B";
}

// Lines of one to three runs with words of ASCII between them.
JapaneseText Japanese(std::size_t bytes) {
  static constexpr std::string_view kWords[] = {" mail ", " 2026-11-22 ", ": ", " (queue) "};
  Random random(kSeed + 102);
  JapaneseText text;
  while (text.shift_jis.size() < bytes) {
    for (std::size_t runs = 1 + random.Below(3); runs > 0; --runs) {
      AppendRun(&text, &random);
      const std::string_view word = kWords[random.Below(std::size(kWords))];
      text.jis += word;
      text.shift_jis += word;
    }
    text.jis += "\r\n";
    text.shift_jis += "\r\n";
  }
  return text;
}

}  // namespace

void WriteWritingSamples(const fs::path& directory) {
  const fs::path stamp = directory / "stamp-writing";
  if (fs::exists(stamp) && ReadWhole(stamp) == kVersion) return;
  WriteWhole(directory / "body.bin", Random(kSeed + 100).Bytes(kBodyBytes));
  WriteWhole(directory / "body.txt", LatinText(kBodyBytes));
  const JapaneseText japanese = Japanese(kJapaneseBytes);
  WriteWhole(directory / "shift_jis.txt", japanese.shift_jis);
  WriteWhole(directory / "jis.txt", japanese.jis);
  WriteWhole(stamp, kVersion);
}

}  // namespace bench
