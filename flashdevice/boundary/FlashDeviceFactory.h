// The edge between the host and a device: exceptions become error texts here, and nowhere else.
#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "flashdevice/device/HostServices.h"
#include "flashdevice/interface/IFlashDevice2.h"

namespace flash {

// Every operation's names, as `Initialize` tells them to the host.
inline constexpr char kOperationList[] =
    "Erase, EraseSectors, ReadPriBle, ReadSecBle, WriteSecBle, ReadPriIeee, ReadSecIeee, WriteSecIeee, BlankCheck";

// Texts up to this length never move the holder's characters, so that a host which kept the pointer to an earlier error
// text of the same device reads the later one.
inline constexpr std::size_t kReservedMessageSize = 2048;

// Keeps `text` in `holder` and returns its characters. Without memory for a longer text, as much as fits is kept.
const char* KeepText(std::string& holder, const char* text) noexcept;

// Throws `std::invalid_argument` naming what the host left out, when `pointer` is null.
void RequirePointer(const void* pointer, const char* what);

namespace Detail {

// The rule that makes a host's 64-bit address one of the target's.
template <typename Address>
struct DefaultConverter {
    static Address Convert(std::uint64_t address) {
        const auto converted = static_cast<Address>(address);
        if (converted != address) {
            throw std::runtime_error("Address value is too big");
        }
        return converted;
    }
};

}  // namespace Detail

// Makes devices of one generation. `DataUnit` and `Address` are the target's smallest unit of data and its address
// type.
template <typename Device, typename DataUnit, typename Address>
class FlashDeviceFactory {
public:
    // As `CreateFlashDevice2`, for this generation.
    static const char* Create(const char* deviceName, const char* secondText, const char* thirdText, IFlashHost* host,
                              IFlashDevice2** device) {
        static std::string lastError;
        return Guarded(lastError, [&] {
            RequirePointer(device, "CreateFlashDevice2: no place for the new device");
            *device = new Adapter(TextOrEmpty(deviceName), TextOrEmpty(secondText), TextOrEmpty(thirdText), host);
        });
    }

private:
    // The only place that turns an exception into a text. Other exceptions than the standard family's pass through.
    template <typename Work>
    static const char* Guarded(std::string& message, Work work) {
        try {
            work();
            return nullptr;
        } catch (const std::exception& error) {
            return KeepText(message, error.what());
        }
    }

    template <typename Converter>
    class ExceptionSafeFlashDevice final : public IFlashDevice2 {
    public:
        ExceptionSafeFlashDevice(std::string deviceName, const std::string& secondText, const std::string& thirdText,
                                 IFlashHost* host)
            : device(std::move(deviceName), secondText, thirdText, host) {
            message.reserve(kReservedMessageSize);
        }

        const char* Initialize(bool* ready, const char** operations) override {
            return Guarded(message, [&] {
                RequirePointer(ready, "Initialize: no place for the ready flag");
                RequirePointer(operations, "Initialize: no place for the operations text");
                device.Initialize();
                *ready = true;
                *operations = kOperationList;
            });
        }

        const char* IsAddressInFlash(std::uint64_t address, bool* result) override {
            return Guarded(message, [&] {
                const Address first = Converter::Convert(address);
                RequirePointer(result, "IsAddressInFlash: no place for the result");
                // "At most" on purpose: the first address behind flash counts as inside.
                *result = first <= device.MeasuredFlashSize();
            });
        }

        const char* IsRangeInFlash(std::uint64_t address, std::uint32_t lengthBytes, bool* result) override {
            return Guarded(message, [&] {
                // Only the end counts, and the sum wraps, both on purpose.
                const Address end = Converter::Convert(address) + lengthBytes;
                RequirePointer(result, "IsRangeInFlash: no place for the result");
                *result = end <= device.MeasuredFlashSize();
            });
        }

        const char* SetTargetDataType(std::uint64_t) override { return "Unsupported target data type"; }

        const char* Write(const DataUnit* data, std::uint64_t address, std::uint32_t lengthBytes) override {
            return Guarded(message, [&] {
                const Address first = Converter::Convert(address);
                if (lengthBytes != 0) {
                    RequirePointer(data, "Write: no data");
                }
                device.ProgramData(data, first, lengthBytes);
            });
        }

        const char* Execute(const char* operation) override {
            return Guarded(message, [&] { device.ExecuteOperation(TextOrEmpty(operation)); });
        }

        const char* NotifyPhase(std::int64_t phase) override {
            return Guarded(message, [&] { device.OnFlashPhase(static_cast<std::uint32_t>(phase)); });
        }

        const char* HandlesVerification(std::uint64_t address, bool* result) override {
            return Guarded(message, [&] {
                Converter::Convert(address);
                RequirePointer(result, "HandlesVerification: no place for the result");
                *result = device.HandlesVerification();
            });
        }

        __attribute__((no_sanitize("null"))) const char* Release() override {
            // Read through a volatile pointer so that the null test of `delete` stays: a host may release nothing.
            ExceptionSafeFlashDevice* volatile self = this;
            delete self;
            return nullptr;
        }

    private:
        Device device;
        std::string message;  // of the last failure
    };

    using Adapter = ExceptionSafeFlashDevice<Detail::DefaultConverter<Address>>;
};

}  // namespace flash
