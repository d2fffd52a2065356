#include "XWindowRenderer.h"

#include <X11/Xutil.h>

#include <mutex>
#include <unordered_map>

namespace playerdecoder {
namespace {

// X errors (a window the application destroyed, a bad id) go to one process-wide handler,
// whose default ends the process. Ours notes errors on the renderers' own connections and
// passes every other error on to the handler that was there before.
std::mutex g_errorMutex;
std::unordered_map<Display*, int> g_errorsByDisplay;
XErrorHandler g_previousHandler = nullptr;

int OnXError(Display* display, XErrorEvent* event) {
    {
        std::lock_guard<std::mutex> lock(g_errorMutex);
        auto found = g_errorsByDisplay.find(display);
        if (found != g_errorsByDisplay.end()) {
            found->second = event->error_code;
            return 0;
        }
    }
    return g_previousHandler ? g_previousHandler(display, event) : 0;
}

void WatchErrors(Display* display) {
    static std::once_flag once;
    std::call_once(once, [] { g_previousHandler = XSetErrorHandler(OnXError); });
    std::lock_guard<std::mutex> lock(g_errorMutex);
    g_errorsByDisplay[display] = Success;
}

void UnwatchErrors(Display* display) {
    std::lock_guard<std::mutex> lock(g_errorMutex);
    g_errorsByDisplay.erase(display);
}

// The last error on the connection since the previous call (Success when none).
int TakeError(Display* display) {
    std::lock_guard<std::mutex> lock(g_errorMutex);
    int error = g_errorsByDisplay[display];
    g_errorsByDisplay[display] = Success;
    return error;
}

bool NoWindow(long window) {
    return window == 0 || window == -1;
}

}  // namespace

CXWindowRenderer::~CXWindowRenderer() {
    if (m_display) {
        ReleaseGc();
        XCloseDisplay(m_display);
        UnwatchErrors(m_display);
    }
}

void CXWindowRenderer::ReleaseGc() {
    if (m_gc) {
        XFreeGC(m_display, m_gc);
        m_gc = nullptr;
    }
}

void CXWindowRenderer::SetWindow(long window) {
    if (window != m_window && m_display) {
        ReleaseGc();
    }
    m_window = window;
    m_bConnectFailed = false;
}

bool CXWindowRenderer::Connect() {
    if (m_display) {
        return true;
    }
    if (m_bConnectFailed) {
        return false;
    }
    // XInitThreads must come before the first connection of the process.
    static std::once_flag threads;
    std::call_once(threads, [] { XInitThreads(); });
    m_display = XOpenDisplay(nullptr);
    if (!m_display) {
        m_bConnectFailed = true;
        return false;
    }
    WatchErrors(m_display);
    return true;
}

AVPixelFormat CXWindowRenderer::PixelFormatOf(const XImage& image) const {
    if (image.bits_per_pixel == 32 && image.red_mask == 0xff0000 && image.green_mask == 0xff00 &&
        image.blue_mask == 0xff) {
        return AV_PIX_FMT_BGR0;  // bytes B G R x in the least significant first order
    }
    if (image.bits_per_pixel == 32 && image.red_mask == 0xff && image.green_mask == 0xff00 &&
        image.blue_mask == 0xff0000) {
        return AV_PIX_FMT_RGB0;
    }
    if (image.bits_per_pixel == 16 && image.red_mask == 0xf800 && image.green_mask == 0x7e0 &&
        image.blue_mask == 0x1f) {
        return AV_PIX_FMT_RGB565LE;
    }
    return AV_PIX_FMT_NONE;
}

bool CXWindowRenderer::Draw(const PlaneSet& picture) {
    if (NoWindow(m_window) || picture.width <= 0 || picture.height <= 0 || !Connect()) {
        return false;
    }
    Window window = static_cast<Window>(m_window);
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(m_display, window, &attributes) || TakeError(m_display) != Success ||
        attributes.width <= 0 || attributes.height <= 0) {
        return false;
    }
    XImage* image = XCreateImage(m_display, attributes.visual, attributes.depth, ZPixmap, 0,
                                 nullptr, attributes.width, attributes.height, 32, 0);
    if (!image) {
        return false;
    }
    image->byte_order = LSBFirst;  // the converter writes least significant byte first
    AVPixelFormat format = PixelFormatOf(*image);
    bool drawn = false;
    if (format != AV_PIX_FMT_NONE) {
        m_pixels.resize(static_cast<size_t>(image->bytes_per_line) * attributes.height);
        PlaneSet target;
        target.data[0] = m_pixels.data();
        target.linesize[0] = image->bytes_per_line;
        target.width = attributes.width;
        target.height = attributes.height;
        target.format = format;
        if (m_converter.Convert(picture, target)) {
            if (!m_gc) {
                m_gc = XCreateGC(m_display, window, 0, nullptr);
            }
            image->data = reinterpret_cast<char*>(m_pixels.data());
            XPutImage(m_display, window, m_gc, image, 0, 0, 0, 0, attributes.width,
                      attributes.height);
            // Wait for the server, so the picture is on screen and errors belong to this draw.
            XSync(m_display, False);
            drawn = TakeError(m_display) == Success;
        }
    }
    image->data = nullptr;  // the pixels belong to m_pixels, not to Xlib
    XDestroyImage(image);
    return drawn;
}

}  // namespace playerdecoder
