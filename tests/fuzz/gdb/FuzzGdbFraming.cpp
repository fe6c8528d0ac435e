// Frames of the remote protocol: whatever comes is cut into the same frames as a second reader finds, and whatever is
// sent arrives as it was.
#include <algorithm>

#include "host/gdb/Framing.h"
#include "tests/fuzz/ByteSource.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/gdb/SecondFraming.h"

namespace flash::fuzz {
namespace {

using namespace host::gdb;

std::vector<Frame> Decode(std::string_view bytes, std::size_t longest, RunLength runs) {
    FrameDecoder decoder(longest, runs);
    std::vector<Frame> frames;
    for (const char byte : bytes) {
        if (auto frame = decoder.Take(byte)) {
            FuzzRequire(frame->payload.size() <= std::max<std::size_t>(longest, 1),
                        "no payload is longer than allowed");
            frames.push_back(std::move(*frame));
        }
    }
    return frames;
}

void TryDecoding(const std::string& bytes, std::size_t longest, RunLength runs) {
    const auto frames = Decode(bytes, longest, runs);
    FuzzRequire(frames == SecondFraming(bytes, longest, runs == RunLength::Expand).Frames(),
                "the second reader finds the same frames");
}

void TrySending(const std::string& text) {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    std::string escaped;
    AppendEscaped(escaped, bytes);
    const std::size_t longest = 2 * text.size();
    for (const RunLength runs : {RunLength::Expand, RunLength::Keep}) {
        const auto arrived = Decode(EncodePacket(escaped), longest, runs);
        FuzzRequire(arrived == std::vector{Frame{FrameKind::Packet, escaped}}, "a packet arrives as it was sent");
    }
    FuzzRequire(Unescape(escaped) == std::vector<std::uint8_t>(bytes.begin(), bytes.end()),
                "binary data arrives as it was sent");
    if (text.find_first_of("#$*") == std::string::npos) {
        const std::string shortened = ShortenRuns(text);
        FuzzRequire(shortened.size() <= text.size(), "shortening makes nothing longer");
        FuzzRequire(
            Decode(EncodePacket(shortened), longest, RunLength::Expand) == std::vector{Frame{FrameKind::Packet, text}},
            "shortened runs arrive as they were");
    }
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    fuzz::ByteSource source(data, size);
    const std::size_t longest = source.Byte();
    const auto runs = source.Chance(2) ? host::gdb::RunLength::Expand : host::gdb::RunLength::Keep;
    const std::string bytes(reinterpret_cast<const char*>(data) + std::min<std::size_t>(size, 2),
                            size - std::min<std::size_t>(size, 2));
    fuzz::TryDecoding(bytes, longest, runs);
    // Fuzzers seldom guess a checksum: the same bytes as the inside of a frame that has the right one.
    const std::size_t end = bytes.find('#');
    fuzz::TryDecoding(host::gdb::EncodePacket(bytes.substr(0, end)) + bytes.substr(std::min(end, bytes.size())),
                      longest, runs);
    fuzz::TrySending(bytes);
    return 0;
}
