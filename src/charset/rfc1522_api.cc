// The exported calls for encoded words.
#include <qob3xapi/rfc1522.h>

#include <cstring>
#include <mutex>
#include <string>

#include "charset/header_encoder.h"
#include "charset/word_decoder.h"
#include "charset/word_settings.h"
#include "frame/guard.h"
#include "frame/heap.h"
#include "rfc822/parser_locks.h"

namespace {

char* EncodeValue(const char* text, const qob::EncodingSettings& settings) {
  std::scoped_lock hold(qob::AddressParserLock());
  return qob::HeapCopy(qob::EncodeHeaderValue(text, settings));
}

char* Decode(const char* text, const qob::DecodingSettings& settings) {
  const std::size_t size = std::strlen(text);
  qob::HeapText decoded(static_cast<char*>(std::malloc(size + 1)));
  if (decoded == nullptr) return nullptr;
  decoded.get()[qob::DecodeWords({text, size}, settings, decoded.get())] = '\0';
  return decoded.release();
}

}  // namespace

extern "C" QOBAPI char* rfc1522encoding(const char* text) {
  if (text == nullptr) return nullptr;
  return qob::Guarded<char*>(nullptr,
                             [&] { return EncodeValue(text, qob::ReadEncodingSettings()); });
}

extern "C" QOBAPI char* rfc1522encoding_wmc(const char* text, const char* charset) {
  if (text == nullptr || charset == nullptr) return nullptr;
  return qob::Guarded<char*>(nullptr,
                             [&] { return EncodeValue(text, qob::SettingsForCharset(charset)); });
}

extern "C" QOBAPI char* rfc1522decoding(const char* text) {
  if (text == nullptr || text[0] == '\0') return nullptr;
  return qob::Guarded<char*>(nullptr, [&] { return Decode(text, qob::ReadDecodingSettings()); });
}

extern "C" QOBAPI char* rfc1522decoding_wmc(const char* text) {
  if (text == nullptr || text[0] == '\0') return nullptr;
  return qob::Guarded<char*>(nullptr, [&] { return Decode(text, {"", true}); });
}

extern "C" QOBAPI char* Get1522Charset(const char* text) {
  std::string_view charset;
  if (text == nullptr || !qob::FirstCharset(text, &charset)) return nullptr;
  return qob::HeapCopy(charset);
}

QOBAPI char* rfc1522encoding2(char* text) {
  if (text == nullptr) return nullptr;
  return qob::Guarded<char*>(nullptr, [&] {
    return qob::HeapCopy(qob::EncodeHeaderText(text, qob::ReadEncodingSettings()));
  });
}

QOBAPI char* rfc1522encoding2_wmc(char* text, char* charset) {
  if (text == nullptr || charset == nullptr) return nullptr;
  return qob::Guarded<char*>(nullptr, [&] {
    return qob::HeapCopy(qob::EncodeHeaderText(text, qob::SettingsForCharset(charset)));
  });
}
