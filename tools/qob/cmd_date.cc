// qob date: dates of mail, read by the library.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <qob3xapi/dates.h>

#include "commands.h"
#include "date_seconds.h"
#include "json_line.h"
#include "output.h"
#include "private_site.h"
#include "text_input.h"

namespace cli {
namespace {

constexpr const char* kSchema = "qob.date/1";

struct FreeDate {
  void operator()(UtcDate* date) const { std::free(date); }
};
using Date = std::unique_ptr<UtcDate, FreeDate>;

Date Read(const std::string& text, const std::string& form) {
  UtcDate* date = nullptr;
  if (form != "ctime" && rfc2UTC(text.c_str(), &date) == 1) return Date(date);
  if (form != "rfc822" && ctime2UTC(text.c_str(), &date) == 1) return Date(date);
  return nullptr;
}

bool ZoneKnown(const UtcDate& date) { return (date.flags & QOB_DATE_ZONE_KNOWN) != 0; }

std::string IsoText(const UtcDate& date) {
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d", date.year, date.month,
                date.day, date.hour, date.minute, date.second);
  std::string iso = text.data();
  if (!ZoneKnown(date)) return iso;
  const int minutes = std::abs(date.zoneOffset);
  std::snprintf(text.data(), text.size(), "%c%02d:%02d", date.zoneOffset < 0 ? '-' : '+',
                minutes / 60, minutes % 60);
  return iso + text.data();
}

std::string RfcText(UtcDate* date) {
  std::array<char, 64> text{};
  UTC2rfc(date, text.data());
  return text.data();
}

}  // namespace

ExitCode RunDate(const Arguments& arguments) {
  const PrivateSite site(arguments.Has("--verbose"));
  const ExitCode code = ForEachText(arguments.operands, [&](const std::string& text) {
    const Date date = Read(text, arguments.Value("--form", "auto"));
    if (date == nullptr)
      throw Failure(ExitCode::kData,
                    "not a date of mail: write it like 'Sun, 15 Nov 2026 02:24:05 -0800'");
    const std::string rfc = RfcText(date.get());
    if (!arguments.Has("--json")) {
      Out().Line(IsoText(*date) + "  " + std::to_string(SecondsOf(*date)) + "  " + rfc);
      return;
    }
    Json line;
    line["schema"] = kSchema;
    PutText(&line, "input", text);
    line["iso"] = IsoText(*date);
    line["utc"] = SecondsOf(*date);
    line["rfc822"] = rfc;
    line["zone_minutes"] = ZoneKnown(*date) ? Json(date->zoneOffset) : Json();
    line["seconds_given"] = (date->flags & QOB_DATE_SECONDS_GIVEN) != 0;
    Out().Line(JsonText(line));
  });
  Out().Flush();
  return code;
}

}  // namespace cli
