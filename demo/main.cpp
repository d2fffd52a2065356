// playersdk-demo: the library's demo player (see DemoHelpText for what it does).
#include <signal.h>

#include <atomic>
#include <cstdio>

#include "DemoOptions.h"
#include "DemoRun.h"

namespace {
std::atomic<bool> g_interrupted{false};

void OnInterrupt(int) {
    g_interrupted = true;
}
}  // namespace

int main(int argc, char** argv) {
    DemoOptions options;
    std::string error;
    if (!ParseDemoOptions(argc, argv, options, error)) {
        fprintf(stderr, "playersdk-demo: %s\n\n%s", error.c_str(), DemoHelpText());
        return kExitUsage;
    }
    if (options.help) {
        fputs(DemoHelpText(), stdout);
        return kExitOk;
    }
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return CDemoRun(options, g_interrupted).Run();
}
