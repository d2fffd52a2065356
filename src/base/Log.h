// The library's single diagnostic log file (declared for applications in PlayerSDK.h).
#pragma once

#include "PlayerSDK.h"

namespace playersdk {
// Size of one log entry: message, time stamp and the blank line after it.
constexpr int kLogLineSize = 2048;
// Closes the log so that the next entry opens (and truncates) the file again. Tests only.
void ResetLogForTest();
}  // namespace playersdk
