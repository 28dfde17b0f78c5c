// A call's stay in the connection, and the guard around it.
#pragma once
#include <new>

#include "platform/store/connection.h"
#include "platform/store/shared_file.h"

namespace qob::store {

class Stay {
 public:
  Stay(Connection& connection, bool write)
      : connection_(connection), write_(write), status_(connection.Enter(write)) {}
  ~Stay() {
    if (status_ == kOk) connection_.Leave(write_);
  }
  Stay(const Stay&) = delete;
  Stay& operator=(const Stay&) = delete;
  Status status() const { return status_; }

 private:
  Connection& connection_;
  bool write_;
  Status status_;
};

// What is shown belongs to one moment; a change by the one who looks would blur it.
class Show {
 public:
  explicit Show(Connection& connection) : connection_(connection) { connection_.Showing(true); }
  ~Show() { connection_.Showing(false); }
  Show(const Show&) = delete;
  Show& operator=(const Show&) = delete;

 private:
  Connection& connection_;
};

template <class Work>
Status InStay(Connection& connection, bool write, Work&& work) {
  try {
    const Stay stay(connection, write);
    return stay.status() == kOk ? work() : stay.status();
  } catch (const std::bad_alloc&) {
    return kNoMemory;
  }
}

template <class Work>
Status SharedFile::Reading(Work&& work) {
  return InStay(connection_, false, work);
}

template <class Work>
Status SharedFile::Writing(Work&& work) {
  return read_only_ ? kNoPermission : InStay(connection_, true, work);
}

}  // namespace qob::store
