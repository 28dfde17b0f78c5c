// One file type as the magic commands read, write and show it.
#ifndef TOOLS_QOB_DB_FILE_TYPE_H
#define TOOLS_QOB_DB_FILE_TYPE_H

#include <string>
#include <vector>

#include "../arguments.h"
#include "../json_line.h"
#include "site_databases.h"

namespace cli::db {

struct FileType {
  std::string extension;
  std::string type;
  std::string subtype;
  std::string encoding;
  std::string mac;  // type and creator, four characters each, or ""
  std::string description;
  bool operator==(const FileType&) const = default;
};

FileType TypeOf(const MagicRecord& record);
MagicRecord RecordOf(const FileType& type);

// "image/png"; throws Failure(kUsage).
void SetMimeType(const std::string& text, FileType* type);
// "TEXT ttxt", or eight characters, or "" for none; throws Failure(kUsage).
std::string MacCodes(const std::string& text);
// What of the options was given.
void TakeOptions(const Arguments& arguments, FileType* type);
// Throws Failure(kUsage) for what no record holds.
void CheckFileType(const FileType& type);

// A line of `qob magic export`, and back; ReadType throws Failure(kData) with what is wrong.
Json JsonOf(const FileType& type);
FileType ReadType(const std::string& line);

std::vector<FileType> AllTypes(const Site& site);

}  // namespace cli::db

#endif
