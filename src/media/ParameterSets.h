// The codec configuration an SDP carries, in the form the timestamp framer puts in front of
// the first access unit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace playersdk {

// "Z0IAH5Wo,aM48gA==" -> 00 00 00 01 SPS 00 00 00 01 PPS (every comma-separated set, in
// order). Empty when a set is not Base64 or decodes to fewer than 'minSetSize' bytes (at least
// one).
std::vector<uint8_t> AnnexBFromSpropParameterSets(std::string_view sprop, size_t minSetSize = 1);
// The MPEG-4 "config=" value, hexadecimal text of either case -> bytes. Empty when the text
// has an odd length or a character that is not a hexadecimal digit.
std::vector<uint8_t> BytesFromHex(std::string_view hex);

}  // namespace playersdk
