// The per-codec half of the timestamp framer: turns one RTP payload into bytes of the access
// unit being built. H.264 (single NAL unit, STAP-A, FU-A) and MPEG-4 Visual live here; an
// H.265 unpacker plugs in through the same interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace playersdk {

enum class MediaCodec : uint8_t { H264, Mpeg4, H265 };

// Why the framer dropped a packet or an access unit (counted per reason).
enum class FramerDrop : uint8_t {
    kNone = 0,
    // The RTP packet itself.
    kTooShort,          // shorter than the fixed header
    kBadVersion,        // not version 2
    kHeaderPastEnd,     // the CSRC list or the header extension runs past the packet
    kBadPadding,        // a padding count of 0 or past the header
    kEmptyPayload,      // nothing after header and padding
    kWrongPayloadType,  // not the payload type of the stream
    kDuplicate,         // this sequence number is already waiting in the reorder window
    kLate,              // behind the packets already handed on
    // The payload.
    kForbiddenBit,          // an H.264 NAL header with the forbidden bit set
    kUnsupportedNalType,    // NAL type 0, 25-27, 29-31 (interleaved or reserved)
    kAggregateTruncated,    // an STAP-A without units, or a unit running past the packet
    kFragmentTooShort,      // an FU-A without a fragment header or data
    kFragmentStartAndEnd,   // an FU-A with both the start and the end bit
    kFragmentWithoutStart,  // a middle or last fragment whose first fragment was not seen
    // Whole access units.
    kAccessUnitTooLarge,  // grew past the limit
    kAccessUnitDamaged,   // a packet of it was lost or dropped
    kWaitingForKeyFrame,  // complete, but held back after a loss until the next key frame
    kCount
};

// The access unit being built: its bytes, and whether a key picture was seen in it.
struct AccessUnitBytes {
    std::vector<uint8_t> bytes;  // kept between units: its capacity is reused
    size_t limit = 0;
    bool key = false;

    // Start code 00 00 00 01, then the NAL unit. False past the limit (nothing appended).
    bool AppendNal(const uint8_t* nal, size_t len);
    bool Append(const uint8_t* data, size_t len);
};

class IPayloadUnpacker {
public:
    virtual ~IPayloadUnpacker() = default;
    // Appends what one payload (at least one byte) carries. On a drop the unit keeps what it
    // had before the call.
    virtual FramerDrop Unpack(const uint8_t* payload, size_t len, AccessUnitBytes& unit) = 0;
    // A new access unit begins: forget a fragmented NAL unit left open.
    virtual void Reset() = 0;
    // Whether a picture after a lost one is undecodable until the next key frame.
    virtual bool HoldsBackAfterLoss() const = 0;
};

// H.264, packetization modes 0 and 1. Key: the unit carries an IDR slice.
std::unique_ptr<IPayloadUnpacker> MakeH264Unpacker();
// MPEG-4 Visual: payloads joined as they are. Key: the unit's first VOP is an I-VOP.
std::unique_ptr<IPayloadUnpacker> MakeMpeg4Unpacker();
// The unpacker for a codec; null for one that has none yet (H.265).
std::unique_ptr<IPayloadUnpacker> MakePayloadUnpacker(MediaCodec codec);

}  // namespace playersdk
