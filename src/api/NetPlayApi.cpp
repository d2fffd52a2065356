// The exported surface of network play: containers, URL plays, direct UDP plays, the per-play
// services and the RTSP notification entry. Handles are object addresses; 0 and -1 mean none.
#include <cmath>
#include <cstdint>
#include <new>

#include "PlayerSDK.h"
#include "api/PlayContainer.h"
#include "net/NetSinkContainer.h"
#include "rtsp/Rtsp.h"
#include "session/NetPlayUrl.h"

namespace {
constexpr unsigned int kVersion = 0x02060001;  // 2.6.0.1
constexpr uint64_t kTopBit = 0x8000000000000000ull;

bool IsHandle(long handle) {
    return handle != 0 && handle != -1;
}

CPlayContainer* ContainerOf(long handle) {
    return IsHandle(handle) ? reinterpret_cast<CPlayContainer*>(handle) : nullptr;
}

// A double to an unsigned 64-bit value the way the processor converts it: values of 2^63 and
// above through the signed range with the top bit set; what fits neither range gives the
// processor's "indefinite" result instead of undefined behaviour.
uint64_t ToUnsigned64(double t) {
    constexpr double kTwo63 = 9223372036854775808.0;
    auto toSigned = [](double v) -> uint64_t {
        if (std::isnan(v) || v >= kTwo63 || v < -kTwo63) {
            return kTopBit;
        }
        return static_cast<uint64_t>(static_cast<int64_t>(v));
    };
    return t < kTwo63 ? toSigned(t) : toSigned(t - kTwo63) ^ kTopBit;
}

// The application's strings are const: the plays only read them (copied into bounded fields or
// scanned), so their char* parameters are handed the same text. The symbols stay the same.
char* Text(const char* text) {
    return const_cast<char*>(text);
}

// Runs 'call' on the play when both handles are good and the play is in the container's list;
// the play stays registered until the call returns. Otherwise 'refused'.
template <class Result, class Call>
Result WithPlay(long RecvHandle, long hHandle, Result refused, Call call) {
    CPlayContainer* container = ContainerOf(RecvHandle);
    if (container == nullptr) {
        return refused;
    }
    CPlayContainer::PlayUse play(*container, hHandle);
    if (!play) {
        return refused;
    }
    return call(play);
}
}  // namespace

extern "C" PLAYERSDK_API unsigned int Player_GetVersion(void) {
    return kVersion;
}

// ---- containers ---------------------------------------------------------------------------

extern "C" PLAYERSDK_API long NetPlay_Init(NetPlayAckCallBack pFunc, long lUserData) {
    auto* container = new (std::nothrow) CPlayContainer();
    if (container == nullptr) {
        return -1;
    }
    container->Init(pFunc, lUserData);
    return reinterpret_cast<long>(container);
}

extern "C" PLAYERSDK_API int NetPlay_Destroy(long RecvHandle) {
    if (RecvHandle <= 0) {
        return -1;
    }
    auto* container = reinterpret_cast<CPlayContainer*>(RecvHandle);
    container->Destroy();
    delete container;
    return 0;
}

extern "C" PLAYERSDK_API void NetPlay_SetOwnerDraw(long hPlayContainer, DrawCB AfterDrawFunc,
                                                   long lPrivate) {
    if (CPlayContainer* container = ContainerOf(hPlayContainer)) {
        container->SetDrawCb(AfterDrawFunc, lPrivate);
    }
}

extern "C" PLAYERSDK_API void NetPlay_SetLinkReportCallBack(
    long handle, NetLink_ReportCallBack SinkReportCallBack) {
    // -1 is refused too: it is no container.
    CPlayContainer* container = ContainerOf(handle);
    if (container != nullptr && container->m_pNetSinkContainer != nullptr) {
        container->m_pNetSinkContainer->SetReportCallback(SinkReportCallBack);
    }
}

// ---- URL plays ----------------------------------------------------------------------------

extern "C" PLAYERSDK_API long NetPlay_OpenUrlEx(long RecvHandle, const char* url, long hPlayWnd,
                                                long userdata, int transType) {
    CPlayContainer* container = ContainerOf(RecvHandle);
    if (container == nullptr) {
        return -1;
    }
    char empty[] = "";
    return container->StartUrlPlay(url != nullptr ? Text(url) : empty, hPlayWnd, userdata,
                                   transType);
}

extern "C" PLAYERSDK_API long NetPlay_OpenUrl(long RecvHandle, const char* url, long hPlayWnd,
                                              long userdata, DeviceDecInfo* deviceinfo) {
    // Always over TCP; the description is taken from the server, not from the caller.
    return NetPlay_OpenUrlEx(RecvHandle, url, hPlayWnd, userdata, TT_TCP);
}

extern "C" PLAYERSDK_API int NetPlay_CloseUrl(long RecvHandle, long hHandle) {
    CPlayContainer* container = ContainerOf(RecvHandle);
    return container != nullptr ? container->StopUrlPlay(hHandle) : -1;
}

// ---- direct UDP plays ---------------------------------------------------------------------

