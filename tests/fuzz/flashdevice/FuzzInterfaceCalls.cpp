// Any sequence of calls of a device, over a host with any settings and answers: every operation ends, fails when the
// host failed and says why, programs what it was given, and lets no exception out.
#include <algorithm>
#include <memory>

#include "flashdevice/boundary/FlashDeviceFactory.h"
#include "flashdevice/device/FlashDeviceLumoDor.h"
#include "flashdevice/device/FlashDeviceLumoFen.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/flashdevice/FuzzHost.h"

namespace flash::fuzz {
namespace {

using First = FlashDeviceFactory<FlashDeviceLumoDor, unsigned char, unsigned int>;
using Second = FlashDeviceFactory<FlashDeviceLumoFen, unsigned char, unsigned int>;

constexpr int kMostOperations = 40;

class Session {
public:
    explicit Session(ByteSource& byteSource) : source(byteSource), host(byteSource) {
        const bool isSecond = source.Chance(2);
        host.sectorSize = isSecond ? 0x2000 : 0x1000;
        const char* name = isSecond ? "LumoF20" : source.Chance(2) ? "LumoD10R2" : "LumoD10";
        const char* error =
            isSecond ? Second::Create(name, "", "", &host, &device) : First::Create(name, "", "", &host, &device);
        FuzzRequire(error == nullptr && device != nullptr, "a device is made");
    }
    ~Session() { device->Release(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void DoOne() {
        host.PrepareOperation();
        switch (source.Below(9)) {
            case 0:
                return Initialize();
            case 1:
                return AskForAddress();
            case 2:
                return AskForRange();
            case 3:
                return AskForVerification();
            case 4:
                return Write();
            case 5:
                return Execute();
            case 6:
                return NotifyPhase();
            case 7:
                return SetDataType();
            default:
                return host.ChangeProperty();
        }
    }

private:
    // A failing host call is the operation's failure, in its own words or in those of the step.
    void Judge(const char* error) {
        lastError = error;
        if (error == nullptr) {
            FuzzRequire(!host.hasFailed, "an operation fails when a host call failed");
            return;
        }
        const std::string text = error;
        FuzzRequire(!text.empty(), "an error says something");
        const bool isExplained =
            text.find(host.failureText) != std::string::npos || text.starts_with("Failed to write ");
        FuzzRequire(!host.hasFailed || isExplained, "an error tells what the host said, or which step failed");
    }

    void Initialize() {
        bool isReady = false;
        const char* operations = nullptr;
        Judge(device->Initialize(&isReady, &operations));
        const bool isGood = lastError == nullptr;
        FuzzRequire(isReady == isGood && (operations != nullptr) == isGood, "results come with success only");
        if (isGood) {
            const std::string& size = host.properties["DeviceInfoFlashSize"];
            FuzzRequire(size.find(" KB (") != std::string::npos, "the flash size is published");
        }
    }

    void AskForAddress() {
        const bool isBig = source.Chance(8);
        const std::uint64_t address = (isBig ? 0x1'0000'0000ULL : 0) + source.Word();
        bool result = false;
        Judge(device->IsAddressInFlash(address, &result));
        RequireRefusal(isBig);
        FuzzRequire(!result || address <= 128 * std::uint64_t{host.sectorSize}, "flash has at most 128 sectors");
    }

    void AskForRange() {
        const bool isBig = source.Chance(8);
        const std::uint32_t address = source.Word();
        const std::uint32_t length = source.Word();
        bool result = false;
        Judge(device->IsRangeInFlash((isBig ? 0x1'0000'0000ULL : 0) + address, length, &result));
        RequireRefusal(isBig);
        FuzzRequire(!result || address + length <= 128 * host.sectorSize, "flash has at most 128 sectors");
    }

    void AskForVerification() {
        bool result = false;
        const bool isBig = source.Chance(8);
        const bool isOn = host.IsOn("KeepCcfgSetting") || host.IsOn("FlashPageToggle") ||
                          host.IsOn("FlashPagesFilledWith") || host.IsOn("CrcVerify");
        Judge(device->HandlesVerification((isBig ? 0x1'0000'0000ULL : 0), &result));
        RequireRefusal(isBig);
        hasPageRanges = hasPageRanges || host.IsOn("FlashPageToggle");
        FuzzRequire(lastError != nullptr || result == isOn, "verification is handled when an option looks at the data");
    }

    void RequireRefusal(bool isBig) {
        FuzzRequire(!isBig || (lastError != nullptr && std::string(lastError) == "Address value is too big"),
                    "addresses above 32 bits are refused");
    }

    void SetDataType() {
        const char* error = device->SetTargetDataType(source.Word());
        FuzzRequire(error != nullptr && std::string(error) == "Unsupported target data type",
                    "no data type is supported");
    }

    // The work of the closing phase may build the list anew.
    void ForgetPageRanges() { hasPageRanges = (hasPageRanges && lastError != nullptr) || host.IsOn("FlashPageToggle"); }

    void NotifyPhase() {
        Judge(device->NotifyPhase(source.Chance(8) ? source.Word() : source.Below(4)));
        ForgetPageRanges();
    }

    void Execute() {
        constexpr const char* kNames[] = {"Erase",       "EraseSectors", "ReadPriBle",   "ReadSecBle",  "WriteSecBle",
                                          "ReadPriIeee", "ReadSecIeee",  "WriteSecIeee", "MassErase()", "BlankCheck"};
        const std::uint32_t index = source.Below(std::size(kNames) + 1);
        const std::string name = index < std::size(kNames) ? kNames[index] : source.Text(12);
        Judge(device->Execute(name.c_str()));
        const bool isKnown = std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
        ForgetPageRanges();
        FuzzRequire(isKnown || (lastError != nullptr && lastError == "Unsupported Operation Code: '" + name + "'"),
                    "an unknown operation is refused by name");
    }

    // Any length, and often one near the edge of a sector.
    std::uint32_t ChooseLength() {
        const std::uint32_t amount = source.Byte();
        switch (source.Below(4)) {
            case 0:
                return amount;
            case 1:
                return amount * 97;
            default:
                return (amount % 24 + 1) * 0x800 + amount / 24 % 5 - 2;
        }
    }

    // The data lies in a block of its own size, so that a sanitizer sees a read behind its end.
    void Write() {
        const std::uint32_t length = ChooseLength();
        std::uint32_t address = source.Below(64) * 0x800U;
        if (source.Chance(8)) {
            address = source.Word();
        }
        const auto data = std::make_unique<std::uint8_t[]>(length);
        for (std::uint32_t i = 0; i < length; ++i) {
            data[i] = static_cast<std::uint8_t>(i % 251 + address);
        }
        const bool isPlain = !host.IsOn("FlashPageToggle") && !host.IsOn("FlashPagesFilledWith") &&
                             !host.IsOn("KeepCcfgSetting") && !hasPageRanges;
        Judge(device->Write(data.get(), address, length));
        hasPageRanges = hasPageRanges || host.IsOn("FlashPageToggle");
        if (lastError == nullptr && isPlain && !host.areSymbolsLost) {
            const bool isSame =
                std::equal(host.programmed.begin(), host.programmed.end(), data.get(), data.get() + length);
            FuzzRequire(isSame && !host.hasStrayChunk && host.firstProgrammedAddress.value_or(address) == address,
                        "what was given is programmed, all of it and in order");
        }
    }

    ByteSource& source;
    FuzzHost host;
    IFlashDevice2* device = nullptr;
    const char* lastError = nullptr;
    bool hasPageRanges = false;  // a list once built outlives its option until the next phase or operation
};

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    flash::fuzz::ByteSource source(data, size);
    flash::fuzz::Session session(source);
    for (int i = 0; i < flash::fuzz::kMostOperations && !source.IsEmpty(); ++i) {
        session.DoOne();
    }
    return 0;
}
