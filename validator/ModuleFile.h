// A dynamic library that is loaded into this process: what the system's loader offers. There is a file for each system.
#pragma once

#include <string>
#include <vector>

namespace flash::validator {

// A module that cannot be loaded, or has no factory.
struct NotLoadable {
    std::string reason;
};

class ModuleFile {
public:
    // Throws `NotLoadable`.
    explicit ModuleFile(const std::string& path);

    // Null when it exports no such name.
    void* Find(const char* name) const;

    // The names that it defines for others.
    std::vector<std::string> ExportedNames() const;

    // Nothing of the module may be used any more. What went wrong, or nothing; else it stays until the process ends.
    std::string Unload() const;

private:
    void* handle;
};

}  // namespace flash::validator
