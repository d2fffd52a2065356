// A decoder library that records every call instead of decoding: tests and benchmarks link it
// in place of the real one, read back what the library asked of it, and choose its answers.
// Thread-safe: the library calls it from receive threads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PlayerDecoder.h"

namespace fakedecoder {

struct Call {
    std::string name;  // the function without "Decoder_": "Create", "InputVideoData", ...
    long handle = -1;  // the handle it was given (Create: the handle it handed out)
    // Integer arguments after the handle in order. Create: type, user, overlay, colour key,
    // width, height. InputVideoData: length, ts. SetPlayWnd: hwnd, show. SetDrawCb: user.
    // SetTimeScale: scale. EnableFrameControl: on.
    std::vector<long long> args;
    DrawCB drawCb = nullptr;                 // SetDrawCb
    DecPictureCallback pictureCb = nullptr;  // SetPictureCallback (args: user)
    std::string path;                        // CapPicture
    std::vector<unsigned char> bytes;        // InputVideoData, when frame bytes are kept
};

// The answers the fake gives.
struct Choices {
    int createResult = 0;  // -1 makes Decoder_Create fail
    bool createSetsHandle = true;
    int capPictureResult = 0;
    int refreshResult = 1;
    int pictureSizeResult = 0;
    int width = 352;
    int height = 288;
    // Benchmarks turn this off: frames are then only counted, not recorded.
    bool keepFrames = true;
};

// Forgets every call and takes new answers.
void Reset(const Choices& choices = Choices());
std::vector<Call> Calls();
std::vector<Call> CallsNamed(const std::string& name);
// The frames given to Decoder_InputVideoData (configuration included), in order.
std::vector<Call> Frames();
uint64_t FrameCount();
// Hands a picture to the callback registered for 'handle', as a decoder does after decoding;
// false when none is registered.
bool DeliverPicture(long handle, char* buf, int width, int height, int type);
uint64_t FrameBytes();

}  // namespace fakedecoder
