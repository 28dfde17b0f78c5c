// Texts changed in place.
#pragma once

namespace qob {

// Removes every control character of the C locale (1..31 and 127, tabs and line ends included).
void RemoveControls(char* text);

}  // namespace qob
