// What the DESCRIBE and SETUP replies told about a session.
#pragma once

#include <cstdint>

// Codec of a medium, as held in S_Sdp::video_codec / audio_codec.
enum __av_codec {
    CODEC_ID_NONE = 0,
    CODEC_ID_TS = 1,
    CODEC_ID_MPEG2VIDEO = 9,
    CODEC_ID_VC1 = 10,
    CODEC_ID_MPEG4 = 11,
    CODEC_ID_H264 = 12,
    CODEC_ID_AAC = 20,
    CODEC_ID_AC3 = 21,
    CODEC_ID_DTS = 22,
    CODEC_ID_MP2 = 24,
    CODEC_ID_MP3 = 25
};

typedef struct S_Sdp {
    uint32_t u4range;  // whole seconds of the play range
    uint32_t u4videoTimescale;
    uint32_t u4audioTimescale;
    uint16_t u2videoAS;
    uint16_t u2audioAS;
    uint16_t u2videoClientUdpPort;
    uint16_t u2audioClientUdpPort;
    uint16_t u2videoServerUdpPort;
    uint16_t u2audioServerUdpPort;
    uint16_t video_codec;  // __av_codec
    uint16_t audio_codec;  // __av_codec
    uint32_t videoPayLoadType;
    uint32_t audioPayLoadType;
    uint32_t frameRate;
    int32_t a_Config;
    int16_t s2videoTrackState;  // -1 while the track is not set up
    int16_t s2audioTrackState;
    uint16_t u2VidoeMode;
    uint16_t u2videoConfigLen;
    uint16_t u2audioConfigLen;
    // The "fmtp:..." texts of each medium, allocated with malloc by ParseSdp and owned by the
    // CRTSPProtocol holding this record (released with free; set the pointer null after).
    char* u1videoConfig;
    char* u1audioConfig;
    char videoTrack[128];  // "a=control:" value of each medium, used by SETUP
    char audioTrack[128];
    uint32_t u1videoSSRC;
    uint32_t u1audioSSRC;
    uint32_t u1videoWith;  // picture width
    uint32_t u1videoHeight;
    int32_t tran_type;
} t_sSdp;
