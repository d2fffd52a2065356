// Text into fixed character fields: always terminated, never past the field.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

namespace playersdk {

// Copies as much of src as fits in dst[size] and terminates it. Returns the length copied.
inline size_t copy_bounded(char* dst, size_t size, std::string_view src) {
    if (size == 0) {
        return 0;
    }
    size_t n = src.size() < size - 1 ? src.size() : size - 1;
    if (n > 0) {  // an empty view may carry a null pointer, which memcpy must not be given
        memcpy(dst, src.data(), n);
    }
    dst[n] = '\0';
    return n;
}

inline size_t copy_bounded(char* dst, size_t size, const char* src) {
    return copy_bounded(dst, size,
                        src ? std::string_view(src, strnlen(src, size)) : std::string_view());
}

template <size_t N>
size_t copy_bounded(char (&dst)[N], std::string_view src) {
    return copy_bounded(dst, N, src);
}

template <size_t N>
size_t copy_bounded(char (&dst)[N], const char* src) {
    return copy_bounded(dst, N, src);
}

}  // namespace playersdk
