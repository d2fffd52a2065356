// Writes the seed corpora of fuzz/corpus/<target>/ from the replies the test servers send and
// the packets tools/rtpgen generates, and from the dialogues captured from real servers in
// tests/rtsp/testdata/: small inputs that already reach deep into each parser.
// Usage: fuzz_seed_corpus <corpus folder>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

#include "base/ByteCursor.h"
#include "rtpgen/RtpGen.h"
#include "rtspserver/RtspReplyBuilder.h"
#include "support/RecordFileWriter.h"

namespace {
using rtpgen::Bytes;
std::string g_root;

void Write(const std::string& target, const std::string& name, const std::string& bytes) {
    const std::string dir = g_root + "/" + target;
    mkdir(dir.c_str(), 0755);
    std::ofstream(dir + "/" + name, std::ios::binary) << bytes;
}

std::string Record(const Bytes& bytes) {
    std::string out(2, '\0');
    playersdk::ByteWriter(out.data(), 2).be16(static_cast<uint16_t>(bytes.size()));
    return out + std::string(bytes.begin(), bytes.end());
}
std::string Record(const std::string& text) {
    return Record(Bytes(text.begin(), text.end()));
}

std::vector<Bytes> SmallH264Stream(int frames) {
    rtpgen::StreamShape shape;
    shape.gop = 3;
    shape.keyFrameBytes = 300;
    shape.deltaFrameBytes = 120;
    shape.fragment = 100;
    std::vector<Bytes> out;
    for (const auto& packet : rtpgen::H264Stream(shape, frames, 65530)) {
        out.push_back(packet.datagram);
    }
    return out;
}

std::vector<Bytes> Mpeg4Packets() {
    std::vector<Bytes> out;
    rtpgen::RtpFields fields;
    fields.pt = 97;
    const Bytes vol = {0, 0, 1, 0xB0, 1, 0, 0, 1, 0xB5, 0x09, 0, 0, 1, 0, 0, 0, 1, 0x20, 0x08};
    const Bytes vop = {0, 0, 1, 0xB6, 0x10, 0x60, 0x51, 0x82};
    for (uint16_t i = 0; i < 3; ++i) {
        fields.seq = i;
        fields.timestamp = 3600u * i;
        fields.marker = true;
        out.push_back(rtpgen::Packet(fields, i == 0 ? vol : vop));
    }
    return out;
}

void RtspReplies() {
    playersdk::rtspserver::SdpOptions all;
    all.audio = true;
    all.rangeSeconds = 3600;
    all.frameRate = 25;
    all.width = 704;
    all.height = 576;
    const std::string ok = "RTSP/1.0 200 OK\r\nCSeq: 2\r\nContent-Type: application/sdp\r\n";
    auto describe = [&](const std::string& sdp) {
        return ok + "Content-Length: " + std::to_string(sdp.size()) + "\r\n\r\n" + sdp;
    };
    Write("rtsp_reply", "describe-h264", describe(playersdk::rtspserver::BuildH264Sdp()));
    Write("rtsp_reply", "describe-h264-audio", describe(playersdk::rtspserver::BuildH264Sdp(all)));
    Write("rtsp_reply", "describe-mpeg4",
          describe(playersdk::rtspserver::BuildMpeg4Sdp(
              "000001B001000001B50900000100000001200086C4", all)));
    Write("rtsp_reply", "setup-udp",
          "RTSP/1.0 200 OK\r\nCSeq: 3\r\nSession: 12345678;timeout=60\r\nTransport: "
          "RTP/AVP;unicast;client_port=5000-5001;server_port=6970-6971;ssrc=0000ABCD\r\n\r\n");
    Write("rtsp_reply", "setup-tcp",
          "RTSP/1.0 200 OK\r\nCSeq: 3\r\nSession: 8F2A-77;timeout=60\r\nTransport: "
          "RTP/AVP/TCP;unicast;interleaved=0-1;ssrc=1A2B\r\n\r\n");
    Write("rtsp_reply", "play",
          "RTSP/1.0 200 OK\r\nCSeq: 4\r\nSession: 12345678\r\nRange: npt=0.000-\r\nRTP-Info: "
          "url=rtsp://127.0.0.1/m/trackID=1;seq=100;rtptime=3000\r\n\r\n");
    Write("rtsp_reply", "not-found", "RTSP/1.0 404 Stream Not Found\r\nCSeq: 2\r\n\r\n");
    Write("rtsp_reply", "set-parameter-eos",
          "SET_PARAMETER rtsp://127.0.0.1/m RTSP/1.0\r\nCSeq: 9\r\nContent-length: 3\r\n\r\nEOS");
}

void StreamInputs() {
    // Setup byte, the format record, then the datagrams (rtp_stream); the sink's datagrams carry
    // a route byte before each (net_sink).
    const std::string sprop = "packetization-mode=1;sprop-parameter-sets=Z0LAHtoKD8g=,aM48gA==";
    const std::string config =
        "profile-level-id=1;config=000001B001000001B50900000100000001200086C4";
    std::string h264(1, '\x04'), mpeg4(1, '\x01');
    h264 += Record(sprop);
    mpeg4 += Record(config);
    std::string sinkUdp(1, '\x02'), sinkTcp(1, '\x01');
    sinkUdp += Record(sprop);
    sinkTcp += Record(sprop);
    std::string tcpBytes;
    for (const Bytes& d : SmallH264Stream(4)) {
        h264 += Record(d);
        sinkUdp += std::string(1, '\x00') + Record(d);
        std::string framed = "$$$$$" + std::string(2, '\0');
        playersdk::ByteWriter(framed.data() + 5, 2).be16(static_cast<uint16_t>(d.size()));
        tcpBytes += framed + std::string(d.begin(), d.end());
    }
    for (size_t at = 0; at < tcpBytes.size(); at += 500) {  // the stream in reads of 500 bytes
        sinkTcp += std::string(1, '\x00') + Record(tcpBytes.substr(at, 500));
    }
    sinkUdp += std::string(1, '\x05') + Record(Bytes{0x80, 200, 0, 6, 0, 0, 0, 1});  // RTCP SR
    sinkUdp += std::string(1, '\x05') + Record(Bytes{0x81, 203, 0, 1, 0, 0, 0, 7});  // BYE
    for (const Bytes& d : Mpeg4Packets()) {
        mpeg4 += Record(d);
    }
    Write("rtp_stream", "h264-fu-a-stap-a", h264);
    Write("rtp_stream", "mpeg4", mpeg4);
    Write("net_sink", "udp-h264-rtcp", sinkUdp);
    Write("net_sink", "tcp-h264-reads", sinkTcp);
}

void RecordFiles() {
    using namespace playersdk::test;
    // Mode byte, value byte, then the file.
    std::string h264 = FileHeaderBytes(RecordHeader{});
    for (uint32_t i = 0; i < 6; ++i) {
        h264 += FrameRecordBytes(96, i * 3600, H264Frame(i % 3 == 0, i, 24));
    }
    Write("record_file", "h264-play", std::string("\0\0", 2) + h264);
    Write("record_file", "h264-key-frames-back", std::string("\2\1", 2) + h264);
    RecordHeader withExt;
    withExt.extlength = 4;
    Write("record_file", "mpeg4-ext-seek",
          std::string("\5\x32", 2) + FileHeaderBytes(withExt, std::string("\0\0\1\xB0", 4)) +
              FrameRecordBytes(97, 0, std::string("\0\0\1\xB6\x10\x60", 6)));
}

void Texts() {
    const char* urls[] = {"rtsp://127.0.0.1:8554/live/main", "RTSP://127.0.0.1/x",
                          "rtsp://[::1]:554/a:b/c", "rtsp://host:65535/"};
    for (size_t i = 0; i < sizeof(urls) / sizeof(urls[0]); ++i) {
        Write("url", "url-" + std::to_string(i + 1), urls[i]);
    }
    Write("base64", "sps-pps", "Z0LAHtoKD8g=,aM48gA==");
    Write("base64", "no-padding", "Z0IAH5Wo");
    Write("base64", "binary", std::string("\0\xFF\x10 +/=", 7));
}
std::string Captured(const std::string& name) {
    std::ifstream in(std::string(PLAYERSDK_RTSP_TESTDATA) + "/" + name, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    return name == "gstreamer-play-tcp-stream.bin" ? bytes.substr(0, 2048) : bytes;
}

// A captured dialogue behind the harness's first byte.
void Dialogue(const std::string& target, const std::string& name, char first,
              std::initializer_list<const char*> files, const std::string& tail = "") {
    std::string bytes(1, first);
    for (const char* file : files) {
        bytes += Captured(file);
    }
    Write(target, name, bytes + tail);
}

void Dialogues() {
    const char* stream = "gstreamer-play-tcp-stream.bin";
    // Message reader: the first byte picks the largest read (2^(byte % 17)).
    Dialogue("rtsp_standard", "gstreamer-dialogue", 9,
             {"gstreamer-options.txt", "gstreamer-describe.txt", "gstreamer-setup-tcp.txt",
              "gstreamer-play-tcp.txt", stream});
    for (std::string server : {"vlc", "perl"}) {
        Dialogue("rtsp_standard", server + "-dialogue", 9,
                 {(server + "-options.txt").c_str(), (server + "-describe.txt").c_str(),
                  (server + "-setup-udp.txt").c_str(), (server + "-play-udp.txt").c_str()});
    }
    Dialogue("rtsp_standard", "gstreamer-describe-401", 3,
             {"gstreamer-describe-401.txt", "gstreamer-describe.txt"});
    Dialogue("rtsp_standard", "vlc-setup-tcp", 0x10, {"vlc-setup-tcp.txt"});
    Dialogue("rtsp_standard", "perl-setup-tcp", 0, {"perl-setup-tcp.txt"});
    // Classic step machines: the first byte picks the media set up (bits 0-1), the whole
    // replies before the PLAY reply (bits 2-3) and the largest read (bits 4-7).
    Dialogue(
        "rtsp_steps", "describe-setup-play-stream", '\x9a',
        {"gstreamer-describe.txt", "gstreamer-setup-tcp.txt", "gstreamer-play-tcp.txt", stream});
    Dialogue("rtsp_steps", "video-bytewise", 4,
             {"gstreamer-setup-tcp.txt", "gstreamer-play-tcp.txt", stream});
    Dialogue("rtsp_steps", "audio-play-notice", 0x71, {"vlc-play-udp.txt"},
             std::string("xx$\x00\x00\x04"
                         "abcdANNOUNCE rtsp://127.0.0.1/a RTSP/1.0\r\nCSeq: 9\r\n\r\n"
                         "$\x05\x00\x04"
                         "abcd$\x01\x05\xdc"
                         "z",
                         72));
}
}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s <corpus folder>\n", argv[0]);
        return 2;
    }
    g_root = argv[1];
    mkdir(g_root.c_str(), 0755);
    RtspReplies();
    StreamInputs();
    RecordFiles();
    Texts();
    Dialogues();
    return 0;
}
