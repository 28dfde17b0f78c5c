// What an operator must know of the queue's own failures, one line each.
#pragma once
#include <string_view>

namespace qob::mq {

// "<call> failed, <path>: <what>" at level 1, under the client's name. Needs no memory.
void TellFailure(const char* call, std::string_view path, std::string_view what);
void TellSystemFailure(const char* call, std::string_view path, int error);
void TellStoreFailure(const char* call, std::string_view path, int status);

}  // namespace qob::mq
