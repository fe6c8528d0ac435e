// What the tests of program files share.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/files/ProgramImage.h"

namespace flash::host {

// The text of the `ProgramFileError` that `work` ends with, empty when it succeeds.
template <typename Work>
std::string ErrorOf(Work work) {
    try {
        work();
        return "";
    } catch (const ProgramFileError& error) {
        return error.what();
    }
}

inline std::span<const std::uint8_t> AsBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// A text that a reader of records takes, and what it finds there.
struct ReadCase {
    const char* name;
    std::string text;
    std::vector<DataRun> runs;
    std::optional<std::uint32_t> entryPoint;
};

// A text that a reader of records refuses.
struct RefusedCase {
    const char* name;
    std::string text;
    const char* error;
};

// What a writer of records is given, and the text that it makes of it.
struct PrintedCase {
    const char* name;
    std::vector<DataRun> runs;
    std::optional<std::uint32_t> entryPoint;
    std::string text;
};

// `read(bytes)` gives a `ProgramImage`.
template <std::size_t Count, typename Read>
void ExpectRead(const ReadCase (&cases)[Count], Read read) {
    for (const ReadCase& c : cases) {
        SCOPED_TRACE(c.name);

        const ProgramImage image = read(AsBytes(c.text));

        EXPECT_EQ(image.Runs(), c.runs);
        EXPECT_EQ(image.entryPoint, c.entryPoint);
    }
}

template <std::size_t Count, typename Read>
void ExpectRefused(const RefusedCase (&cases)[Count], Read read) {
    for (const RefusedCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ErrorOf([&] { read(AsBytes(c.text)); }), c.error);
    }
}

// `print(image)` gives a text.
template <std::size_t Count, typename Print>
void ExpectPrinted(const PrintedCase (&cases)[Count], Print print) {
    for (const PrintedCase& c : cases) {
        SCOPED_TRACE(c.name);
        ProgramImage image;
        for (const DataRun& run : c.runs) {
            image.Add(run.address, run.bytes, {"a", ""});
        }
        image.entryPoint = c.entryPoint;

        EXPECT_EQ(print(image), c.text);
    }
}

}  // namespace flash::host
