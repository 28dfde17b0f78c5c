// A byte that cannot begin a two-byte character, or has no byte behind it, is written alone and the
// next one is judged afresh: damage never shifts what follows it.
#include "charset/shift_jis_to_jis.h"

#include <cstring>

#include "charset/byte_run.h"
#include "charset/shift_jis.h"

namespace qob {
namespace {

constexpr char kIn[] = {0x1B, '$', 'B'};
constexpr char kOut[] = {0x1B, '(', 'J'};
// Each step looks at no more than this many bytes.
constexpr std::size_t kLookAhead = 4;
constexpr std::size_t kBlock = LineReader::kBlockSize / 2;
constexpr std::size_t kAtOnce = 12 * 1024;
// What `size` bytes become at most: a letter and a katakana take nine bytes with both escapes.
constexpr std::size_t Room(std::size_t size) { return 5 * size + 64; }
static_assert(Room(kAtOnce) <= FileWriter::kBufferSize);

struct Ascii {
  bool Ends(Octet c) const { return c >= 0x80; }
#if defined(__SSE2__)
  RunBlock Ends(RunBlock block) const { return block; }
#endif
};

class Encoder {
 public:
  Encoder(std::optional<std::string_view> mark, FileWriter& out) : mark_(mark), out_(out) {}

  // Takes what can be judged of `bytes`, all of it when they are the last. The count taken.
  std::size_t Take(std::string_view bytes, bool last);

 private:
  enum class State { kStart, kJudge, kPending, kDouble };

  std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
  bool Character() const {
    return left() >= 2 && IsShiftJisLead(at_[0]) && IsShiftJisTrail(at_[1]);
  }
  void Text();
  void Double(bool last);
  void Single(Octet c);
  void Append(const char (&sequence)[3]) {
    std::memcpy(to_, sequence, sizeof sequence);
    to_ += sizeof sequence;
  }
  void Begin();
  void End() { out_.Advance(static_cast<std::size_t>(to_ - start_)); }

  std::optional<std::string_view> mark_;
  FileWriter& out_;
  State state_ = State::kStart;
  const Octet* at_ = nullptr;
  const Octet* end_ = nullptr;
  char* start_ = nullptr;  // where the writer's room begins
  char* to_ = nullptr;
};

// Room for all that is left; without it nothing is left.
void Encoder::Begin() {
  start_ = to_ = out_.Reserve(Room(left()));
  if (to_ == nullptr) end_ = at_;
}

void Encoder::Single(Octet c) {
  if (c < 0x80 || !mark_) {
    *to_++ = static_cast<char>(c);
    return;
  }
  End();
  out_.Write(*mark_);
  Begin();
}

// A byte of single-byte text, with the ASCII behind it in one piece; or nothing, when a character
// begins here.
void Encoder::Text() {
  const bool first = state_ == State::kStart;
  if (Character() || (IsHalfWidthKana(*at_) && !first)) {
    state_ = State::kPending;
    return;
  }
  state_ = State::kJudge;
  Single(*at_++);
  const std::size_t run = CopyRun(Ascii(), reinterpret_cast<const char*>(at_), left(), left(), to_);
  at_ += run;
  to_ += run;
}

// The character here, with those behind it, and what is to follow; two bytes are left to judge
// that, save at the end. A last byte is single whatever it is.
void Encoder::Double(bool last) {
  if (state_ == State::kPending) Append(kIn);
  state_ = State::kDouble;
  if (IsHalfWidthKana(*at_)) {
    const WideKana kana = WideKanaOf(at_[0], left() > 1 ? at_[1] : Octet{0});
    const OctetPair jis = JisOf(kana.pair);
    *to_++ = static_cast<char>(jis.first);
    *to_++ = static_cast<char>(jis.second);
    at_ += kana.took_mark ? 2 : 1;
  } else {
    const std::size_t pairs = JisRunOf(at_, (left() - (last ? 0 : 2)) / 2, to_);
    at_ += 2 * pairs;
    to_ += 2 * pairs;
  }
  if (left() >= 2 && (Character() || IsHalfWidthKana(*at_))) return;
  Append(kOut);
  state_ = State::kJudge;
  if (left() > 0) Single(*at_++);
}

std::size_t Encoder::Take(std::string_view bytes, bool last) {
  const Octet* const first = at_ = reinterpret_cast<const Octet*>(bytes.data());
  end_ = at_ + bytes.size();
  const std::size_t wanted = last ? 1 : kLookAhead;
  Begin();
  while (left() >= wanted) {
    const bool text = state_ == State::kStart || state_ == State::kJudge;
    if (text) {
      Text();
    } else {
      Double(last);
    }
  }
  if (to_ != nullptr) End();
  return static_cast<std::size_t>(at_ - first);
}

}  // namespace

bool ShiftJisToJis(LineReader& in, std::optional<std::string_view> invalid_mark, FileWriter& out) {
  Encoder encoder(invalid_mark, out);
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    if (window.empty()) return !out.failed();
    const std::string_view piece = window.substr(0, kAtOnce);
    in.Consume(encoder.Take(piece, window.size() < kBlock && piece.size() == window.size()));
    if (out.failed()) return false;
  }
}

}  // namespace qob
