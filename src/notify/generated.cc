#include "notify/generated.h"

#include <vector>

#include <qob3xapi/mimebuild.h>
#include <qob3xapi/submit.h>

#include "frame/heap.h"
#include "notify/attachment.h"

namespace qob::notify {
namespace {

using Parts = std::vector<BuiltFile>;

Step TextPart(const ms* text, BuiltFile* part) {
  Draft draft;
  const Step step = draft.Fill([&](FileWriter& out) {
    for (; text != nullptr; text = text->next) {
      out.Write(TextOf(text->text));
      if (!out.Write("\r\n")) return Step::kWrite;
    }
    return Step::kDone;
  });
  if (step != Step::kDone) return step;
  *part = BuildPart("text", "plain", "7bit", draft.path());
  return *part == nullptr ? Step::kPart : Step::kDone;
}

Step BuildParts(const GeneratedMessage& message, Parts* parts) {
  if (message.text != nullptr) {
    const Step step = TextPart(message.text, &parts->emplace_back());
    if (step != Step::kDone) return step;
  }
  for (const ms* node = message.attachments; node != nullptr; node = node->next) {
    if (node->text == nullptr) continue;
    parts->push_back(AttachmentPart(node->text));
    if (parts->back() == nullptr) return Step::kPart;
  }
  return parts->empty() ? Step::kPart : Step::kDone;
}

BuiltFile BuildWhole(const GeneratedMessage& message, const Parts& parts) {
  std::vector<const char*> files;
  for (const BuiltFile& part : parts) files.push_back(part.get());
  files.push_back(nullptr);
  return BuiltFile(MimeBuildMultipartMessage(message.from, message.to, message.subject, nullptr,
                                             files.data(), "mixed", nullptr, nullptr, 0));
}

std::vector<MimeRecipient> Recipients(const ms* to) {
  std::vector<MimeRecipient> records;
  for (; to != nullptr; to = to->next) {
    records.push_back({to->text, nullptr, 0, nullptr, nullptr});
  }
  return records;
}

}  // namespace

Step SendGenerated(const GeneratedMessage& message) {
  const std::vector<MimeRecipient> recipients = Recipients(message.to);
  BuiltFile whole;
  {
    Parts parts;
    const Step step = BuildParts(message, &parts);
    if (step != Step::kDone) return step;
    whole = BuildWhole(message, parts);
  }
  if (whole == nullptr) return Step::kWhole;
  const HeapText entry(MimeSendMessage(message.from, nullptr, 0, 0, nullptr, message.channel,
                                       recipients.data(),
                                       static_cast<std::int32_t>(recipients.size()), nullptr,
                                       whole.get(), message.pass_through, 0, 0));
  return Step::kDone;
}

}  // namespace qob::notify
