#include "rtsp/EngineHarness.h"

#include <sys/resource.h>

#include <algorithm>
#include <thread>

#include "base/BoundedCopy.h"

namespace playersdk::test {

int ReportLog::Handle(rtsp_sdp_info* info) {
    auto* log = static_cast<ReportLog*>(info->pNetPlay);
    if (info->r_type == RTSP_CALC_FRAMERATE) {
        log->traffic.Add(static_cast<CRtsp*>(info->pCon)->GetTcpFlux());
        return 0;
    }
    EngineReport report{info->r_type, info->Error_Code, {}, *info};
    const bool data = info->r_type == RTSP_RTP_DATA || info->r_type == RTSP_RTCP_DATA;
    if (data && info->Error_Code == 0) {
        report.media.assign(reinterpret_cast<const char*>(info->media_data.MediaBuf),
                            static_cast<size_t>(info->media_data.MediaLen));
    }
    log->Add(std::move(report));
    return 0;
}

ReportKinds ReportLog::kinds() const {
    ReportKinds kinds;
    for (const EngineReport& report : all()) {
        kinds.emplace_back(report.type, report.code);
    }
    return kinds;
}

std::vector<std::string> ReportLog::media(eRtspReplyType type) const {
    std::vector<std::string> packets;
    for (const EngineReport& report : all()) {
        if (report.type == type && report.code == 0) {
            packets.push_back(report.media);
        }
    }
    return packets;
}

bool ReportLog::WaitFor(eRtspReplyType type, int code, size_t count) const {
    return WaitUntil([&](const std::vector<EngineReport>& reports) {
        return static_cast<size_t>(std::count_if(reports.begin(), reports.end(), [&](auto& r) {
                   return r.type == type && r.code == code;
               })) >= count;
    });
}

EngineSession::EngineSession(int transType) : m_transType(transType) {
    server.Start();
    engine.m_RTSPNotifyHandle = &ReportLog::Handle;
}

EngineSession::~EngineSession() {
    engine.DestoryRtsp();
    server.Stop();
}

bool EngineSession::Open(int localUdpPort) {
    std::string text = url();
    if (engine.InitRTSP(text.data(), m_transType, &reports, &engine) < 1) {
        return false;
    }
    Pause();  // the receive thread takes its clock bases as it starts, before any test moves it
    m_request.Param = localUdpPort;
    return Request(RTSP_GETINFO_REQ) == 0;
}

int EngineSession::Request(eRtspRequestType type, const char* text, const char* seek) {
    m_request.type = type;
    copy_bounded(m_request.URL, url());
    copy_bounded(m_request.Scale_N, text);
    copy_bounded(m_request.Speed_N, text);
    copy_bounded(m_request.SeekFrame, text);
    copy_bounded(m_request.SeekTime, type == RTSP_SEEK_REQ ? text : seek);
    return engine.RTSPRequest(&m_request);
}

double CpuSecondsOver(std::chrono::milliseconds wait) {
    auto seconds = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        auto of = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
        return of(usage.ru_utime) + of(usage.ru_stime);
    };
    const double before = seconds();
    std::this_thread::sleep_for(wait);
    return seconds() - before;
}

std::string AsText(const rtspserver::Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::string LeftAfterTwoPieces(std::string_view bytes, size_t cut,
                               const std::function<bool(std::string_view&)>& take) {
    std::string left;
    bool done = false;
    for (std::string_view in : {bytes.substr(0, cut), bytes.substr(cut)}) {
        done = done || take(in);
        left += in;
    }
    return left;
}

rtspserver::Bytes RtpPacketOfSize(size_t size, uint16_t sequence) {
    rtspserver::RtpHeaderFields header;
    header.sequence = sequence;
    return rtspserver::BuildRtpPacket(header, rtspserver::Bytes(size > 12 ? size - 12 : 0, 'a'));
}

}  // namespace playersdk::test
