// Adapters the application passes where a send-data or frame-data callback is wanted, with a
// sink as the user value. Nothing inside the library calls them.
#include "PlayerSDK.h"
#include "api/CallbackGlobals.h"
#include "net/NetSink.h"
#include "net/NetSinkContainer.h"

extern "C" PLAYERSDK_API int g_SendDataCallback(long mshandle, char* packet, int length,
                                                long userdata, long reserved) {
    auto* sink = reinterpret_cast<CNetSink*>(userdata);
    if (sink == nullptr) {
        return 0;
    }
    if (reserved == 0) {
        sink->SendData(packet, length);
    } else if (reserved == 1 && sink->m_pContainer != 0) {
        reinterpret_cast<CNetSinkContainer*>(sink->m_pContainer)->Report(sink, LINK_SEND_REPORT);
    }
    return 0;
}

extern "C" PLAYERSDK_API int GotFramedataCallback(long mshandle, char* pMediaBuf, int length,
                                                  long userdata) {
    auto* sink = reinterpret_cast<CNetSink*>(userdata);
    NetSink_GotFramedataCallback callback = g_GotFrameCallback.load();
    if (sink == nullptr || sink->m_pContainer == 0 || callback == nullptr) {
        return 0;
    }
    auto* container = reinterpret_cast<CNetSinkContainer*>(sink->m_pContainer);
    callback(userdata, pMediaBuf, length, container->m_UserData.load());
    return 0;
}
