// An X11 window for the video: the decoder library draws into it when its id is given as the
// play window. Opened on the display that DISPLAY names.
#pragma once

#include <string>

class CDemoWindow {
public:
    CDemoWindow() = default;
    virtual ~CDemoWindow();
    CDemoWindow(const CDemoWindow&) = delete;
    CDemoWindow& operator=(const CDemoWindow&) = delete;

    // Creates and maps the window and waits until it is on the screen; false with the reason.
    bool Open(int width, int height, const std::string& title, std::string& error);
    long id() const { return static_cast<long>(m_window); }

private:
    void* m_display = nullptr;  // Display*, kept out of this header with Xlib's macros
    unsigned long m_window = 0;
};
