// The exported FilePlay functions. A handle is the player's address; the players handed out are
// kept in a set, so that a stale or made-up handle gets the bad-handle result instead of being
// followed. Every call but FilePlay_Stop works under the set's lock, so a player cannot be
// deleted under it; FilePlay_Stop takes the player out under the lock and stops it outside,
// because its play thread may be inside the application's callback calling us.
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <set>

#include "PlayerSDK.h"
#include "fileplay/FilePlayer.h"

namespace {
std::mutex g_playersLock;
std::set<CFilePlayer*> g_players;

// Runs fn on the player of the handle under the lock, or gives the bad-handle result.
template <typename Result, typename Fn>
Result WithPlayer(long handle, Result badHandle, Fn fn) {
    std::lock_guard<std::mutex> lock(g_playersLock);
    auto it = g_players.find(reinterpret_cast<CFilePlayer*>(handle));
    if (handle == 0 || handle == -1 || it == g_players.end()) {
        return badHandle;
    }
    return fn(**it);
}

// Takes the player out of the set; null when it is not there or when the caller is its own
// play thread (the file-play callback), which cannot wait for itself to end.
std::unique_ptr<CFilePlayer> TakePlayer(long handle) {
    std::lock_guard<std::mutex> lock(g_playersLock);
    auto it = g_players.find(reinterpret_cast<CFilePlayer*>(handle));
    if (it == g_players.end() || (*it)->IsOnPlayThread()) {
        return nullptr;
    }
    std::unique_ptr<CFilePlayer> player(*it);
    g_players.erase(it);
    return player;
}

// The (mode, value) PlayControl gets for a control record; false when the mode does nothing.
bool MapControl(const tPlayCtrlInfo& ctrl, int& mode, long& value) {
    // A C application may leave any int in the enum field: read it as the int it is.
    static_assert(sizeof(ctrl.playmode) == sizeof(int), "playmode is an int-sized enum");
    memcpy(&mode, &ctrl.playmode, sizeof(mode));
    switch (mode) {
        case FILE_PLAYING:
            value = ctrl.speed;
            return true;
        case FILE_PAUSE:
            value = 0;
            return true;
        case FILE_FWORD:
        case FILE_BACK:
            value = ctrl.scale;
            break;
        case FILE_SLOW:
        case FILE_FAST:
            value = ctrl.speed;
            break;
        default:
            value = ctrl.seektime;
            return mode >= FILE_PLAYSEEK && mode <= FILE_SOLESEEK;
    }
    if (value == 0) {  // stepping or speed of 0: normal play at speed 1
        mode = FILE_PLAYING;
        value = 1;
    }
    return true;
}
}  // namespace

extern "C" PLAYERSDK_API long FilePlay_Start(const char* path, HWND hWnd, FilePlayCallback callback,
                                             long lUserData) {
    std::unique_ptr<CFilePlayer> player(new (std::nothrow) CFilePlayer());
    if (!player) {
        return -1;
    }
    // Stored before the thread starts, so that even the first notification carries it.
    player->m_lPrivateData = lUserData;
    int rc = player->PlayFile(hWnd, path, callback);
    if (rc != 0) {
        PlayerSdkLog("[FilePlay_Start] PlayFile failed:%d\n", rc);
        player->StopFilePlay();  // the player that could not start is freed
        return -1;
    }
    std::lock_guard<std::mutex> lock(g_playersLock);
    g_players.insert(player.get());
    return reinterpret_cast<long>(player.release());
}

extern "C" PLAYERSDK_API int FilePlay_Stop(long hPlay) {
    if (hPlay < 1) {
        return -1;
    }
    std::unique_ptr<CFilePlayer> player = TakePlayer(hPlay);
    if (!player) {
        return -1;
    }
    player->StopFilePlay();
    return 0;
}

extern "C" PLAYERSDK_API int FilePlay_Control(long hPlay, tPlayCtrlInfo* ctrl) {
    int mode = 0;
    long value = 0;
    bool acts = ctrl && MapControl(*ctrl, mode, value);
    return WithPlayer(hPlay, -1, [&](CFilePlayer& player) {
        if (!ctrl) {
            return -1;
        }
        if (acts) {
            player.PlayControl(mode, value);
        }
        return 0;
    });
}

extern "C" PLAYERSDK_API long FilePlay_GetTotalTime(long hPlay) {
    return WithPlayer(hPlay, -1L,
                      [](CFilePlayer& player) { return static_cast<long>(player.m_totalTime); });
}

extern "C" PLAYERSDK_API long FilePlay_GetCurTime(long hPlay) {
    return WithPlayer(
        hPlay, -1L, [](CFilePlayer& player) { return static_cast<long>(player.m_curTime.load()); });
}

extern "C" PLAYERSDK_API int FilePlay_GetManufType(long hPlay) {
    return WithPlayer(hPlay, static_cast<int>(MANU_FILE_TYPE_UNKOWN),
                      [](CFilePlayer& player) { return static_cast<int>(player.m_ManuFileType); });
}

extern "C" PLAYERSDK_API int FilePlay_CapturePic(long hPlay, const char* path) {
    return WithPlayer(hPlay, -1, [&](CFilePlayer& player) { return player.CapturePic(path); });
}

extern "C" PLAYERSDK_API int FilePlay_GetInfo(long hPlay, tVideoFileInfo* info) {
    return WithPlayer(hPlay, -1, [&](CFilePlayer& player) {
        if (!info) {
            return -1;
        }
        info->totalFrameNum = player.m_totalFrameNum;
        info->keyFrameNum = player.m_keyFrameNum;
        info->manufType = player.m_ManuFileType;
        return 0;
    });
}

// The decoder's answer is turned around (non-zero becomes 0, zero becomes -1); applications
// test the result that way, so the inverted sense stays.
extern "C" PLAYERSDK_API int FilePlay_RefreshSurface(long hPlay) {
    return WithPlayer(hPlay, 0,
                      [](CFilePlayer& player) { return player.RefreshSurface() != 0 ? 0 : -1; });
}
