#include "DemoOptions.h"

#include <arpa/inet.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>

namespace {
bool ReadNumber(const char* text, int low, int high, int& value) {
    char* end = nullptr;
    const long number = text ? strtol(text, &end, 10) : 0;
    if (text == nullptr || *text == '\0' || *end != '\0' || number < low || number > high) {
        return false;
    }
    value = static_cast<int>(number);
    return true;
}
}  // namespace

const char* DemoHelpText() {
    return "Usage: playersdk-demo [options] [rtsp://<IPv4 address>[:port]/<path>]\n"
           "\n"
           "Without a URL: serves a live test pattern (colour bars, a moving box and a frame\n"
           "counter) on 127.0.0.1, plays it through libPlayerSDK, records it, grabs a picture,\n"
           "then plays the recording back from the file and sums up what it wrote.\n"
           "With a URL: plays that stream with the same live display.\n"
           "\n"
           "Options:\n"
           "  --mpeg4          serve the test pattern as MPEG-4 Visual instead of H.264\n"
           "  --h265           serve the test pattern as H.265 (libx265) instead of H.264\n"
           "  --udp            receive the video over UDP (RTP on ports from 10000 up)\n"
           "  --tcp            receive it in the RTSP connection (the default)\n"
           "  --seconds N      play (and record) N seconds; default 10; with a URL 0 plays\n"
           "                   until Ctrl-C\n"
           "  --record FILE    with a URL: record the stream into FILE\n"
           "  --snapshot FILE  with a URL: grab the last picture into FILE at the end\n"
           "                   (BMP; JPEG when the name ends in .jpg or .jpeg)\n"
           "  --out DIR        folder for the files written (default: a new folder in /tmp)\n"
           "  --window         show the video in an X11 window (needs DISPLAY)\n"
           "  --timeout N      seconds to wait for the server's answer and first picture;\n"
           "                   default 10\n"
           "  -h, --help       this text\n"
           "\n"
           "Exit codes:\n"
           "  0  done\n"
           "  1  bad command line\n"
           "  2  not a URL the player can open\n"
           "  3  the connection was refused or could not be made\n"
           "  4  the server refused the stream\n"
           "  5  no answer or no picture within the time-out\n"
           "  6  the server ended the stream, or it was cut, while playing\n"
           "  7  recording, snapshot or playing the recording back failed\n"
           "  8  the live test pattern could not be served\n"
           "  130 interrupted (Ctrl-C)\n";
}

bool ParseDemoOptions(int argc, char** argv, DemoOptions& options, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        auto takesValue = [&](std::string& field) {
            if (value == nullptr) {
                error = arg + " needs a value";
                return false;
            }
            field = value;
            ++i;
            return true;
        };
        auto takesNumber = [&](int low, int& field) {
            if (!ReadNumber(value, low, 86400, field)) {
                error = arg + " needs a whole number of seconds from " + std::to_string(low);
                return false;
            }
            ++i;
            return true;
        };
        bool ok = true;
        if (arg == "-h" || arg == "--help") {
            options.help = true;
        } else if (arg == "--mpeg4") {
            options.mpeg4 = true;
        } else if (arg == "--h265") {
            options.h265 = true;
        } else if (arg == "--udp" || arg == "--tcp") {
            options.udp = arg == "--udp";
        } else if (arg == "--window") {
            options.window = true;
        } else if (arg == "--seconds") {
            ok = takesNumber(0, options.seconds);
        } else if (arg == "--timeout") {
            ok = takesNumber(1, options.timeout);
        } else if (arg == "--record") {
            ok = takesValue(options.record);
        } else if (arg == "--snapshot") {
            ok = takesValue(options.snapshot);
        } else if (arg == "--out") {
            ok = takesValue(options.outDir);
        } else if (arg.rfind("-", 0) == 0) {
            error = "unknown option " + arg;
            ok = false;
        } else if (options.url.empty()) {
            options.url = arg;
        } else {
            error = "only one URL can be played";
            ok = false;
        }
        if (!ok) {
            return false;
        }
    }
    if (options.url.empty() && (!options.record.empty() || !options.snapshot.empty())) {
        error = "--record and --snapshot go with a URL; the demo names its own files";
        return false;
    }
    if (options.url.empty() && options.seconds == 0) {
        error = "the demo records for at least one second";
        return false;
    }
    return true;
}

bool IsPlayableUrl(const std::string& url) {
    constexpr size_t kScheme = 7;  // "rtsp://"
    if (url.size() <= kScheme || strncasecmp(url.c_str(), "rtsp://", kScheme) != 0) {
        return false;
    }
    const size_t slash = url.find('/', kScheme);
    if (slash == std::string::npos) {
        return false;
    }
    std::string host = url.substr(kScheme, slash - kScheme);
    const size_t colon = host.find(':');
    if (colon != std::string::npos) {
        int port = 0;
        if (!ReadNumber(host.c_str() + colon + 1, 1, 65535, port)) {
            return false;
        }
        host.resize(colon);
    }
    in_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1;
}
