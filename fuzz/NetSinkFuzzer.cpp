// Datagrams into a UDP or TCP sink: the sender-port filter, RTCP and BYE recognition, the TCP
// sink's "$"-framed reassembly across reads, and the stream behind it. No socket is opened: the
// sink is handed datagrams as its receive loop hands them over.
#include <cstdint>
#include <vector>

#include "FuzzRecords.h"
#include "FuzzStream.h"
#include "net/NetSink.h"
#include "net/NetTestSupport.h"  // the sender address of a datagram

namespace {
// Socket numbers that only identify which of the sink's sockets a datagram came from.
constexpr int kRtpSocket = 1001;
constexpr int kRtcpSocket = 1002;
constexpr int kSendRtcpSocket = 1003;
constexpr int kSockets[] = {kRtpSocket, kRtcpSocket, kSendRtcpSocket, kRtpSocket};
constexpr uint16_t kServerPort = 6970;

struct FuzzSink : CNetSink {
    explicit FuzzSink(uint8_t setup, const std::vector<uint8_t>& format) {
        m_TransType = (setup & 1) ? TT_TCP : TT_UDP;
        m_RtpPortInfo.rtpsocket = kRtpSocket;
        m_RtpPortInfo.rtcpsocket = kRtcpSocket;
        m_RtpPortInfo_send.rtcpsocket = kSendRtcpSocket;
        m_destport = (setup & 2) ? kServerPort : 0;
        m_DestRcvPort = kServerPort + 2;
        m_pRtpStream = new CRtpStream();
        m_pRtpStream->EnableLosePakcetReport(1);
        fuzz::Describe(*m_pRtpStream, setup >> 2, format);
    }
    ~FuzzSink() override {
        m_RtpPortInfo = {};  // nothing to close
        m_RtpPortInfo_send = {};
        DestorySink();
    }
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::StreamInput input(data, size);
    if (!input.ok) {
        return 0;
    }
    const uint8_t setup = input.setup;
    std::vector<uint8_t> bytes;
    FuzzSink sink(setup, input.format);
    // Each datagram: which socket it came in on and from which of four ports, then its bytes.
    uint8_t route = 0;
    while (input.records.Byte(route) && input.records.Next(bytes)) {
        const uint16_t fromPort = static_cast<uint16_t>(kServerPort + (route >> 2) % 4);
        sink.ReceiveData(kSockets[route & 3], static_cast<int>(bytes.size()),
                         bytes.empty() ? nullptr : bytes.data(), nettest::From(fromPort));
    }
    sink.OnReceiveRtcp(static_cast<int>(bytes.size()), bytes.empty() ? nullptr : bytes.data());
    return 0;
}
