#include "tests/support/CallTexts.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

namespace flash::test {
namespace {

std::string Hex8(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%08llX", static_cast<unsigned long long>(value));
    return text;
}

std::string ArgumentsOf(const HostCall& call) {
    switch (call.service) {
        case Service::RunTarget:
        case Service::HaltTarget:
        case Service::GetDirectoryPath:
            return "";
        case Service::SetProperty:
            return " " + call.text + "=" + call.secondText;
        case Service::LoadProgram:
            return " " + call.text + "|" + call.secondText + "|" + call.thirdText;
        case Service::ReadMemory:
        case Service::WriteMemory:
            return " " + Hex8(call.address) + " " + std::to_string(call.number / call.value) + "*" +
                   std::to_string(call.value) + (call.page == 1 ? "" : " page=" + std::to_string(call.page));
        case Service::ReadRegister:
        case Service::WaitMilliseconds:
        case Service::Reserved:
            return " " + std::to_string(call.number);
        case Service::WriteRegister:
            return " " + std::to_string(call.number) + "=" + Hex8(call.value);
        default:
            return " " + call.text;
    }
}

template <typename Item>
Texts TextsOfAll(const std::vector<Item>& items) {
    Texts texts;
    texts.reserve(items.size());
    std::transform(items.begin(), items.end(), std::back_inserter(texts),
                   [](const Item& item) { return TextOf(item); });
    return texts;
}

std::vector<HostCall> Chosen(const std::vector<HostCall>& calls, std::initializer_list<Service> services,
                             bool isNamed) {
    std::vector<HostCall> result;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(result), [&](const HostCall& call) {
        return isNamed == (std::find(services.begin(), services.end(), call.service) != services.end());
    });
    return result;
}

}  // namespace

std::string TextOf(const HostCall& call) { return NameOf(call.service) + ArgumentsOf(call); }

Texts TextsOf(const std::vector<HostCall>& calls) { return TextsOfAll(calls); }

std::string TextOf(const PostedCommand& command) {
    return "command=" + std::to_string(command.command) + " addr=" + Hex8(command.address) +
           " length=" + std::to_string(command.length) + " crc=" + Hex8(command.crc) +
           " block=" + std::to_string(command.block);
}

Texts TextsOf(const std::vector<PostedCommand>& commands) { return TextsOfAll(commands); }

std::string Posted(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t block,
                   std::uint32_t crc) {
    PostedCommand posted;
    posted.command = command;
    posted.address = address;
    posted.length = length;
    posted.block = block;
    posted.crc = crc;
    return TextOf(posted);
}

std::vector<HostCall> Only(const std::vector<HostCall>& calls, std::initializer_list<Service> services) {
    return Chosen(calls, services, true);
}

std::vector<HostCall> Without(const std::vector<HostCall>& calls, std::initializer_list<Service> services) {
    return Chosen(calls, services, false);
}

}  // namespace flash::test
