// Hosts that break one promise each: the checker names that one and no other.
#include <gtest/gtest.h>
#include <algorithm>

#include <cstddef>
#include <stdexcept>
#include <thread>

#include "tests/validator/hostcheck/WorkingHost.h"

namespace flash::hostcheck {
namespace {

using Memory = WorkingHost::Memory;
using Bytes = std::vector<unsigned char>;

// One way to be wrong: in a service, in the work, or in both.
struct BrokenHost {
    Rule rule;
    std::function<void(WorkingHost&)> service = {};
    std::function<void(Work&, WorkingHost&)> work = {};
};

std::function<void(WorkingHost&)> WithProperty(std::string name, std::string value) {
    return [=](WorkingHost& host) { host.chip.properties[name] = value; };
}

std::function<void(WorkingHost&)> Without(std::string name) {
    return [=](WorkingHost& host) { host.chip.properties.erase(name); };
}

const BrokenHost kBrokenServices[] = {
    {Rule::HostTable,
     {},
     [](Work& work, WorkingHost&) {
         const void* table[28] = {};
         struct {
             const void** table;
         } empty{table};
         IFlashDevice2* device = nullptr;
         work.module.Create("LumoF20", "", "", reinterpret_cast<IFlashHost*>(&empty), &device);
         device->Release();
     }},
    {Rule::PropertySameTwice,
     [](WorkingHost& host) {
         host.onGet = [times = 0](const std::string& name) mutable -> WorkingHost::Answer {
             const bool isMeant = name == "DeviceFlashloaderFile";
             return isMeant ? WorkingHost::Answer(++times % 2 == 0 ? "one.elf" : "two.elf") : WorkingHost::kGoOn;
         };
     }},
    {Rule::PropertySteady,
     [](WorkingHost& host) {
         host.onWritten = [&host](Memory) {
             std::string& kept = host.chip.properties["KeepCcfgSetting"];
             kept = kept.empty() ? "0" : "";
         };
     }},
    {Rule::PropertySetTakes,
     [](WorkingHost& host) { host.onSet = [](const std::string&, const char*) { return nullptr; }; }},
    {Rule::PropertySetCopies,
     [](WorkingHost& host) {
         auto lent = std::make_shared<std::pair<std::string, const char*>>();
         host.onSet = [lent](const std::string& name, const char* value) {
             *lent = {name, value};
             return WorkingHost::kGoOn;
         };
         host.onGet = [lent, times = 0](const std::string& name) mutable -> WorkingHost::Answer {
             times = lent->first == name ? times + 1 : 0;
             return times == 1 || times == 2 ? WorkingHost::Answer(lent->second) : WorkingHost::kGoOn;
         };
     }},
    {Rule::SettingsOfPart, Without("DeviceFlashloaderFile")},
    {Rule::SettingsOfLoad, Without("FlashPageToggle")},
    {Rule::SettingsWhenOn, Without("StandaloneEraseSpecificText")},
    {Rule::SettingsEraseText, WithProperty("FlashEraseSetting", "necessary sectors only")},
    {Rule::SettingsSwitchText, WithProperty("CrcVerify", "true")},
    {Rule::MemoryFills,
     [](WorkingHost& host) {
         host.onRead = [](Memory memory, const Bytes& before) {
             if (memory.address == 0x4003'002C && memory.size == 4) {
                 memory.bytes[3] = before[3];
             }
         };
     }},
    {Rule::MemoryBounds,
     [](WorkingHost& host) {
         host.onRead = [](Memory memory, const Bytes&) { memory.bytes[memory.count * memory.size] = 0; };
     }},
    {Rule::MemoryOrder,
     [](WorkingHost& host) {
         host.onRead = [](Memory memory, const Bytes&) {
             if (memory.address == 0x4003'002C && memory.size == 1) {
                 std::reverse(memory.bytes, memory.bytes + memory.count);
             }
         };
     }},
    {Rule::MemorySourceStays, [](WorkingHost& host) { host.onWritten = [](Memory memory) { ++*memory.bytes; }; }},
    {Rule::MemoryReadsBack,
     [](WorkingHost& host) {
         host.onRead = [](Memory memory, const Bytes&) {
             if (memory.address == simulation::kBuffers[0]) {
                 *memory.bytes = static_cast<unsigned char>(~*memory.bytes);
             }
         };
     }},
    {Rule::RegisterValue, [](WorkingHost& host) { host.onReadRegister = [](std::uint64_t*) { return nullptr; }; }},
    {Rule::RouteSelects,
     [](WorkingHost& host) {
         host.onSelect = [](const std::string& name) -> WorkingHost::Answer {
             return name == "Cortex" ? WorkingHost::Answer("no such core") : WorkingHost::kGoOn;
         };
     }},
    {Rule::CounterTakesOddAddress,
     [](WorkingHost& host) {
         host.onWriteRegister = [](std::uint64_t value) -> WorkingHost::Answer {
             return (value & 1) != 0 ? WorkingHost::Answer("the program counter is even") : WorkingHost::kGoOn;
         };
     }},
    {Rule::RunWhileRunning,
     [](WorkingHost& host) {
         auto isRunning = std::make_shared<bool>(false);
         host.onRun = [isRunning]() -> WorkingHost::Answer {
             return std::exchange(*isRunning, true) ? WorkingHost::Answer("it runs") : WorkingHost::kGoOn;
         };
         host.onHalt = [isRunning] {
             *isRunning = false;
             return WorkingHost::kGoOn;
         };
     }},
    {Rule::HaltWhileHalted,
     [](WorkingHost& host) {
         auto isRunning = std::make_shared<bool>(true);
         host.onRun = [isRunning] {
             *isRunning = true;
             return WorkingHost::kGoOn;
         };
         host.onHalt = [isRunning]() -> WorkingHost::Answer {
             return std::exchange(*isRunning, false) ? WorkingHost::kGoOn : WorkingHost::Answer("it is halted");
         };
     }},
    {Rule::HaltLetsFinish,
     [](WorkingHost& host) {
         host.onHalt = [&host] {
             host.chip.flashloader.isRunning = false;
             return nullptr;
         };
         host.onRead = [&host](Memory memory, const Bytes&) {  // slow: done when nobody looks any more
             host.chip.flashloader.AnswerCommand(5, simulation::AnswerAfterPolls(20));
             static_cast<void>(memory);
         };
     }},
    {Rule::DirectoryGiven, [](WorkingHost& host) { host.chip.directory.reset(); }},
    {Rule::DirectoryEnds, [](WorkingHost& host) { host.chip.directory = "C:\\tools"; }},
    {Rule::ImageFound,
     [](WorkingHost& host) {
         host.onLoad = [](const std::string& directory) -> WorkingHost::Answer {
             return directory.find('\\') != std::string::npos ? WorkingHost::Answer("no such file")
                                                              : WorkingHost::kGoOn;
         };
     }},
    {Rule::SymbolKnown, [](WorkingHost& host) { host.chip.symbols.erase("g_buf2"); }},
    {Rule::SymbolUnknown,
     [](WorkingHost& host) {
         host.onLookUp = [](const std::string& name, std::uint64_t* value) -> WorkingHost::Answer {
             *value = 0;
             return name.starts_with("g_there") ? WorkingHost::Answer(nullptr) : WorkingHost::kGoOn;
         };
     }},
    {Rule::SymbolValue,
     [](WorkingHost& host) {
         host.onLookUp = [](const std::string& name, std::uint64_t*) -> WorkingHost::Answer {
             return name == "g_buf2" ? WorkingHost::Answer(nullptr) : WorkingHost::kGoOn;
         };
     }},
    {Rule::SymbolPlace, [](WorkingHost& host) { host.chip.symbols["g_buf2"] = host.chip.symbols["g_buf1"]; }},
    {Rule::MessageTaken,
     [](WorkingHost& host) {
         host.chip.properties["FlashVerboseMode"] = "1";
         host.onPrint = [] { return "there is no console"; };
     }},
    {Rule::ErrorTextSays,
     [](WorkingHost& host) {
         host.onLookUp = [](const std::string& name, std::uint64_t*) -> WorkingHost::Answer {
             return name.starts_with("g_there") ? WorkingHost::Answer("") : WorkingHost::kGoOn;
         };
     }},
    {Rule::ServiceNeverThrows,
     [](WorkingHost& host) {
         host.onLookUp = [](const std::string& name, std::uint64_t*) -> WorkingHost::Answer {
             return name.starts_with("g_there") ? throw std::runtime_error("no such symbol") : WorkingHost::kGoOn;
         };
     }},
};

// The ordinary work up to an initialised device, then what is given, then the release.
std::function<void(Work&, WorkingHost&)> Then(std::function<void(Work&, WorkingHost&)> steps) {
    return [=](Work& work, WorkingHost& host) {
        work.Start();
        steps(work, host);
        work.device->Release();
    };
}

std::function<void(Work&, WorkingHost&)> InLoad(std::function<void(Work&, WorkingHost&)> steps) {
    return Then([=](Work& work, WorkingHost& host) {
        work.device->NotifyPhase(1);
        steps(work, host);
        work.device->NotifyPhase(2);
    });
}

const BrokenHost kBrokenWork[] = {
    {Rule::FactoryName, {}, [](Work& work, WorkingHost&) { EXPECT_ANY_THROW(work.Create("Lumo")); }},
    {Rule::FactoryHost,
     {},
     [](Work& work, WorkingHost&) {
         IFlashDevice2* device = nullptr;
         EXPECT_NE(work.module.Create("LumoF20", "", "", nullptr, &device), nullptr);
     }},
    {Rule::FactoryPlace,
     {},
     [](Work& work, WorkingHost& host) { EXPECT_NE(work.module.Create("LumoF20", "", "", &host, nullptr), nullptr); }},
    {Rule::HostOutlivesDevices,
     {},
     [](Work& work, WorkingHost&) {
         std::vector<std::max_align_t> place(sizeof(WorkingHost) / sizeof(std::max_align_t) + 1);
         auto* host = new (place.data()) WorkingHost;
         IFlashDevice2* device = nullptr;
         work.module.Create("LumoF20", "", "", host, &device);
         host->~WorkingHost();
         std::fill(place.begin(), place.end(), std::max_align_t{});
         EXPECT_NE(device->NotifyPhase(1), nullptr);
         device->Release();
     }},
    {Rule::InitializeFirst,
     {},
     [](Work& work, WorkingHost&) {
         work.Create();
         work.Load();
         work.device->Release();
     }},
    {Rule::WriteInLoad, {}, Then([](Work& work, WorkingHost&) { work.Write(0, 16); })},
    {Rule::LoadEnded, {}, Then([](Work& work, WorkingHost&) {
         work.device->NotifyPhase(1);
         work.Write(0, 16);
     })},
    {Rule::ExecuteOutsideLoad, {}, InLoad([](Work& work, WorkingHost&) { work.device->Execute("BlankCheck"); })},
    {Rule::PhaseNumber, {}, Then([](Work& work, WorkingHost&) { work.device->NotifyPhase(3); })},
    {Rule::DeviceReleased, {}, [](Work& work, WorkingHost&) { work.Start(); }},
    {Rule::ReleaseIsLast,
     {},
     [](Work& work, WorkingHost&) {
         work.All();
         EXPECT_NE(work.device->NotifyPhase(1), nullptr);
     }},
    {Rule::SameThread, {}, Then([](Work& work, WorkingHost&) { std::thread([&] { work.Load(); }).join(); })},
    {Rule::OneAtATime, [](WorkingHost&) {}, Then([](Work& work, WorkingHost& host) {
         host.onHalt = [&] {
             std::thread([&] { EXPECT_NE(work.Write(0, 16), nullptr); }).join();
             return WorkingHost::kGoOn;
         };
         work.device->NotifyPhase(1);
         host.onHalt = {};
         work.device->NotifyPhase(2);
     })},
    {Rule::NotFromInside, {}, Then([](Work& work, WorkingHost& host) {
         host.onHalt = [&] {
             EXPECT_NE(work.Write(0, 16), nullptr);
             return WorkingHost::kGoOn;
         };
         work.device->NotifyPhase(1);
         host.onHalt = {};
         work.device->NotifyPhase(2);
     })},
    {Rule::WriteData, {}, InLoad([](Work& work, WorkingHost&) { work.device->Write(nullptr, 0, 16); })},
    {Rule::WriteNotEmpty, {}, InLoad([](Work& work, WorkingHost&) { work.Write(0, 0); })},
    {Rule::WriteDataStays, {}, InLoad([](Work& work, WorkingHost& host) {
         Bytes data(16);
         host.onWritten = [&](Memory) { ++data[0]; };
         work.device->Write(data.data(), 0, 16);
         host.onWritten = {};
     })},
    {Rule::WriteInsideFlash, {}, InLoad([](Work& work, WorkingHost&) { work.Write(0x5'8000 - 8, 16); })},
    {Rule::WriteAscending, {}, InLoad([](Work& work, WorkingHost&) {
         work.Write(0x2000, 16);
         work.Write(0, 16);
     })},
    {Rule::WriteSectorOnce, {}, InLoad([](Work& work, WorkingHost&) {
         work.Write(0, 16);
         work.Write(16, 16);
     })},
    {Rule::WriteKeptCcfgToEnd, WithProperty("KeepCcfgSetting", "1"),
     InLoad([](Work& work, WorkingHost&) { work.Write(0x5'6000, 16); })},
    {Rule::WriteListedSectorsOnce,
     [](WorkingHost& host) {
         host.chip.properties["FlashEraseSetting"] = "Specific Sectors";
         host.chip.properties["ProgramLoadEraseSpecificText"] = "0-3";
     },
     {}},
    {Rule::AddressFits, {}, Then([](Work& work, WorkingHost&) {
         bool result = false;
         EXPECT_STREQ(work.device->IsAddressInFlash(0x1'0000'0000, &result), "Address value is too big");
     })},
    {Rule::ResultPlaces, {}, Then([](Work& work, WorkingHost&) { work.device->IsAddressInFlash(0, nullptr); })},
    {Rule::OperationText, {}, Then([](Work& work, WorkingHost&) { work.device->Execute(nullptr); })},
    {Rule::OperationName, {}, Then([](Work& work, WorkingHost&) { work.device->Execute("Erase, EraseSectors"); })},
};

std::vector<std::string> RulesBrokenBy(const BrokenHost& broken) {
    WorkingHost host;
    CheckModule module(&CreateDevice, Plan());
    if (broken.service) {
        broken.service(host);
    }
    Work work(module, host);
    if (broken.work) {
        broken.work(work, host);
    } else {
        work.All();
    }
    module.End();
    return module.Found().BrokenRules();
}

class BrokenHosts : public testing::TestWithParam<BrokenHost> {};

TEST_P(BrokenHosts, AreNamedForTheirOwnRuleAndNoOther) {
    testing::internal::CaptureStderr();
    const std::vector<std::string> rules = RulesBrokenBy(GetParam());
    const std::string report = testing::internal::GetCapturedStderr();

    EXPECT_EQ(rules, std::vector<std::string>{TextOf(GetParam().rule).name}) << report;
}

std::string NameOf(const testing::TestParamInfo<BrokenHost>& info) {
    std::string name = TextOf(info.param.rule).name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Services, BrokenHosts, testing::ValuesIn(kBrokenServices), NameOf);
INSTANTIATE_TEST_SUITE_P(Work, BrokenHosts, testing::ValuesIn(kBrokenWork), NameOf);

}  // namespace
}  // namespace flash::hostcheck
