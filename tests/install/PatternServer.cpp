// A live camera for the install tests' example programs: serves the test pattern (H.264,
// 25 frames a second) on 127.0.0.1 at a free port, prints its URL on one line and serves until
// SIGTERM or SIGINT.
#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "livesource/LiveSource.h"

int main() {
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    sigaddset(&stop, SIGINT);
    // Blocked before any thread starts, so that every thread leaves them to sigwait below.
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);
    signal(SIGPIPE, SIG_IGN);

    playersdk::livesource::CLiveSource source;
    if (!source.Start()) {
        fprintf(stderr, "pattern server: cannot serve the test pattern\n");
        return 1;
    }
    printf("%s\n", source.url().c_str());
    fflush(stdout);
    int signal = 0;
    sigwait(&stop, &signal);
    source.Stop();
    return 0;
}
