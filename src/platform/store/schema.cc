#include "platform/store/schema.h"

#include "platform/store/record_file.h"

namespace qob::store {
namespace {

std::string Column(int index) { return "k" + std::to_string(index); }

std::string Columns(int index) { return "number,version,body," + Column(index); }

// "INDEXED BY" makes another plan an error instead of a slow walk.
std::string From(int index) { return " FROM records INDEXED BY records_" + Column(index); }

// before k0 middle, before k1 middle ...: one piece per key, with the number of its parameter.
std::string PerKey(const FileDescription& description, const char* before, const char* behind,
                   int first_parameter) {
  std::string text;
  for (int i = 0; i < description.index_count; ++i) {
    text += before + Column(i) + behind;
    if (first_parameter > 0) text += std::to_string(first_parameter + i);
  }
  return text;
}

std::string RecordsTable(const FileDescription& description) {
  return "CREATE TABLE records(number INTEGER PRIMARY KEY AUTOINCREMENT, version INTEGER NOT NULL" +
         PerKey(description, ", ", " BLOB NOT NULL", 0) + ", body BLOB NOT NULL)";
}

// The first index is the one that records are looked up by: it carries them whole, so that a
// look-up goes through one tree and not through two. A unique index cannot: what it carries would
// belong to what is unique.
SchemaObject RecordsIndex(const FileDescription& description, int index) {
  const bool duplicates =
      (description.keys[static_cast<std::size_t>(index)].flags & kKeyDuplicates) != 0;
  const std::string name = "records_" + Column(index);
  const char* const carried = index == 0 && duplicates ? ", number, version, body)" : ")";
  return {"index", name, "records",
          std::string(duplicates ? "CREATE INDEX " : "CREATE UNIQUE INDEX ") + name +
              " ON records(" + Column(index) + carried};
}

}  // namespace

std::vector<SchemaObject> DemandedSchema(const FileDescription& description) {
  std::vector<SchemaObject> objects{
      {"table", "file", "file", kFileTable},
      {"table", "records", "records", RecordsTable(description)},
      {"table", "marks", "marks",
       "CREATE TABLE marks(seq INTEGER PRIMARY KEY AUTOINCREMENT, name BLOB NOT NULL, "
       "id INTEGER NOT NULL)"},
      {"index", "marks_name", "marks", "CREATE INDEX marks_name ON marks(name)"},
      {"index", "marks_id", "marks", "CREATE UNIQUE INDEX marks_id ON marks(id, name)"},
      {"table", "notes", "notes",
       "CREATE TABLE notes(id INTEGER PRIMARY KEY, bytes BLOB NOT NULL)"}};
  for (int i = 0; i < description.index_count; ++i) {
    objects.push_back(RecordsIndex(description, i));
  }
  return objects;
}

std::string FindSql(int index, int seek) {
  const std::string key = Column(index);
  std::string where;
  std::string order = key + ",number";
  switch (static_cast<Seek>(seek)) {
    case Seek::kEqual:
      where = " WHERE " + key + "=?1";
      order = "number";
      break;
    case Seek::kGreater:
      where = " WHERE " + key + ">?1";
      break;
    case Seek::kGreaterOrEqual:
      where = " WHERE " + key + ">=?1";
      break;
    case Seek::kFirst:
      break;
  }
  return "SELECT " + Columns(index) + From(index) + where + " ORDER BY " + order + " LIMIT 1";
}

// A comparison of rows would walk through all the duplicates of the key; these are two seeks, the
// second of them only when the first finds too little.
std::string NextSql(int index) {
  const std::string key = Column(index);
  const std::string select = "SELECT " + Columns(index) + From(index) + " WHERE " + key;
  return "SELECT * FROM (" + select + "=?1 AND number>?2 ORDER BY number LIMIT ?3) UNION ALL " +
         "SELECT * FROM (" + select + ">?1 ORDER BY " + key + ",number LIMIT ?3) LIMIT ?3";
}

std::string ReadSql(int index) {
  return "SELECT " + Columns(index) + " FROM records WHERE number=?2";
}

std::string EveryInOrderSql() {
  return "SELECT " + Columns(0) + From(0) + " ORDER BY " + Column(0) + ",number";
}

std::string InsertSql(const FileDescription& description) {
  return "INSERT INTO records(number,version,body" + PerKey(description, ",", "", 0) +
         ") VALUES(?1,1,?2" +
         [&] {
           std::string values;
           for (int i = 0; i < description.index_count; ++i) values += ",?" + std::to_string(3 + i);
           return values;
         }() +
         ")";
}

std::string UpdateBodySql(const FileDescription& description) {
  return "UPDATE records SET version=version+1,body=?3 WHERE number=?1 AND version=?2" +
         PerKey(description, " AND ", "=?", 4);
}

std::string UpdateAllSql(const FileDescription& description) {
  return "UPDATE records SET version=version+1,body=?3" + PerKey(description, ",", "=?", 4) +
         " WHERE number=?1 AND version=?2";
}

std::string EveryRecordSql(const FileDescription& description) {
  return "SELECT number,version,body" + PerKey(description, ",", "", 0) +
         " FROM records NOT INDEXED ORDER BY number";
}

}  // namespace qob::store
