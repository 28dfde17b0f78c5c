// The small databases of a site as the commands see them: where they lie, their records read
// through the relation library, their failures in words. Changes go through the library's own
// calls.
#ifndef TOOLS_QOB_DB_SITE_DATABASES_H
#define TOOLS_QOB_DB_SITE_DATABASES_H

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include <qob3xapi/magic.h>
#include <qob3xapi/peer.h>
#include <qobplatform/tessera.h>

#include "../arguments.h"
#include "../failure.h"
#include "../private_site.h"

namespace cli::db {

inline constexpr dbError kDone = 0;
inline constexpr dbError kNoRelation = 3;
inline constexpr dbError kNoMatch = 4;
inline constexpr dbError kNoFurther = 17;

// The library started with the site's configuration, or with the queue directory of --queue.
class Site {
 public:
  explicit Site(const Arguments& arguments);
  const std::string& queue() const { return queue_; }

 private:
  PrivateSite private_;
  std::string queue_;
};

// "<path>: <why>: <what to do>" for a result of the relation library.
Failure RelationFailure(const Site& site, const char* name, dbError result);

// One relation, opened to look; a failure is thrown.
template <class Row>
class Table : public tesRel {
 public:
  Table(tesseraBase& session, const Site& site, const char* name)
      : tesRel(session, site.queue().c_str(), name), site_(site), name_(name) {
    attach(-1);
  }
  Row row{};

  void Must(dbError result) const {
    if (result != kDone) throw RelationFailure(site_, name_, result);
  }
  // visit() for each record, which is then in row.
  void ForEach(const std::function<void()>& visit) {
    Must(status());
    Must(lock(false, 0xFFFFFFFF));
    Must(begin(0));
    dbError result = first();
    for (; result == kDone; result = next()) visit();
    end();
    unlock();
    if (result != kNoFurther) Must(result);
  }

 private:
  void* record() override { return &row; }
  std::uint32_t recordSize() const override { return sizeof(Row); }

  const Site& site_;
  const char* name_;
};

// The records as they lie in the relations.
struct MagicRow {
  std::int32_t key;
  MagicRecord fields;
};
struct PeerRow {
  std::int32_t unused;
  std::int32_t values[12];
  char domain[128];
};
struct BanRow {
  char address[240];
};

template <std::size_t kWidth>
std::string TextOf(const char (&field)[kWidth]) {
  return {field, strnlen(field, kWidth)};
}
// The text must fit with its NUL.
template <std::size_t kWidth>
void SetText(char (&field)[kWidth], std::string_view text) {
  std::memset(field, 0, kWidth);
  std::memcpy(field, text.data(), text.size() < kWidth ? text.size() : kWidth - 1);
}

// ASCII letters in small, as the relations compare them.
std::string Folded(std::string text);
// Throws Failure(kUsage) unless it has 1 to `most` printable characters without blanks.
void CheckWord(const char* what, const std::string& text, std::size_t most);

}  // namespace cli::db

#endif
