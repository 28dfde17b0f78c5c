#include "workload_values.h"

#include <array>
#include <cstdio>

namespace bench {
namespace {

constexpr std::array<std::string_view, 64> kWords = {
    "the",      "of",       "and",       "a",        "to",      "in",        "is",
    "you",      "that",     "it",        "he",       "was",     "for",       "on",
    "are",      "with",     "as",        "they",     "at",      "be",        "this",
    "have",     "or",       "one",       "had",      "by",      "word",      "but",
    "not",      "what",     "all",       "were",     "meeting", "budget",    "attached",
    "report",   "quarter",  "please",    "review",   "server",  "delivery",  "queue",
    "customer", "shipping", "contract",  "schedule", "monday",  "tomorrow",  "question",
    "regards",  "printer",  "warehouse", "draft",    "version", "signature", "telephone",
    "holiday",  "invoice",  "order",     "number",   "network", "project",   "deadline",
    "summary"};
constexpr std::array<std::string_view, 16> kForeignWords = {
    "Grüße",   "Köln",   "Übung", "façade", "naïve",  "señor",    "mañana", "Ærø",
    "smörgås", "привет", "мир",   "日本語", "会議の", "資料です", "für",    "größer"};
// The Latin ones, and the others as their usual charsets write them.
constexpr std::array<std::string_view, 11> kLatinWords = {"Grüße",   "Köln",  "Übung",  "façade",
                                                          "naïve",   "señor", "mañana", "Ærø",
                                                          "smörgås", "für",   "größer"};
constexpr std::array<std::string_view, 3> kJapaneseWords = {
    "\x1b$BF|K\\8l\x1b(B", "\x1b$B2q5D$N\x1b(B", "\x1b$B;qNA$G$9\x1b(B"};
constexpr std::array<std::string_view, 3> kRussianWords = {"\xd0\xd2\xc9\xd7\xc5\xd4",
                                                           "\xcd\xc9\xd2", "\xcf\xd4\xde\xa3\xd4"};
constexpr std::array<std::string_view, 3> kShiftJisWords = {"\x93\xfa\x96{\x8c\xea",
                                                            "\x89\xef\x8b"
                                                            "c\x82\xcc",
                                                            "\x8e\x91\x97\xbf\x82\xc5\x82\xb7"};
// The same words in UTF-8.
constexpr std::array<std::string_view, 3> kJapaneseUtf8Words = {"日本語", "会議の", "資料です"};
constexpr std::array<std::string_view, 3> kRussianUtf8Words = {"привет", "мир", "отчёт"};
constexpr std::array<std::string_view, 24> kNames = {
    "Anna",   "Bernd", "Carla", "Dmitri", "Elena",  "Farid", "Greta",  "Hiro",
    "Ines",   "Jonas", "Karin", "Lars",   "Mario",  "Nadia", "Olaf",   "Petra",
    "Quirin", "Rosa",  "Sven",  "Tomoko", "Ulrike", "Vera",  "Walter", "Yumi"};
constexpr std::array<std::string_view, 20> kSurnames = {
    "Abel",    "Brandt", "Castro", "Dahl",  "Ek",      "Fischer", "Gomez",
    "Huber",   "Ito",    "Jensen", "Klein", "Lopez",   "Moreau",  "Nagel",
    "Okamoto", "Petrov", "Quandt", "Rossi", "Schmidt", "Tanaka"};
constexpr std::array<std::string_view, 10> kDomains = {
    "example.org",        "example.com",       "mail.example.net",  "post.example.de",
    "corp.example.co.jp", "lists.example.edu", "smtp.example.info", "example.fr",
    "it.example.se",      "office.example.nl"};
constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<std::string_view, 7> kDays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};

template <std::size_t N>
std::string Pick(Random* random, const std::array<std::string_view, N>& from) {
  return std::string(from[random->Below(N)]);
}

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return text;
}

std::string AddrSpec(Random* random) {
  const std::string name = Lower(Pick(random, kNames));
  const std::string surname = Lower(Pick(random, kSurnames));
  switch (random->Below(3)) {
    case 0:
      return name + "." + surname + "@" + Pick(random, kDomains);
    case 1:
      return name + Number(random->Below(1000)) + "@" + Pick(random, kDomains);
    default:
      return name + "_" + surname + "@" + Pick(random, kDomains);
  }
}

