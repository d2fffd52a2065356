// Test entry point: every test program logs into a file of its own under the temp folder,
// so running the tests leaves no playersdk.log behind in the source tree.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "PlayerSDK.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string path = "/tmp/playersdk-test-" + std::to_string(getpid()) + ".log";
    SetPlayerSdkLogFile(path.c_str());
    int rc = RUN_ALL_TESTS();
    unlink(path.c_str());
    return rc;
}
