#include "api/CallbackGlobals.h"

std::atomic<SendDatacCallback> g_SendCallback{nullptr};
std::atomic<GotPictureCallback> g_GotPictureCallback{nullptr};
std::atomic<GotFrameCallback> g_gotFrameCallback{nullptr};
std::atomic<NetSink_GotFramedataCallback> g_GotFrameCallback{nullptr};
std::atomic<NetSink_GetPictureCallback> g_GetPicCallback{nullptr};

extern "C" PLAYERSDK_API int NetPlay_SetSendDataCallback(SendDatacCallback sendprocess) {
    g_SendCallback.store(sendprocess);
    return 0;
}

extern "C" PLAYERSDK_API int NetPlay_SetGotPictureCallback(GotPictureCallback pictureprocess) {
    g_GotPictureCallback.store(pictureprocess);
    return 0;
}

extern "C" PLAYERSDK_API int NetPlay_setGotFrameCallback(GotFrameCallback gotframeProcess) {
    g_gotFrameCallback.store(gotframeProcess);
    return 0;
}

extern "C" PLAYERSDK_API int NetSink_SetGotPictureCallBack(
    NetSink_GetPictureCallback GotPictureCallBack) {
    g_GetPicCallback.store(GotPictureCallBack);
    return 0;
}

extern "C" PLAYERSDK_API int NetSink_SetGotFrameCallback(
    NetSink_GotFramedataCallback GotFrameCallback) {
    g_GotFrameCallback.store(GotFrameCallback);
    return 0;
}
