#include "support/XvfbServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace playersdk::test {

bool CXvfbServer::Installed() {
    return system("command -v Xvfb > /dev/null 2>&1") == 0;
}

std::string CXvfbServer::Start() {
    int ready[2];
    if (pipe(ready) != 0) {
        return "";
    }
    const std::string fd = std::to_string(ready[1]);  // made before fork: no allocation after
    m_pid = fork();
    if (m_pid == 0) {
        dup2(open("/dev/null", O_WRONLY), 2);
        close(ready[0]);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "640x480x24", "-nolisten",
               "tcp", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ready[1]);
    // The server writes its display number and a newline once it accepts connections.
    std::string display = ":";
    pollfd wait{ready[0], POLLIN, 0};
    char c = 0;
    while (m_pid > 0 && poll(&wait, 1, 10000) == 1 && read(ready[0], &c, 1) == 1 && c != '\n') {
        display += c;
    }
    close(ready[0]);
    m_display = c == '\n' && display.size() > 1 ? display : "";
    return m_display;
}

std::vector<uint8_t> CXvfbServer::Capture(unsigned long window, int width, int height) const {
    std::vector<uint8_t> bgr;
    Display* display = m_display.empty() ? nullptr : XOpenDisplay(m_display.c_str());
    if (display == nullptr) {
        return bgr;
    }
    XImage* image = XGetImage(display, window, 0, 0, width, height, AllPlanes, ZPixmap);
    for (int y = 0; image != nullptr && y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);  // 0x00RRGGBB on 24 bits
            bgr.insert(bgr.end(), {static_cast<uint8_t>(pixel), static_cast<uint8_t>(pixel >> 8),
                                   static_cast<uint8_t>(pixel >> 16)});
        }
    }
    if (image != nullptr) {
        XDestroyImage(image);
    }
    XCloseDisplay(display);
    return bgr;
}

CXvfbServer::~CXvfbServer() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
}

}  // namespace playersdk::test
