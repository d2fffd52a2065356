// What the media harnesses share: the fake decoder forgets its calls between inputs, and a
// stream is described the way a session describes it from the SDP.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "FuzzRecords.h"
#include "PlayerSDK.h"
#include "fakedecoder/FakeDecoder.h"
#include "media/PayloadTypes.h"
#include "media/RtpStream.h"

namespace fuzz {

inline void ForgetDecoderCalls() {
    fakedecoder::Choices choices;
    choices.keepFrames = false;
    fakedecoder::Reset(choices);
}

// Every media input starts with a setup byte and the stream's format text (a record); the
// records after them are the harness's.
struct StreamInput {
    StreamInput(const uint8_t* data, size_t size) : records(data, size) {
        ForgetDecoderCalls();
        ok = records.Byte(setup) && records.Next(format);
    }
    Records records;
    uint8_t setup = 0;
    std::vector<uint8_t> format;
    bool ok = false;
};

// 'choice' picks no description, H.264 or MPEG-4; the format text (sprop-parameter-sets=... or
// config=...) comes from the input, cut to the field as the session cuts it.
inline void Describe(CRtpStream& stream, uint8_t choice, const std::vector<uint8_t>& format) {
    static constexpr uint32_t kTypes[] = {playersdk::kPayloadTypeH264, playersdk::kPayloadTypeMpeg4,
                                          playersdk::kPayloadTypeMpeg4Other};
    if (choice % 4 == 3) {
        return;
    }
    DeviceDecInfo info{};
    info.videoPayLoadType = kTypes[choice % 4];
    info.timescale = 90000;
    const size_t n = std::min(format.size(), sizeof(info.config) - 1);
    std::copy_n(format.begin(), n, info.config);
    stream.SetDeviceDecInfo(info);
}

}  // namespace fuzz
