// A second implementation of address lists to compare with: a generated LALR(1) parser with a lexer
// and a list splitter of its own, as plain as can be and without regard to speed. It shares no code
// with the library.
#pragma once
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace qob::testing {

struct OracleAddress {
  std::string address;
  std::string raw_text;
  std::string phrase;
  std::string comment;
  std::string local_part;
  std::string domain;
  std::size_t comments = 0;
  bool operator==(const OracleAddress&) const = default;
};

inline void PrintTo(const OracleAddress& a, std::ostream* out) {
  *out << "{address <" << a.address << "> raw <" << a.raw_text << "> phrase <" << a.phrase
       << "> comment <" << a.comment << "> local <" << a.local_part << "> domain <" << a.domain
       << "> comments " << a.comments << "}";
}

struct OracleList {
  bool rejected = false;  // blank, or quotes that do not pair
  std::string text;       // as the caller sees it afterwards
  std::vector<OracleAddress> addresses;
};

OracleList OracleParse(std::string text);

}  // namespace qob::testing
