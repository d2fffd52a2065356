// RTP datagrams into one stream, as a TCP play hands them over: reordering, frame reassembly,
// H.264 and MPEG-4 payloads, the decoder hand-off and recording, behind a stream description
// that the input writes too.
#include <cstdint>
#include <vector>

#include "FuzzRecords.h"
#include "FuzzStream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::StreamInput input(data, size);
    if (!input.ok) {
        return 0;
    }
    const uint8_t setup = input.setup;
    std::vector<uint8_t> bytes;
    CRtpStream stream;
    stream.EnableLosePakcetReport(setup & 4);
    fuzz::Describe(stream, setup, input.format);
    if (setup & 8) {
        // Type 1 writes the framed file, every other type the bare frames.
        stream.StartRecord("/dev/null", (setup & 16) ? 1 : 2);
    }
    // Each datagram in a writable block of exactly its size: the stream rewrites H.264
    // fragments in place.
    while (input.records.Next(bytes)) {
        stream.InputData(bytes.empty() ? nullptr : bytes.data(), static_cast<int>(bytes.size()));
    }
    stream.StopRecord();
    stream.CloseStream();
    return 0;
}
