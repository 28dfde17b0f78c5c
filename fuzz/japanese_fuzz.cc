// Both Japanese conversions of any bytes, through files, against the plain model.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "charset/japanese_model.h"
#include "charset/jis_to_shift_jis.h"
#include "charset/shift_jis_to_jis.h"

namespace {

// convert(reader, writer) from bytes in memory to bytes in memory.
template <class Convert>
std::string Through(std::string_view bytes, Convert&& convert) {
  const int in = memfd_create("in", 0);
  const int out = memfd_create("out", 0);
  if (in < 0 || out < 0 || write(in, bytes.data(), bytes.size()) < 0) std::abort();
  lseek(in, 0, SEEK_SET);
  {
    qob::LineReader reader;
    reader.Attach(in);
    qob::FileWriter writer;
    writer.Attach(out);
    if (!convert(reader, writer) || !writer.Flush()) std::abort();
  }
  std::string result(static_cast<std::size_t>(lseek(out, 0, SEEK_END)), '\0');
  if (pread(out, result.data(), result.size(), 0) < 0) std::abort();
  close(in);
  close(out);
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool repair = data[0] % 2 == 0;
  // Some inputs begin shortly before the end of what is looked at in one go.
  const std::string text = std::string(data[0] / 2 == 1 ? 32760 : 0, 'x') +
                           std::string(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::string jis =
      Through(text, [&](auto& in, auto& out) { return qob::ShiftJisToJis(in, "?", out); });
  if (jis != qob::testing::ModelEncode(text, "?")) std::abort();
  const std::string shift_jis = Through(
      text, [&](auto& in, auto& out) { return qob::JisToShiftJis(in, INT64_MAX, repair, out); });
  if (shift_jis != qob::testing::ModelDecode(text, repair)) std::abort();
  return 0;
}
