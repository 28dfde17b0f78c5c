// The envelope as the queue takes it: its lists, records and private copies of all texts.
#pragma once
#include <cstdint>
#include <list>
#include <memory>
#include <string_view>

#include <qobplatform/mqapi.h>

namespace qob {

class SubmissionEnvelope {
 public:
  struct Sender {
    std::string_view address;
    std::string_view envelope_id;
    std::int32_t ret = 0;
    std::int32_t fourth = 0;
    std::string_view fifth_text;
    std::string_view channel;
  };
  struct Recipient {
    std::string_view address;
    std::string_view original_recipient;
    std::int32_t notify_flags = 0;
    std::string_view fourth_text;
    std::string_view fifth_text;
  };

  SubmissionEnvelope() { envelope_.last = -1; }  // does not allocate
  SubmissionEnvelope(const SubmissionEnvelope&) = delete;
  SubmissionEnvelope& operator=(const SubmissionEnvelope&) = delete;

  // Once. Both throw std::bad_alloc and leave the envelope as it was.
  void SetSender(const Sender& sender);
  void AddRecipient(const Recipient& recipient);

  // Good as long as the envelope lives and is not changed.
  const stEnvelope* get() const { return &envelope_; }

 private:
  struct RecipientEntry {
    std::unique_ptr<char[]> texts;
    MQEnvRecip record{};
    MQEnvRecipNode node{};
  };

  stEnvelope envelope_{};
  std::unique_ptr<char[]> sender_texts_;
  MQEnvFrom sender_{};
  MQEnvFromNode sender_node_{};
  std::list<RecipientEntry> recipients_;  // their places never change
};

}  // namespace qob
