// The relation library's face: checks what it is given and hands it to the object behind.
#include <qobplatform/tessera.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <span>

#include "platform/store/description.h"
#include "platform/tessera/index_file.h"
#include "platform/tessera/relation.h"

namespace store = qob::store;
namespace tessera = qob::tessera;

// A session has nothing of its own: what is open is known to the whole process.
tesseraBase::tesseraBase() : impl(nullptr) { static_cast<void>(impl); }
tesseraBase::~tesseraBase() = default;

struct tesRel::Impl {
  tessera::Relation relation;
};

tesRel::tesRel(tesseraBase&, const char* directory, const char* name)
    : impl(new (std::nothrow) Impl) {
  if (impl == nullptr) return;
  impl->relation.Open(directory == nullptr ? "" : directory, name == nullptr ? "" : name);
}

tesRel::~tesRel() { delete impl; }

dbError tesRel::status() const {
  return impl == nullptr ? store::kNoMemory : impl->relation.status();
}

dbError tesRel::attach(int32_t index) {
  if (status() != store::kOk) return status();
  return impl->relation.Attach(index, {static_cast<std::byte*>(record()), recordSize()});
}

dbError tesRel::lock(bool shared, uint32_t timeout) {
  return impl == nullptr ? store::kNoMemory : impl->relation.Lock(shared, timeout);
}

dbError tesRel::unlock() { return impl == nullptr ? store::kNoMemory : impl->relation.Unlock(); }

dbError tesRel::begin(int32_t index) {
  return impl == nullptr ? store::kNoMemory : impl->relation.Begin(index);
}

dbError tesRel::end() { return impl == nullptr ? store::kNoMemory : impl->relation.End(); }

dbError tesRel::first() { return impl == nullptr ? store::kNoMemory : impl->relation.First(); }

dbError tesRel::next() { return impl == nullptr ? store::kNoMemory : impl->relation.Next(); }

dbError tesRel::get(int32_t index) {
  return impl == nullptr ? store::kNoMemory : impl->relation.Get(index);
}

dbError tesRel::find() { return impl == nullptr ? store::kNoMemory : impl->relation.Find(); }

dbError tesRel::add() { return impl == nullptr ? store::kNoMemory : impl->relation.Add(); }

dbError tesRel::put() { return impl == nullptr ? store::kNoMemory : impl->relation.Put(); }

dbError tesRel::del() { return impl == nullptr ? store::kNoMemory : impl->relation.Delete(); }

dbError tesRel::create(const char* directory, const char* name, uint32_t recordSize,
                       uint32_t keyOffset, uint32_t keyLength, bool duplicates) {
  if (directory == nullptr || name == nullptr) return store::kBadFileName;
  constexpr uint32_t kMost = std::numeric_limits<std::uint16_t>::max();
  if (recordSize > kMost || keyOffset >= recordSize || keyLength > recordSize - keyOffset) {
    return store::kNotAllowed;
  }
  try {
    return tessera::OpenRelation::Create(
        directory, name,
        tessera::RelationDescription(static_cast<std::uint16_t>(recordSize),
                                     static_cast<std::uint16_t>(keyOffset),
                                     static_cast<std::uint16_t>(keyLength), duplicates));
  } catch (const std::bad_alloc&) {
    return store::kNoMemory;
  }
}
