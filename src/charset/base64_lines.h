// Whole lines of base64: 54 bytes become 72 characters and CR LF.
#pragma once
#include <cstddef>

namespace qob {

inline constexpr std::size_t kBase64LineBytes = 54;
inline constexpr std::size_t kBase64LineChars = 72;
inline constexpr std::size_t kBase64LineSize = kBase64LineChars + 2;  // with its line end

// `lines` lines from `from` to `to`; nothing else is read or written.
using Base64LineKernel = void (*)(const unsigned char* from, std::size_t lines, char* to);

void EncodeLinesPortable(const unsigned char* from, std::size_t lines, char* to);
// Null where the processor does not have these instructions.
Base64LineKernel Base64LinesSsse3();
Base64LineKernel Base64LinesAvx2();
// The best of them.
Base64LineKernel FastestBase64Lines();

}  // namespace qob
