#include "db/seed/peer_list.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "db/rows.h"
#include "platform/os/ascii.h"

namespace qob::db {
namespace {

struct Named {
  std::string_view name;
  std::int32_t PeerRecord::*value;
};
constexpr Named kValues[] = {{"flag0", &PeerRecord::flag0},
                             {"AcceptMail", &PeerRecord::AcceptMail},
                             {"flag2", &PeerRecord::flag2},
                             {"flag3", &PeerRecord::flag3},
                             {"value4", &PeerRecord::value4},
                             {"MaxInBoundSize", &PeerRecord::MaxInBoundSize},
                             {"MaxOutBoundSize", &PeerRecord::MaxOutBoundSize},
                             {"MesageQueuedBeforeAttempt", &PeerRecord::MesageQueuedBeforeAttempt},
                             {"QueueRunInterval", &PeerRecord::QueueRunInterval},
                             {"RetryPeriod", &PeerRecord::RetryPeriod},
                             {"MaxSMTPSessions", &PeerRecord::MaxSMTPSessions},
                             {"MaxMesgPerSession", &PeerRecord::MaxMesgPerSession}};

std::string_view TakeWord(std::string_view* rest) {
  const std::size_t end = rest->find(' ');
  const std::string_view word = rest->substr(0, end);
  rest->remove_prefix(word.size());
  *rest = ascii::TrimLeft(*rest);
  return word;
}

bool SetValue(std::string_view word, PeerRecord* peer) {
  const std::size_t sign = word.find('=');
  if (sign == std::string_view::npos) return false;
  const std::string_view name = word.substr(0, sign);
  const auto* const field = std::find_if(std::begin(kValues), std::end(kValues),
                                         [&](const Named& named) { return named.name == name; });
  if (field == std::end(kValues)) return false;
  const char* const end = word.data() + word.size();
  const auto read = std::from_chars(word.data() + sign + 1, end, peer->*field->value);
  return read.ec == std::errc() && read.ptr == end;
}

std::string ReadLine(std::string_view line, PeerRecord* peer) {
  const std::string_view domain = TakeWord(&line);
  if (domain.size() >= sizeof peer->domain) return "a domain of more than 127 characters";
  SetKey(peer->domain, domain);
  while (!line.empty()) {
    const std::string_view word = TakeWord(&line);
    if (!SetValue(word, peer)) return "no value: " + std::string(word);
  }
  return "";
}

}  // namespace

std::string ReadPeerList(std::string_view text, std::vector<PeerRecord>* peers) {
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    const std::string_view line = ascii::Trim(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.empty() || line.front() == '#') continue;
    PeerRecord peer{};
    std::string fault = ReadLine(line, &peer);
    const bool twice = std::any_of(peers->begin(), peers->end(), [&](const PeerRecord& other) {
      return ascii::EqualFold(FieldText(other.domain), FieldText(peer.domain));
    });
    if (fault.empty() && twice) fault = "a domain met before";
    if (!fault.empty()) return std::to_string(number) + ": " + fault;
    peers->push_back(peer);
  }
  return "";
}

}  // namespace qob::db
