// The open containers of a message and the delimiter lines they wait for.
#include "mime/delimiter_stack.h"

#include <cstring>
#include <utility>

#include "platform/os/ascii.h"

namespace qob {
namespace {

void Fold(std::string_view text, std::string* folded) {
  folded->resize(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    (*folded)[i] = static_cast<char>(ascii::Lower(static_cast<unsigned char>(text[i])));
  }
}

bool BeginsWith(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         std::memcmp(text.data(), prefix.data(), prefix.size()) == 0;
}

}  // namespace

std::string_view DelimiterStack::current_delimiter() const {
  return frames_.empty() ? std::string_view(kPlaceholderDelimiter)
                         : std::string_view(top()->delimiter);
}

void DelimiterStack::SetPending(MimeBodyPart* multipart) {
  Fold(multipart->delimiter, &pending_frame_.folded);
  pending_frame_.container = multipart;
  pending_ = true;
}

void DelimiterStack::OpenPending() {
  frames_.push_back(std::move(pending_frame_));
  pending_frame_ = {nullptr, true, {}};
  pending_ = false;
  ++multiparts_;
}

void DelimiterStack::DropPending() { pending_ = false; }

void DelimiterStack::OpenEncapsulated(MimeBodyPart* part) { frames_.push_back({part, false, {}}); }

void DelimiterStack::Pop() {
  if (frames_.back().multipart) --multiparts_;
  frames_.pop_back();
}

DelimiterStack::Match DelimiterStack::Find(std::string_view line) {
  if (line.size() < 2 || line[0] != '-' || line[1] != '-') return {};
  Fold(line, &folded_line_);
  Match match;
  std::size_t longest = 0;
  if (pending_ && BeginsWith(folded_line_, pending_frame_.folded)) {
    match.frame = frames_.size();
    longest = pending_frame_.folded.size();
  }
  for (std::size_t i = frames_.size(); i-- > 0;) {
    const Frame& frame = frames_[i];
    if (!frame.multipart || frame.folded.size() <= longest ||
        !BeginsWith(folded_line_, frame.folded))
      continue;
    match.frame = i;
    longest = frame.folded.size();
  }
  if (match) match.closing = BeginsWith(std::string_view(folded_line_).substr(longest), "--");
  return match;
}

}  // namespace qob
