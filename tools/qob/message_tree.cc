#include "message_tree.h"

#include <unordered_map>

#include <qob3xapi/mimebody.h>

#include "library_log.h"
#include "parameters.h"

namespace cli {
namespace {

constexpr std::uint32_t kChildCountBits = 0xFFFF;

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string Lowered(const char* text) {
  std::string lower = text == nullptr ? "" : text;
  for (char& c : lower) c = Lower(c);
  return lower;
}

std::size_t ChildCount(const MimeBodyPart& part) {
  return part.children == nullptr ? 0
                                  : static_cast<std::uint32_t>(part.childCount) & kChildCountBits;
}

Failure CannotParse(bool plain) {
  const LibraryLog& log = LibraryLog::Get();
  if (log.SawBusyFile()) return {ExitCode::kTemporary, "another process holds it: try again later"};
  const std::string why = log.LastProblem("the library gave no reason");
  if (why.ends_with("out of memory")) {
    return {ExitCode::kSoftware, "out of memory: close other programs, or raise the limit"};
  }
  if (plain) return {ExitCode::kData, "cannot be read: " + why + ": check the file"};
  return {ExitCode::kData, "not a valid MIME message: " + why + ": use --plain to read it as text"};
}

}  // namespace

bool SameText(const char* text, std::string_view other) {
  return Lowered(text) == Lowered(std::string(other).c_str());
}

bool NameStandsInBody(const MimeBodyPart& part) {
  return Lowered(part.contentTransferEncoding).find("uue") != std::string::npos ||
         SameText(part.contentSubtype, "mac-binhex40");
}

MessageTree::MessageTree(const WorkingCopy& copy, TreeOptions options) {
  const std::int32_t count =
      options.plain ? ParseNonMimeMessage(copy.path().c_str(), &pool_)
                    : MimeParseMessage(copy.path().c_str(), options.keep_messages ? 0 : 1, &pool_);
  if (count < 1 || pool_ == nullptr) throw CannotParse(options.plain);
  try {
    FindParents();
  } catch (...) {
    MimeFreeMessage(&pool_);
    throw;
  }
}

MessageTree::~MessageTree() { MimeFreeMessage(&pool_); }

void MessageTree::FindParents() {
  const std::size_t count = static_cast<std::size_t>(MimeGetNumberOfMessage(pool_));
  std::unordered_map<const MimeBodyPart*, std::size_t> index_of;
  for (std::size_t i = 0; i < count; ++i) index_of.emplace(pool_->parts[i], i);
  parents_.assign(count, kNone);
  depths_.assign(count, 0);
  unclosed_.assign(count, false);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t k = 0; k < ChildCount(part(i)); ++k) {
      const auto child = index_of.find(part(i).children[k]);
      if (child != index_of.end() && child->second > i) parents_[child->second] = i;
    }
  }
  // A part stands in the pool behind the part that holds it, so one pass from the front knows every
  // depth.
  for (std::size_t i = 1; i < count; ++i) {
    if (parents_[i] == kNone) {
      parents_[i] = 0;
      unclosed_[i] = IsContainer(0);
    }
    depths_[i] = depths_[parents_[i]] + 1;
  }
}

bool MessageTree::IsContainer(std::size_t index) const { return part(index).delimiter != nullptr; }

bool MessageTree::HasEmbedded(std::size_t index) const {
  return !IsContainer(index) && ChildCount(part(index)) != 0;
}

std::string MessageTree::NameOf(std::size_t index) const {
  MimeBodyPart& wanted = part(index);
  std::string name = NameFromHeader(wanted);
  if (!name.empty() || !NameStandsInBody(wanted)) return name;
  if (MimeGetTrueName(&wanted) == nullptr)
    MimeFreeFile(MimeGetBody(&wanted, 0, QOB_INVALID_OSHANDLE));
  const char* const true_name = MimeGetTrueName(&wanted);
  return true_name == nullptr ? "" : true_name;
}

}  // namespace cli
