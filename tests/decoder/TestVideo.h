// Known pictures and the streams made from them: colour bars with a moving box, encoded with
// libavcodec, and the ways to read pictures back and compare them.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "VideoDecoder.h"
#include "livesource/PictureCheck.h"

namespace decodertest {

using playerdecoder::Picture;

struct EncodedFrame {
    std::vector<uint8_t> bytes;
    bool key = false;
    long long ts = 0;
};

struct EncodedStream {
    std::vector<uint8_t> config;  // MPEG-4 object layer, sent alone before the frames
    std::vector<EncodedFrame> frames;
};

// The live source's test pattern for frames 0 to count - 1.
std::vector<Picture> TestPatterns(int width, int height, int count);
// H.264 through libx264 or H.265 through libx265 (Annex B, parameter sets in front of key
// frames) or MPEG-4 Visual (configuration apart); a key frame every 'gop' frames, each cut
// into 'slices' slices (H.264), stamps 3600 apart (25 frames a second at 90 kHz).
EncodedStream Encode(AVCodecID codec, const std::vector<Picture>& pictures, int gop,
                     int slices = 1);
// The same for the codec of a decoder type.
EncodedStream Encode(eMediaDecType type, const std::vector<Picture>& pictures, int gop);
const char* NameOf(eMediaDecType type);

// Feeds frames [from, to), the MPEG-4 configuration first when 'from' is 0; returns how many
// frames were taken (result 0).
int Feed(long handle, const EncodedStream& stream, size_t from, size_t to);
int FeedBytes(long handle, std::vector<uint8_t> bytes, long long ts = 0);
playerdecoder::DecoderStats StatsOf(long handle);

// What a picture callback saw: handle, width, height and type of each call, and the last one.
struct PictureLog {
    std::vector<std::array<long, 4>> calls;
    Picture last;
};
int RecordPicture(long handle, char* buf, int width, int height, int type, long user);

// The live source's picture readers and comparisons (ReadBmp, Scaled, MeanAbsDifference, ...).
using namespace playersdk::livesource;
Picture DecodeJpeg(const std::string& path);

}  // namespace decodertest
