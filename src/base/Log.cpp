#include "base/Log.h"

#include <pthread.h>
#include <time.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/BoundedCopy.h"
#include "base/MutexGuard.h"

namespace {
char log_file[256] = "playersdk.log";
FILE* g_logStream = nullptr;
// Entries from the API, receive and play threads are written one at a time.
pthread_mutex_t g_logMutex = PTHREAD_MUTEX_INITIALIZER;

// ctime_r's 24-character text and its newline.
constexpr int kTimeTextSize = 26;
}  // namespace

extern "C" PLAYERSDK_API void SetPlayerSdkLogFile(const char* path) {
    if (path == nullptr || strnlen(path, sizeof(log_file)) >= sizeof(log_file)) {
        return;
    }
    playersdk::MutexGuard guard(g_logMutex);
    playersdk::copy_bounded(log_file, path);
}

extern "C" PLAYERSDK_API int PlayerSdkLog(const char* format, ...) {
    playersdk::MutexGuard guard(g_logMutex);
    if (g_logStream == nullptr) {
        // The first entry of the process starts a fresh file.
        g_logStream = fopen(log_file, "w+");
        if (g_logStream == nullptr) {
            return -1;
        }
    }
    char line[playersdk::kLogLineSize] = {};
    char timeText[kTimeTextSize] = {};
    time_t now = time(nullptr);
    if (ctime_r(&now, timeText) == nullptr) {
        timeText[0] = '\0';
    }
    const size_t timeLen = strlen(timeText) + 1;  // the "%s\n" below adds one more newline

    // A long message is cut so that the time stamp still fits behind it.
    va_list args;
    va_start(args, format);
    int wanted = vsnprintf(line, sizeof(line) - timeLen, format, args);
    va_end(args);
    if (wanted < 0) {
        return -1;
    }
    size_t msgLen = strlen(line);
    int stampLen = snprintf(line + msgLen, sizeof(line) - msgLen, "%s\n", timeText);
    fputs(line, g_logStream);
    fflush(g_logStream);
    // The time stamp's length is counted twice; callers look only at the sign.
    return static_cast<int>(msgLen) + stampLen + stampLen;
}

namespace playersdk {
void ResetLogForTest() {
    MutexGuard guard(g_logMutex);
    if (g_logStream != nullptr) {
        fclose(g_logStream);
        g_logStream = nullptr;
    }
}
}  // namespace playersdk
