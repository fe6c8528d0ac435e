// The file that keeps a virtual chip from run to run. From opening to closing it belongs to one program: two that work
// on one chip would each save over what the other has done.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace flash::host {

class ChipFile {
public:
    // Follows links. There need not be a file yet. Throws Failure (Unreachable) when it cannot be opened or is in use.
    explicit ChipFile(const std::filesystem::path& path);
    ~ChipFile();
    ChipFile(const ChipFile&) = delete;
    ChipFile& operator=(const ChipFile&) = delete;

    bool Exists() const { return lock >= 0; }

    std::vector<std::uint8_t> Load() const;

    // Replaces the file at once or leaves it as it was; one with this content already is not touched. Throws Failure
    // (Operation), also when somebody has put another file there meanwhile.
    void Save(std::span<const std::uint8_t> content);

private:
    bool IsStillThere() const;
    void RequireStillThere() const;

    std::filesystem::path path;
    int lock = -1;  // the open file, locked; -1 for none
};

}  // namespace flash::host
