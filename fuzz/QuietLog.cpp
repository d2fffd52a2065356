// Every harness: the library's log goes nowhere, so that a run measures parsing, not writing
// and flushing a log line per input.
#include "PlayerSDK.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    SetPlayerSdkLogFile("/dev/null");
    return 0;
}
