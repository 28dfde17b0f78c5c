#include "util/text.h"

#include "platform/os/ascii.h"

namespace qob {

void RemoveControls(char* text) {
  char* to = text;
  for (const char* from = text; *from != '\0'; ++from) {
    if (!ascii::IsControl(static_cast<unsigned char>(*from))) *to++ = *from;
  }
  *to = '\0';
}

}  // namespace qob
