// CTimestampFramer: from the RTP packets of one video stream to whole access units, as the
// standard dialect hands them to the stream. Packets are validated (every field read through
// the bounded cursor), put in order in a small reorder window by 16-bit serial arithmetic, and
// cut into access units by RTP timestamp and marker bit: all NAL units of one picture come out
// as one Annex B unit (H.264), all payloads of one VOP as one buffer (MPEG-4 Visual).
//
//   CTimestampFramer framer({MediaCodec::H264, 96}, OnAccessUnit, user);
//   framer.SetParameterSets(annexB, len);       // from the SDP: in front of the first unit
//   framer.Input(datagram, len);                 // for every RTP packet
//   framer.Flush();                              // at the end of the stream
//
// A lost packet costs its access unit only. For H.264 every unit after a loss (and at the
// start) is held back until the next unit with an IDR slice: the pictures between would refer
// to the lost one. Bytes in, units out: no socket, no clock, no allocation once the buffers
// have grown to the stream's sizes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/PayloadUnpacker.h"

namespace playersdk {

struct FramedAccessUnit {
    const uint8_t* data = nullptr;  // valid during the callback only
    size_t len = 0;
    uint32_t timestamp = 0;  // RTP timestamp of its packets
    uint8_t payloadType = 0;
    bool key = false;
};

using AccessUnitCallback = void (*)(void* user, const FramedAccessUnit& unit);

struct FramerConfig {
    MediaCodec codec = MediaCodec::H264;
    uint8_t payloadType = 96;
    // Packets that may arrive ahead of a missing one before it is given up (1 to kMaxWindow).
    size_t reorderWindow = 16;
    size_t maxAccessUnit = 8 * 1024 * 1024;
};

class CTimestampFramer {
public:
    static constexpr size_t kMaxWindow = 64;
    // Further behind than this, or further ahead than kMaxDropout, a packet starts a new run of
    // sequence numbers (the source restarted) instead of being late or lost.
    static constexpr int kMaxMisorder = 100;
    static constexpr int kMaxDropout = 3000;

    // With an unpacker of its own: the H.265 one, or a test's.
    CTimestampFramer(const FramerConfig& config, std::unique_ptr<IPayloadUnpacker> unpacker,
                     AccessUnitCallback callback, void* user);
    CTimestampFramer(const FramerConfig& config, AccessUnitCallback callback, void* user);
    virtual ~CTimestampFramer() = default;
    CTimestampFramer(const CTimestampFramer&) = delete;
    CTimestampFramer& operator=(const CTimestampFramer&) = delete;

    // Parameter sets (H.264, Annex B) or configuration (MPEG-4) put in front of the first unit.
    void SetParameterSets(const uint8_t* data, size_t len);

    // One RTP packet. kNone when it was taken (into the window or into its unit); else why it
    // was dropped. A packet handed on at once reports what its payload made of it.
    FramerDrop Input(const uint8_t* packet, size_t len);
    // Hands on everything waiting in the window, counting the gaps as lost, and ends the unit
    // being built.
    void Flush();

    uint64_t drops(FramerDrop reason) const { return m_drops[static_cast<size_t>(reason)]; }
    uint64_t lostPackets() const { return m_lost; }

private:
    struct Packet {
        uint16_t seq = 0;
        uint32_t timestamp = 0;
        uint8_t payloadType = 0;
        bool marker = false;
        const uint8_t* payload = nullptr;
        size_t len = 0;
    };
    // A packet that arrived ahead of the next one expected: its payload is copied into the
    // slot, so the caller's datagram buffer can be reused.
    struct Slot {
        bool used = false;
        Packet packet;
        std::vector<uint8_t> payload;
    };

    FramerDrop Parse(const uint8_t* data, size_t len, Packet& out) const;
    FramerDrop Place(const Packet& packet);
    void Restart(uint16_t seq);
    void Release(uint16_t seq);
    void ReleaseWaiting();
    void Drain();
    void NoteLoss();
    FramerDrop Process(const Packet& packet);
    void BeginUnit(const Packet& packet);
    void FinishUnit();
    void Emit();
    FramerDrop Count(FramerDrop reason);
    Slot& SlotOf(uint16_t seq) { return m_slots[seq % m_window]; }

    const FramerConfig m_config;
    const size_t m_window;
    std::unique_ptr<IPayloadUnpacker> m_unpacker;
    AccessUnitCallback m_callback;
    void* m_user;

    std::vector<uint8_t> m_parameterSets;
    bool m_bParameterSetsSent = false;

    bool m_bStarted = false;
    uint16_t m_expected = 0;  // the next sequence number to hand on
    bool m_bLossPending = false;
    std::array<Slot, kMaxWindow> m_slots;

    AccessUnitBytes m_unit;
    bool m_bUnitOpen = false;
    bool m_bUnitDamaged = false;
    uint32_t m_unitTimestamp = 0;
    uint8_t m_unitPayloadType = 0;
    bool m_bWaitKey;

    uint64_t m_lost = 0;
    std::array<uint64_t, static_cast<size_t>(FramerDrop::kCount)> m_drops{};
};

}  // namespace playersdk
