/* grab_pictures: plays an RTSP URL and writes its current picture to a file once a second.
 *
 *   grab_pictures rtsp://192.0.2.10/live/ch1 /tmp/pictures [count]
 *
 * The pictures are DIR/picture-1.jpg, DIR/picture-2.jpg, ... (a name ending in .jpg gives a
 * JPEG file, any other a BMP file); missing folders are made. Until the first picture has
 * been decoded NetPlay_GrabPic has nothing to write and returns non-zero: such seconds are
 * reported and skipped. Exit status: 0 pictures were written, 1 bad command line, 2 the play
 * could not be opened or failed, 3 no picture was written. */
#define _POSIX_C_SOURCE 200809L
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>

#include "PlayerSDK.h"
#include "example_common.h"

static atomic_int g_failed;

/* On the library's threads: only record what happened. */
static int on_notify(long container, long play, ePlayNotifyCode code, long user) {
    (void)container;
    (void)play;
    (void)user;
    if (notify_is_fatal(code)) {
        printf("%s\n", notify_name(code));
        atomic_store(&g_failed, 1);
    }
    return 0;
}

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: %s rtsp://host[:port]/path folder [count]\n", argv[0]);
        return 1;
    }
    int count = argc > 3 ? atoi(argv[3]) : 5;
    SetPlayerSdkLogFile("/tmp/grab_pictures-playersdk.log");
    long container = NetPlay_Init(on_notify, 0);
    if (container == -1) {
        return 2;
    }
    long play = NetPlay_OpenUrl(container, argv[1], 0, 0, NULL);
    if (play == -1) {
        NetPlay_Destroy(container);
        return 2;
    }
    int written = 0;
    for (int n = 1; n <= count && !atomic_load(&g_failed); ++n) {
        char path[4096];
        sleep_ms(1000);
        snprintf(path, sizeof path, "%s/picture-%d.jpg", argv[2], n);
        int rc = NetPlay_GrabPic(container, play, path);
        if (rc == 0) {
            ++written;
            printf("wrote %s\n", path);
        } else {
            printf("no picture for %s (%d)\n", path, rc);
        }
        fflush(stdout);
    }
    NetPlay_CloseUrl(container, play);
    NetPlay_Destroy(container);
    if (atomic_load(&g_failed)) {
        return 2;
    }
    return written > 0 ? 0 : 3;
}
