/* record_and_play: records an RTSP URL to a file for some seconds, then plays the file back
 * with the file player and prints what it holds.
 *
 *   record_and_play rtsp://192.0.2.10/live/ch1 /tmp/rec/ch1.rec [seconds]
 *
 * Exit status: 0 recorded and played back, 1 bad command line, 2 the play could not be
 * opened or failed, 3 recording or playing the file back failed. */
#define _POSIX_C_SOURCE 200809L
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>

#include "PlayerSDK.h"
#include "example_common.h"

static atomic_int g_playing; /* NOTIFY_PLAYING arrived: media flows */
static atomic_int g_failed;  /* the play failed or ended */
static atomic_int g_over;    /* the file player played the last frame */

/* On the library's threads: only record what happened. */
static int on_notify(long container, long play, ePlayNotifyCode code, long user) {
    (void)container;
    (void)play;
    (void)user;
    printf("%s\n", notify_name(code));
    fflush(stdout);
    if (code == NOTIFY_PLAYING) {
        atomic_store(&g_playing, 1);
    } else if (notify_is_fatal(code)) {
        atomic_store(&g_failed, 1);
    }
    return 0;
}

/* On the file player's play thread; FilePlay_Stop must not be called from here. */
static void on_file_event(long user, tPlayInfo* info) {
    (void)user;
    if (info->fileevent == FILE_PLAYOVER) {
        atomic_store(&g_over, 1);
    }
}

static int record(const char* url, const char* path, int seconds) {
    long container = NetPlay_Init(on_notify, 0);
    if (container == -1) {
        return 2;
    }
    long play = NetPlay_OpenUrl(container, url, 0, 0, NULL);
    int result = play == -1 ? 2 : 0;
    /* Wait (10 s at most) for the media before recording. */
    for (int i = 0; result == 0 && i < 100 && !atomic_load(&g_playing); ++i) {
        sleep_ms(100);
    }
    if (result == 0 && (!atomic_load(&g_playing) || atomic_load(&g_failed))) {
        result = 2;
    }
    if (result == 0 && NetPlay_StartRecord(container, play, path) != 0) {
        fprintf(stderr, "cannot record to %s\n", path);
        result = 3;
    }
    if (result == 0) {
        printf("recording %d s to %s\n", seconds, path);
        for (int s = 0; s < seconds * 10 && !atomic_load(&g_failed); ++s) {
            sleep_ms(100);
        }
        NetPlay_StopRecord(container, play);
    }
    if (play != -1) {
        NetPlay_CloseUrl(container, play);
    }
    NetPlay_Destroy(container);
    return result;
}

static int play_back(const char* path) {
    long player = FilePlay_Start(path, /* window */ 0, on_file_event, 0);
    if (player == -1) {
        fprintf(stderr, "cannot play %s back\n", path);
        return 3;
    }
    tVideoFileInfo info;
    FilePlay_GetInfo(player, &info);
    printf("playing back %s: %u frames, %u key frames, %ld s\n", path, info.totalFrameNum,
           info.keyFrameNum, FilePlay_GetTotalTime(player));
    /* The file plays at its own frame rate; allow twice its length. */
    long limit = (FilePlay_GetTotalTime(player) + 1) * 20;
    for (long i = 0; i < limit && !atomic_load(&g_over); ++i) {
        sleep_ms(100);
    }
    FilePlay_Stop(player);
    printf("%s\n", atomic_load(&g_over) ? "played to the end" : "did not play to the end");
    return atomic_load(&g_over) ? 0 : 3;
}

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: %s rtsp://host[:port]/path file [seconds]\n", argv[0]);
        return 1;
    }
    SetPlayerSdkLogFile("/tmp/record_and_play-playersdk.log");
    int result = record(argv[1], argv[2], argc > 3 ? atoi(argv[3]) : 5);
    return result != 0 ? result : play_back(argv[2]);
}
