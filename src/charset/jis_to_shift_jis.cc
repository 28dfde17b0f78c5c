// The text is looked at through the reader's window, of which each step wants a few bytes; only the
// search for the end of a damaged run may go further, and then it reads on and comes back.
#include "charset/jis_to_shift_jis.h"

#include <algorithm>
#include <string_view>

#include "charset/byte_run.h"
#include "charset/shift_jis.h"

namespace qob {
namespace {

constexpr Octet kEscape = 0x1B;
constexpr std::size_t kBlock = LineReader::kBlockSize / 2;
// An escape sequence and the pair behind it.
constexpr std::size_t kLookAhead = 5;

constexpr std::size_t kAtOnce = 16 * 1024;

// Single-byte text: up to an escape, a CR and, with the repair, a dollar sign.
struct PlainText {
  const Octet dollar;  // a CR once more without the repair

  bool Ends(Octet c) const { return c == kEscape || c == '\r' || c == dollar; }
#if defined(__SSE2__)
  RunBlock Ends(RunBlock block) const {
    return Either(Equal(block, kEscape),
                  Either(Equal(block, '\r'), Equal(block, static_cast<char>(dollar))));
  }
#endif
};

// Bytes of the text that are left, through the reader's window.
class Source {
 public:
  Source(LineReader& in, std::int64_t left) : in_(in), left_(left) {}

  // At least `wanted` bytes in view, fewer only at the end.
  bool See(std::size_t wanted) {
    if (view_.size() >= wanted) return true;
    GiveBack();
    ok_ = in_.Fill(kBlock);
    view_ = in_.window();
    if (static_cast<std::int64_t>(view_.size()) > left_) {
      view_ = view_.substr(0, static_cast<std::size_t>(left_));
    }
    return ok_;
  }
  std::string_view view() const { return view_; }
  Octet At(std::size_t at) const { return static_cast<Octet>(view_[at]); }
  bool Has(std::size_t at) const { return at < view_.size(); }
  void Take(std::size_t count) {
    view_.remove_prefix(count);
    taken_ += count;
    left_ -= static_cast<std::int64_t>(count);
  }
  const Octet* data() const { return reinterpret_cast<const Octet*>(view_.data()); }

  struct Place {
    std::int64_t position;
    std::int64_t left;
  };
  Place Here() {
    GiveBack();
    return {in_.position(), left_};
  }
  bool Return(const Place& place) {
    taken_ = 0;
    left_ = place.left;
    view_ = {};
    ok_ = in_.Seek(place.position);
    return ok_;
  }
  bool ok() const { return ok_; }

 private:
  // The reader learns now and then what was taken.
  void GiveBack() {
    in_.Consume(taken_);
    taken_ = 0;
  }

  LineReader& in_;
  std::int64_t left_;
  std::string_view view_;
  std::size_t taken_ = 0;  // in front of the view
  bool ok_ = true;
};

class Decoder {
 public:
  Decoder(LineReader& in, std::int64_t byte_count, bool repair, FileWriter& out)
      : source_(in, byte_count),
        plain_{static_cast<Octet>(repair ? '$' : '\r')},
        repair_(repair),
        out_(out) {}

  bool Run();

 private:
  // A byte that a sequence may swallow: not a line end, and there.
  bool Droppable(std::size_t at) const {
    return source_.Has(at) && source_.At(at) != '\r' && source_.At(at) != '\n' &&
           source_.At(at) != '\0';
  }
  bool PairAt(std::size_t at) const {
    return source_.Has(at + 1) && IsJis(source_.At(at)) && IsJis(source_.At(at + 1));
  }
  bool LineEndAt(std::size_t at) const {
    return source_.At(at) == '\r' && (!source_.Has(at + 1) || source_.At(at + 1) == '\n');
  }
  // One step each, from the first byte in view on.
  void Escape();
  void KanjiIn();
  void LeaveBy(std::size_t dropped);
  void Return();
  void Plain();
  void Pairs();
  void Dollar();
  bool FindLostOut(std::int64_t* pairs, std::size_t* marker);
  std::size_t MarkerAt(std::size_t at) const;
  void ConvertPairs(std::int64_t count);
  void RestOfLine();
  void Copy(std::size_t count) {
    out_.Write(source_.view().substr(0, count));
    source_.Take(count);
  }

