// The settings of encoded words from "twmta.ini", read anew by every exported call.
#pragma once
#include "charset/header_encoder.h"
#include "charset/word_decoder.h"

namespace qob {

EncodingSettings ReadEncodingSettings();
DecodingSettings ReadDecodingSettings();

}  // namespace qob
