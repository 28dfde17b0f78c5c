// The system's own log.
#pragma once

namespace qob::os {

enum class Urgency { kError, kNotice, kInformation, kDetail };

// One entry of the mail facility; the text is no format.
void WriteSystemLog(Urgency urgency, const char* text);

}  // namespace qob::os
