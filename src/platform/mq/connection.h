// What MQInit binds the process to: a queue directory, for the entries that are made from then on.
//
// The record is written by MQInit and MQTerminate alone, before and after all other use; a child of
// a fork has it too and opens the database for itself.
#pragma once
#include <memory>

#include "platform/store/record_file.h"

namespace qob::mq {

// False leaves the process unconnected.
bool Connect(const char* host, const char* client_name);
void Disconnect();

// "" while unconnected.
const char* BoundDirectory();
// The client's name for log lines: start-up's, else that of MQInit.
const char* ClientName();

// The database stays open in this process, so that the next entry finds it so; in place of what was
// kept before. Null lets it go.
void KeepOpen(std::shared_ptr<store::RecordFile> file);

}  // namespace qob::mq
