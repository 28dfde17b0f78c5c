// The date of a header: brought to one form, with its moment beside it.
#pragma once
#include <string_view>

#include <qob3xapi/header822.h>

namespace qob {

// A new record for the value of a date field; the present moment when the value is no date. Null
// when memory is exhausted.
HeaderDate* NewHeaderDate(std::string_view value);

}  // namespace qob
