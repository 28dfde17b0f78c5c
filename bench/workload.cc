// The messages.
#include "workload.h"

#include <algorithm>
#include <string_view>

#include "workload_values.h"

namespace bench {
namespace {

// An entity is content fields, the empty line and the body.

std::string Boundary(Random* random) {
  return "----=_Part_" + Number(random->Below(1'000'000), 6) + "_" +
         Number(random->Below(1'000'000'000), 9) + "." + Number(random->Below(1'000'000'000), 9);
}

std::string Multipart(Random* random, std::string_view subtype,
                      const std::vector<std::string>& entities) {
  const std::string boundary = Boundary(random);
  std::string out = "Content-Type: multipart/" + std::string(subtype) + ";\r\n\tboundary=\"" +
                    boundary + "\"\r\n\r\n" + "This is a message in several parts.\r\n";
  for (const std::string& entity : entities) out += "\r\n--" + boundary + "\r\n" + entity;
  return out + "\r\n--" + boundary + "--\r\n";
}

std::string TextEntity(Random* random, std::size_t bytes) {
  switch (random->Below(4)) {
    case 0:
      return "Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
             Paragraphs(random, bytes, true);
    case 1:
      return "Content-Type: text/plain; charset=\"UTF-8\"; "
             "format=flowed\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n" +
             QuotedPrintable(Paragraphs(random, bytes, true));
    case 2:
      return "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: "
             "base64\r\n\r\n" +
             Base64Lines(Paragraphs(random, bytes, true));
    default:
      return "Content-Type: text/plain; charset=US-ASCII\r\n\r\n" +
             Paragraphs(random, bytes, false);
  }
}

std::string HtmlEntity(Random* random, std::size_t bytes) {
  return "Content-Type: text/html; charset=UTF-8\r\nContent-Transfer-Encoding: "
         "quoted-printable\r\n\r\n" +
         QuotedPrintable(HtmlText(random, bytes));
}

std::string Attachment(Random* random, std::size_t bytes) {
  const std::string name = CommonWord(random) + "-" + Number(random->Below(1000));
  if (random->Percent(12)) {
    return "Content-Type: text/csv; name=\"" + name +
           ".csv\"\r\nContent-Transfer-Encoding: quoted-printable\r\n" +
           "Content-Disposition: attachment; filename=\"" + name + ".csv\"\r\n\r\n" +
           QuotedPrintable(Paragraphs(random, bytes, true));
  }
  return "Content-Type: application/octet-stream;\r\n\tname=\"" + name +
         ".bin\"\r\nContent-Transfer-Encoding: base64\r\n" +
         "Content-Disposition: attachment;\r\n\tfilename=\"" + name +
         ".bin\"; size=" + Number(bytes) + "\r\n\r\n" + Base64Lines(random->Bytes(bytes));
}

std::string Alternative(Random* random) {
  const std::size_t bytes = random->LogBetween(800, 20'000);
  return Multipart(random, "alternative",
                   {TextEntity(random, bytes), HtmlEntity(random, bytes * 2)});
}

std::string InlineImage(Random* random) {
  return "Content-Type: image/png\r\nContent-ID: " + MessageId(random) +
         "\r\nContent-Transfer-Encoding: base64\r\n" + "Content-Disposition: inline\r\n\r\n" +
         Base64Lines(random->Bytes(random->LogBetween(1'000, 60'000)));
}

std::string WithAttachments(Random* random) {
  std::vector<std::string> parts;
  parts.push_back(random->Percent(50) ? Alternative(random)
                                      : TextEntity(random, random->LogBetween(300, 8'000)));
  for (std::size_t count = 1 + random->Below(3); count > 0; --count) {
    parts.push_back(Attachment(random, random->LogBetween(4'000, 650'000)));
  }
  return Multipart(random, "mixed", parts);
}

std::string Nested(Random* random) {
  const std::string related =
      Multipart(random, "related", {Alternative(random), InlineImage(random), InlineImage(random)});
  return Multipart(random, "mixed",
                   {related, TextEntity(random, random->LogBetween(300, 4'000)),
                    Attachment(random, random->LogBetween(4'000, 200'000))});
}

std::string Encapsulated(Random* random) {
  std::vector<std::string> parts = {TextEntity(random, random->LogBetween(300, 3'000))};
  for (std::size_t count = 1 + random->Below(2); count > 0; --count) {
    parts.push_back("Content-Type: message/rfc822\r\nContent-Disposition: inline\r\n\r\n" +
                    TopFields(random) + "MIME-Version: 1.0\r\n" +
                    (random->Percent(40) ? Nested(random)
                                         : TextEntity(random, random->LogBetween(300, 8'000))));
  }
  return Multipart(random, "mixed", parts);
}

std::string Digest(Random* random) {
  std::vector<std::string> parts;
  for (std::size_t count = 4 + random->Below(12); count > 0; --count) {
    parts.push_back("Content-Type: message/rfc822\r\n\r\n" + TopFields(random) +
                    "MIME-Version: 1.0\r\n" + TextEntity(random, random->LogBetween(300, 3'000)));
  }
  return Multipart(random, "digest", parts);
}

}  // namespace

std::string MixedMessage(std::size_t index) {
  Random random(kSeed + 1'000'003 * index);
  const std::string top = TopFields(&random);
  const std::size_t kind = random.Below(100);
  if (kind < 4) return top + "\r\n" + Paragraphs(&random, random.LogBetween(300, 8'000), false);
  const std::string mime = top + "MIME-Version: 1.0\r\n";
  if (kind < 34) return mime + TextEntity(&random, random.LogBetween(300, 16'000));
  if (kind < 52) return mime + Alternative(&random);
  if (kind < 82) return mime + WithAttachments(&random);
  if (kind < 90) return mime + Nested(&random);
  if (kind < 97) return mime + Encapsulated(&random);
  return mime + Digest(&random);
}

std::string BigMessage() {
  Random random(kSeed + 1);
  std::vector<std::string> parts = {Alternative(&random)};
  std::size_t written = 0;
  while (written < kBigMessageBytes) {
    const std::size_t rest = kBigMessageBytes - written;
    parts.push_back(Attachment(&random, std::min<std::size_t>(rest * 57 / 78 + 1, 30'000'000)));
    written += parts.back().size();
  }
  return TopFields(&random) + "MIME-Version: 1.0\r\n" + Multipart(&random, "mixed", parts);
}

}  // namespace bench
