#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "base/Log.h"
#include "support/TempDir.h"

using playersdk::test::ReadFileBytes;
using playersdk::test::TempDir;

namespace {
// Points the log at a fresh file (or 'path'); the next entry opens it.
class LogFile {
public:
    explicit LogFile(std::string path = "") : m_path(path.empty() ? m_dir.file("sdk.log") : path) {
        playersdk::ResetLogForTest();
        SetPlayerSdkLogFile(m_path.c_str());
    }
    ~LogFile() { playersdk::ResetLogForTest(); }
    std::string text() const { return ReadFileBytes(m_path); }
    const std::string& path() const { return m_path; }

private:
    TempDir m_dir;
    std::string m_path;
};

const std::regex kStamp("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}\n\n");
}  // namespace

TEST(PlayerSdkLog, FirstEntryTruncatesTheFileEachIsMessageStampBlankLineCountedWithStampTwice) {
    LogFile log;
    std::ofstream(log.path()) << "left over from the last run\n";
    int rc = PlayerSdkLog("[SendSetup] SendSetup failed:socket=%d \r\n", 7);
    PlayerSdkLog("second\n");
    const std::string msg = "[SendSetup] SendSetup failed:socket=7 \r\n";
    std::string text = log.text();
    ASSERT_EQ(text.size(), msg.size() + 26 + 7 + 26) << text;
    EXPECT_EQ(text.substr(0, msg.size()), msg);
    EXPECT_TRUE(std::regex_match(text.substr(msg.size(), 26), kStamp)) << text;
    EXPECT_EQ(text.substr(msg.size() + 26, 7), "second\n");
    EXPECT_TRUE(std::regex_match(text.substr(msg.size() + 33), kStamp)) << text;
    EXPECT_EQ(rc, static_cast<int>(msg.size()) + 26 + 26);
}

TEST(PlayerSdkLog, OverlongMessageIsCutAndStillStamped) {
    LogFile log;
    EXPECT_GT(PlayerSdkLog("%s", std::string(10000, 'x').c_str()), 0);
    std::string text = log.text();
    ASSERT_LT(text.size(), static_cast<size_t>(playersdk::kLogLineSize));
    EXPECT_GT(text.size(), 2000u);
    EXPECT_TRUE(std::regex_match(text.substr(text.size() - 26), kStamp));
}

TEST(SetPlayerSdkLogFile, TakesA255CharacterPathIgnoresLongerOrNullAndUnwritableGivesMinusOne) {
    {
        LogFile unwritable("/nonexistent-folder/for/sure/sdk.log");
        EXPECT_EQ(PlayerSdkLog("x\n"), -1);
    }
    TempDir dir;
    std::string base = dir.path() + "/";
    std::string path255 = base + std::string(255 - base.size(), 'a');
    std::string path256 = base + std::string(256 - base.size(), 'b');
    LogFile log(path255);
    SetPlayerSdkLogFile(path256.c_str());  // ignored: the 255-character name stays
    SetPlayerSdkLogFile(nullptr);          // ignored
    ASSERT_GT(PlayerSdkLog("kept\n"), 0);
    EXPECT_EQ(log.text().find("kept\n"), 0u);
    EXPECT_TRUE(ReadFileBytes(path256).empty());
}

TEST(PlayerSdkLog, EntriesFromManyThreadsDoNotInterleave) {
    LogFile log;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 50; ++i) {
                PlayerSdkLog("[Thread] t=%d i=%d %s\n", t, i, "payload-payload-payload");
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    std::string text = log.text();
    std::regex entry("\\[Thread\\] t=\\d i=\\d+ payload-payload-payload\n");
    auto begin = std::sregex_iterator(text.begin(), text.end(), entry);
    EXPECT_EQ(std::distance(begin, std::sregex_iterator()), 400);
}
