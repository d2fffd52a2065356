// Reading pictures back and comparing them with the test pattern: snapshot files written by
// the decoder library, windows read from an X server, pictures handed to callbacks.
#pragma once

#include <cstdint>
#include <string>

#include "Picture.h"

namespace playersdk::livesource {

using playerdecoder::Picture;

// A picture of that size, all black.
Picture BlankPicture(int width, int height);
// A 24-bit BMP file (bottom row first, rows padded to 4 bytes); empty when it is not one.
Picture ReadBmp(const std::string& path);
Picture Scaled(const Picture& picture, int width, int height);
// Mean absolute difference of the colour bytes; huge when the sizes differ.
double MeanAbsDifference(const Picture& a, const Picture& b);
// The mean absolute difference between a picture of the pattern (decoded, perhaps scaled) and
// the pattern of the frame its band shows, drawn at patternWidth x patternHeight and scaled
// to the picture's size. Huge when the band cannot be read. 'frame' gets the frame number.
double DistanceFromPattern(const Picture& picture, int patternWidth, int patternHeight,
                           int* frame = nullptr);

}  // namespace playersdk::livesource
