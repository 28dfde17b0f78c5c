// Names around a message: its queue path ("<directory>\<eight upper-case hexadecimal digits>"), the
// keys of its records, the files beside it. Either sign separates a path; a run of them counts as
// one.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qob::spool {

inline constexpr char kMessageKind = 'F';    // the message and its sender
inline constexpr char kRecipientKind = 'R';  // one recipient

// "<directory>\0001A2B3"
std::string QueuePath(std::string_view directory, std::uint32_t id);
// "0001A2B3F"
std::string RecordKey(std::uint32_t id, char kind);
// "0001a2b3f": the same as the database keeps it.
std::string StoredKey(std::uint32_t id, char kind);
// What stands behind the last separator, cut to 14 characters, and the kind.
std::string RecordKeyOf(std::string_view queue_path, char kind);
// Eight hexadecimal digits of either case and nothing else.
std::optional<std::uint32_t> ReadId(std::string_view digits);
// The id in a record's key: all but its last character, as hexadecimal digits.
std::optional<std::uint32_t> IdOfKey(std::string_view key);

// How often a path is divided: "a\\b//c" twice, "abc" never. A run of separators counts once.
int SeparatorRuns(std::string_view path);
// The last component of a directory path, trailing separators ignored, cut to 15 characters:
// what messages of that directory carry as its name.
std::string_view DirectoryName(std::string_view directory);
// The same of the directory that holds a message: the component before the file name of its queue
// path; "q" of "/q/id". Empty when the path is divided less than twice: "q/id" and "/id" have none.
std::string_view HoldingDirectoryName(std::string_view queue_path);

inline constexpr char kMessageFile[] = ".msg";
inline constexpr char kLockFile[] = ".lck";
inline constexpr char kReasonFile[] = ".rea";

}  // namespace qob::spool
