// Profile files: sections, keys and values, with the semantics of the private-profile calls.
//
// A bare file name is looked up in $QOB_CONFIG_DIR (not in a set-user-id process), else in
// /etc/qob3xapi; a name with a separator is taken as it stands. Values are fresh on every read: a
// parsed file is used again only while device, inode, size, modification and change time are the
// same and the file had been still for two seconds when it was parsed.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace qob::os {

class ProfileText;

// Where that file name leads, in native form.
std::string ProfilePath(std::string_view file);

// Characters copied, NUL not counted; a text that does not fit is cut to size - 1. key null: the
// keys of the section, section null: the sections, as a double-NUL list (cut: size - 2). A section
// without keys gives the fall-back, as a missing one does. fallback null = "". size 0: 0, buffer
// untouched.
std::uint32_t ReadProfile(const char* section, const char* key, const char* fallback, char* buffer,
                          std::uint32_t size, const char* file);
// Several values of one file under a single check whether it changed. Never throws; safe between
// threads.
class ProfileReader {
 public:
  explicit ProfileReader(const char* file);
  ~ProfileReader();
  ProfileReader(const ProfileReader&) = delete;
  ProfileReader& operator=(const ProfileReader&) = delete;
  // As ReadProfile.
  std::uint32_t Read(const char* section, const char* key, const char* fallback, char* buffer,
                     std::uint32_t size) const;

 private:
  std::shared_ptr<const ProfileText> text_;  // null: no such file
};
// As ReadProfile for two keys that differ in case only: the entry spelled exactly like `key` wins;
// an entry in another case counts only when it is not spelled exactly like `other`.
std::uint32_t ReadProfileExact(const char* section, const char* key, const char* other,
                               const char* fallback, char* buffer, std::uint32_t size,
                               const char* file);
// True on success. value null removes the key, key null the section. Comments, order and line ends
// are kept; the file is replaced as a whole, under a lock that holds between processes. Line feeds
// in section, key or value are refused.
bool WriteProfile(const char* section, const char* key, const char* value, const char* file);

}  // namespace qob::os
