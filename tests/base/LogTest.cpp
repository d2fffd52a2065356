#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "base/Log.h"
#include "support/TempDir.h"

using playersdk::test::ReadFileBytes;
using playersdk::test::TempDir;

namespace {
// Points the log at a fresh file; the next entry opens it.
class LogFile {
public:
    LogFile() : m_path(m_dir.file("sdk.log")) {
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

TEST(PlayerSdkLog, EntryIsMessageThenTimeStampThenBlankLine) {
    LogFile log;
    int rc = PlayerSdkLog("[SendSetup] SendSetup failed:socket=%d \r\n", 7);
    std::string text = log.text();
    const std::string msg = "[SendSetup] SendSetup failed:socket=7 \r\n";
    ASSERT_EQ(text.compare(0, msg.size(), msg), 0) << text;
    std::string stamp = text.substr(msg.size());
    EXPECT_EQ(stamp.size(), 26u);
    EXPECT_TRUE(std::regex_match(stamp, kStamp)) << stamp;
    // The stamp's 26 bytes are counted twice in the result.
    EXPECT_EQ(rc, static_cast<int>(msg.size()) + 26 + 26);
}

TEST(PlayerSdkLog, FirstEntryTruncatesAnOldFileAndLaterOnesAppend) {
    LogFile log;
    FILE* f = fopen(log.path().c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs("left over from the last run\n", f);
    fclose(f);
    PlayerSdkLog("first\n");
    PlayerSdkLog("second\n");
    std::string text = log.text();
    EXPECT_EQ(text.find("left over"), std::string::npos);
    EXPECT_EQ(text.find("first\n"), 0u);
    EXPECT_NE(text.find("second\n"), std::string::npos);
}

TEST(PlayerSdkLog, OverlongMessageIsCutAndStillStamped) {
    LogFile log;
    std::string huge(10000, 'x');
    int rc = PlayerSdkLog("%s", huge.c_str());
    std::string text = log.text();
    ASSERT_LT(text.size(), static_cast<size_t>(playersdk::kLogLineSize));
    EXPECT_GT(text.size(), 2000u);
    EXPECT_TRUE(std::regex_search(text, kStamp));
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
    EXPECT_GT(rc, 0);
}

TEST(PlayerSdkLog, UnwritablePathFailsWithMinusOne) {
    playersdk::ResetLogForTest();
    SetPlayerSdkLogFile("/nonexistent-folder/for/sure/sdk.log");
    EXPECT_EQ(PlayerSdkLog("x\n"), -1);
    playersdk::ResetLogForTest();
}

TEST(SetPlayerSdkLogFile, TakesA255CharacterPathAndIgnoresLongerOrNull) {
    TempDir dir;
    // A 255-character path inside the temp folder.
    std::string base = dir.path() + "/";
    std::string path255 = base + std::string(255 - base.size(), 'a');
    ASSERT_EQ(path255.size(), 255u);
    std::string path256 = base + std::string(256 - base.size(), 'b');

    playersdk::ResetLogForTest();
    SetPlayerSdkLogFile(path255.c_str());
    SetPlayerSdkLogFile(path256.c_str());  // ignored: the 255-character name stays
    SetPlayerSdkLogFile(nullptr);          // ignored
    ASSERT_GT(PlayerSdkLog("kept\n"), 0);
    EXPECT_NE(ReadFileBytes(path255).find("kept"), std::string::npos);
    EXPECT_TRUE(ReadFileBytes(path256).empty());
    playersdk::ResetLogForTest();
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
