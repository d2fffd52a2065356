/* An application written in C against the public header and the shared library: the header
 * must compile as C, and the exported functions must link by their plain names. */
#include <stdio.h>
#include <string.h>

#include "PlayerSDK.h"

int main(void) {
    char text[16];
    char back[16];
    SetPlayerSdkLogFile("/tmp/playersdk-c-application.log");
    if (PlayerSdkLog("[main] C application %d\n", 1) <= 0) {
        return 1;
    }
    if (Base64encode(text, "gd", 2) != 5 || strcmp(text, "Z2Q=") != 0) {
        return 2;
    }
    if (Base64decode(back, text) != 2 || memcmp(back, "gd", 3) != 0) {
        return 3;
    }
    {
        DeviceDecInfo info;
        eMediaDecType type = VT_H264;
        memset(&info, 0, sizeof(info));
        info.videoPayLoadType = 96;
        if (sizeof(info.config) != 512 || type != 2 || NetPlay_SetSendDataCallback(NULL) != 0 ||
            NetPlay_setGotFrameCallback(NULL) != 0 || NetSink_SetGotFrameCallback(NULL) != 0) {
            return 4;
        }
    }
    if (FindH264Header("\0\0\0\1\x67\0", 6) != 3) {
        return 5;
    }
    {
        /* A container with nothing open: its threads start and stop; plays are refused. */
        long container = NetPlay_Init(NULL, 0);
        if (Player_GetVersion() != 0x02060001u || container == -1 ||
            NetPlay_CloseUrl(container, 0) != -1 || NetPlay_GetFlux(container, 1) != -1.0f ||
            NetPlay_GetRecFileCurTs(container, 1) != ~0ull || NetPlay_Destroy(container) != 0) {
            return 7;
        }
    }
    {
        tPlayCtrlInfo ctrl;
        tVideoFileInfo info;
        memset(&ctrl, 0, sizeof(ctrl));
        ctrl.playmode = FILE_PLAYSEEK;
        if (FilePlay_Start("/nonexistent/file.dat", 0, NULL, 0) != -1 ||
            FilePlay_Control(0, &ctrl) != -1 || FilePlay_GetInfo(-1, &info) != -1 ||
            FilePlay_GetManufType(0) != MANU_FILE_TYPE_UNKOWN || FilePlay_RefreshSurface(0) != 0) {
            return 6;
        }
    }
    remove("/tmp/playersdk-c-application.log");
    puts("C application linked and ran");
    return 0;
}
