// Header blocks in tests: written to a file, read through a line I/O handle, looked at by value.
#pragma once
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qob3xapi/header822.h>
#include <qob3xapi/lineio.h>

#include "rfc822/address_support.h"
#include "support/captured_log.h"
#include "support/temp_spool.h"

namespace qob::testing {

inline std::vector<std::string> Texts(const ms* chain) {
  std::vector<std::string> texts;
  for (; chain != nullptr; chain = chain->next) texts.push_back(chain->text);
  return texts;
}

inline std::vector<std::string> AddressesOf(const HeaderAddressList* list) {
  std::vector<std::string> addresses;
  if (list == nullptr) return addresses;
  for (const Entry& e : Entries(*list->table)) addresses.push_back(e.address);
  return addresses;
}

// What the record has in a text field; "(null)" for nothing.
inline std::string Text(const char* text) { return text == nullptr ? "(null)" : text; }

class HeaderTest : public ::testing::Test {
 protected:
  HeaderTest() { InitLineIO(); }
  ~HeaderTest() override {
    Free822Header(&record_);
    if (file_ >= 0) fileclose(file_);
    TerminateLineIO();
  }

  // A file with these bytes, open for reading; the one before is closed.
  int32_t Open(std::string_view bytes) {
    if (file_ >= 0) fileclose(file_);
    file_ = fileopen(spool_.File("message", bytes).c_str(), 0, 1);
    return file_;
  }
  // Parses it into the record, which keeps what it has.
  int32_t Read(std::string_view bytes) {
    return ParseHdr(Open(bytes), &record_, &count_, &status_line_);
  }

  TempSpool spool_;
  CapturedLog log_;
  addr822 record_{};
  int32_t file_ = -1;
  int32_t count_ = -7;
  int32_t status_line_ = -7;
};

}  // namespace qob::testing
