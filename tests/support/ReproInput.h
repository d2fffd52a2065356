// The inputs with which fuzzing broke the library, kept under fuzz/repro/<target>/ so that the
// fuzzers start from them and the tests replay them.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "support/TempDir.h"

namespace playersdk::test {
inline std::string ReproInput(const std::string& target, const std::string& name) {
    const std::string bytes =
        ReadFileBytes(std::string(PLAYERSDK_REPRO_DIR) + "/" + target + "/" + name);
    EXPECT_FALSE(bytes.empty()) << "no reproducer " << target << "/" << name;
    return bytes;
}
}  // namespace playersdk::test
