#include "rtsp/NetPlayer.h"

#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "PlayerSDK.h"
#include "base/BoundedCopy.h"
#include "net/Sockets.h"

CNetPlayer g_netplayer_list[kNetPlayerCount];

namespace {
bool EndsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}
}  // namespace

CNetPlayer::CNetPlayer()
    : m_netplayer_id(-1), m_decoder_api(nullptr), m_player_state(0), m_scale(0), m_speed(0) {
    m_rtsp_socket = -1;
    m_rtsp_state = eDisConnect;
    m_cseq = 0;
    m_offset_live_time = 0;
}

CNetPlayer::~CNetPlayer() {
    playersdk::CloseSocket(m_rtsp_socket);
}

int CNetPlayer::InitNetPlay(char* serverAddr, char* movieName, int port, int transport) {
    memset(m_rtsp_server_addr, 0, sizeof(m_rtsp_server_addr));
    playersdk::copy_bounded(m_rtsp_server_addr, serverAddr);
    playersdk::copy_bounded(m_movie_name, movieName);
    m_rtsp_server_port = port;
    for (CRTPSession& session : m_rtp_session) {
        session.m_transport_protocal = static_cast<int16_t>(transport);
    }
    const std::string_view movie(m_movie_name);
    if (movie.size() > 3 && (EndsWith(movie, ".ts") || EndsWith(movie, ".mpg"))) {
        m_streaming_type = eTS;
        PlayerSdkLog("[InitNetPlay] transport streaming \r\n");
    }
    return InitRtspSocket();
}

int CNetPlayer::InitRtspSocket() {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    char portText[16];
    snprintf(portText, sizeof(portText), "%d", m_rtsp_server_port);
    addrinfo* found = nullptr;
    if (getaddrinfo(m_rtsp_server_addr, portText, &hints, &found) != 0 || found == nullptr) {
        return -1;
    }
    playersdk::CloseSocket(m_rtsp_socket);

    m_rtsp_socket = socket(found->ai_family, found->ai_socktype, found->ai_protocol);
    if (m_rtsp_socket <= 0) {
        PlayerSdkLog(
            "[InitRtspSocket] create rtsp socket failed:family:%d,socktype:%d,"
            "AddrInfo->ai_protocol:%d,error:%s \r\n",
            found->ai_family, found->ai_socktype, found->ai_protocol, strerror(errno));
        if (m_rtsp_socket == 0) {
            close(m_rtsp_socket);
        }
        m_rtsp_socket = -1;
        freeaddrinfo(found);
        return -1;
    }
    if (connect(m_rtsp_socket, found->ai_addr, found->ai_addrlen) != 0) {
        PlayerSdkLog("[InitRtspSocket] connect rtsp server failed:m_rtsp_socket=%d,addr=%s \r\n",
                     m_rtsp_socket, m_rtsp_server_addr);
        playersdk::CloseSocket(m_rtsp_socket);
        freeaddrinfo(found);
        return -1;
    }
    freeaddrinfo(found);
    return 0;
}
