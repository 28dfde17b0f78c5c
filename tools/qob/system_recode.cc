#include "system_recode.h"

#include <array>
#include <cerrno>

#include <iconv.h>

namespace cli::sys {
namespace {

void* const kUnknown = reinterpret_cast<void*>(-1);

}  // namespace

Recoder::Recoder(const std::string& from, const std::string& to)
    : handle_(::iconv_open(to.c_str(), from.c_str())) {}

Recoder::~Recoder() {
  if (*this) ::iconv_close(handle_);
}

Recoder::operator bool() const { return handle_ != kUnknown; }

bool Recoder::Take(std::string_view block, std::string* result) {
  rest_ += block;
  char* from = rest_.data();
  std::size_t from_left = rest_.size();
  int error = E2BIG;
  while (error == E2BIG) {
    std::array<char, 16384> out;
    char* to = out.data();
    std::size_t to_left = out.size();
    const std::size_t outcome = ::iconv(handle_, &from, &from_left, &to, &to_left);
    error = outcome == static_cast<std::size_t>(-1) ? errno : 0;
    result->append(out.data(), out.size() - to_left);
  }
  rest_.erase(0, rest_.size() - from_left);
  return error == 0 || error == EINVAL;
}

bool Recoder::Finish(std::string* result) {
  std::array<char, 64> out;
  char* to = out.data();
  std::size_t to_left = out.size();
  ::iconv(handle_, nullptr, nullptr, &to, &to_left);
  result->append(out.data(), out.size() - to_left);
  return rest_.empty();
}

}  // namespace cli::sys
