// Pictures drawn into a real X window (a private Xvfb) and read back from the server.
#include <gtest/gtest.h>

#include <cstdlib>

// After gtest: Xlib's macros (None, Bool, Status) would clash with its templates.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include "TestVideo.h"
#include "XvfbServer.h"

using namespace decodertest;

namespace {

struct DrawLog {
    int calls = 0;
    long window = 0;
    void* surface = nullptr;
};

void RecordDraw(__DC* dc, long user) {
    auto* log = reinterpret_cast<DrawLog*>(user);
    ++log->calls;
    log->window = dc->hWnd;
    log->surface = dc->surface;
}

// Sets $DISPLAY for one test and puts the old value back.
class DisplayVariable {
public:
    explicit DisplayVariable(const char* value) {
        const char* old = getenv("DISPLAY");
        m_bHad = old != nullptr;
        m_old = old ? old : "";
        value ? setenv("DISPLAY", value, 1) : unsetenv("DISPLAY");
    }
    ~DisplayVariable() { m_bHad ? setenv("DISPLAY", m_old.c_str(), 1) : unsetenv("DISPLAY"); }

private:
    bool m_bHad = false;
    std::string m_old;
};

class XWindowDisplay : public testing::Test {
protected:
    static constexpr int kWidth = 480, kHeight = 360;  // the pictures are 320x240: scaled

    void SetUp() override {
        if (!CXvfbServer::Installed()) {
            GTEST_SKIP() << "Xvfb is not installed (Debian package xvfb): no X server to draw on";
        }
        std::string why;
        ASSERT_TRUE(server.Start(why)) << why;
        variable = std::make_unique<DisplayVariable>(server.display().c_str());
        display = XOpenDisplay(nullptr);
        ASSERT_NE(display, nullptr);
        window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, kWidth, kHeight, 0,
                                     0, 0);
        XSetWindowBackgroundPixmap(display, window, None);  // the server never clears it
        XSelectInput(display, window, StructureNotifyMask);
        XMapWindow(display, window);
        XEvent event;
        do {
            XWindowEvent(display, window, StructureNotifyMask, &event);
        } while (event.type != MapNotify);
    }
    void TearDown() override {
        if (display) {
            XDestroyWindow(display, window);
            XCloseDisplay(display);
        }
    }

    Picture WindowContents() {
        XImage* image = XGetImage(display, window, 0, 0, kWidth, kHeight, AllPlanes, ZPixmap);
        Picture picture;
        picture.width = kWidth;
        picture.height = kHeight;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                unsigned long pixel = XGetPixel(image, x, y);
                picture.bgr.insert(picture.bgr.end(),
                                   {static_cast<uint8_t>(pixel), static_cast<uint8_t>(pixel >> 8),
                                    static_cast<uint8_t>(pixel >> 16)});
            }
        }
        XDestroyImage(image);
        return picture;
    }

    CXvfbServer server;
    std::unique_ptr<DisplayVariable> variable;
    Display* display = nullptr;
    Window window = 0;
};

TEST_F(XWindowDisplay, PicturesAreScaledIntoTheWindowAndRefreshDrawsTheLastOneAgain) {
    const std::vector<Picture> source = TestPatterns(320, 240, 12);
    const Picture expected = Scaled(source.back(), kWidth, kHeight);
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0), 0);
    DrawLog draws;
    Decoder_SetPlayWnd(handle, static_cast<long>(window), 1);
    Decoder_SetDrawCb(handle, RecordDraw, reinterpret_cast<long>(&draws));

    EXPECT_EQ(Feed(handle, Encode(AV_CODEC_ID_H264, source, 6), 0, 12), 12);

    EXPECT_LT(MeanAbsDifference(WindowContents(), expected), 6.0);
    EXPECT_EQ(draws.calls, 12);
    EXPECT_EQ(draws.window, static_cast<long>(window));
    EXPECT_NE(draws.surface, nullptr);
    XFillRectangle(display, window, DefaultGC(display, DefaultScreen(display)), 0, 0, kWidth,
                   kHeight);
    XSync(display, False);
    EXPECT_GT(MeanAbsDifference(WindowContents(), expected), 50.0);
    EXPECT_EQ(Decoder_RefreshSurface(handle), 1);
    EXPECT_LT(MeanAbsDifference(WindowContents(), expected), 6.0);
    EXPECT_EQ(draws.calls, 13);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

TEST_F(XWindowDisplay, AWindowThatDoesNotExistIsNotDrawnAndDoesNotEndTheProcess) {
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_MPEG4, 0, 0, 0, 0, 0), 0);
    DrawLog draws;
    Decoder_SetPlayWnd(handle, 0x7654321, 1);
    Decoder_SetDrawCb(handle, RecordDraw, reinterpret_cast<long>(&draws));
    EXPECT_EQ(Feed(handle, Encode(AV_CODEC_ID_MPEG4, TestPatterns(64, 48, 3), 3), 0, 3), 3);
    EXPECT_EQ(Decoder_RefreshSurface(handle), 0);
    EXPECT_EQ(draws.calls, 0);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

TEST(XWindowWithoutDisplay, DecodingGoesOnAndNothingIsDrawn) {
    DisplayVariable none(nullptr);
    long handle = -1;
    ASSERT_EQ(Decoder_Create(&handle, VT_H264, 0, 0, 0, 0, 0), 0);
    DrawLog draws;
    Decoder_SetPlayWnd(handle, 0x1234, 1);
    Decoder_SetDrawCb(handle, RecordDraw, reinterpret_cast<long>(&draws));
    EXPECT_EQ(Feed(handle, Encode(AV_CODEC_ID_H264, TestPatterns(64, 48, 4), 2), 0, 4), 4);
    EXPECT_EQ(StatsOf(handle).pictures, 4u);
    EXPECT_EQ(Decoder_RefreshSurface(handle), 0);
    EXPECT_EQ(draws.calls, 0);
    EXPECT_EQ(Decoder_CloseDecode(handle), 0);
}

}  // namespace
