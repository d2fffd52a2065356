// Pictures drawn into a real X window (a private Xvfb) and read back from the server.
#include <gtest/gtest.h>

#include <cstdlib>

#include "TestVideo.h"
#include "support/XvfbServer.h"

// After gtest: Xlib's macros (None, Bool, Status) would clash with its templates.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

using namespace decodertest;

namespace {

struct DrawLog {
    int calls = 0;
    __DC last{};
};

void RecordDraw(__DC* dc, long user) {
    auto* log = reinterpret_cast<DrawLog*>(user);
    ++log->calls;
    log->last = *dc;
}

// Feeds a small stream to a new decoder that draws into 'window'.
long DecoderDrawingInto(long window, DrawLog& draws, const std::vector<Picture>& source) {
    long handle = -1;
    Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0);
    Decoder_SetPlayWnd(handle, window, 1);
    Decoder_SetDrawCb(handle, RecordDraw, reinterpret_cast<long>(&draws));
    Feed(handle, Encode(AV_CODEC_ID_H264, source, 6), 0, source.size());
    return handle;
}

Picture WindowContents(const playersdk::test::CXvfbServer& server, Window window, int width,
                       int height) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.bgr = server.Capture(window, width, height);
    return picture;
}

TEST(XWindowDisplay, PicturesAreScaledIntoTheWindowAndRefreshDrawsTheLastOneAgain) {
    if (!playersdk::test::CXvfbServer::Installed()) {
        GTEST_SKIP() << "Xvfb is not installed (Debian package xvfb): no X server to draw on";
    }
    playersdk::test::CXvfbServer server;
    const std::string name = server.Start();
    ASSERT_FALSE(name.empty()) << "Xvfb did not report a display";
    setenv("DISPLAY", name.c_str(), 1);  // each test runs in a process of its own
    Display* display = XOpenDisplay(nullptr);
    ASSERT_NE(display, nullptr);
    const int width = 480, height = 360;  // the pictures are 320x240
    Window window =
        XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, width, height, 0, 0, 0);
    XSetWindowBackgroundPixmap(display, window, None);  // the server never clears it
    XSelectInput(display, window, StructureNotifyMask);
    XMapWindow(display, window);
    XEvent event;
    do {
        XWindowEvent(display, window, StructureNotifyMask, &event);
    } while (event.type != MapNotify);
    const std::vector<Picture> source = TestPatterns(320, 240, 12);
    const Picture expected = Scaled(source.back(), width, height);
    DrawLog draws;

    long handle = DecoderDrawingInto(static_cast<long>(window), draws, source);

    EXPECT_LT(MeanAbsDifference(WindowContents(server, window, width, height), expected), 6.0);
    EXPECT_EQ(draws.calls, 12);
    EXPECT_EQ(draws.last.hWnd, static_cast<long>(window));
    EXPECT_NE(draws.last.surface, nullptr);
    XFillRectangle(display, window, DefaultGC(display, 0), 0, 0, width, height);
    XSync(display, False);
    EXPECT_GT(MeanAbsDifference(WindowContents(server, window, width, height), expected), 50.0);
    EXPECT_EQ(Decoder_RefreshSurface(handle), 1);
    EXPECT_LT(MeanAbsDifference(WindowContents(server, window, width, height), expected), 6.0);
    EXPECT_EQ(draws.calls, 13);
    // A window that is gone is an X error on the decoder's connection, not the end of the process.
    XDestroyWindow(display, window);
    XSync(display, False);
    EXPECT_EQ(Decoder_RefreshSurface(handle), 0);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
    XCloseDisplay(display);
}

TEST(XWindowWithoutDisplay, DecodingGoesOnAndNothingIsDrawn) {
    unsetenv("DISPLAY");
    DrawLog draws;
    long handle = DecoderDrawingInto(0x1234, draws, TestPatterns(64, 48, 4));
    EXPECT_EQ(StatsOf(handle).pictures, 4u);
    EXPECT_EQ(Decoder_RefreshSurface(handle), 0);
    EXPECT_EQ(draws.calls, 0);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

}  // namespace
