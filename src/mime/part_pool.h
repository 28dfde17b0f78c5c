// The message pool: body-part records in the order in which their parts start, and the links
// between them.
//
// Records and texts come from malloc, because the pool is handed out and released by
// MimeFreeMessage. Arrays grow to the next power of two, so that neither a million parts nor a
// container of 65,535 children copies its array more than a few times; the room an array has
// follows from its count alone.
#pragma once
#include <cstdint>
#include <memory>
#include <string_view>

#include <qob3xapi/mimeparse.h>

namespace qob {

// `childCount` reads the same in 16 and in 32 bits.
inline constexpr std::int32_t kMaxChildren = 65535;

struct PoolDelete {
  void operator()(MimeMessagePool* pool) const;
};
using PoolPtr = std::unique_ptr<MimeMessagePool, PoolDelete>;

// An empty pool. Throws std::bad_alloc.
PoolPtr NewPool();
// A new record at the end of the pool, zero but for its file name and start. Throws std::bad_alloc;
// the pool is then as before.
MimeBodyPart* AddPart(MimeMessagePool* pool, const char* file_name, std::int32_t start);
// Appends the child to the container's children and sets both roles. -1, and nothing changed, for a
// null container or child and for a container that is full. Throws std::bad_alloc.
int AddChild(MimeBodyPart* container, MimeBodyPart* child);
// Releases every record from index `count` on and shrinks the array, to nothing for 0.
void TruncatePool(MimeMessagePool* pool, std::int32_t count);

// Replaces a text of a record by a copy. Throws std::bad_alloc; the old text is then kept.
void SetText(char** field, std::string_view text);

// What the low 16 bits of `childCount` say; 0 for a record without an array.
std::int32_t ChildCount(const MimeBodyPart& part);

// Comparisons with a text of a record, ASCII case ignored; a null text equals nothing.
bool TextIs(const char* text, std::string_view expected);
// "message"/"rfc822" whose body stands as it is: no encoding, or 7bit, 8bit or binary.
bool IsPlainEncapsulated(const MimeBodyPart& part);

}  // namespace qob
