// The parts of one message as the library found them, with what the pool alone tells: which part
// holds which, how deep a part lies, which part no delimiter line ended.
#ifndef TOOLS_QOB_MESSAGE_TREE_H
#define TOOLS_QOB_MESSAGE_TREE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <qob3xapi/mimeparse.h>

#include "message_walk.h"

namespace cli {

struct TreeOptions {
  bool plain = false;          // read as text with embedded blocks
  bool keep_messages = false;  // leave encapsulated messages whole
};

class MessageTree {
 public:
  // Throws Failure when the library cannot read the message.
  MessageTree(const WorkingCopy& copy, TreeOptions options);
  MessageTree(const MessageTree&) = delete;
  MessageTree& operator=(const MessageTree&) = delete;
  ~MessageTree();

  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t size() const { return parents_.size(); }
  MimeBodyPart& part(std::size_t index) const { return *pool_->parts[index]; }
  std::size_t parent(std::size_t index) const { return parents_[index]; }
  std::size_t depth(std::size_t index) const { return depths_[index]; }
  // No delimiter line ended it: the message stops first. Such a part has no container and is shown
  // under part 0.
  bool unclosed(std::size_t index) const { return unclosed_[index]; }
  // A part that is there to hold others: a multipart, or an encapsulated message that was opened.
  bool IsContainer(std::size_t index) const;
  // The name in the part's header, else the one inside its uuencoded or BinHex body.
  std::string NameOf(std::size_t index) const;
  // Does the body hold embedded files, which are parts of their own?
  bool HasEmbedded(std::size_t index) const;

 private:
  void FindParents();

  MimeMessagePool* pool_ = nullptr;
  std::vector<std::size_t> parents_;
  std::vector<std::size_t> depths_;
  std::vector<bool> unclosed_;
};

// True when the part's encoding is uuencode (any of its names) or its body BinHex, so that its name
// stands in its body.
bool NameStandsInBody(const MimeBodyPart& part);
// Compares ASCII letters without regard to case; a null text equals only "".
bool SameText(const char* text, std::string_view other);

}  // namespace cli

#endif
