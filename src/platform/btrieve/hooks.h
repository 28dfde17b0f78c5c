// For tests: what happens between the reading and the writing of one call.
#pragma once

namespace qob::btrieve {

// Called before every update and delete once the block's position is known; null in production. It
// runs outside all locks, so that it may change the record through another block.
using BeforeWrite = void (*)();
void TestBeforeWrite(BeforeWrite hook);
// The operations' side of it.
void RunBeforeWrite();

}  // namespace qob::btrieve
