// What an application sees of a play through the exported functions: its notifications and
// the decoded pictures, the last one kept. Pass the log's address as the user value.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "PlayerSDK.h"
#include "livesource/PictureCheck.h"

namespace playersdk::test {

struct PlayLog {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> codes;
    int pictures = 0;
    livesource::Picture last;
    long container = 0;

    // Opens 'url' over the given transport in a container of its own; notifications and
    // pictures come to this log.
    long Open(std::string url, int transType = TT_TCP) {
        NetPlay_SetGotPictureCallback(OnPicture);
        container = NetPlay_Init(OnNotify, reinterpret_cast<long>(this));
        return NetPlay_OpenUrlEx(container, url.data(), 0, reinterpret_cast<long>(this), transType);
    }
    // Closes the play and its container; true when both answered 0.
    bool Close(long play) {
        const bool closed = NetPlay_CloseUrl(container, play) == 0;
        const bool destroyed = NetPlay_Destroy(container) == 0;
        NetPlay_SetGotPictureCallback(nullptr);
        return closed && destroyed;
    }

    bool WaitForPictures(int count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), [&] { return pictures >= count; });
    }
    bool Received(int code) {
        std::lock_guard<std::mutex> lock(mutex);
        return std::find(codes.begin(), codes.end(), code) != codes.end();
    }

    static int OnNotify(long, long, ePlayNotifyCode code, long user) {
        auto* log = reinterpret_cast<PlayLog*>(user);
        std::lock_guard<std::mutex> lock(log->mutex);
        log->codes.push_back(code);
        return 0;
    }

    // Pictures arrive as (stream, BGR24 rows, width, height, type, the play's user value).
    static int OnPicture(long, char* buf, int width, int height, int, long user) {
        auto* log = reinterpret_cast<PlayLog*>(user);
        std::lock_guard<std::mutex> lock(log->mutex);
        ++log->pictures;
        log->last = livesource::BlankPicture(width, height);
        std::copy(buf, buf + log->last.bgr.size(), log->last.bgr.begin());
        log->changed.notify_all();
        return 0;
    }
};

}  // namespace playersdk::test
