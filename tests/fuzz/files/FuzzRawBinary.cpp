// Raw binary: the first four bytes are the base, the others the file. It reads as what it is, and prints back the same.
#include <algorithm>
#include <span>

#include "host/files/RawBinary.h"
#include "tests/fuzz/files/ByteMap.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash;
    if (size < 4) {
        return 0;
    }
    std::uint32_t base = 0;
    for (int i = 3; i >= 0; --i) {
        base = base << 8 | data[i];
    }
    const std::span<const std::uint8_t> content(data + 4, size - 4);
    fuzz::ByteMap expected;
    bool fits = true;
    for (std::size_t i = 0; i < content.size(); ++i) {
        fits = fits && expected.Put(std::uint64_t{base} + i, content[i]);
    }

    const auto read =
        fuzz::MapOrRefusal("fuzz.bin", size, [&] { return host::ReadRawBinary(content, base, "fuzz.bin"); });

    fuzz::FuzzRequire(read == (fits ? std::optional(expected) : std::nullopt),
                      "the file lies at its base, or is refused");
    if (read) {
        const auto printed = host::PrintRawBinary(host::ReadRawBinary(content, base, "fuzz.bin"));
        fuzz::FuzzRequire(std::ranges::equal(printed, content), "what is printed is what was read");
    }
    return 0;
}
