// For who brings the process's use of the library down.
#pragma once

namespace qob::tessera {

// Of all relations nothing stays open but what objects use at this moment. Does not throw.
void CloseKept();

}  // namespace qob::tessera
