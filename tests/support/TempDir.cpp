#include "support/TempDir.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace playersdk::test {
TempDir::TempDir() {
    char tmpl[] = "/tmp/playersdk-XXXXXX";
    const char* made = mkdtemp(tmpl);
    m_path = made ? made : "/tmp";
}

TempDir::~TempDir() {
    std::error_code ec;
    if (m_path != "/tmp") {
        std::filesystem::remove_all(m_path, ec);
    }
}

std::string ReadFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
}  // namespace playersdk::test
