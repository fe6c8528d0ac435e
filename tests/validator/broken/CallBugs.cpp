// Bugs in when and how often something is called, in what an operation answers, and in how a device lives and ends.
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/validator/broken/Between.h"
#include "tests/validator/broken/System.h"

namespace flash::broken {
namespace {

constexpr unsigned kPausesOfATimeOut = 400;

// Each page is used, so that memory is really taken.
void TakeAllMemory() {
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    static std::deque<std::vector<char>> taken;
    for (;;) {
        taken.emplace_back(kPiece, 'x');
    }
}

// Each word that is read, such as a status, is looked at and may be changed.
void LookAtWords(Between& b, const std::function<const char*(std::uint32_t& word)>& look) {
    b.instead.readMemory = [&b, look](void* buffer, std::size_t count, std::uint64_t address, std::size_t elementSize) {
        const char* error = b.host.ReadMemory(buffer, count, address, 1, elementSize);
        std::uint32_t word = 0;
        if (error != nullptr || count * elementSize != sizeof word) {
            return error;
        }
        std::memcpy(&word, buffer, sizeof word);
        error = look(word);
        std::memcpy(buffer, &word, sizeof word);
        return error;
    };
}

// A field of eight bytes is looked for at another place.
void LookForFieldAt(Between& b, std::uint64_t right, std::uint64_t wrong) {
    b.instead.readMemory = [&b, right, wrong](void* buffer, std::size_t count, std::uint64_t address,
                                              std::size_t elementSize) {
        const bool isWrong = count == 8 && address == right;
        return b.host.ReadMemory(buffer, count, isWrong ? wrong : address, 1, elementSize);
    };
}

// The first device that lives is drawn into the work of the others.
void DisturbFirstDevice(Between& b) {
    static IFlashHost* firstHost = nullptr;
    firstHost = firstHost == nullptr ? &b.host : firstHost;
    b.instead.haltTarget = [&b] {
        if (firstHost != &b.host) {
            firstHost->GetProperty("FlashVerboseMode");
        }
        return b.host.HaltTarget();
    };
    b.instead.release = [&b] { firstHost = firstHost == &b.host ? nullptr : firstHost; };
}

constexpr Bug kFactoryBugs[] = {
    {"sixth-character-selects",
     [](Between& b) {
         b.instead.create = [&b](const char* name) {
             std::string known = name;
             if (known.size() > 5 && known[5] == '4') {
                 known[5] = '1';
             }
             return b.Create(known.c_str());
         };
     }},
    {"name-without-digit-throws",
     [](Between& b) {
         b.instead.create = [&b](const char* name) -> const char* {
             try {
                 return b.Create(name);
             } catch (const std::exception&) {
                 return "no such generation";
             }
         };
     }},
    {"factory-leaves-the-host-alone",
     [](Between& b) {
         b.instead.create = [&b](const char* name) {
             b.host.GetProperty("FlashVerboseMode");
             return b.Create(name);
         };
     }},
    {"other-texts-have-no-effect",
     [](Between& b) {
         b.instead.initialize = [&b, isAsking = *b.secondText != '\0'](bool* ready, const char** operations) {
             if (isAsking) {
                 b.host.GetProperty("FlashVerboseMode");
             }
             return b.device->Initialize(ready, operations);
         };
     }},
    {"name-is-copied",
     [](Between& b) {
         b.instead.create = [&b](const char* name) {
             b.instead.initialize = [&b, name, first = *name](bool* ready, const char** operations) {
                 const char* error = b.device->Initialize(ready, operations);
                 return *name == first ? error : b.host.SetProperty("DeviceInfoRAMSize", "4 KB");
             };
             return b.Create(name);
         };
     }},
    {"starts-a-process",
     [](Between& b) {
         b.instead.create = [&b](const char* name) {
             StartAProcess();
             return b.Create(name);
         };
     }},
    {"starts-a-daemon",
     [](Between& b) {
         b.instead.create = [&b](const char* name) {
             StartADaemon();
             return b.Create(name);
         };
     }},
};

constexpr Bug kEndBugs[] = {
    {"devices-are-independent", DisturbFirstDevice},
    {"release-leaves-the-host-alone",
     [](Between& b) { b.instead.release = [&b] { b.host.GetProperty("FlashVerboseMode"); }; }},
    {"live-memory-is-steady",
     [](Between& b) {
         b.instead.release = [] {
             static std::deque<std::string> kept;
             kept.emplace_back(64, ' ');
         };
     }},
    {"starts-no-thread", [](Between& b) { b.instead.release = [] { OpenSomething(); }; }},
    // At the end of the module, see its factory.
    {"can-be-unloaded", [](Between&) {}},
    {"never-unloads", [](Between&) {}},
};

constexpr Bug kAddressBugs[] = {
    {"end-of-flash-counts-as-inside",
     [](Between& b) {
         b.instead.isAddressInFlash = [&b](std::uint64_t address, bool* result) {
             const char* error = b.device->IsAddressInFlash(address, result);
             bool isNextInside = true;
             if (error == nullptr && *result && b.device->IsAddressInFlash(address + 1, &isNextInside) == nullptr) {
                 *result = isNextInside;
             }
             return error;
         };
     }},
    {"only-the-end-of-a-range-counts",
     [](Between& b) {
         b.instead.isRangeInFlash = [&b](std::uint64_t address, std::uint32_t lengthBytes, bool* result) {
             const char* error = b.device->IsRangeInFlash(address, lengthBytes, result);
             *result = *result && address + lengthBytes <= 0xFFFF'FFFF;
             return error;
         };
     }},
    {"ends-the-process",
     [](Between& b) {
         b.instead.isRangeInFlash = [&b](std::uint64_t address, std::uint32_t lengthBytes, bool* result) {
             if (address + lengthBytes > 0xFFFF'FFFF && address <= 0xFFFF'FFFF) {
                 std::_Exit(0);
             }
             return b.device->IsRangeInFlash(address, lengthBytes, result);
         };
     }},
    {"addresses-above-32-bits-are-refused",
     [](Between& b) {
         b.instead.isAddressInFlash = [&b](std::uint64_t address, bool* result) {
             return b.device->IsAddressInFlash(address & 0xFFFF'FFFF, result);
         };
     }},
    {"size-is-measured-when-needed",
     [](Between& b) {
         b.instead.isAddressInFlash = [&b](std::uint64_t address, bool* result) {
             std::uint32_t word = 0;
             const char* error = b.device->IsAddressInFlash(address, result);
             return error == nullptr ? b.host.ReadMemory(&word, 1, 0x4003'002C, 1, sizeof word) : error;
         };
     }},
    {"fields-move-with-the-end-of-flash", [](Between& b) { LookForFieldAt(b, 0xFFC0, 0xFFB8); }},
    {"invalid-ccfg-size-is-ignored",
     [](Between& b) {
         LookAtWords(b, [](std::uint32_t& word) -> const char* {
             word = word >> 16 == 0x2000 ? 0x0058'0001 : word;
             return nullptr;
         });
     }},
    {"wide-id-code-is-refused",
     [](Between& b) {
         b.instead.readRegister = [&b](std::uint32_t registerNumber, std::uint64_t* value) {
             const char* error = b.host.ReadRegister(registerNumber, value);
             *value &= 0xFFFF'FFFF;
             return error;
         };
     }},
};

constexpr Bug kOrderBugs[] = {
    {"changes-end-halted",
     [](Between& b) {
         b.instead.notifyPhase = [&b](std::int64_t phase) {
             const char* error = b.device->NotifyPhase(phase);
             return error == nullptr && !b.posted.empty() ? b.host.RunTarget() : error;
         };
     }},
    {"erase-setting-is-put-back",
     [](Between& b) {
         b.instead.setProperty = [&b](const char* name, const char* value) {
             const bool isPutBack =
                 std::strcmp(name, "FlashEraseSetting") == 0 && std::strcmp(value, "Necessary Sectors Only") != 0;
             return isPutBack ? nullptr : b.host.SetProperty(name, value);
         };
     }},
    {"edge-phases-halt",
     [](Between& b) {
         b.instead.notifyPhase = [&b](std::int64_t phase) {
             if (phase != 1 && phase != 2) {
                 b.host.HaltTarget();
             }
             return b.device->NotifyPhase(phase);
         };
     }},
    {"quiet-closing-touches-nothing",
     [](Between& b) {
         b.instead.notifyPhase = [&b](std::int64_t phase) {
             std::uint32_t word = 0;
             const char* error = b.device->NotifyPhase(phase);
             const bool isQuiet = error == nullptr && phase == 2;
             return isQuiet ? b.host.ReadMemory(&word, 1, 0x4003'002C, 1, sizeof word) : error;
         };
     }},
    {"verbose-is-read-again",
     [](Between& b) {
         b.instead.notifyPhase = [&b](std::int64_t phase) {
             b.instead.write = nullptr;
             return b.device->NotifyPhase(phase);
         };
         b.instead.write = [&b](const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) {
             const char* error = b.device->Write(data, address, lengthBytes);
             const char* setting = error == nullptr ? b.host.GetProperty("FlashVerboseMode") : nullptr;
             const bool isVerbose = setting != nullptr && std::strcmp(setting, "1") == 0;
             return isVerbose ? b.host.PrintMessage("Written.") : error;
         };
     }},
    {"flashloader-once-per-load",
     [](Between& b) {
         b.instead.loadProgram = [&b, isFirst = true](const char* fileName, const char* options,
                                                      const char* directory) mutable {
             const std::string texts[] = {fileName, options, directory};
             const char* error = isFirst ? nullptr : b.host.LoadProgram(fileName, options, directory);
             isFirst = false;
             return error != nullptr ? error : b.host.LoadProgram(texts[0].c_str(), texts[1].c_str(), texts[2].c_str());
         };
     }},
    {"flashloader-is-started",
     [](Between& b) {
         b.instead.loadProgram = [&b](const char* fileName, const char*, const char* directory) {
             return b.host.LoadProgram(fileName, "-v", directory);
         };
     }},
    {"skipped-pages-forbid-bank-erase",
     [](Between& b) {
         b.instead.setProperty = [&b](const char* name, const char* value) {
             const bool isOverride = std::strcmp(name, "FlashEraseSetting") == 0 && b.operation == "NotifyPhase 1";
             return isOverride ? nullptr : b.host.SetProperty(name, value);
         };
     }},
    {"erase-runs-the-target",
     [](Between& b) {
         b.instead.runTarget = [&b] {
             return b.posted == "1" && b.operation == "Execute Erase" ? nullptr : b.host.RunTarget();
         };
     }},
    {"work-ends-with-the-closing-phase",
     [](Between& b) { b.instead.haltTarget = [&b] { return b.posted == "6" ? nullptr : b.host.HaltTarget(); }; }},
    {"reading-does-not-halt",
     [](Between& b) {
         b.instead.execute = [&b](const char* name) {
             const char* error = b.device->Execute(name);
             return error == nullptr && std::strcmp(name, "ReadPriIeee") == 0 ? b.host.HaltTarget() : error;
         };
     }},
    {"identifies-over-the-router",
     [](Between& b) {
         b.instead.selectCore = [&b](const char* name) {
             return std::strcmp(name, "Cortex") == 0 ? nullptr : b.host.SelectCore(name);
         };
     }},
    {"polls-400-times",
     [](Between& b) {
         b.instead.waitMilliseconds = [&b](std::uint32_t milliseconds) {
             const char* error = b.host.WaitMilliseconds(milliseconds);
             return error == nullptr ? b.host.WaitMilliseconds(milliseconds) : error;
         };
     }},
    {"pauses-for-5-milliseconds",
     [](Between& b) { b.instead.waitMilliseconds = [&b](std::uint32_t) { return b.host.WaitMilliseconds(10); }; }},
    {"time-out-halts",
     [](Between& b) {
         b.instead.haltTarget = [&b] { return b.pauses == kPausesOfATimeOut ? nullptr : b.host.HaltTarget(); };
     }},
    {"reserved-slots-are-left-alone",
     [](Between& b) {
         b.instead.selectCore = [&b](const char* name) {
             b.host.Reserved12();
             return b.host.SelectCore(name);
         };
     }},
    {"memory-is-asked-for-as-agreed",
     [](Between& b) {
         b.instead.readMemory = [&b](void* buffer, std::size_t count, std::uint64_t address, std::size_t elementSize) {
             return b.host.ReadMemory(buffer, count, address, 0, elementSize);
         };
     }},
};

constexpr Bug kAnswerBugs[] = {
    {"every-failing-start-is-answered",
     [](Between& b) {
         b.instead.setProperty = [&b](const char* name, const char* value) {
             const char* error = b.host.SetProperty(name, value);
             return std::strcmp(name, "DeviceInfoRevision") == 0 ? nullptr : error;
         };
     }},
    {"every-failing-call-is-answered",
     [](Between& b) {
         b.instead.printMessage = [&b](const char* text) {
             const bool isChunk = std::strncmp(text, "  Chunk", 7) == 0;
             const char* error = b.host.PrintMessage(text);
             return isChunk ? nullptr : error;
         };
     }},
    {"unknown-operations",
     [](Between& b) {
         b.instead.execute = [&b](const char* name) {
             return b.device->Execute(std::strcmp(name, "Erase ") == 0 ? "Erase" : name);
         };
     }},
    {"erase-is-one-command",
     [](Between& b) {
         b.instead.execute = [&b](const char* name) {
             return b.device->Execute(std::strcmp(name, "MassErase()") == 0 ? "MassErase" : name);
         };
     }},
    {"takes-all-memory",
     [](Between& b) {
         b.instead.execute = [&b](const char* name) {
             if (std::strcmp(name, "MassErase()") == 0) {
                 TakeAllMemory();
             }
             return b.device->Execute(name);
         };
     }},
    {"lets-others-take-memory",
     [](Between& b) {
         b.instead.execute = [&b](const char* name) {
             if (std::strcmp(name, "MassErase()") == 0) {
                 LetOthersTakeMemory();
             }
             return b.device->Execute(name);
         };
     }},
    {"never-comes-back",
     [](Between& b) {
         b.instead.execute = [&b](const char* name) {
             for (volatile unsigned turns = 0; std::strcmp(name, "MassErase()") == 0;) {
                 turns = turns + 1;
             }
             return b.device->Execute(name);
         };
     }},
    {"throws-across",
     [](Between& b) {
         b.instead.handlesVerification = [&b](std::uint64_t address, bool* result) {
             const char* error = b.device->HandlesVerification(address, result);
             if (error == nullptr && *result) {
                 throw std::runtime_error("verification is not handled here");
             }
             return error;
         };
     }},
    {"empty-write-posts-nothing",
     [](Between& b) {
         b.instead.write = [&b](const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) {
             constexpr unsigned char kByte = 0;
             return lengthBytes == 0 ? b.device->Write(&kByte, address, 1)
                                     : b.device->Write(data, address, lengthBytes);
         };
     }},
    {"tells-its-operations",
     [](Between& b) {
         b.instead.initialize = [&b](bool* ready, const char** operations) {
             const char* error = b.device->Initialize(ready, operations);
             if (error == nullptr) {
                 *operations =
                     "Erase, EraseSectors, ReadPriBle, ReadSecBle, WriteSecBle, ReadPriIeee, ReadSecIeee, WriteSecIeee";
             }
             return error;
         };
     }},
    {"failed-start-leaves-results",
     [](Between& b) {
         b.instead.initialize = [&b](bool* ready, const char** operations) {
             const char* error = b.device->Initialize(ready, operations);
             *ready = true;
             return error;
         };
     }},
    {"data-types-are-unsupported",
     [](Between& b) {
         b.instead.setTargetDataType = [&b](std::uint64_t dataType) {
             return dataType == 0 ? nullptr : b.device->SetTargetDataType(dataType);
         };
     }},
    {"crashes",
     [](Between& b) {
         b.instead.setTargetDataType = [&b](std::uint64_t dataType) {
             volatile std::uint64_t* volatile nowhere = nullptr;
             *nowhere = dataType;
             return b.device->SetTargetDataType(dataType);
         };
     }},
    {"error-text-outlives-success",
     [](Between& b) {
         const auto keep = [text = std::make_shared<std::string>(4000, ' ')](const char* error) {
             text->assign(error == nullptr ? "" : error);
             return error == nullptr ? nullptr : text->c_str();
         };
         b.instead.execute = [&b, keep](const char* name) { return keep(b.device->Execute(name)); };
         b.instead.notifyPhase = [&b, keep](std::int64_t phase) { return keep(b.device->NotifyPhase(phase)); };
     }},
    {"later-failure-replaces-the-text",
     [](Between& b) {
         b.instead.execute = [&b, texts = std::deque<std::string>()](const char* name) mutable {
             const char* error = b.device->Execute(name);
             return error == nullptr ? nullptr : texts.emplace_back(error).c_str();
         };
     }},
    {"host-texts-come-back-unchanged",
     [](Between& b) {
         b.instead.notifyPhase = [&b, text = std::string()](std::int64_t phase) mutable {
             const char* error = b.device->NotifyPhase(phase);
             text.assign(error == nullptr ? "" : error);
             text.resize(std::min<std::size_t>(text.size(), 1000));
             return error == nullptr ? nullptr : text.c_str();
         };
     }},
    {"time-out-is-the-error",
     [](Between& b) {
         b.instead.write = [&b](const unsigned char* data, std::uint64_t address, std::uint32_t lengthBytes) {
             const char* error = b.device->Write(data, address, lengthBytes);
             return error != nullptr && b.pauses == kPausesOfATimeOut ? "Timed out." : error;
         };
     }},
    {"any-status-counts-as-time-out",
     [](Between& b) {
         LookAtWords(b, [&b](const std::uint32_t& word) {
             return word == 0x105 ? b.host.PrintMessage("The command is unknown.") : nullptr;
         });
     }},
    {"counts-in-one-place",
     [](Between& b) {
         b.instead.printMessage = [&b](const char* text) {
             static unsigned messages = 0;  // of all devices, without a lock
             ++messages;
             return b.host.PrintMessage(text);
         };
     }},
};

}  // namespace

Planting FindCallBug(std::string_view name) {
    for (const Planting& found : {FindIn(kFactoryBugs, name), FindIn(kEndBugs, name), FindIn(kAddressBugs, name),
                                  FindIn(kOrderBugs, name), FindIn(kAnswerBugs, name)}) {
        if (found) {
            return found;
        }
    }
    return nullptr;
}

}  // namespace flash::broken
