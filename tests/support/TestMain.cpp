// Test entry point: every test program logs into a file of its own under the temp folder,
// so running the tests leaves no playersdk.log behind in the source tree.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "PlayerSDK.h"

// libx265, which encodes the H.265 test streams, keeps some memory of every encoder it opened
// after the encoder is closed: not ours to fix, so the leak check passes over it.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libx265.so\n";
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string path = "/tmp/playersdk-test-" + std::to_string(getpid()) + ".log";
    SetPlayerSdkLogFile(path.c_str());
    int rc = RUN_ALL_TESTS();
    unlink(path.c_str());
    return rc;
}
