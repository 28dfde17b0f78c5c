// The message pool: records, links and their release.
#include "mime/part_pool.h"

#include <bit>
#include <cstddef>
#include <cstdlib>
#include <new>

#include <qob3xapi/util.h>

#include "frame/heap.h"
#include "platform/os/ascii.h"

namespace qob {
namespace {

void FreePart(MimeBodyPart* part) {
  if (part == nullptr) return;
  for (char* text : {part->contentId, part->contentDescription, part->contentType,
                     part->contentSubtype, part->contentTransferEncoding, part->contentDisposition,
                     part->fileName, part->delimiter, part->trueName}) {
    std::free(text);
  }
  freeStringChain(part->contentTypeParams);
  freeStringChain(part->contentDispositionParams);
  std::free(part->children);
  std::free(part);
}

struct PartDelete {
  void operator()(MimeBodyPart* part) const { FreePart(part); }
};

// Makes room for one more behind `count` entries: the array is full exactly when the count is 0 or
// a power of two.
void GrowByOne(MimeBodyPart*** array, std::int32_t count) {
  const std::size_t used = static_cast<std::size_t>(count);
  if (used != 0 && !std::has_single_bit(used)) return;
  const std::size_t room = used == 0 ? 1 : used * 2;
  void* grown = std::realloc(*array, room * sizeof(MimeBodyPart*));
  if (grown == nullptr) throw std::bad_alloc();
  *array = static_cast<MimeBodyPart**>(grown);
}

void ShrinkTo(MimeBodyPart*** array, std::size_t count) {
  if (count == 0) {
    std::free(*array);
    *array = nullptr;
    return;
  }
  void* shrunk = std::realloc(*array, std::bit_ceil(count) * sizeof(MimeBodyPart*));
  if (shrunk != nullptr) *array = static_cast<MimeBodyPart**>(shrunk);
}

}  // namespace

void PoolDelete::operator()(MimeMessagePool* pool) const {
  TruncatePool(pool, 0);
  std::free(pool);
}

PoolPtr NewPool() {
  PoolPtr pool(HeapRecord<MimeMessagePool>());
  if (pool == nullptr) throw std::bad_alloc();
  return pool;
}

MimeBodyPart* AddPart(MimeMessagePool* pool, const char* file_name, std::int32_t start) {
  std::unique_ptr<MimeBodyPart, PartDelete> part(HeapRecord<MimeBodyPart>());
  if (part == nullptr) throw std::bad_alloc();
  SetText(&part->fileName, file_name);
  part->contentStart = start;
  GrowByOne(&pool->parts, pool->count);
  pool->parts[pool->count++] = part.get();
  return part.release();
}

int AddChild(MimeBodyPart* container, MimeBodyPart* child) {
  if (container == nullptr || child == nullptr) return -1;
  const std::int32_t count = ChildCount(*container);
  if (count >= kMaxChildren) return -1;
  GrowByOne(&container->children, count);
  container->children[count] = child;
  container->childCount = count + 1;
  container->role = 1;
  child->role = 2;
  return 0;
}

void TruncatePool(MimeMessagePool* pool, std::int32_t count) {
  if (pool == nullptr || pool->parts == nullptr || count < 0) return;
  if (count < pool->count) {
    for (std::int32_t i = count; i < pool->count; ++i) FreePart(pool->parts[i]);
    pool->count = count;
  }
  if (pool->count <= count) ShrinkTo(&pool->parts, static_cast<std::size_t>(pool->count));
}

void SetText(char** field, std::string_view text) {
  char* copy = HeapCopy(text);
  if (copy == nullptr) throw std::bad_alloc();
  std::free(*field);
  *field = copy;
}

std::int32_t ChildCount(const MimeBodyPart& part) {
  return part.children == nullptr ? 0 : part.childCount & 0xFFFF;
}

bool TextIs(const char* text, std::string_view expected) {
  return text != nullptr && ascii::EqualFold(text, expected);
}

bool IsPlainEncapsulated(const MimeBodyPart& part) {
  const char* encoding = part.contentTransferEncoding;
  return TextIs(part.contentType, "message") && TextIs(part.contentSubtype, "rfc822") &&
         (encoding == nullptr || TextIs(encoding, "7bit") || TextIs(encoding, "8bit") ||
          TextIs(encoding, "binary"));
}

}  // namespace qob
