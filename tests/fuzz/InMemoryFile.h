// A file that lies in memory only, for readers that want a path.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include "tests/fuzz/FuzzTarget.h"

namespace flash::fuzz {

class InMemoryFile {
public:
    InMemoryFile()
        : descriptor(memfd_create("input", MFD_CLOEXEC)), path("/proc/self/fd/" + std::to_string(descriptor)) {
        FuzzRequire(descriptor >= 0, "there is a file in memory");
    }
    ~InMemoryFile() { close(descriptor); }
    InMemoryFile(const InMemoryFile&) = delete;
    InMemoryFile& operator=(const InMemoryFile&) = delete;

    void Put(const void* content, std::size_t size) {
        const bool isWritten =
            ftruncate(descriptor, 0) == 0 && pwrite(descriptor, content, size, 0) == static_cast<ssize_t>(size);
        FuzzRequire(isWritten, "the file in memory takes its content");
    }
    void Put(const std::string& content) { Put(content.data(), content.size()); }

    const std::string& Path() const { return path; }

private:
    int descriptor;
    std::string path;
};

}  // namespace flash::fuzz
