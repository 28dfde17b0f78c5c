// A text put together from pieces of another. As long as the pieces and what joins them stand side
// by side in the source, it is a view of the source; the first piece that does not makes it a copy.
#pragma once
#include <string>
#include <string_view>

namespace qob {

class JoinedText {
 public:
  JoinedText() = default;
  JoinedText(const JoinedText&) = delete;
  // Copies bytes only where `other` is a copy itself.
  JoinedText& operator=(const JoinedText& other) {
    source_ = other.source_;
    copied_ = other.copied_;
    if (copied_) copy_ = other.copy_;
    return *this;
  }
  ~JoinedText() = default;

  void Clear() {
    source_ = {};
    copied_ = false;
  }
  void Assign(std::string_view piece) {
    source_ = piece;
    copied_ = false;
  }
  // Appends `glue` and `piece`.
  void Append(char glue, std::string_view piece) {
    if (!copied_ && StandsBehind(glue, piece)) {
      source_ = {source_.data(), source_.size() + 1 + piece.size()};
      return;
    }
    Own();
    copy_ += glue;
    copy_ += piece;
  }
  void Append(std::string_view piece) {
    Own();
    copy_ += piece;
  }
  std::string_view view() const { return copied_ ? std::string_view(copy_) : source_; }
  bool empty() const { return view().empty(); }

 private:
  // The byte behind the source view may be read: `piece` begins right after it in the same text.
  bool StandsBehind(char glue, std::string_view piece) const {
    return source_.data() != nullptr && source_.data() + source_.size() + 1 == piece.data() &&
           source_.data()[source_.size()] == glue;
  }
  void Own() {
    if (copied_) return;
    copy_.assign(source_);
    copied_ = true;
  }

  std::string_view source_;
  std::string copy_;
  bool copied_ = false;
};

}  // namespace qob
