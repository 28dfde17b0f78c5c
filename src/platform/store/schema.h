// The SQL of a record file: the tables that its description demands and the statements on them.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "platform/store/description.h"

namespace qob::store {

inline constexpr std::uint32_t kApplicationId = 0x514F4252;  // "QOBR"
inline constexpr std::uint32_t kFormatVersion = 1;
inline constexpr std::uint32_t kPageBytes = 4096;

// One object of the schema as SQLite keeps it.
struct SchemaObject {
  std::string type;
  std::string name;
  std::string table;
  std::string sql;
  auto operator<=>(const SchemaObject&) const = default;
};

// Everything that stands in a file of that description, in the order of making; SQLite adds its
// sqlite_sequence by itself.
std::vector<SchemaObject> DemandedSchema(const FileDescription& description);
inline constexpr char kFileTable[] =
    "CREATE TABLE file(description BLOB NOT NULL, identity BLOB NOT NULL)";

// Parameters: ?1 key, ?2 number. Columns of all of them: number, version, body, key.
std::string FindSql(int index, int seek);
std::string NextSql(int index);
std::string ReadSql(int index);
// All records in the order of the first index.
std::string EveryInOrderSql();
// ?1 number, ?2 body, ?3... keys.
std::string InsertSql(const FileDescription& description);
// ?1 number, ?2 version, ?3 body, ?4... keys; the first of them only when the keys stand as they
// are.
std::string UpdateBodySql(const FileDescription& description);
std::string UpdateAllSql(const FileDescription& description);
// ?1 number; columns: version, body, keys.
std::string EveryRecordSql(const FileDescription& description);

}  // namespace qob::store
