// The GDB server under any packets: flash changes only by a load that was finished and lies inside flash, and then to
// what a second reader of the same packets expects.
#include <algorithm>
#include <atomic>

#include "host/gdb/Server.h"
#include "tests/fuzz/ByteSource.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/host/gdb/FakeChip.h"
#include "tests/host/gdb/MemoryStream.h"

namespace flash::fuzz {
namespace {

using namespace host::gdb;

// Flash as it should be, told the same packets in other words.
class SecondFlash {
public:
    void Erase(std::uint32_t address, std::uint32_t length) {
        isBroken = isBroken && hasBegun;
        hasBegun = true;
        isBroken |= std::uint64_t{address} + length > FakeChip::kFlashBytes;
        if (length != 0 && std::uint64_t{address} + length <= FakeChip::kFlashBytes) {
            const std::uint32_t block = FakeChip::kBlockBytes;
            for (std::uint32_t at = address / block * block; at < address + length; ++at) {
                erased.insert(at / block);
            }
        }
    }
    void Write(std::uint32_t address, const std::string& bytes) {
        hasBegun = true;
        isBroken |= std::uint64_t{address} + bytes.size() > FakeChip::kFlashBytes;
        if (std::uint64_t{address} + bytes.size() <= FakeChip::kFlashBytes) {
            for (const char byte : bytes) {
                written[address++] = static_cast<std::uint8_t>(byte);
            }
        }
    }
    void Finish() {
        if (isBroken) {
            Forget();
            isBroken = false;
            return;
        }
        for (const std::uint32_t block : erased) {
            std::fill_n(content.begin() + block * FakeChip::kBlockBytes, FakeChip::kBlockBytes, std::uint8_t{0xFF});
        }
        for (const auto& [address, byte] : written) {
            content[address] = byte;
        }
        Forget();
    }
    void GiveUp() {
        if (hasBegun) {
            isBroken = !erased.empty() || !written.empty();
        }
        Forget();
    }

    std::vector<std::uint8_t> content = FakeChip().flash;

private:
    void Forget() {
        erased.clear();
        written.clear();
        hasBegun = false;
    }

    bool hasBegun = false;
    bool isBroken = false;  // a part was refused, or it was given up
    std::set<std::uint32_t> erased;
    std::map<std::uint32_t, std::uint8_t> written;
};

std::string Hex(std::uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%x", number);
    return text;
}

// Mostly inside flash, sometimes around its end, seldom anywhere.
std::uint32_t Address(ByteSource& source) {
    switch (source.Below(8)) {
        case 0:
            return FakeChip::kFlashBytes - 4 + source.Below(8);
        case 1:
            return source.Word();
        default:
            return source.Below(32) * 0x100 + source.Below(4);
    }
}

// One packet, told to the model as well. Empty when it is none.
std::string NextPacket(ByteSource& source, SecondFlash& model) {
    const std::uint32_t address = Address(source);
    switch (source.Below(6)) {
        case 0: {
            const std::uint32_t length = source.Chance(8) ? source.Word() : source.Below(16) * 0x80;
            model.Erase(address, length);
            return "vFlashErase:" + Hex(address) + "," + Hex(length);
        }
        case 1: {
            std::string bytes = source.Text(40);
            std::string packet = "vFlashWrite:" + Hex(address) + ":";
            AppendEscaped(packet, std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
            model.Write(address, bytes);
            return packet;
        }
        case 2:
            model.Finish();
            return "vFlashDone";
        case 3: {
            static constexpr const char* kOthers[] = {"?",
                                                      "g",
                                                      "m0,4",
                                                      "m20000000,10",
                                                      "M0,2:0000",
                                                      "X10,2:aa",
                                                      "M20000000,1:07",
                                                      "qCRC:0,100",
                                                      "Z1,100,2",
                                                      "z1,100,2",
                                                      "c",
                                                      "s",
                                                      "vCont;c",
                                                      "qRcmd,776879",
                                                      "qRcmd,696e666f",
                                                      "qSupported:hwbreak+;error-message+",
                                                      "P0=00000000",
                                                      "qXfer:memory-map:read::0,400",
                                                      "vRun;",
                                                      "R00",
                                                      "H",
                                                      "T1",
                                                      "vCont?",
                                                      "!",
                                                      "qC"};
            model.GiveUp();
            return kOthers[source.Below(std::size(kOthers))];
        }
        default: {
            // Anything: but what begins like a packet of a load is left to the cases above, and what ends a packet
            // early to the target for framing: a first packet that is none is a stranger's, who is turned away.
            std::string text = source.Text(60);
            std::replace_if(
                text.begin(), text.end(), [](char byte) { return byte == '#' || byte == '$'; }, '.');
            if (text.starts_with("vFlash") || text.starts_with("D") || text == "k") {
                text = "q" + text;
            }
            model.GiveUp();
            return text;
        }
    }
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    fuzz::ByteSource source(data, size);
    fuzz::SecondFlash model;
    host::gdb::FakeChip chip;
    host::gdb::FakeClock clock;
    host::gdb::MemoryStream stream(clock);
    stream.longestRead = 1 + source.Byte();
    const bool endsInNoise = source.Chance(4);
    while (!source.IsEmpty()) {
        stream.readable += host::gdb::EncodePacket(fuzz::NextPacket(source, model));
    }
    if (endsInNoise) {
        stream.readable += "GET /";
    }
    stream.onSilence = [&stream] {
        stream.isClosed = true;
        return "";
    };
    std::atomic<bool> isInterrupted{false}, mustEnd{false};
    host::gdb::Server server(chip, clock, {}, isInterrupted, mustEnd);
    server.Serve(stream);
    fuzz::FuzzRequire(chip.flash == model.content, "flash holds what the finished loads gave, and nothing else");
    fuzz::FuzzRequire(chip.breakpoints.empty(), "breakpoints go with their client");
    fuzz::FuzzRequire(!chip.isRunning, "the target stands when its client is gone");
    return 0;
}