// An encoded word: six in ten ISO-8859-1, two UTF-8, one each ISO-2022-JP and KOI8-R.
std::string OneWord(Random* random, std::size_t kind) {
  if (kind < 6) return EncodedWord("ISO-8859-1", ToLatin1(Pick(random, kLatinWords)), false);
  if (kind < 8) return EncodedWord("UTF-8", Pick(random, kForeignWords), random->Percent(50));
  if (kind == 8) return EncodedWord("ISO-2022-JP", Pick(random, kJapaneseWords), true);
  return EncodedWord("KOI8-R", Pick(random, kRussianWords), random->Percent(70));
}

std::string Address(Random* random) {
  const std::string name = Pick(random, kNames) + " " + Pick(random, kSurnames);
  switch (random->Below(6)) {
    case 0:
      return AddrSpec(random);
    case 1:
      return "\"" + Pick(random, kSurnames) + ", " + Pick(random, kNames) + "\" <" +
             AddrSpec(random) + ">";
    case 2:
      return AddrSpec(random) + " (" + name + ")";
    case 3:
      return OneWord(random, random->Below(10)) + " <" + AddrSpec(random) + ">";
    case 4:
      return "\"" + name + " \\(" + Pick(random, kWords) + "\\)\" <" + AddrSpec(random) + ">";
    default:
      return name + " <" + AddrSpec(random) + ">";
  }
}

std::string TraceFields(Random* random) {
  std::string out = "Return-Path: <" + AddrSpec(random) + ">\r\n";
  for (std::size_t hops = 2 + random->Below(5); hops > 0; --hops) {
    out += "Received: from " + Pick(random, kDomains) + " (" + Pick(random, kDomains) +
           " [192.0.2." + Number(random->Below(256)) + "])\r\n\tby " + Pick(random, kDomains) +
           " (Postoffice) with ESMTPS id " + Number(random->Below(1'000'000'000), 10) +
           "\r\n\tfor <" + AddrSpec(random) + ">; " + DateText(random) + "\r\n";
  }
  if (random->Percent(60)) {
    out += "DKIM-Signature: v=1; a=rsa-sha256; c=relaxed/relaxed; d=" + Pick(random, kDomains) +
           "; s=mail;\r\n\th=from:to:subject:date:message-id:mime-version:content-type;\r\n\tbh=" +
           Base64Text(random->Bytes(32)) + ";\r\n\tb=" + Base64Text(random->Bytes(48)) + "\r\n\t " +
           Base64Text(random->Bytes(48)) + "\r\n\t " + Base64Text(random->Bytes(32)) + "\r\n";
  }
  return out;
}

}  // namespace

std::string Number(std::size_t value, int digits) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%0*zu", digits, value);
  return text.data();
}

std::string CommonWord(Random* random) { return Pick(random, kWords); }

std::string ForeignWord(Random* random) { return Pick(random, kForeignWords); }

std::string Paragraphs(Random* random, std::size_t bytes, bool foreign) {
  std::string out;
  out.reserve(bytes + 100);
  std::size_t column = 0;
  while (out.size() < bytes) {
    const std::string word =
        foreign && random->Percent(8) ? Pick(random, kForeignWords) : Pick(random, kWords);
    if (column + word.size() > 71) {
      out += random->Percent(6) ? ".\r\n\r\n" : "\r\n";
      column = 0;
    }
    if (column != 0) out.push_back(' ');
    out += word;
    column += word.size() + 1;
  }
  return out + ".\r\n";
}

std::string HtmlText(Random* random, std::size_t bytes) {
  std::string out =
      "<html><head><meta charset=\"utf-8\"><title>message</title></head>\r\n<body>\r\n";
  while (out.size() < bytes) {
    out += "<p style=\"margin:0 0 12px 0;font-family:Arial,sans-serif;color:#333333\">";
    for (std::size_t words = 20 + random->Below(60); words > 0; --words) {
      out += random->Percent(6) ? Pick(random, kForeignWords) : Pick(random, kWords);
      out.push_back(' ');
    }
    out += "<a href=\"https://www.example.org/item?id=" + Number(random->Below(100000)) +
           "\">more</a></p>\r\n";
  }
  return out + "</body></html>\r\n";
}

