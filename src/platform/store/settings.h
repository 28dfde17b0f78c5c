// What tests set and measurements read; for one process.
#pragma once
#include <cstdint>
#include <string>

namespace qob::store {

int WaitMs();
int LogLimitPages();
std::string BaseLayer();  // "" = the system's
void NoteCheckpoint(std::int64_t microseconds);

}  // namespace qob::store
