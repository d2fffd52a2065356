// Draws pictures into an X11 window, scaled to the window's current size. Each renderer has a
// display connection of its own, opened on first use from $DISPLAY; without one (no X server,
// no window) drawing is simply skipped. Not thread-safe: its decoder serialises the calls.
#pragma once

#include <X11/Xlib.h>

#include <cstdint>
#include <vector>

#include "AvSupport.h"
#include "Picture.h"

namespace playerdecoder {

class CXWindowRenderer {
public:
    CXWindowRenderer() = default;
    virtual ~CXWindowRenderer();
    CXWindowRenderer(const CXWindowRenderer&) = delete;
    CXWindowRenderer& operator=(const CXWindowRenderer&) = delete;

    // 0 and -1 mean no window. A new window also gives a failed connection another try.
    void SetWindow(long window);
    long window() const { return m_window; }
    // The connection the pictures go through (null before the first successful draw).
    Display* display() const { return m_display; }

    // True when the picture (in any pixel format) reached the window.
    bool Draw(const PlaneSet& picture);

private:
    bool Connect();
    void ReleaseGc();
    AVPixelFormat PixelFormatOf(const XImage& image) const;

    Display* m_display = nullptr;
    bool m_bConnectFailed = false;
    long m_window = 0;
    GC m_gc = nullptr;
    CPixelConverter m_converter;
    std::vector<uint8_t> m_pixels;
};

}  // namespace playerdecoder
