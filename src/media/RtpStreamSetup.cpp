// CRtpStream: taking the stream description from the SDP (H.264 parameter sets, MPEG-4
// configuration).
#include <cctype>
#include <cstring>
#include <string_view>

#include "base/Base64.h"
#include "base/BoundedCopy.h"
#include "media/PayloadTypes.h"
#include "media/RtpStream.h"

namespace {
constexpr std::string_view kSpropKey = "sprop-parameter-sets=";
constexpr std::string_view kConfigKey = "config=";
constexpr unsigned char kStartCode[4] = {0, 0, 0, 1};

// The format text as far as it is terminated inside its field.
std::string_view ConfigText(const DeviceDecInfo& info) {
    return std::string_view(info.config, strnlen(info.config, sizeof(info.config)));
}

// The value after 'key' up to the first of 'stops' (or the end); npos-safe.
bool ValueAfter(std::string_view text, std::string_view key, const char* stops,
                std::string_view& value) {
    const size_t at = text.find(key);
    if (at == std::string_view::npos) {
        return false;
    }
    value = text.substr(at + key.size());
    value = value.substr(0, value.find_first_of(stops));
    return true;
}

unsigned char HexPair(const char* pair) {
    return static_cast<unsigned char>(ctoi(pair[0]) * 16 + ctoi(pair[1]));
}
}  // namespace

void CRtpStream::SetDeviceDecInfo(DeviceDecInfo info) {
    if (playersdk::IsMpeg4PayloadType(info.videoPayLoadType)) {
        DecodeMpeg4Config(&info);  // the time scale is not taken for MPEG-4
        return;
    }
    m_DeviceDecinfo = info;
    memset(m_DeviceDecinfo.config, 0, sizeof(m_DeviceDecinfo.config));
    char first[kSipWorkSize] = {};
    char second[kSipWorkSize] = {};
    char out[kSipWorkSize] = {};
    if (ConfigText(info).find(',') != std::string_view::npos) {
        Decoder_NewSip(first, second, out, info);
    } else {
        Decoder_OldSip(first, second, info);
    }
    m_iTimeScale = static_cast<int>(info.timescale);
}

// The hexadecimal text after "config=" runs to the end of the format text: a following
// parameter is converted too, as far as its characters are hexadecimal digits.
void CRtpStream::DecodeMpeg4Config(DeviceDecInfo* info) {
    m_DeviceDecinfo = *info;
    memset(m_DeviceDecinfo.config, 0, sizeof(m_DeviceDecinfo.config));
    const std::string_view text = ConfigText(*info);
    const size_t at = text.find(kConfigKey);
    if (at == std::string_view::npos) {
        return;
    }
    const std::string_view hex = text.substr(at + kConfigKey.size());
    PlayerSdkLog("config :%.*s\n", static_cast<int>(hex.size()), hex.data());
    const size_t pairs = hex.size() / 2;
    for (size_t i = 0; i < pairs; ++i) {
        const char* pair = hex.data() + 2 * i;
        if (isxdigit(static_cast<unsigned char>(pair[0])) &&
            isxdigit(static_cast<unsigned char>(pair[1]))) {
            m_DeviceDecinfo.config[i] = static_cast<char>(HexPair(pair));
        }
    }
    m_DeviceDecinfo.config_len = static_cast<int>(pairs);
}

// "sprop-parameter-sets=<sps>,<pps>" becomes 00 00 00 01 SPS 00 00 00 01 PPS. Parameter sets
// that would not fit the work area are not taken.
void CRtpStream::Decoder_NewSip(char* sps, char* pps, char* out, DeviceDecInfo info) {
    std::string_view value;
    if (ValueAfter(ConfigText(info), kSpropKey, "", value)) {
        const size_t comma = value.find(',');
        playersdk::copy_bounded(sps, kSipWorkSize, value.substr(0, comma));
        if (comma != std::string_view::npos) {
            std::string_view rest = value.substr(comma + 1);
            playersdk::copy_bounded(pps, kSipWorkSize, rest.substr(0, rest.find(';')));
        }
    }
    // Base64decode_len bounds each decoded set with its terminating zero.
    if (2 * sizeof(kStartCode) + Base64decode_len(sps) + Base64decode_len(pps) > kSipWorkSize) {
        m_iSipLength = 0;
        return;
    }
    memcpy(out, kStartCode, sizeof(kStartCode));
    const int spsLen = Base64decode(out + 4, sps);
    memcpy(out + spsLen + 4, kStartCode, sizeof(kStartCode));
    const int ppsLen = Base64decode(out + spsLen + 8, pps);
    const int total = spsLen + ppsLen + 8;
    memcpy(m_DeviceDecinfo.config, out, total);
    m_iSipLength = total;
}

// The older format text without a comma: hexadecimal parameter sets ("0000..."), Base64 ones,
// or a "config=" parameter whose name is converted along with its value. Deliberate: these
// configuration bytes, name included, go to the decoder before the first frame and into a
// recording's header, so a change would show in the files recorded from such a camera.
void CRtpStream::Decoder_OldSip(char* text, char* hex, DeviceDecInfo info) {
    const std::string_view config = ConfigText(info);
    if (config.size() >= sizeof(info.config)) {
        return;  // not terminated inside its field
    }
    std::string_view value;
    if (ValueAfter(config, kSpropKey, ";", value)) {
        playersdk::copy_bounded(text, kSipWorkSize, value);
        if (strncmp(text, "0000", 4) == 0) {
            playersdk::copy_bounded(hex, kSipWorkSize, text);
        } else {
            // At most (254 / 4 + 1) * 3 bytes: the zeroed area stays terminated.
            base64_decode(text, reinterpret_cast<unsigned char*>(hex));
        }
    } else if (ValueAfter(config, kConfigKey, ";", value)) {
        const size_t at = config.find(kConfigKey);
        playersdk::copy_bounded(hex, kSipWorkSize,
                                config.substr(at, kConfigKey.size() + value.size()));
    } else {
        m_iSipLength = 0;
        return;
    }
    const size_t n = strnlen(hex, kSipWorkSize);
    if (n == 0) {
        return;
    }
    for (size_t i = 0; i < n / 2; ++i) {
        m_DeviceDecinfo.config[i] = static_cast<char>(HexPair(hex + 2 * i));
    }
    m_iSipLength = static_cast<int>(n / 2);
}
