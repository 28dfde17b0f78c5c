// What a record manager does, written without any cleverness: all records in a map, every question
// answered by looking at all of them. The opposite number of BTRCALL in tests; shares no code with
// it.
#pragma once
#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "btrieve_support.h"

namespace qob::testing {

class ModelFile {
 public:
  explicit ModelFile(int cursors) : cursors_(static_cast<std::size_t>(cursors)) {}

  // `assigned`: the number that the real file gave to the record of a successful insert.
  Answer Do(const Command& command, std::int64_t assigned = 0) {
    Place& place = cursors_[static_cast<std::size_t>(command.cursor)];
    switch (command.operation) {
      case kCopyBlock:
        place = cursors_[static_cast<std::size_t>(command.from)];
        return {0, {}};
      case B_OPEN:
        place = {};
        place.opened = ++opens_;
        open_.insert(place.opened);
        return {0, {}};
      default:
        break;
    }
    if (open_.count(place.opened) == 0) return {3, {}};
    switch (command.operation) {
      case B_CLOSE:
        open_.erase(place.opened);
        return {0, {}};
      case B_INSERT:
        return Insert(command, &place, assigned);
      case B_UPDATE:
        return Update(command, &place);
      case B_DELETE:
        return Delete(command, &place);
      case B_GET_POSITION:
        return Position(place);
      case B_GET_DIRECT:
        return Direct(command, &place);
      case B_GET_NEXT:
        return Next(command, &place);
      default:
        return Seek(command, &place);
    }
  }

  std::size_t size() const { return records_.size(); }
  bool HasNumber(std::int64_t number) const { return records_.count(number) != 0; }

 private:
  struct Record {
    std::string bytes;
    std::int64_t version = 0;
  };
  using Key = std::pair<std::int64_t, std::string>;  // one of both is unused
  using Spot = std::pair<Key, std::int64_t>;         // in an index: key, then record number
  struct Place {
    int opened = 0;
    bool stands = false;
    bool deleted_here = false;
    int index = 0;
    Spot spot;
    std::int64_t version = 0;
  };
  static constexpr std::size_t kKeptOfAKey = 80;

  static Key TextKey(int index, std::string text) {
    text = text.c_str();
    if (index == 0) {
      for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return {0, text};
  }
  static Key NumberKeyOf(std::string_view bytes) {
    return {static_cast<std::int32_t>(Read32(bytes, 0)), ""};
  }
  static Key KeyOf(int index, const std::string& record) {
    if (index == 1) return NumberKeyOf(std::string_view(record).substr(kNumberAt));
    return index == 0 ? TextKey(0, record.substr(0, kNameBytes))
                      : TextKey(2, record.substr(kTextAt, kTextBytes));
  }
  static bool HasIndex(const Command& command) {
    return command.key_number >= 0 && command.key_number <= 2;
  }

  std::vector<Spot> Sorted(int index) const {
    std::vector<Spot> all;
    for (const auto& [number, record] : records_)
      all.push_back({KeyOf(index, record.bytes), number});
    std::sort(all.begin(), all.end());
    return all;
  }
  Answer StandOn(int index, const Spot& spot, Place* place) const {
    const Record& record = records_.at(spot.second);
    *place = {place->opened, true, false, index, spot, record.version};
    return {0, record.bytes};
  }
  static Answer Lost(int status, Place* place) {
    place->stands = false;
    return {status, {}};
  }

  Answer Insert(const Command& command, Place* place, std::int64_t assigned) {
    if (!HasIndex(command)) return {6, {}};
    records_[assigned] = {command.data, ++versions_};
    return StandOn(command.key_number, {KeyOf(command.key_number, command.data), assigned}, place);
  }
  int Changeable(const Command& command, const Place& place) const {
    if (!HasIndex(command)) return 6;
    if (!place.stands || place.deleted_here) return 8;
    const auto found = records_.find(place.spot.second);
    return found == records_.end() || found->second.version != place.version ? 80 : 0;
  }
  Answer Update(const Command& command, Place* place) {
    const int status = Changeable(command, *place);
    if (status != 0) return {status, {}};
    place->version = ++versions_;
    records_[place->spot.second] = {command.data, place->version};
    return {0, command.data};
  }
  Answer Delete(const Command& command, Place* place) {
    const int status = Changeable(command, *place);
    if (status != 0) return {status, {}};
    records_.erase(place->spot.second);
    place->deleted_here = true;
    return {0, {}};
  }
  Answer Position(const Place& place) const {
    if (!place.stands || place.deleted_here) return {8, {}};
    std::string bytes(4, '\0');
    Put32(&bytes, 0, static_cast<std::uint32_t>(place.spot.second));
    return {0, bytes};
  }
  Answer Direct(const Command& command, Place* place) const {
    if (!HasIndex(command)) return {6, {}};
    const std::int64_t number = Read32(command.data, 0);
    const auto found = records_.find(number);
    if (found == records_.end()) return Lost(4, place);
    return StandOn(command.key_number, {KeyOf(command.key_number, found->second.bytes), number},
                   place);
  }
  Answer Next(const Command& command, Place* place) const {
    if (!HasIndex(command)) return {6, {}};
    if (!place->stands) return {8, {}};
    if (place->index != command.key_number) return {7, {}};
    const std::string& text = place->spot.first.second;
    if (text.size() > kKeptOfAKey) {
      const auto found = records_.find(place->spot.second);
      if (found == records_.end() || KeyOf(place->index, found->second.bytes).second != text) {
        return {82, {}};
      }
    }
    for (const Spot& spot : Sorted(place->index)) {
      if (spot > place->spot) return StandOn(place->index, spot, place);
    }
    return {9, {}};
  }
  Answer Seek(const Command& command, Place* place) const {
    if (!HasIndex(command)) return {6, {}};
    const int index = command.key_number;
    Key key;
    if (command.operation != B_GET_FIRST) {
      key = index == 1 ? NumberKeyOf(command.key) : TextKey(index, command.key);
    }
    for (const Spot& spot : Sorted(index)) {
      const bool fits = command.operation == B_GET_FIRST ||
                        (command.operation == B_GET_EQUAL && spot.first == key) ||
                        (command.operation == B_GET_GREATER && spot.first > key) ||
                        (command.operation == B_GET_GREATER_OR_EQUAL && spot.first >= key);
      if (fits) return StandOn(index, spot, place);
    }
    return Lost(command.operation == B_GET_EQUAL ? 4 : 9, place);
  }

  std::map<std::int64_t, Record> records_;
  std::vector<Place> cursors_;
  std::set<int> open_;
  int opens_ = 0;
  std::int64_t versions_ = 0;
};

}  // namespace qob::testing
