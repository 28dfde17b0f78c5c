// The auditor: reads a store by every way there is and lets the ways contradict each other.
#include <cstring>
#include <map>
#include <tuple>

#include "crash/ledger.h"

namespace qob::crash {
namespace {

using store::Entry;
using store::Mark;
using store::RecordFile;
using store::Seek;
using store::Status;

using Record = std::array<std::byte, kRecordBytes>;

std::string Number(std::int64_t number) { return std::to_string(number); }

class Auditor {
 public:
  Auditor(RecordFile& file, std::span<Standing> found) : file_(file), found_(found) {}

  std::string Run() {
    for (Standing& one : found_) one = {};
    for (const auto step : {&Auditor::TakeSnapshot, &Auditor::CompareCount, &Auditor::WalkIndexes,
                            &Auditor::LookUpEach, &Auditor::JudgeRecords, &Auditor::JudgeMarks,
                            &Auditor::JudgeNotes, &Auditor::CheckFile}) {
      if (std::string wrong = (this->*step)(); !wrong.empty()) return wrong;
    }
    return "";
  }

 private:
  std::string TakeSnapshot() {
    std::string wrong;
    std::int64_t last = 0;
    const Status status = file_.Snapshot([&](const RecordFile::Seen& seen) {
      if (!seen.ok) wrong = "snapshot: damaged record " + Number(seen.number);
      if (seen.number <= last) wrong = "snapshot: number " + Number(seen.number) + " out of order";
      last = seen.number;
      if (wrong.empty()) std::memcpy(&records_[seen.number], seen.record.data(), kRecordBytes);
      return wrong.empty();
    });
    return status != store::kOk ? "snapshot gives " + Number(status) : wrong;
  }

  std::string CompareCount() {
    std::int64_t count = 0;
    if (const Status status = file_.Count(&count); status != store::kOk) {
      return "count gives " + Number(status);
    }
    return count == static_cast<std::int64_t>(records_.size()) ? "" : "count is another";
  }

  std::string WalkIndexes() {
    for (int index = 0; index < kIndexes; ++index) {
      if (std::string wrong = Walk(index); !wrong.empty()) {
        return "index " + Number(index) + ": " + wrong;
      }
    }
    return "";
  }

  std::string Walk(int index) {
    const auto& key = file_.description().keys[static_cast<std::size_t>(index)];
    Entry entry;
    Record record{};
    std::size_t met = 0;
    std::tuple<std::string, std::int64_t> last{"", 0};
    Status status = file_.Find(index, Seek::kFirst, "", &entry, record);
    for (; status == store::kOk; ++met) {
      const auto known = records_.find(entry.number);
      if (known == records_.end()) return "meets unknown record " + Number(entry.number);
      if (known->second != record) return "other bytes of record " + Number(entry.number);
      if (entry.key != store::IndexKeyOf(key, record)) return "other key of record";
      if (std::tuple(entry.key, entry.number) <= last) return "out of order or met twice";
      last = {entry.key, entry.number};
      status = file_.Next(index, std::get<0>(last), std::get<1>(last), &entry, record);
    }
    if (status != store::kEndOfFile) return "ends with " + Number(status);
    return met == records_.size() ? "" : "meets " + Number(static_cast<std::int64_t>(met));
  }

  std::string LookUpEach() {
    for (const auto& [number, expected] : records_) {
      Entry entry;
      Record record{};
      Status status = file_.Read(number, 0, &entry, record);
      if (status != store::kOk || record != expected) return "cannot read " + Number(number);
      status = file_.Find(0, Seek::kEqual, std::string(entry.key), &entry, record);
      if (status != store::kOk || entry.number != number || record != expected) {
        return "cannot find " + Number(number);
      }
    }
    return "";
  }

