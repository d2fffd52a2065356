/* Both public headers in one translation unit: compiled as C99 and as C++11 with every
 * warning an error, and used enough that their declarations are checked. */
#include "PlayerDecoder.h"
#include "PlayerSDK.h"

int main(void) {
    tPlayCtrlInfo ctrl = {FILE_PAUSE, 0, 0, 0};
    GotPictureCallback onPicture = 0;
    DecPictureCallback onDecoded = 0;
    (void)onPicture;
    (void)onDecoded;
    return (int)(Player_GetVersion() >> 24) + (int)ctrl.playmode - 5;
}
