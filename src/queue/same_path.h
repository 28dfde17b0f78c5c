// Whether two texts are one path: either separator, runs of them as one, none at the end.
// Links are not followed: what counts is the text that programs share.
#pragma once
#include <string_view>

namespace qob {

bool IsSamePath(std::string_view a, std::string_view b);

}  // namespace qob
