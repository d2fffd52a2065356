#include "support/NetPlayFixture.h"

#include <algorithm>
#include <thread>

#include "base/OsHelpers.h"
#include "fakedecoder/FakeDecoder.h"

namespace playersdk::test {

using rtspserver::Bytes;

int NoticeLog::Callback(long hPlayContainer, long hUrlPlay, ePlayNotifyCode code, long lUserData) {
    reinterpret_cast<NoticeLog*>(lUserData)->Add({hPlayContainer, hUrlPlay, code, lUserData});
    return 0;
}

std::vector<int> NoticeLog::codesOf(long play) const {
    std::vector<int> codes;
    for (const Notice& notice : all()) {
        if (notice.play == play) {
            codes.push_back(notice.code);
        }
    }
    return codes;
}

size_t NoticeLog::count(int code) const {
    std::vector<Notice> notices = all();
    return std::count_if(notices.begin(), notices.end(),
                         [&](const Notice& notice) { return notice.code == code; });
}

bool NoticeLog::WaitFor(int code, long play, size_t count, Wait wait) const {
    return WaitUntil(
        [&](const std::vector<Notice>& notices) {
            return static_cast<size_t>(
                       std::count_if(notices.begin(), notices.end(), [&](const Notice& notice) {
                           return notice.code == code && (play == 0 || notice.play == play);
                       })) >= count;
        },
        wait);
}

int FrameLog::Callback(long stream, char* buf, int length, long userdata) {
    if (userdata != 0) {
        reinterpret_cast<FrameLog*>(userdata)->Add(std::string(buf, static_cast<size_t>(length)));
    }
    return 0;
}

void NetPlayFixture::SetUp() {
    fakedecoder::Reset();
    ASSERT_TRUE(server.Start());
    NetPlay_setGotFrameCallback(FrameLog::Callback);
    container = NetPlay_Init(NoticeLog::Callback, notices.user());
}

void NetPlayFixture::TearDown() {
    NetPlay_Destroy(container);
    NetPlay_setGotFrameCallback(nullptr);
    server.Stop();
}

long NetPlayFixture::OpenUrl(std::string url, int transType, long userdata) {
    return NetPlay_OpenUrlEx(container, url.data(), 0, userdata, transType);
}

long NetPlayFixture::OpenPlaying(const std::string& path) {
    long play = Open(path, TT_TCP, frames.user());
    EXPECT_TRUE(notices.WaitFor(NOTIFY_CONNECT_SUCCESS, play));
    return play;
}

Bytes Nal(uint8_t header, size_t size) {
    Bytes nal(size, header);
    for (size_t i = 1; i < size; ++i) {
        nal[i] = static_cast<uint8_t>(i * 7 + header);
    }
    return nal;
}

std::string AnnexB(const Bytes& nal) {
    return std::string("\0\0\0\1", 4) + std::string(nal.begin(), nal.end());
}

void SendNal(rtspserver::RtspServerConnection& peer, rtspserver::RtpPacketBuilder& rtp,
             const Bytes& nal, uint32_t timestamp) {
    for (const Bytes& packet : rtp.PacketizeH264Nal(nal.data(), nal.size(), timestamp, true)) {
        peer.SendInterleaved(0, packet);
    }
}

std::vector<std::string> DecoderFrames() {
    std::vector<std::string> frames;
    for (const fakedecoder::Call& call : fakedecoder::Frames()) {
        frames.emplace_back(call.bytes.begin(), call.bytes.end());
    }
    return frames;
}

bool WaitUntil(const std::function<bool()>& condition, Wait wait) {
    const auto deadline = std::chrono::steady_clock::now() + wait;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

void AdvanceLibraryClock(unsigned long ms) {
    AdvanceTickCountForTest(ms);
    Pause();
}

void Pause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

}  // namespace playersdk::test
