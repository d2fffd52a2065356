#include "fakedecoder/FakeDecoder.h"

#include <mutex>
#include <utility>

namespace fakedecoder {
namespace {
constexpr long kFirstHandle = 0x5000;

struct State {
    std::mutex mutex;
    Choices choices;
    std::vector<Call> calls;
    long nextHandle = kFirstHandle;
    uint64_t frameCount = 0;
    uint64_t frameBytes = 0;
};

State& state() {
    static State s;
    return s;
}

void Record(Call call) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.calls.push_back(std::move(call));
}

Call Make(const char* name, long handle, std::vector<long long> args = {}) {
    Call call;
    call.name = name;
    call.handle = handle;
    call.args = std::move(args);
    return call;
}

Choices Current() {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.choices;
}
}  // namespace

void Reset(const Choices& choices) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.choices = choices;
    s.calls.clear();
    s.nextHandle = kFirstHandle;
    s.frameCount = 0;
    s.frameBytes = 0;
}

std::vector<Call> Calls() {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.calls;
}

std::vector<Call> CallsNamed(const std::string& name) {
    std::vector<Call> named;
    for (Call& call : Calls()) {
        if (call.name == name) {
            named.push_back(std::move(call));
        }
    }
    return named;
}

std::vector<Call> Frames() {
    return CallsNamed("InputVideoData");
}

bool DeliverPicture(long handle, char* buf, int width, int height, int type) {
    // The last registration for the handle wins; it is called without the fake's lock held.
    DecPictureCallback cb = nullptr;
    long user = 0;
    for (const Call& call : CallsNamed("SetPictureCallback")) {
        if (call.handle == handle) {
            cb = call.pictureCb;
            user = static_cast<long>(call.args.at(0));
        }
    }
    if (cb == nullptr) {
        return false;
    }
    cb(handle, buf, width, height, type, user);
    return true;
}

uint64_t FrameCount() {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.frameCount;
}

uint64_t FrameBytes() {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.frameBytes;
}

}  // namespace fakedecoder

using fakedecoder::Make;
using fakedecoder::Record;

extern "C" int Decoder_Create(long* handle, eMediaDecType type, long userData, int overlay,
                              unsigned int colorKey, int width, int height) {
    fakedecoder::State& s = fakedecoder::state();
    long given = -1;
    int result = 0;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        result = s.choices.createResult;
        if (result != -1 && s.choices.createSetsHandle) {
            given = s.nextHandle++;
        }
    }
    if (given != -1 && handle != nullptr) {
        *handle = given;
    }
    Record(Make("Create", given, {type, userData, overlay, colorKey, width, height}));
    return result;
}

extern "C" int Decoder_InputVideoData(long handle, char* data, int len, long long ts) {
    fakedecoder::State& s = fakedecoder::state();
    std::lock_guard<std::mutex> lock(s.mutex);
    ++s.frameCount;
    s.frameBytes += len > 0 ? len : 0;
    if (s.choices.keepFrames) {
        fakedecoder::Call call = Make("InputVideoData", handle, {len, ts});
        if (data != nullptr && len > 0) {
            call.bytes.assign(data, data + len);
        }
        s.calls.push_back(std::move(call));
    }
    return 0;
}

extern "C" int Decoder_SetPlayWnd(long handle, long hwnd, int show) {
    Record(Make("SetPlayWnd", handle, {hwnd, show}));
    return 0;
}

extern "C" int Decoder_SetDrawCb(long handle, DrawCB cb, long user) {
    fakedecoder::Call call = Make("SetDrawCb", handle, {user});
    call.drawCb = cb;
    Record(std::move(call));
    return 0;
}

extern "C" int Decoder_SetPictureCallback(long handle, DecPictureCallback cb, long user) {
    fakedecoder::Call call = Make("SetPictureCallback", handle, {user});
    call.pictureCb = cb;
    Record(std::move(call));
    return 0;
}

extern "C" int Decoder_SetTimeScale(long handle, int scale) {
    Record(Make("SetTimeScale", handle, {scale}));
    return 0;
}

extern "C" int Decoder_EnableFrameControl(long handle, int on) {
    Record(Make("EnableFrameControl", handle, {on}));
    return 0;
}

extern "C" int Decoder_CapPicture(long handle, const char* path) {
    fakedecoder::Call call = Make("CapPicture", handle);
    call.path = path != nullptr ? path : "";
    Record(std::move(call));
    return fakedecoder::Current().capPictureResult;
}

extern "C" int Decoder_GetPictureSize(long handle, int* width, int* height) {
    const fakedecoder::Choices choices = fakedecoder::Current();
    if (width != nullptr) {
        *width = choices.width;
    }
    if (height != nullptr) {
        *height = choices.height;
    }
    Record(Make("GetPictureSize", handle));
    return choices.pictureSizeResult;
}

extern "C" int Decoder_RefreshSurface(long handle) {
    Record(Make("RefreshSurface", handle));
    return fakedecoder::Current().refreshResult;
}

extern "C" int Decoder_CloseDecode(long handle) {
    Record(Make("CloseDecode", handle));
    return 0;
}
