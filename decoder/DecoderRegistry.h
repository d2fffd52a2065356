// The live decoders by handle. A handle is a number handed out once, never an address: a
// stale or invented handle finds nothing and is never dereferenced. Lookups hand out shared
// ownership, so a decoder closed on one thread stays valid for a call in progress on another.
#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>

#include "VideoDecoder.h"

namespace playerdecoder {

class CDecoderRegistry {
public:
    static CDecoderRegistry& Instance();

    long Add(std::shared_ptr<CVideoDecoder> decoder);
    std::shared_ptr<CVideoDecoder> Find(long handle);
    // Takes the decoder out: later lookups of the handle fail.
    std::shared_ptr<CVideoDecoder> Remove(long handle);

private:
    CDecoderRegistry() = default;
    virtual ~CDecoderRegistry() = default;

    std::mutex m_mutex;
    std::unordered_map<long, std::shared_ptr<CVideoDecoder>> m_decoders;
    // Far from small numbers and never reused, so neither 0, -1 nor a closed handle matches.
    long m_lNextHandle = 0x44430001;
};

}  // namespace playerdecoder
