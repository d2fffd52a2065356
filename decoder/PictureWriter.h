// Writes a picture to a file an image viewer opens: a 24-bit BMP, or a JPEG through
// libavcodec's MJPEG encoder when the name ends in ".jpg" or ".jpeg".
#pragma once

#include <cstdint>
#include <vector>

#include "Picture.h"

namespace playerdecoder {

enum class WriteResult { kWritten, kCannotWrite, kEncoderFailed };

WriteResult WritePictureFile(const Picture& picture, const char* path);

// The file bytes alone, for the writer above and for tests.
std::vector<uint8_t> EncodeBmp(const Picture& picture);
bool EncodeJpeg(const Picture& picture, std::vector<uint8_t>& out);

}  // namespace playerdecoder
