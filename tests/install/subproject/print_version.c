/* Prints the version of the PlayerSDK it was linked with, as 2.6.0.1. */
#include <stdio.h>

#include "PlayerSDK.h"

int main(void) {
    unsigned int v = Player_GetVersion();
    printf("%u.%u.%u.%u\n", v >> 24, (v >> 16) & 0xffu, (v >> 8) & 0xffu, v & 0xffu);
    return 0;
}
