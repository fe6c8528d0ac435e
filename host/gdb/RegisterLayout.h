// Which register has which number and width, from the target description that a server gives. Where there is none, the
// layout that debuggers have assumed for the architecture since before there were descriptions.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace flash::host::gdb {

struct RegisterPlace {
    std::uint32_t number;
    std::uint32_t lengthBytes;
    bool operator==(const RegisterPlace&) const = default;
};

class RegisterLayout {
public:
    static RegisterLayout Default();

    void Add(const std::string& name, RegisterPlace place) { places[name] = place; }
    std::optional<RegisterPlace> Find(const std::string& name) const;

    // Where the register's bytes begin among all of them, which come in the order of their numbers.
    std::size_t OffsetOf(RegisterPlace place) const;

    const std::map<std::string, RegisterPlace>& All() const { return places; }

private:
    std::map<std::string, RegisterPlace> places;
};

// `readAnnex` gives the text of a file by its name; the first is "target.xml", which may include others. Null for a
// description without registers, or one that cannot be read.
std::optional<RegisterLayout> ReadRegisterLayout(
    const std::function<std::optional<std::string>(const std::string& annex)>& readAnnex);

}  // namespace flash::host::gdb