  Source source_;
  const PlainText plain_;
  bool repair_;
  FileWriter& out_;
  bool double_ = false;
};

// A byte of single-byte text with what follows up to the next one that means something.
void Decoder::Plain() {
  const std::string_view view = source_.view();
  const std::size_t size = std::min(view.size(), kAtOnce);
  char* to = out_.Reserve(size + kRunOverhang);
  if (to == nullptr) return;
  *to = view[0];
  const std::size_t run = 1 + CopyRun(plain_, view.data() + 1, size - 1, size - 1, to + 1);
  out_.Advance(run);
  source_.Take(run);
}

void Decoder::Pairs() {
  if (!PairAt(0)) return Copy(1);
  ConvertPairs(INT64_MAX);
}

// As many pairs as there are, at most `count`.
void Decoder::ConvertPairs(std::int64_t count) {
  while (count > 0 && source_.See(2)) {
    const std::int64_t whole = static_cast<std::int64_t>(source_.view().size() / 2);
    const std::size_t most = std::min(static_cast<std::size_t>(std::min(count, whole)), kAtOnce);
    char* to = out_.Reserve(2 * most);
    if (to == nullptr) return;
    const std::size_t done = ShiftJisRunOf(source_.data(), most, to);
    out_.Advance(2 * done);
    source_.Take(2 * done);
    count -= static_cast<std::int64_t>(done);
    if (done == 0 || done < most) return;
  }
}

void Decoder::KanjiIn() {
  if (!Droppable(2)) return source_.Take(2);
  if (source_.At(2) == 'B' || source_.At(2) == '@') double_ = true;
  source_.Take(3);
}

// Drops what a sequence holds; the byte behind it stands for itself, whatever it is.
void Decoder::LeaveBy(std::size_t dropped) {
  double_ = false;
  source_.Take(dropped);
  if (dropped == 2 && source_.Has(0) && source_.At(0) != '\r') Copy(1);
}

void Decoder::Escape() {
  if (!source_.Has(1)) return LeaveBy(1);
  if (source_.At(1) == '$') return KanjiIn();
  if (source_.At(1) != '(') return LeaveBy(Droppable(1) ? 2 : 1);
  if (!Droppable(2)) return source_.Take(2);
  if (source_.At(2) == 'B' || source_.At(2) == 'J') double_ = false;
  source_.Take(3);
}

void Decoder::Return() {
  if (!LineEndAt(0)) return Copy(1);
  out_.Write("\r\n");
  source_.Take(std::min<std::size_t>(2, source_.view().size()));
}

// Length of the kanji-out at `at`, with or without its escape character; 0 when there is none.
std::size_t Decoder::MarkerAt(std::size_t at) const {
  const std::size_t escape = source_.Has(at) && source_.At(at) == kEscape ? 1 : 0;
  const std::size_t last = at + escape + 1;
  if (!source_.Has(last) || source_.At(last - 1) != '(') return 0;
  return source_.At(last) == 'B' || source_.At(last) == 'J' ? escape + 2 : 0;
}

// From the first byte behind "$B" on, which are taken: pairs up to a kanji-out. Comes back to where
// it began.
bool Decoder::FindLostOut(std::int64_t* pairs, std::size_t* marker) {
  const Source::Place start = source_.Here();
  *pairs = 0;
  bool found = false;
  bool moved = false;
  std::size_t at = 0;
  while (!found) {
    if (at + 3 > source_.view().size()) {
      if (at > 0) {
        source_.Take(at);
        moved = true;
        at = 0;
      }
      if (!source_.See(3)) break;
    }
    *marker = *pairs > 0 ? MarkerAt(at) : 0;
    found = *marker != 0;
    if (found || !PairAt(at)) break;
    ++*pairs;
    at += 2;
  }
  if (moved && !source_.Return(start)) return false;
  return found && source_.ok();
}

// To the line's end, which a CR makes CR LF.
void Decoder::RestOfLine() {
  while (source_.See(2) && source_.Has(0)) {
    const std::string_view view = source_.view();
    std::size_t end = 0;
    while (end < view.size() && view[end] != '\n' && view[end] != '\r') ++end;
    if (end > 0) {
      Copy(end);
      continue;
    }
    const bool stop = view[0] == '\n' || LineEndAt(0);
    if (view[0] == '\r') {
      Return();
    } else {
      Copy(1);
    }
    if (stop) return;
  }
}

void Decoder::Dollar() {
  if (!source_.Has(1) || (source_.At(1) != 'B' && source_.At(1) != '@')) return Copy(1);
  const char opening[] = {'$', static_cast<char>(source_.At(1))};
  source_.Take(2);
  std::int64_t pairs = 0;
  std::size_t marker = 0;
  if (FindLostOut(&pairs, &marker)) {
    ConvertPairs(pairs);
    if (source_.See(marker)) source_.Take(marker);
    return;
  }
  out_.Write({opening, 2});
  RestOfLine();
}

bool Decoder::Run() {
  while (source_.See(kLookAhead) && source_.Has(0) && !out_.failed()) {
    const Octet c = source_.At(0);
    if (c == kEscape) {
      Escape();
    } else if (c == '\r') {
      Return();
    } else if (double_) {
      Pairs();
    } else if (c == '$' && repair_) {
      Dollar();
    } else {
      Plain();
    }
  }
  return source_.ok() && !out_.failed();
}

}  // namespace

bool JisToShiftJis(LineReader& in, std::int64_t byte_count, bool repair, FileWriter& out) {
  return Decoder(in, byte_count, repair, out).Run();
}

}  // namespace qob
