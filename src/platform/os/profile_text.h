// The text of one profile file, parsed once and indexed: a look-up touches a few table slots, never
// the whole file.
//
// A line ends at LF, CR or CR LF. White space before it is skipped; a ';' then makes it a comment.
// "[name]" (up to the first ']') begins a section. Any other line with a '=' is an entry; the key
// stands before the first '='. Of sections and keys of the same name (ASCII case ignored) the first
// one counts. Blanks and tabs around a value do not belong to it, and neither does one pair of
// equal quotes around it.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qob::os {

class ProfileText {
 public:
  // Takes any bytes; more than kLimit of them are not accepted by the callers.
  explicit ProfileText(std::string text);
  ProfileText(const ProfileText&) = delete;
  ProfileText& operator=(const ProfileText&) = delete;

  static constexpr std::size_t kLimit = std::size_t{64} << 20;

  // False when there is no such entry.
  bool Find(std::string_view section, std::string_view key, std::string_view* value) const;
  // The entry spelled exactly like key; else the first one in another case that is not spelled
  // exactly like `other`.
  bool FindExact(std::string_view section, std::string_view key, std::string_view other,
                 std::string_view* value) const;
  // All section names, in order, repeated ones too; empty names are left out.
  std::vector<std::string_view> Sections() const;
  // The keys of the (first) section of that name, in the same way.
  std::vector<std::string_view> Keys(std::string_view section) const;

 private:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  struct Span {
    std::uint32_t start = 0;
    std::uint32_t size = 0;
  };
  struct Section {
    Span name;
    std::uint32_t first_entry = 0;
    std::uint32_t end_entry = 0;
  };
  struct Entry {
    Span key;
    Span value;
    std::uint32_t next_same =
        kNone;  // next entry of that section whose key differs in case at most
  };

  void Parse();
  void TakeLine(std::string_view line);
  void Index();
  Span SpanOf(std::string_view part) const;
  std::string_view View(Span span) const { return {text_.data() + span.start, span.size}; }
  std::uint32_t FindSection(std::string_view name) const;
  std::uint32_t FindEntry(std::uint32_t section, std::string_view key) const;

  std::string text_;
  std::vector<Section> sections_;
  std::vector<Entry> entries_;
  // Open addressing; a slot holds a place in sections_ or entries_.
  std::vector<std::uint32_t> section_slots_;
  std::vector<std::uint32_t> entry_slots_;
};

// The text with one change made to it: value null removes the key, key null the section.
std::string EditProfile(std::string_view text, std::string_view section,
                        const std::string_view* key, const std::string_view* value);

}  // namespace qob::os
