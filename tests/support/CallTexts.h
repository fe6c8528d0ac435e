// Host calls and posted commands as texts, for comparing whole lists of them.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "validator/simulation/SimulatedHost.h"

namespace flash::test {

using simulation::HostCall;
using simulation::PostedCommand;
using simulation::Service;

using Texts = std::vector<std::string>;

// "GetProperty CrcVerify", "SetProperty DeviceInfoRAMSize=20 KB", "LoadProgram file||directory", "LookUpSymbol g_cfg",
// "RunTarget", "ReadMemory 0x4003002C 1*4" (count * element size), "ReadRegister 1", "WriteRegister 527=0x20000101",
// "PrintMessage text", "WaitMilliseconds 5", "SelectCore Sluice". A memory page other than 1 is added: " page=2".
std::string TextOf(const HostCall& call);
Texts TextsOf(const std::vector<HostCall>& calls);

// "command=3 addr=0x00001000 length=4096 crc=0x00000000 block=1"
std::string TextOf(const PostedCommand& command);
Texts TextsOf(const std::vector<PostedCommand>& commands);

// The text of such a command.
std::string Posted(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t block,
                   std::uint32_t crc = 0);

// Only the calls of these services, or all but them.
std::vector<HostCall> Only(const std::vector<HostCall>& calls, std::initializer_list<Service> services);
std::vector<HostCall> Without(const std::vector<HostCall>& calls, std::initializer_list<Service> services);

}  // namespace flash::test
