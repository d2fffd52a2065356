// An application that defines functions of its own under names libPlayerSDK.so also exports.
// The library must keep calling its own: here the application's versions return nonsense and
// count their calls. The H.264 stream's SDP carries its parameter sets (sprop-parameter-sets),
// which the library decodes with Base64decode while it sets up the stream; the stream then
// plays the test pattern through the real decoder and the application's functions are never
// called.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>

#include "../PlayLog.h"
#include "PlayerSDK.h"
#include "livesource/LiveSource.h"
#include "livesource/PictureCheck.h"

namespace {
std::atomic<int> g_applicationCalls{0};
}  // namespace

// The application's own functions, exported from the program so that they take part in symbol
// resolution (the program is linked with -rdynamic).
extern "C" int Base64decode(char* bufplain, const char* /*bufcoded*/) {
    ++g_applicationCalls;
    memcpy(bufplain, "\xDE\xAD\xBE", 4);
    return 3;
}

extern "C" int FindH264Header(const char* /*buf*/, int /*len*/) {
    ++g_applicationCalls;
    return 2;  // "an IDR" for anything
}

extern "C" void PicChange(const char* /*src*/, int /*width*/, int /*height*/, char* /*dst*/) {
    ++g_applicationCalls;
}

namespace {
using namespace playersdk::livesource;
using playersdk::test::PlayLog;

TEST(ApplicationNames, LibraryPlaysWithItsOwnFunctionsBesideTheApplications) {
    CLiveSource source;
    ASSERT_TRUE(source.Start());
    ASSERT_NE(source.sdp().find("sprop-parameter-sets="), std::string::npos);
    PlayLog log;

    const long play = log.Open(source.url());

    ASSERT_NE(play, -1);
    const bool played = log.WaitForPictures(10);
    Picture last;
    {
        std::lock_guard<std::mutex> lock(log.mutex);
        last = log.last;
    }
    EXPECT_TRUE(log.Close(play));  // before any verdict: the play must not outlive its log
    ASSERT_TRUE(played);
    EXPECT_LT(DistanceFromPattern(last, 320, 240), 6.0);
    EXPECT_EQ(g_applicationCalls.load(), 0);
}
}  // namespace
