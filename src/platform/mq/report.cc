#include "platform/mq/report.h"

#include <array>
#include <cstdio>
#include <cstring>

#include <qobplatform/logapi.h>

#include "platform/mq/connection.h"

namespace qob::mq {
namespace {

constexpr int kFailure = 1;

}  // namespace

void TellFailure(const char* call, std::string_view path, std::string_view what) {
  std::array<char, 1024> line;
  std::snprintf(line.data(), line.size(), "%s failed, %.*s: %.*s", call,
                static_cast<int>(path.size()), path.data(), static_cast<int>(what.size()),
                what.data());
  LogMessage(kFailure, ClientName(), line.data());
}

void TellSystemFailure(const char* call, std::string_view path, int error) {
  TellFailure(call, path, std::strerror(error));
}

void TellStoreFailure(const char* call, std::string_view path, int status) {
  std::array<char, 64> what;
  std::snprintf(what.data(), what.size(), "database error %d", status);
  TellFailure(call, path, what.data());
}

}  // namespace qob::mq
