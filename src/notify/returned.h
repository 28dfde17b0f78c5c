// The queued message that is returned: its file as a part, whole or its header alone.
#pragma once
#include "notify/draft.h"
#include "queue/path_text.h"

namespace qob::notify {

// "<queue path>.msg"; empty for a path longer than any.
inline PathText MessageFileOf(const char* queue_file) { return {queue_file, ".msg"}; }

// The lines of a message file up to its first empty line, without the envelope lines it may begin
// with. Only CR LF is an empty line: in a file of bare line feeds everything is header. kOpen,
// kRead and kWrite.
Step CopyHeader(const char* message_file, FileWriter& out);

// message/rfc822; the builder leaves the envelope lines out. Null when it failed.
BuiltFile WholeMessagePart(const char* message_file);
// text/RFC822-Headers from a draft of its own.
Step HeaderPart(const char* message_file, BuiltFile* part);

}  // namespace qob::notify
