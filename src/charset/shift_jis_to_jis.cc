// A byte that cannot begin a two-byte character, or has no byte behind it, is written alone and the
// next one is judged afresh: damage never shifts what follows it.
#include "charset/shift_jis_to_jis.h"

#include <algorithm>
#include <cstring>

#include "charset/shift_jis.h"

namespace qob {
namespace {

constexpr char kIn[] = {0x1B, '$', 'B'};
constexpr char kOut[] = {0x1B, '(', 'J'};
// Each step looks at no more than this many bytes.
constexpr std::size_t kLookAhead = 4;
constexpr std::size_t kBlock = LineReader::kBlockSize / 2;
constexpr std::size_t kRun = 16 * 1024;

class Encoder {
 public:
  Encoder(std::optional<std::string_view> mark, FileWriter& out) : mark_(mark), out_(out) {}

  // Takes what can be judged of `bytes`, all of it when they are the last. The count taken.
  std::size_t Take(std::string_view bytes, bool last);

 private:
  enum class State { kStart, kJudge, kPending, kDouble };

  bool CharacterAt(std::size_t at) const {
    return at + 1 < bytes_.size() && IsShiftJisLead(At(at)) && IsShiftJisTrail(At(at + 1));
  }
  bool KanaAt(std::size_t at) const { return IsHalfWidthKana(At(at)); }
  Octet At(std::size_t at) const { return static_cast<Octet>(bytes_[at]); }
  std::size_t Judge(std::size_t at);
  std::size_t Double(std::size_t at, bool last);
  std::size_t Pairs(std::size_t at, bool last);
  void WriteSingle(Octet c);
  void WriteJis(OctetPair shift_jis);

  std::optional<std::string_view> mark_;
  FileWriter& out_;
  State state_ = State::kStart;
  std::string_view bytes_;
};

void Encoder::WriteSingle(Octet c) {
  if (c < 0x80 || !mark_) {
    out_.Put(static_cast<char>(c));
  } else {
    out_.Write(*mark_);
  }
}

void Encoder::WriteJis(OctetPair shift_jis) {
  const OctetPair jis = JisOf(shift_jis);
  out_.Put(static_cast<char>(jis.first));
  out_.Put(static_cast<char>(jis.second));
}

// A byte of single-byte text, with the plain bytes behind it in one piece; or nothing, when a
// character begins here.
std::size_t Encoder::Judge(std::size_t at) {
  const bool first = state_ == State::kStart;
  if (CharacterAt(at) || (KanaAt(at) && !first)) {
    state_ = State::kPending;
    return at;
  }
  state_ = State::kJudge;
  WriteSingle(At(at++));
  std::size_t end = at;
  while (end < bytes_.size() && At(end) < 0x80) ++end;
  out_.Write(bytes_.substr(at, end - at));
  return end;
}

// Plain two-byte characters in one piece. Two bytes are left to judge what follows, save at the
// end.
std::size_t Encoder::Pairs(std::size_t at, bool last) {
  const std::size_t most = std::min((bytes_.size() - at - (last ? 0 : 2)) / 2, kRun);
  char* to = out_.Reserve(2 * most);
  if (to == nullptr) return at;  // the writer has failed and says so
  std::size_t done = 0;
  for (; done < most && CharacterAt(at); ++done, at += 2) {
    const OctetPair jis = JisOf({At(at), At(at + 1)});
    to[2 * done] = static_cast<char>(jis.first);
    to[2 * done + 1] = static_cast<char>(jis.second);
  }
  out_.Advance(2 * done);
  return at;
}

// The character at `at`, with those behind it, and what is to follow. A last byte is single
// whatever it is.
std::size_t Encoder::Double(std::size_t at, bool last) {
  if (state_ == State::kPending) out_.Write({kIn, sizeof kIn});
  state_ = State::kDouble;
  if (KanaAt(at)) {
    const WideKana kana = WideKanaOf(At(at), at + 1 < bytes_.size() ? At(at + 1) : Octet{0});
    WriteJis(kana.pair);
    at += kana.took_mark ? 2 : 1;
  } else {
    at = Pairs(at, last);
  }
  const std::size_t left = bytes_.size() - at;
  if (left >= 2 && (CharacterAt(at) || KanaAt(at))) return at;
  out_.Write({kOut, sizeof kOut});
  state_ = State::kJudge;
  if (left == 0) return at;
  WriteSingle(At(at));
  return at + 1;
}

std::size_t Encoder::Take(std::string_view bytes, bool last) {
  bytes_ = bytes;
  std::size_t at = 0;
  while (at < bytes.size() && (last || bytes.size() - at >= kLookAhead) && !out_.failed()) {
    const bool text = state_ == State::kStart || state_ == State::kJudge;
    at = text ? Judge(at) : Double(at, last);
  }
  return at;
}

}  // namespace

bool ShiftJisToJis(LineReader& in, std::optional<std::string_view> invalid_mark, FileWriter& out) {
  Encoder encoder(invalid_mark, out);
  for (;;) {
    if (!in.Fill(kBlock)) return false;
    const std::string_view window = in.window();
    if (window.empty()) return !out.failed();
    in.Consume(encoder.Take(window, window.size() < kBlock));
    if (out.failed()) return false;
  }
}

}  // namespace qob
