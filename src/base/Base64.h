// Base64 codecs (the exported four are declared in PlayerSDK.h) and the hexadecimal digit
// converter that the stream set-up uses beside base64_decode.
#pragma once

#include "PlayerSDK.h"

// Skips characters outside the alphabet and never counts the text's last character, so a
// final group of four characters without padding loses its third byte. The stream set-up
// depends on this; Base64decode is the one that decodes the whole text.
// 'out' receives at most (strlen(in) / 4 + 1) * 3 bytes and no terminator.
void base64_decode(const char* in, unsigned char* out);
void decodeblock(const unsigned char in[4], unsigned char out[3]);
// Value of a hexadecimal digit (either case); 0 for any other character.
int ctoi(char c);
