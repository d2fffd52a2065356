/* Small helpers the examples share: names of the notification codes, and sleeping. */
#ifndef EXAMPLE_COMMON_H
#define EXAMPLE_COMMON_H

#include <time.h>

#include "PlayerSDK.h"

/* The name of a notification code, as the header spells it. */
static const char* notify_name(ePlayNotifyCode code) {
    switch (code) {
        case NOTIFY_CONNECTING:
            return "NOTIFY_CONNECTING";
        case NOTIFY_CONNECT_ERROR:
            return "NOTIFY_CONNECT_ERROR";
        case NOTIFY_SERVER_SHUTDOWN:
            return "NOTIFY_SERVER_SHUTDOWN";
        case NOTIFY_CONNECT_SUCCESS:
            return "NOTIFY_CONNECT_SUCCESS";
        case NOTIFY_PLAYING:
            return "NOTIFY_PLAYING";
        case NOTIFY_PLAY_FINISHED:
            return "NOTIFY_PLAY_FINISHED";
        case NOTIFY_PLAY_OTHER_ERROR:
            return "NOTIFY_PLAY_OTHER_ERROR";
        case NOTIFY_ZU_IR_DEC_CREATE:
            return "NOTIFY_ZU_IR_DEC_CREATE";
        case NOTIFY_ZU_IR_DEC_DELETE:
            return "NOTIFY_ZU_IR_DEC_DELETE";
        case NOTIFY_ZU_VIDEO_DEC_CREATE:
            return "NOTIFY_ZU_VIDEO_DEC_CREATE";
        case NOTIFY_ZU_VIDEO_DEC_DELETE:
            return "NOTIFY_ZU_VIDEO_DEC_DELETE";
    }
    return "unknown notification";
}

/* The notifications that end a play: the connection failed, or the stream ended or broke. */
static int notify_is_fatal(ePlayNotifyCode code) {
    return code == NOTIFY_CONNECT_ERROR || code == NOTIFY_PLAY_FINISHED ||
           code == NOTIFY_PLAY_OTHER_ERROR;
}

static void sleep_ms(long ms) {
    struct timespec t;
    t.tv_sec = ms / 1000;
    t.tv_nsec = (ms % 1000) * 1000000L;
    nanosleep(&t, NULL);
}

#endif
