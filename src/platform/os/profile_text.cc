#include "platform/os/profile_text.h"

#include <algorithm>
#include <utility>

#include "platform/os/ascii.h"
#include "platform/os/profile_lines.h"

namespace qob::os {
namespace {

// FNV-1a over the folded bytes; `seed` keeps equal keys of different sections apart.
std::uint32_t FoldHash(std::string_view text, std::uint32_t seed) {
  std::uint32_t hash = 2166136261u ^ (seed * 2654435761u);
  for (char c : text) {
    hash = (hash ^ ascii::Lower(static_cast<unsigned char>(c))) * 16777619u;
  }
  return hash;
}

std::size_t TableSize(std::size_t items) {
  std::size_t size = 8;
  while (size < items * 2) size *= 2;
  return size;
}

// Walks the slots from the hash on; ends at the one for which same(place) holds, or at an empty
// one.
template <class Same>
std::size_t Probe(const std::vector<std::uint32_t>& slots, std::uint32_t hash, std::uint32_t none,
                  Same&& same) {
  const std::size_t mask = slots.size() - 1;
  std::size_t at = hash & mask;
  while (slots[at] != none && !same(slots[at])) at = (at + 1) & mask;
  return at;
}

}  // namespace

ProfileText::ProfileText(std::string text) : text_(std::move(text)) {
  Parse();
  Index();
}

ProfileText::Span ProfileText::SpanOf(std::string_view part) const {
  if (part.empty()) return {};
  return {static_cast<std::uint32_t>(part.data() - text_.data()),
          static_cast<std::uint32_t>(part.size())};
}

void ProfileText::TakeLine(std::string_view line) {
  const ProfileLine what = ClassifyProfileLine(line);
  const std::uint32_t here = static_cast<std::uint32_t>(entries_.size());
  if (what.kind == ProfileLine::Kind::kSection) {
    sections_.push_back({SpanOf(what.name), here, here});
  } else if (what.kind == ProfileLine::Kind::kEntry && !sections_.empty()) {
    entries_.push_back({SpanOf(what.name), SpanOf(ProfileValue(what.value)), kNone});
    sections_.back().end_entry = here + 1;
  }
}

void ProfileText::Parse() {
  std::string_view rest = text_;
  rest.remove_prefix(ProfileMark(rest));
  while (!rest.empty()) {
    std::string_view end;
    TakeLine(TakeProfileLine(&rest, &end));
  }
}

void ProfileText::Index() {
  section_slots_.assign(TableSize(sections_.size()), kNone);
  entry_slots_.assign(TableSize(entries_.size()), kNone);
  std::vector<std::uint32_t> last_same(entries_.size());
  for (std::uint32_t s = 0; s < sections_.size(); ++s) {
    const Section& section = sections_[s];
    const std::size_t place =
        Probe(section_slots_, FoldHash(View(section.name), 0), kNone, [&](std::uint32_t other) {
          return ascii::EqualFold(View(sections_[other].name), View(section.name));
        });
    if (section_slots_[place] != kNone) continue;  // a later section of the same name is not seen
    section_slots_[place] = s;
    for (std::uint32_t e = section.first_entry; e < section.end_entry; ++e) {
      const std::string_view key = View(entries_[e].key);
      const std::size_t at =
          Probe(entry_slots_, FoldHash(key, s + 1), kNone, [&](std::uint32_t other) {
            return other >= section.first_entry && other < section.end_entry &&
                   ascii::EqualFold(View(entries_[other].key), key);
          });
      const std::uint32_t first = entry_slots_[at];
      if (first == kNone) {
        entry_slots_[at] = e;
        last_same[e] = e;
      } else {
        entries_[last_same[first]].next_same = e;
        last_same[first] = e;
      }
    }
  }
}

std::uint32_t ProfileText::FindSection(std::string_view name) const {
  return section_slots_[Probe(section_slots_, FoldHash(name, 0), kNone, [&](std::uint32_t s) {
    return ascii::EqualFold(View(sections_[s].name), name);
  })];
}

std::uint32_t ProfileText::FindEntry(std::uint32_t section, std::string_view key) const {
  const Section& range = sections_[section];
  return entry_slots_[Probe(entry_slots_, FoldHash(key, section + 1), kNone, [&](std::uint32_t e) {
    return e >= range.first_entry && e < range.end_entry &&
           ascii::EqualFold(View(entries_[e].key), key);
  })];
}

bool ProfileText::Find(std::string_view section, std::string_view key,
                       std::string_view* value) const {
  const std::uint32_t found = FindSection(ascii::Trim(section));
  if (found == kNone) return false;
  const std::uint32_t entry = FindEntry(found, ascii::Trim(key));
  if (entry == kNone) return false;
  *value = View(entries_[entry].value);
  return true;
}

bool ProfileText::FindExact(std::string_view section, std::string_view key, std::string_view other,
                            std::string_view* value) const {
  const std::uint32_t found = FindSection(ascii::Trim(section));
  if (found == kNone) return false;
  std::uint32_t loose = kNone;
  for (std::uint32_t e = FindEntry(found, key); e != kNone; e = entries_[e].next_same) {
    const std::string_view spelled = View(entries_[e].key);
    if (spelled == key) {
      *value = View(entries_[e].value);
      return true;
    }
    if (loose == kNone && spelled != other) loose = e;
  }
  if (loose == kNone) return false;
  *value = View(entries_[loose].value);
  return true;
}

std::vector<std::string_view> ProfileText::Sections() const {
  std::vector<std::string_view> names;
  for (const Section& section : sections_) {
    if (section.name.size > 0) names.push_back(View(section.name));
  }
  return names;
}

std::vector<std::string_view> ProfileText::Keys(std::string_view section) const {
  std::vector<std::string_view> keys;
  const std::uint32_t found = FindSection(ascii::Trim(section));
  if (found == kNone) return keys;
  for (std::uint32_t e = sections_[found].first_entry; e < sections_[found].end_entry; ++e) {
    if (entries_[e].key.size > 0) keys.push_back(View(entries_[e].key));
  }
  return keys;
}

}  // namespace qob::os
