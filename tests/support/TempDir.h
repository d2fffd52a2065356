// A private folder under /tmp for one test, removed with everything in it at the end.
#pragma once

#include <string>

namespace playersdk::test {
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// Whole contents of a file; empty when it cannot be read.
std::string ReadFileBytes(const std::string& path);
}  // namespace playersdk::test
