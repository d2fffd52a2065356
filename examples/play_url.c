/* play_url: plays an RTSP URL for some seconds, printing every notification and, once a
 * second, the frame rate and the traffic.
 *
 *   play_url rtsp://192.0.2.10/live/ch1 [seconds] [tcp|udp]
 *
 * Exit status: 0 played to the end, 1 bad command line, 2 the play could not be opened or
 * failed. */
#define _POSIX_C_SOURCE 200809L
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "PlayerSDK.h"
#include "example_common.h"

/* Notifications arrive on the library's threads (and a connection that fails at once on the
 * caller's, inside NetPlay_OpenUrlEx): keep what main reads atomic, and call nothing of the
 * library from here. */
static atomic_int g_failed;

static int on_notify(long container, long play, ePlayNotifyCode code, long user) {
    (void)container;
    (void)user;
    /* With the decoder codes the second argument is the decoder's handle, not the play. */
    printf("%s (%#lx)\n", notify_name(code), (unsigned long)play);
    fflush(stdout);
    if (notify_is_fatal(code)) {
        atomic_store(&g_failed, 1);
    }
    return 0;
}

int main(int argc, char** argv) {
    if (argc < 2 || argc > 4) {
        fprintf(stderr, "usage: %s rtsp://host[:port]/path [seconds] [tcp|udp]\n", argv[0]);
        return 1;
    }
    const char* url = argv[1];
    int seconds = argc > 2 ? atoi(argv[2]) : 10;
    int transport = (argc > 3 && strcmp(argv[3], "udp") == 0) ? TT_UDP : TT_TCP;

    SetPlayerSdkLogFile("/tmp/play_url-playersdk.log");
    long container = NetPlay_Init(on_notify, 0);
    if (container == -1) {
        fprintf(stderr, "NetPlay_Init failed\n");
        return 2;
    }
    long play = NetPlay_OpenUrlEx(container, url, /* window */ 0, /* user value */ 0, transport);
    if (play == -1) {
        fprintf(stderr, "cannot open %s\n", url);
        NetPlay_Destroy(container);
        return 2;
    }
    for (int s = 1; s <= seconds && !atomic_load(&g_failed); ++s) {
        sleep_ms(1000);
        printf("%3d s: %d frames/s, %.1f kbit/s\n", s, NetPlay_GetFrameRate(container, play),
               NetPlay_GetFlux(container, play));
        fflush(stdout);
    }
    NetPlay_CloseUrl(container, play);
    NetPlay_Destroy(container);
    return atomic_load(&g_failed) ? 2 : 0;
}