std::string Sentence(Random* random, std::size_t words, bool foreign) {
  std::string out;
  for (; words > 0; --words) {
    if (!out.empty()) out.push_back(' ');
    out += foreign && random->Percent(35) ? Pick(random, kForeignWords) : Pick(random, kWords);
  }
  return out;
}

std::string DateText(Random* random) {
  static constexpr std::array<std::string_view, 8> kZones = {"+0000", "+0100", "-0800", "+0900",
                                                             "-0330", "GMT",   "EST",   "+0200"};
  std::string out = random->Percent(90) ? Pick(random, kDays) + ", " : "";
  out += Number(1 + random->Below(28)) + " " + Pick(random, kMonths) + " " +
         Number(1996 + random->Below(30)) + " " + Number(random->Below(24), 2) + ":" +
         Number(random->Below(60), 2) + ":" + Number(random->Below(60), 2) + " " +
         Pick(random, kZones);
  if (random->Percent(20)) out += " (CET)";
  return out;
}

std::string MessageId(Random* random) {
  return "<" + Number(random->Below(1'000'000'000), 9) + "." + Number(random->Below(100'000)) +
         "@" + Pick(random, kDomains) + ">";
}

std::string AddressList(Random* random, std::size_t count, bool mixed, std::string_view separator) {
  std::string out;
  for (; count > 0; --count) {
    if (!out.empty()) out += separator;
    out += mixed ? Address(random) : AddrSpec(random);
  }
  return out;
}

std::string EncodedText(Random* random) {
  const std::size_t kind = random->Below(10);
  std::string out = CommonWord(random);
  std::size_t column = 9 + out.size();
  for (std::size_t words = random->LogBetween(4, 40); words > 0; --words) {
    const std::string word = random->Percent(40) ? OneWord(random, kind) : CommonWord(random);
    const bool fold = column + word.size() > 75;
    out += (fold ? "\r\n " : " ") + word;
    column = (fold ? 1 : column + 1) + word.size();
  }
  return out;
}

EightBitText EightBitHeader(Random* random) {
  const std::size_t kind = random->Below(10);
  EightBitText text;
  text.charset = kind < 6 ? "ISO-8859-1" : kind < 8 ? "UTF-8" : kind == 8 ? "Shift_JIS" : "KOI8-R";
  text.utf8 = CommonWord(random);
  text.local = text.utf8;
  for (std::size_t words = random->LogBetween(4, 40); words > 0; --words) {
    std::string utf8 = CommonWord(random);
    std::string local = utf8;
    if (random->Percent(40)) {
      const std::size_t at = random->Below(kRussianWords.size());
      if (kind < 6) {
        utf8 = Pick(random, kLatinWords);
        local = ToLatin1(utf8);
      } else if (kind < 8) {
        local = utf8 = Pick(random, kForeignWords);
      } else {
        utf8 = kind == 8 ? kJapaneseUtf8Words[at] : kRussianUtf8Words[at];
        local = kind == 8 ? kShiftJisWords[at] : kRussianWords[at];
      }
    }
    text.utf8 += " " + utf8;
    text.local += " " + local;
  }
  return text;
}

std::string TopFields(Random* random) {
  std::string out = TraceFields(random);
  out += "From: " + Address(random) + "\r\n";
  out += "To: " + AddressList(random, random->LogBetween(1, 20), true, ",\r\n ") + "\r\n";
  if (random->Percent(40))
    out += "Cc: " + AddressList(random, random->LogBetween(1, 10), true, ",\r\n ") + "\r\n";
  out +=
      "Subject: " +
      (random->Percent(30) ? EncodedText(random) : Sentence(random, 4 + random->Below(8), false)) +
      "\r\n";
  out += "Date: " + DateText(random) + "\r\nMessage-ID: " + MessageId(random) + "\r\n";
  if (random->Percent(50)) {
    out += "In-Reply-To: " + MessageId(random) + "\r\nReferences: " + MessageId(random) + "\r\n " +
           MessageId(random) + "\r\n";
  }
  if (random->Percent(30)) {
    out += "List-Id: <users." + Pick(random, kDomains) +
           ">\r\nList-Unsubscribe: <mailto:" + AddrSpec(random) + ">\r\n";
  }
  out +=
      "X-Mailer: Writer " + Number(1 + random->Below(9)) + "." + Number(random->Below(20)) + "\r\n";
  return out;
}

}  // namespace bench
