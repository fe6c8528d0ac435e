// The GDB probe against a server that nobody can trust: nothing but its own failures leaves the probe, each within its
// bound; what a true server holds is what was written, and what is read is what it holds.
#include <memory>

#include "host/gdb/GdbProbe.h"
#include "tests/fuzz/ByteSource.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/gdb/HostileServer.h"

namespace flash::fuzz {
namespace {

using host::ProbeError;
using Target = HostileServer::Target;
using std::chrono::milliseconds;

constexpr milliseconds kTimeout{20};
constexpr milliseconds kPause{4};
// Of one call: some ten answers that come at the last moment, each with the patience that a talker is given.
constexpr std::chrono::seconds kLongestCall{30};
constexpr int kMostCalls = 24;
constexpr std::uint32_t kLongestTransfer = 600;

class Conversation {
public:
    explicit Conversation(ByteSource& fuzzInput) : input(fuzzInput) {}

    void Hold() {
        host::gdb::GdbProbeOptions options;
        options.timeout = kTimeout;
        options.checksWrites = input.Chance(4);
        auto stream = std::make_unique<HostileServer>(input, target, clock);
        Try([&] { probe = std::make_unique<host::gdb::GdbProbe>(std::move(stream), clock, "here", options); });
        for (int calls = 0; probe && calls < kMostCalls && !input.IsEmpty(); ++calls) {
            CallSomething();
        }
        Try([&] { probe.reset(); });
    }

private:
    // False when it failed; after a lost connection each call fails at once, and nothing is sent.
    template <typename Work>
    bool Try(Work work) {
        const auto start = clock.now;
        const std::size_t packets = target.packets;
        bool isDone = false;
        try {
            work();
            isDone = true;
        } catch (const ProbeError& error) {
            const std::string text = error.what();
            FuzzRequire(target.hasLied || mayFail, "a true server fails nothing");
            FuzzRequire(!text.empty(), "a failure has words");
            FuzzRequire(!isLost || target.packets == packets, "nothing is sent when the connection is lost");
            isLost |= text.find("The connection to the server was lost") != std::string::npos;
        }
        mayFail = false;
        FuzzRequire(clock.now - start <= kLongestCall, "every call has its bound");
        return isDone;
    }

    void CallSomething() {
        switch (input.Below(8)) {
            case 0:
                return Write();
            case 1:
                return Read();
            case 2:
                return UseRegisters();
            case 3:
                return Pause();
            case 4:
                Try([&] { probe->Run(); });
                return;
            case 5:
                Try([&] { probe->Halt(); });
                return;
            case 6:
                Try([&] { probe->ReadCoreState(); });
                return;
            default:
                return Debug();
        }
    }

    std::pair<std::uint32_t, std::uint32_t> Range() {
        const std::uint32_t offset = input.Byte() * 4u % Target::kRamBytes;
        const std::uint32_t length = std::min(Target::kRamBytes - offset, (input.Byte() * 3u) % kLongestTransfer);
        return {Target::kRam + offset, length};
    }

    void Write() {
        const auto [address, length] = Range();
        std::vector<std::uint8_t> bytes(length);
        const std::uint8_t first = input.Byte(), step = input.Byte();
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<std::uint8_t>(first + i * step);
        }
        const bool isDone = Try([&, start = address] { probe->WriteMemory(start, bytes, 1); });
        FuzzRequire(!isDone || target.hasLied ||
                        std::equal(bytes.begin(), bytes.end(), target.ram.begin() + (address - Target::kRam)),
                    "a true server holds what was written");
    }

    void Read() {
        const auto [address, length] = Range();
        std::vector<std::uint8_t> bytes(length);
        const bool isDone = Try([&, start = address] { probe->ReadMemory(start, bytes, 1); });
        // Of a word that the running target changes the last look may be told.
        const bool maybeOld =
            address < Target::kWordThatChanges + 4 && Target::kWordThatChanges < std::uint64_t{address} + length;
        FuzzRequire(!isDone || target.hasLied || maybeOld ||
                        std::equal(bytes.begin(), bytes.end(), target.ram.begin() + (address - Target::kRam)),
                    "what a true server holds is read");
    }

    void UseRegisters() {
        const std::uint32_t number = host::kFirstCoreRegister + input.Below(16);
        const std::uint32_t value = input.Word();
        const bool isWritten = Try([&] { probe->WriteRegister(number, value); });
        std::uint64_t found = 0;
        const bool isRead = Try([&] { found = probe->ReadRegister(number); });
        FuzzRequire(!isWritten || !isRead || target.hasLied || found == value, "a register keeps its value");
    }

    void Pause() {
        Try([&] { probe->Pause(kPause); });
        const std::uint32_t value = 0x5555'5500u | input.Byte();
        bool differs = false;
        const bool isDone = Try([&] { differs = probe->PauseWhileWordIs(Target::kWordThatChanges, value, kPause); });
        const bool isEqual = target.ram[Target::kWordThatChanges - Target::kRam] == (value & 0xFF) &&
                             std::ranges::all_of(std::span(target.ram).subspan(0x101, 3),
                                                 [](std::uint8_t byte) { return byte == 0x55; });
        FuzzRequire(!isDone || target.hasLied || !differs || !isEqual, "a pause ends early for a change alone");
    }

    void Debug() {
        host::DebugService& core = *probe->Debugging();
        switch (input.Below(4)) {
            case 0:
                mayFail = true;  // it knows no reset
                Try([&] { core.Reset(); });
                break;
            case 1:
                Try([&] { core.Step(); });
                break;
            case 2:
                Try([&] {
                    core.Resume();
                    core.AwaitStop(kPause);
                });
                break;
            default:
                Try([&] { probe->Answers()->StopWhereAnswered(Target::kRam + 2u * input.Byte()); });
        }
    }

    ByteSource& input;
    host::gdb::FakeClock clock;
    Target target;
    std::unique_ptr<host::gdb::GdbProbe> probe;
    bool mayFail = false;
    bool isLost = false;
};

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    flash::fuzz::ByteSource source(data, size);
    flash::fuzz::Conversation(source).Hold();
    return 0;
}
