// The CRC of BinHex 4.0: polynomial 0x1021, initial value 0, most significant bit first.
//
// The format describes a bit-serial register that two zero bytes are pushed through at the end.
// That register holds the same value as the table form below over the bytes alone; two zero bytes
// fed to the table form would give another one. "123456789" gives 0x31C3.
#pragma once
#include <cstdint>
#include <string_view>

namespace qob {

class Crc16 {
 public:
  void Update(std::string_view bytes);
  std::uint16_t value() const { return value_; }

 private:
  std::uint16_t value_ = 0;
};

}  // namespace qob
