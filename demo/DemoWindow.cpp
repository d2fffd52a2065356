#include "DemoWindow.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdlib>

CDemoWindow::~CDemoWindow() {
    Display* display = static_cast<Display*>(m_display);
    if (display == nullptr) {
        return;
    }
    if (m_window != 0) {
        XDestroyWindow(display, m_window);
    }
    XCloseDisplay(display);
}

bool CDemoWindow::Open(int width, int height, const std::string& title, std::string& error) {
    const char* name = getenv("DISPLAY");
    if (name == nullptr || *name == '\0') {
        error = "DISPLAY is not set";
        return false;
    }
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        error = std::string("cannot open display ") + name;
        return false;
    }
    m_display = display;
    m_window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, width, height, 0,
                                   BlackPixel(display, DefaultScreen(display)),
                                   BlackPixel(display, DefaultScreen(display)));
    XStoreName(display, m_window, title.c_str());
    // The decoder draws every picture; the server must not clear the window between them.
    XSetWindowBackgroundPixmap(display, m_window, None);
    XSelectInput(display, m_window, StructureNotifyMask);
    XMapWindow(display, m_window);
    XEvent event;
    do {
        XWindowEvent(display, m_window, StructureNotifyMask, &event);
    } while (event.type != MapNotify);
    return true;
}
