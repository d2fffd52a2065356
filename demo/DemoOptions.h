// The demo player's command line, its help text and the exit codes scripts can test.
#pragma once

#include <string>

enum DemoExit {
    kExitOk = 0,
    kExitUsage = 1,          // unknown option or bad value
    kExitBadUrl = 2,         // not an rtsp://<IPv4>[:port]/<path> URL
    kExitConnectFailed = 3,  // the connection was refused or could not be made
    kExitRefused = 4,        // the server answered, but not with a playable stream
    kExitNoAnswer = 5,       // no answer, or no picture, within --timeout seconds
    kExitStreamEnded = 6,    // the server ended the stream or it was cut while playing
    kExitFileFailed = 7,     // recording, snapshot or playing the recording back failed
    kExitSourceFailed = 8,   // the live test pattern could not be served (no encoder)
    kExitInterrupted = 130,  // Ctrl-C
};

struct DemoOptions {
    std::string url;  // empty: serve the live test pattern and play it
    bool mpeg4 = false;
    bool h265 = false;
    bool udp = false;  // RTP on UDP ports of the player's own instead of in the RTSP connection
    int seconds = 10;  // how long to play and record (URL: 0 plays until Ctrl-C)
    int timeout = 10;  // seconds to wait for the server's answer and the first picture
    std::string record;
    std::string snapshot;
    std::string outDir;
    bool window = false;
    bool help = false;
};

// False with a message in 'error' for an unknown option or a bad value.
bool ParseDemoOptions(int argc, char** argv, DemoOptions& options, std::string& error);
const char* DemoHelpText();
// The form of URL the library opens: rtsp:// (any case), a numeric IPv4 host, an optional
// port from 1 to 65535 and a path after a slash.
bool IsPlayableUrl(const std::string& url);
