// What Open gives out: one opener's view of the connection that all openers share.
#pragma once
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "platform/store/connection.h"
#include "platform/store/record_file.h"

namespace qob::store {

class SharedFile final : public RecordFile {
 public:
  SharedFile(Connection* connection, bool read_only)
      : connection_(*connection), read_only_(read_only) {}
  ~SharedFile() override;

  const FileDescription& description() const override { return connection_.description(); }
  bool read_only() const override { return read_only_; }
  const Identity& identity() const override { return connection_.identity(); }
  bool is_spoilt() const override { return connection_.spoilt(); }
  bool HasItsLog() const override { return connection_.HasItsLog(); }

  Status Find(int index, Seek seek, std::string_view key, Entry* entry,
              std::span<std::byte> record) override;
  Status Next(int index, std::string_view key, std::int64_t number, Entry* entry,
              std::span<std::byte> record) override;
  Status Read(std::int64_t number, int index, Entry* entry, std::span<std::byte> record) override;
  Status Insert(std::span<const std::byte> record, Entry* entry) override;
  Status Update(Entry* entry, std::span<const std::byte> record) override;
  Status Delete(const Entry& entry) override;
  Status Count(std::int64_t* records) override;
  std::shared_ptr<const Image> CurrentImage() override;
  Status Snapshot(const std::function<bool(const Seen&)>& visit) override;

  Status AddMark(std::string_view name, std::uint32_t id) override;
  Status RemoveMark(std::string_view name, std::uint32_t id) override;
  Status NextMark(std::string_view name, std::int64_t behind, Mark* mark) override;
  Status HasMark(std::uint32_t id, bool* found) override;
  Status AllMarks(const std::function<bool(const Mark&)>& visit) override;
  Status PutNote(std::uint32_t id, std::string_view bytes) override;
  Status GetNote(std::uint32_t id, std::string* bytes) override;
  Status RemoveNote(std::uint32_t id) override;
  Status AllNotes(const std::function<bool(std::uint32_t)>& visit) override;

  Status Check(std::string* problem, const std::function<bool(std::int64_t)>& progress) override;
  Status Checkpoint() override;

 private:
  Status Begin() override;
  Status Commit() override;
  void Rollback() override;

  // work() inside a stay; nothing thrown leaves.
  template <class Work>
  Status Reading(Work&& work);
  template <class Work>
  Status Writing(Work&& work);
  const KeyDescription& KeyOf(int index) const {
    return description().keys[static_cast<std::size_t>(index)];
  }
  Status JudgeRead(int index, std::span<const std::byte> record) const;

  Connection& connection_;
  const bool read_only_;
};

}  // namespace qob::store
