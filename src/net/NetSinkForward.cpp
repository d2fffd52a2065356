#include "net/NetSink.h"

// Each call goes to the sink's stream; a sink without a stream answers as an idle one would.
int CNetSink::GetFrameRate() {
    return m_pRtpStream ? m_pRtpStream->GetFrameRate() : 0;
}
DWORD CNetSink::GetCurTs() {
    return m_pRtpStream ? m_pRtpStream->GetCurTs() : 0;
}
int CNetSink::CapPicture(char* path) {
    return m_pRtpStream ? m_pRtpStream->CapPicture(path) : 1;
}
int CNetSink::GetFirstTs(unsigned long* ts) {
    return m_pRtpStream ? m_pRtpStream->GetFirstTs(ts) : 0;
}
int CNetSink::GetSSRC(unsigned long* ssrc) {
    return m_pRtpStream ? m_pRtpStream->GetSSRC(ssrc) : 0;
}
int CNetSink::GetMediaInfo(MediaInfo_rtp* info) {
    return m_pRtpStream ? m_pRtpStream->GetMediaInfo(info) : 0;
}
int CNetSink::RefreshPlayWnd() {
    return m_pRtpStream ? m_pRtpStream->RefreshPlayWnd() : 0;
}
int CNetSink::StartRecord(char* path) {
    return m_pRtpStream ? m_pRtpStream->StartRecord(path, m_RecordType) : 1;
}
int CNetSink::StopRecord() {
    return m_pRtpStream ? m_pRtpStream->StopRecord() : 1;
}
void CNetSink::EnableFrameControl(int on) {
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->EnableFrameControl(on);
    }
}
void CNetSink::GetPacketCount(int* total, int* lost) {
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->GetPacketCount(total, lost);
    }
}
void CNetSink::SetOverLayMode(int on, unsigned int colorKey) {
    if (m_pRtpStream != nullptr) {
        m_pRtpStream->SetOverLayMode(on, colorKey);
    }
}
