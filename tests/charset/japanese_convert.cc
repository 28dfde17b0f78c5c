// japanese_convert: the two Japanese file conversions on single texts, for japanese_compare.py.
//
// Reads lines "OPERATION HEX" and answers each with the converted bytes in hexadecimal digits.
// Operations: encode (to ISO-2022-JP), decode (to Shift-JIS), repair (decode with the repair).
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "charset/jis_to_shift_jis.h"
#include "charset/shift_jis_to_jis.h"

namespace {

void Require(bool claim) {
  if (!claim) std::abort();
}

std::string Converted(const std::string& operation, const std::string& bytes) {
  const int in = memfd_create("in", 0);
  const int out = memfd_create("out", 0);
  Require(in >= 0 && out >= 0 &&
          write(in, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
          lseek(in, 0, SEEK_SET) == 0);
  {
    qob::LineReader reader;
    reader.Attach(in);
    qob::FileWriter writer;
    writer.Attach(out);
    Require(operation == "encode"
                ? qob::ShiftJisToJis(reader, std::nullopt, writer)
                : qob::JisToShiftJis(reader, INT64_MAX, operation == "repair", writer));
    Require(writer.Flush());
  }
  std::string result(static_cast<std::size_t>(lseek(out, 0, SEEK_END)), '\0');
  Require(pread(out, result.data(), result.size(), 0) == static_cast<ssize_t>(result.size()));
  close(in);
  close(out);
  return result;
}

std::string FromHex(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

}  // namespace

int main() {
  std::string operation;
  while (std::cin >> operation) {
    std::string digits;
    std::getline(std::cin >> std::ws, digits);
    std::string line;
    for (const char c : Converted(operation, FromHex(digits))) {
      char two[3];
      std::snprintf(two, sizeof two, "%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
      line += two;
    }
    std::cout << line << '\n';
  }
  return 0;
}
