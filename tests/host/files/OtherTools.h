// Random content, and other people's tools to work on it. FLASH_TEST_SEED in the environment chooses another run than
// the usual one.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/FileContent.h"
#include "host/files/ProgramImage.h"
#include "tests/host/files/TemporaryFolder.h"

namespace flash::host {

// Draws from the generator by remainder: the same numbers on every machine, which distributions do not promise.
class OtherTools : public ::testing::Test {
protected:
    void SetUp() override {
        const char* given = std::getenv("FLASH_TEST_SEED");
        const std::uint64_t seed = given == nullptr ? 20240607 : std::strtoull(given, nullptr, 0);
        std::cout << "FLASH_TEST_SEED=" << seed << '\n';
        random.seed(seed);
    }

    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); }

    std::vector<std::uint8_t> RandomBytes(std::uint32_t count) {
        std::vector<std::uint8_t> bytes(count);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        return bytes;
    }

    // Up to six runs with gaps between them, in [base, base + 6 * 0x20000).
    ProgramImage RandomImage(std::uint32_t base) {
        ProgramImage image;
        for (std::uint32_t i = 0, count = 1 + Below(6); i < count; ++i) {
            image.Add(base + i * 0x2'0000 + Below(0x1'C000), RandomBytes(1 + Below(0x3FFE)), {"random", ""});
        }
        return image;
    }

    std::uint32_t RandomBase() {
        constexpr std::uint32_t kBases[] = {0, 0x5'0000, 0x2000'0000, 0xFFF0'0000};
        return kBases[Below(4)];
    }

    // Runs a tool in the temporary folder and requires that it succeeds.
    void RunTool(const std::string& command) const {
        const std::string line = fmt::format("cd '{}' && {} >log 2>&1", (folder / "").string(), command);
        if (std::system(line.c_str()) != 0) {
            throw std::runtime_error(command + '\n' + Text("log"));
        }
    }

    std::vector<std::uint8_t> Load(std::string_view name) const { return LoadFile(folder / name); }
    std::string Text(std::string_view name) const {
        const std::vector<std::uint8_t> bytes = Load(name);
        return {bytes.begin(), bytes.end()};
    }
    void Save(std::string_view name, std::string_view text) const { folder.Write(name, text); }

    TemporaryFolder folder;
    std::mt19937_64 random;
};

}  // namespace flash::host
