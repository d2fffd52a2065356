// Known pictures and the streams made from them: a colour-bar pattern with a moving box,
// encoded with libavcodec, and the ways to read a picture back and compare it.
#pragma once

#include <string>
#include <vector>

#include "AvSupport.h"
#include "Picture.h"
#include "PlayerDecoder.h"
#include "VideoDecoder.h"

namespace decodertest {

using playerdecoder::Picture;

struct EncodedFrame {
    std::vector<uint8_t> bytes;
    bool key = false;
    long long ts = 0;
};

struct EncodedStream {
    std::vector<uint8_t> config;  // MPEG-4 object layer, sent on its own before the frames
    std::vector<EncodedFrame> frames;
};

// Eight vertical colour bars and a 40x40 box that moves 8 pixels right per frame.
Picture TestPattern(int width, int height, int frame);
std::vector<Picture> TestPatterns(int width, int height, int count);

// H.264 (Annex B, parameter sets in-band) through libx264 when libavcodec has it, else its
// own H.264 encoder; MPEG-4 part 2 with the configuration out of band. A key frame every
// 'gop' frames, stamps 3600 apart (25 frames a second at 90 kHz).
EncodedStream Encode(AVCodecID codec, const std::vector<Picture>& pictures, int gop);
std::string H264EncoderName();

// Feeds frames [from, to) with their stamps; the MPEG-4 configuration first when 'from' is 0.
// Returns how many frames were taken (result 0).
int Feed(long handle, const EncodedStream& stream, size_t from, size_t to);
int FeedBytes(long handle, std::vector<uint8_t> bytes, long long ts = 0);
playerdecoder::DecoderStats StatsOf(long handle);

// What a picture callback saw.
struct PictureLog {
    std::vector<long> handles;
    std::vector<int> widths, heights, types;
    Picture last;
};
int RecordPicture(long handle, char* buf, int width, int height, int type, long user);

Picture ReadBmp(const std::string& path);
Picture DecodeJpeg(const std::string& path);
Picture Scaled(const Picture& picture, int width, int height);
// Mean absolute difference over every colour byte; a large number when sizes differ.
double MeanAbsDifference(const Picture& a, const Picture& b);

}  // namespace decodertest
