// The application's process-wide media callbacks. The setters are called from the application's
// thread while the receive threads read the pointers, so each one is an atomic word.
#pragma once

#include <atomic>

#include "PlayerSDK.h"

// Outgoing data: loss reports and packets made for the application to send.
extern std::atomic<SendDatacCallback> g_SendCallback;
// Decoded pictures.
extern std::atomic<GotPictureCallback> g_GotPictureCallback;
// Reassembled frames of every stream.
extern std::atomic<GotFrameCallback> g_gotFrameCallback;
// Frames forwarded by the sink adapter; a different global from g_gotFrameCallback on purpose.
extern std::atomic<NetSink_GotFramedataCallback> g_GotFrameCallback;
// Stored for applications that set it; nothing calls it.
extern std::atomic<NetSink_GetPictureCallback> g_GetPicCallback;
