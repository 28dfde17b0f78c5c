// From a file name to a pool of parts: the three ways to read a message, with their log lines.
#pragma once
#include <cstdint>

#include <qob3xapi/mimeparse.h>

namespace qob {

// Each gives the number of parts, or -1 after its log line; *pool is set on success alone. Memory
// that runs out is reported here too: none of them throws.
std::int32_t ReadMimeMessage(const char* file_name, bool descend, MimeMessagePool** pool) noexcept;
std::int32_t ReadPlainMessage(const char* file_name, MimeMessagePool** pool) noexcept;
// Reads the header to choose between the two.
std::int32_t ReadMessage(const char* file_name, std::int32_t flags,
                         MimeMessagePool** pool) noexcept;

}  // namespace qob
