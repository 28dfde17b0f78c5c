#include "crash/ledger.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace qob::crash {
namespace {

using store::Entry;
using store::RecordFile;
using store::Seek;
using store::Status;

constexpr std::size_t kDirectoryAt = 16;
constexpr std::size_t kStateAt = 32;
constexpr std::size_t kNumbersAt = 288;
constexpr std::size_t kFillAt = 304;

std::span<const std::byte> Bytes(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

void PutText(std::span<std::byte> record, std::size_t at, std::string_view text) {
  std::memcpy(record.data() + at, text.data(), text.size());
}

void PutNumber(std::span<std::byte> record, std::size_t at, std::uint32_t number) {
  std::memcpy(record.data() + at, &number, sizeof number);
}

std::uint64_t SeedOf(int writer, int slot, std::uint32_t version) {
  return static_cast<std::uint64_t>(writer) << 48 | static_cast<std::uint64_t>(slot) << 32 |
         version;
}

Status Locate(RecordFile& file, int writer, int slot, Entry* entry, std::span<std::byte> record) {
  const std::string key = store::IndexKey(TrialDescription().keys[0], Bytes(KeyOf(writer, slot)));
  return file.Find(0, Seek::kEqual, key, entry, record);
}

Status ChangeRecord(RecordFile& file, int writer, const Change& change, std::uint32_t standing,
                    std::int64_t* number) {
  const auto wanted = RecordOf(writer, change.slot, change.version);
  Entry entry;
  if (standing == 0) {
    const Status status = file.Insert(wanted, &entry);
    *number = entry.number;
    return status;
  }
  std::array<std::byte, kRecordBytes> present{};
  if (const Status status = Locate(file, writer, change.slot, &entry, present);
      status != store::kOk) {
    return status;
  }
  return change.version == 0 ? file.Delete(entry) : file.Update(&entry, wanted);
}

Status ChangeMark(RecordFile& file, int writer, const Change& change) {
  const std::uint32_t id = IdOf(writer, change.slot);
  return change.version == 0 ? file.RemoveMark(MarkName(writer), id)
                             : file.AddMark(MarkName(writer), id);
}

Status ChangeNote(RecordFile& file, int writer, const Change& change) {
  const std::uint32_t id = IdOf(writer, change.slot);
  return change.version == 0 ? file.RemoveNote(id)
                             : file.PutNote(id, NoteOf(writer, change.slot, change.version));
}

Status ChangeOne(RecordFile& file, int writer, const Change& change, std::uint32_t standing,
                 std::int64_t* number) {
  switch (change.kind) {
    case Kind::kRecord:
      return ChangeRecord(file, writer, change, standing, number);
    case Kind::kMark:
      return ChangeMark(file, writer, change);
    case Kind::kNote:
      return ChangeNote(file, writer, change);
  }
  return store::kNotAllowed;
}

Status ChangeAll(RecordFile& file, int writer, const Work& work, Standing standing,
                 std::int64_t* number) {
  for (int i = 0; i < work.count; ++i) {
    const Change& change = work.changes[static_cast<std::size_t>(i)];
    const Status status = ChangeOne(file, writer, change, At(standing, change), number);
    if (status != store::kOk) return status;
    At(standing, change) = change.version;
  }
  return store::kOk;
}

Status Call(RecordFile& file, int writer, const Work& work, const Standing& standing,
            std::int64_t* number) {
  if (!work.transaction) return ChangeAll(file, writer, work, standing, number);
  store::Transaction transaction(file);
  if (transaction.begun() != store::kOk) return transaction.begun();
  const Status status = ChangeAll(file, writer, work, standing, number);
  if (status != store::kOk || work.undone) return status;
  return transaction.Commit();
}

}  // namespace

void Apply(const Work& work, Standing* standing) {
  for (int i = 0; i < work.count && !work.undone; ++i) {
    const Change& change = work.changes[static_cast<std::size_t>(i)];
    At(*standing, change) = change.version;
  }
}

store::FileDescription TrialDescription() {
  store::FileDescription description;
  description.record_bytes = kRecordBytes;
  description.index_count = kIndexes;
  description.keys = {{1, 16, 0x503, store::kTypeText, 0},
                      {17, 16, 0x103, store::kTypeText, 0},
                      {33, 255, 0x503, store::kTypeText, 0}};
  return description;
}

std::string KeyOf(int writer, int slot) {
  return "w" + std::to_string(writer) + "k" + std::to_string(slot);
}
std::string MarkName(int writer) { return "channel" + std::to_string(writer); }
std::uint32_t IdOf(int writer, int slot) {
  return static_cast<std::uint32_t>(writer) * 1000u + static_cast<std::uint32_t>(slot) + 1u;
}

// A third of it is zero runs, as in the records of a queue.
std::array<std::byte, kRecordBytes> RecordOf(int writer, int slot, std::uint32_t version) {
  std::array<std::byte, kRecordBytes> record{};
  Dice dice(SeedOf(writer, slot, version));
  PutText(record, 0, KeyOf(writer, slot));
  PutText(record, kDirectoryAt, "queue" + std::to_string(version % 4));
  if (version % 3 != 0) {
    PutText(record, kStateAt, std::string(static_cast<std::size_t>(dice.Below(250)), 's'));
  }
  PutNumber(record, kNumbersAt, static_cast<std::uint32_t>(writer));
  PutNumber(record, kNumbersAt + 4, static_cast<std::uint32_t>(slot));
  PutNumber(record, kNumbersAt + 8, version);
  for (std::size_t at = kFillAt; at < record.size();) {
    const std::size_t end =
        std::min(record.size(), at + 1 + static_cast<std::size_t>(dice.Below(200)));
    for (; at < end; ++at) record[at] = static_cast<std::byte>(dice.Next() | 1);
    at += static_cast<std::size_t>(dice.Below(100));
  }
  return record;
}

std::string NoteOf(int writer, int slot, std::uint32_t version) {
  Dice dice(SeedOf(writer, slot, version) ^ 0x5555);
  std::string note = std::to_string(version) + " ";
  note.resize(note.size() + static_cast<std::size_t>(dice.Below(900)));
  for (std::size_t at = note.find(' ') + 1; at < note.size(); ++at) {
    note[at] = static_cast<char>(dice.Next());
  }
  return note;
}

namespace {

Change InventChange(Dice& dice, Ledger& ledger, Standing* standing) {
  Change change;
  const int kind = dice.Below(10);
  change.kind = kind < 6 ? Kind::kRecord : kind < 8 ? Kind::kMark : Kind::kNote;
  change.slot = dice.Below(kSlots);
  const std::uint32_t now = At(*standing, change);
  const bool removes = now != 0 && (change.kind == Kind::kMark || dice.Below(3) == 0);
  change.version = removes ? 0 : change.kind == Kind::kMark ? 1 : ++ledger.version;
  At(*standing, change) = change.version;
  return change;
}

}  // namespace

Work Invent(Dice& dice, Ledger& ledger) {
  Work work;
  Standing standing = ledger.standing;
  work.transaction = dice.Below(3) == 0;
  work.undone = work.transaction && dice.Below(4) == 0;
  work.count = work.transaction ? 1 + dice.Below(Work::kMost) : 1;
  for (int i = 0; i < work.count; ++i) {
    work.changes[static_cast<std::size_t>(i)] = InventChange(dice, ledger, &standing);
  }
  return work;
}

Status Do(RecordFile& file, int writer, const Work& work, Ledger* ledger) {
  ledger->is_acknowledged = false;
  ledger->pending = work;
  ledger->has_pending = true;
  std::int64_t number = 0;
  const Status status = Call(file, writer, work, ledger->standing, &number);
  if (status != store::kOk) return status;
  ledger->is_acknowledged = true;
  ++ledger->acknowledged;
  if (number > ledger->last_number && !work.undone) ledger->last_number = number;
  Apply(work, &ledger->standing);
  ledger->has_pending = false;
  return store::kOk;
}

std::string Compare(const Standing& found, const Ledger& ledger) {
  Standing after = ledger.standing;
  const bool has_pending = ledger.has_pending;
  if (has_pending) Apply(ledger.pending, &after);
  const bool may_be_before = !has_pending || !ledger.is_acknowledged;
  if (found == after || (may_be_before && found == ledger.standing)) return "";
  std::string wrong = "not what was acknowledged:";
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
      const std::uint32_t before = ledger.standing[kind][slot];
      if (found[kind][slot] == before && before == after[kind][slot]) continue;
      wrong += " kind " + std::to_string(kind) + " slot " + std::to_string(slot) + " found " +
               std::to_string(found[kind][slot]) + ", before " + std::to_string(before) +
               ", after " + std::to_string(after[kind][slot]) + ";";
    }
  }
  return wrong + (has_pending ? " pending" : "") + (ledger.is_acknowledged ? " acknowledged" : "");
}

std::string Settle(const Standing& found, Ledger* ledger) {
  std::string wrong = Compare(found, *ledger);
  if (!wrong.empty()) return wrong;
  ledger->standing = found;
  ledger->has_pending = false;
  return "";
}

}  // namespace qob::crash
