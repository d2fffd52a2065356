// Bounded text scanning for RTSP replies and SDP bodies.
//
// Every function works on the bytes [begin, end) and never reads at or past `end`, so a
// received buffer needs no NUL terminator. Searches treat a NUL byte as the end of the text,
// as the C string functions would.
#pragma once

#include <cstddef>
#include <string_view>

namespace playersdk {

// First occurrence of needle in the text [begin, end) (stopping at a NUL), or null.
char* FindText(char* begin, const char* end, std::string_view needle);

// Whether key stands at p, compared without regard to ASCII case.
bool KeyAtIgnoreCase(const char* p, const char* end, std::string_view key);

// The header scan of the reply parsers: when key stands at p (case-insensitive), collects the
// characters that follow it into dst, up to the first of `stops`, a NUL or end, dropping
// blanks. dst is always terminated and cut at dstSize - 1 characters. Returns whether the key
// was there (dst is untouched when it was not).
bool ScanKeyValue(const char* p, const char* end, std::string_view key, std::string_view stops,
                  char* dst, size_t dstSize);

// Value of the header's "Content-Length:" (or "Content-length:", the only two spellings
// servers use), or -1 when neither is there. A NUL byte ends the header text.
int ContentLengthOf(std::string_view header);

// atoi / atof of the number text at p, reading no further than end.
int BoundedAtoi(const char* p, const char* end);
double BoundedAtof(const char* p, const char* end);

}  // namespace playersdk
