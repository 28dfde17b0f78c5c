// The decoders of message bodies from file to file.
//
// Each reads `count` bytes from the current position of `in`. A read that ends before them, a
// failed read or write, and a count below 1 are failures. Input is reckoned in blocks of 256 bytes:
// data that ends (base64: "=", "-" or NUL) inside a block that could be read whole succeeds,
// although the file may end before `count` behind that block.
#pragma once
#include <cstdint>

#include <qob3xapi/frame.h>

#include "lineio/file_writer.h"
#include "platform/os/file.h"

namespace qob {

// 1 success, -1 failure or invalid data.
int DecodeBase64File(QOB_OSHANDLE in, std::int64_t count, QOB_OSHANDLE out);
// 1 success, -1 failure, 0 when the input ends inside an escape (the bytes still buffered are then
// not written).
int DecodeQPFile(QOB_OSHANDLE in, std::int64_t count, QOB_OSHANDLE out);

// The same into a writer, which is flushed on success alone. Throw std::bad_alloc.
int DecodeBase64Body(os::Handle in, std::int64_t count, FileWriter* out);
int DecodeQuotedPrintableBody(os::Handle in, std::int64_t count, FileWriter* out);

}  // namespace qob