extern "C" PLAYERSDK_API long NetPlay_InitUDP(long RecvHandle, const char* tmpip, int tmpport,
                                              int* localPort) {
    CPlayContainer* container = ContainerOf(RecvHandle);
    return container != nullptr ? container->InitUdp(Text(tmpip), tmpport, localPort) : -1;
}

extern "C" PLAYERSDK_API int NetPlay_StartUDP(long RecvHandle, long hHandle, const char* url,
                                              long hPlayWnd, long userdata, int transType) {
    // The container looks the play up itself.
    CPlayContainer* container = ContainerOf(RecvHandle);
    if (container == nullptr) {
        return -1;
    }
    char empty[] = "";
    return container->StartUdp(hHandle, url != nullptr ? Text(url) : empty, hPlayWnd, userdata,
                               transType);
}

extern "C" PLAYERSDK_API int NetPlay_StopUDP(long RecvHandle, long hHandle) {
    if (hHandle < 1 || RecvHandle <= 0) {
        return -1;
    }
    return reinterpret_cast<CPlayContainer*>(RecvHandle)->StopUdp(hHandle);
}

// ---- per-play services --------------------------------------------------------------------

extern "C" PLAYERSDK_API int NetPlay_Control(long RecvHandle, long hHandle, ePlayOption operate,
                                             int para) {
    return WithPlay(RecvHandle, hHandle, -1, [&](CPlayContainer::PlayUse& play) {
        return play->PlayControl(operate, para);
    });
}

extern "C" PLAYERSDK_API int NetPlay_GetPlayPosition(long RecvHandle, long hHandle,
                                                     long* pPosition) {
    return WithPlay(RecvHandle, hHandle, -1,
                    [&](CPlayContainer::PlayUse& play) { return play->GetPlayPos(pPosition); });
}

extern "C" PLAYERSDK_API unsigned long long NetPlay_GetRecFileCurTs(long RecvHandle, long hHandle) {
    return WithPlay(RecvHandle, hHandle, ~0ull, [](CPlayContainer::PlayUse& play) {
        double t = 0.0;
        play->GetCurTime(&t);
        return static_cast<unsigned long long>(ToUnsigned64(t));
    });
}

extern "C" PLAYERSDK_API int NetPlay_GrabPic(long RecvHandle, long hHandle, const char* filename) {
    return WithPlay(RecvHandle, hHandle, -1, [&](CPlayContainer::PlayUse& play) {
        return play->GrabPicture(Text(filename));
    });
}

extern "C" PLAYERSDK_API int NetPlay_StartRecord(long RecvHandle, long hHandle,
                                                 const char* FileName) {
    return WithPlay(RecvHandle, hHandle, -1, [&](CPlayContainer::PlayUse& play) {
        return play->StartRecord(Text(FileName));
    });
}

extern "C" PLAYERSDK_API int NetPlay_StopRecord(long RecvHandle, long hHandle) {
    return WithPlay(RecvHandle, hHandle, -1,
                    [](CPlayContainer::PlayUse& play) { return play->StopRecord(); });
}

extern "C" PLAYERSDK_API int NetPlay_GetFrameRate(long RecvHandle, long hHandle) {
    return WithPlay(RecvHandle, hHandle, -1,
                    [](CPlayContainer::PlayUse& play) { return play->GetFrameRate(); });
}

extern "C" PLAYERSDK_API float NetPlay_GetFlux(long RecvHandle, long hHandle) {
    return WithPlay(RecvHandle, hHandle, -1.0f,
                    [](CPlayContainer::PlayUse& play) { return play->GetFlux(); });
}

extern "C" PLAYERSDK_API int NetPlay_RefreshSurface(long RecvHandle, long hHandle) {
    return WithPlay(RecvHandle, hHandle, -1, [](CPlayContainer::PlayUse& play) {
        return play->RefreshSurface() != 0 ? 0 : -1;
    });
}

extern "C" PLAYERSDK_API int NetPlay_SetTranMode(long RecvHandle, long hHandle, long tranmode) {
    return WithPlay(RecvHandle, hHandle, -1, [&](CPlayContainer::PlayUse& play) {
        play->SetTranMode(tranmode);
        return 0;
    });
}

// These two need no more than two good handles; the play is still looked up in the list, so a
// closed play is refused instead of being written to after it was freed.
extern "C" PLAYERSDK_API int NetPlay_SetePacketType(long RecvHandle, long hHandle,
                                                    long packettype) {
    return WithPlay(RecvHandle, hHandle, -1, [&](CPlayContainer::PlayUse& play) {
        play->SetPacketType(packettype);
        return 0;
    });
}

extern "C" PLAYERSDK_API long NetPlay_GetDecoderHandle(long RecvHandle, long hHandle) {
    return WithPlay(RecvHandle, hHandle, -1L,
                    [](CPlayContainer::PlayUse& play) { return play->GetDecoderHandle(); });
}

// ---- the RTSP engine's reports ------------------------------------------------------------

extern "C" PLAYERSDK_API int RTSP_NotifyHandle(rtsp_sdp_info* info) {
    if (info != nullptr && info->pCon != nullptr) {
        static_cast<CPlayContainer*>(info->pCon)->OnRecvRtspNotify(info);
    }
    return 0;
}
