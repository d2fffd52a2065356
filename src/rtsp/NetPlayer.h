// The RTSP control connection: server, port and movie name, the streaming type chosen from the
// movie name, and the TCP connection to the server.
#pragma once

#include <cstdint>

#include "rtsp/RTSPProtocol.h"

enum ePlayerState { eLiving = 1, eShiftTime = 2 };

class CNetPlayer : public CRTSPProtocol {
public:
    CNetPlayer();
    ~CNetPlayer() override;

    // Stores the server and movie (both cut to their fields), the transport of both media and
    // the streaming type, then connects. 0 or -1.
    int InitNetPlay(char* serverAddr, char* movieName, int port, int transport);
    // Connects to the numeric IPv4 address m_rtsp_server_addr (no name lookup), closing any
    // earlier socket first. Blocking connect. 0 or -1.
    int InitRtspSocket();

    int16_t m_netplayer_id;
    void* m_decoder_api;
    int32_t m_player_state;  // ePlayerState
    float m_scale;           // last scale sent
    float m_speed;           // last speed sent
};

constexpr int kNetPlayerCount = 8;
// Players addressed by CRTSPProtocol::m_rtsp_netplayer_id; the SET_PARAMETER handling writes
// their m_player_state.
extern CNetPlayer g_netplayer_list[kNetPlayerCount];