  // Every record is one that a writer wrote, in all its bytes, and no key stands twice.
  std::string JudgeRecords() {
    for (const auto& [number, record] : records_) {
      std::uint32_t named[3];  // writer, slot, version
      std::memcpy(named, record.data() + 288, sizeof named);
      if (named[0] >= found_.size() || named[1] >= kSlots || named[2] == 0 ||
          record != RecordOf(static_cast<int>(named[0]), static_cast<int>(named[1]), named[2])) {
        return "record " + Number(number) + " is none that was written";
      }
      std::uint32_t& standing = found_[named[0]][0][named[1]];
      if (standing != 0) return "key of record " + Number(number) + " stands twice";
      standing = named[2];
    }
    return "";
  }

  std::string JudgeMarks() {
    std::map<std::pair<std::string, std::uint32_t>, std::int64_t> marks;
    std::string wrong;
    const Status status = file_.AllMarks([&](const Mark& mark) {
      if (!marks.emplace(std::pair(mark.name, mark.id), mark.order).second) wrong = "mark twice";
      return true;
    });
    if (status != store::kOk) return "marks give " + Number(status);
    std::size_t judged = 0;
    for (std::size_t writer = 0; writer < found_.size() && wrong.empty(); ++writer) {
      wrong = WalkMarks(static_cast<int>(writer), marks);
      for (std::size_t slot = 0; slot < kSlots && wrong.empty(); ++slot) {
        const std::uint32_t id = IdOf(static_cast<int>(writer), static_cast<int>(slot));
        const bool stands = marks.contains({MarkName(static_cast<int>(writer)), id});
        bool has = false;
        if (file_.HasMark(id, &has) != store::kOk || has != stands) wrong = "mark by id differs";
        found_[writer][1][slot] = stands ? 1 : 0;
        judged += stands ? 1 : 0;
      }
    }
    return wrong.empty() && judged != marks.size() ? "a mark that nobody made" : wrong;
  }

  std::string WalkMarks(int writer,
                        const std::map<std::pair<std::string, std::uint32_t>, std::int64_t>& all) {
    Mark mark;
    std::int64_t behind = 0;
    std::size_t met = 0;
    Status status = store::kOk;
    while ((status = file_.NextMark(MarkName(writer), behind, &mark)) == store::kOk) {
      const auto known = all.find({mark.name, mark.id});
      if (mark.order <= behind || known == all.end() || known->second != mark.order) {
        return "marks by name differ";
      }
      behind = mark.order;
      ++met;
    }
    std::size_t expected = 0;
    for (const auto& [mark_key, order] : all)
      expected += mark_key.first == MarkName(writer) ? 1 : 0;
    return status == store::kEndOfFile && met == expected ? "" : "marks by name are incomplete";
  }

  std::string JudgeNotes() {
    for (std::size_t writer = 0; writer < found_.size(); ++writer) {
      for (std::size_t slot = 0; slot < kSlots; ++slot) {
        const int w = static_cast<int>(writer);
        const int s = static_cast<int>(slot);
        std::string bytes;
        const Status status = file_.GetNote(IdOf(w, s), &bytes);
        if (status == store::kNotFound) continue;
        if (status != store::kOk) return "note gives " + Number(status);
        const auto version = static_cast<std::uint32_t>(std::strtoul(bytes.c_str(), nullptr, 10));
        if (version == 0 || bytes != NoteOf(w, s, version)) return "note is none that was written";
        found_[writer][2][slot] = version;
      }
    }
    return "";
  }

  std::string CheckFile() {
    std::string problem;
    const Status status = file_.Check(&problem, [](std::int64_t) { return true; });
    if (status != store::kOk) return "check gives " + Number(status) + ": " + problem;
    return problem.empty() ? "" : "check finds: " + problem;
  }

  RecordFile& file_;
  std::span<Standing> found_;
  std::map<std::int64_t, Record> records_;
};

}  // namespace

std::string Audit(RecordFile& file, std::span<Standing> found) {
  return Auditor(file, found).Run();
}

}  // namespace qob::crash
