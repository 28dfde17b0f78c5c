#include "message.h"

#include <algorithm>
#include <cstring>

namespace cli::queue {
namespace {

constexpr std::size_t kBlockBytes = 64 * 1024;
constexpr std::size_t kLongestText = 0xFFFF;

}  // namespace

std::string_view Text::view() const {
  if (at_ == nullptr) return {};
  std::uint16_t length = 0;
  std::memcpy(&length, at_, sizeof length);
  return {at_ + sizeof length, length};
}

Text TextStore::Keep(std::string_view text) {
  if (text.empty()) return {};
  const auto length = static_cast<std::uint16_t>(std::min(text.size(), kLongestText));
  const std::size_t bytes = sizeof length + length;
  if (bytes > left_) {
    left_ = std::max(kBlockBytes, bytes);
    // Left as it comes from the heap: every byte is written before it is read.
    blocks_.emplace_back(new char[left_]);
    next_ = blocks_.back().get();
  }
  char* const at = next_;
  std::memcpy(at, &length, sizeof length);
  std::memcpy(at + sizeof length, text.data(), length);
  next_ += bytes;
  left_ -= bytes;
  return Text(at);
}

std::string_view DomainOf(std::string_view address) {
  const std::size_t at = address.rfind('@');
  if (at == std::string_view::npos) return {};
  std::string_view domain = address.substr(at + 1);
  if (domain.ends_with('>')) domain.remove_suffix(1);
  return domain;
}

}  // namespace cli::queue
