// The revision table and its major.minor texts: a second reader finds the same rows and numbers.
#include "flashdevice/device/FlashUtil.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/flashdevice/PropertyHost.h"
#include "tests/fuzz/flashdevice/SecondReader.h"

namespace flash::fuzz {
namespace {

using Table = std::vector<RevisionTranslationEntry>;

Table SecondTable(const std::string& text) {
    const std::vector<std::string> pieces = SecondSplit(text, ':');
    if (pieces.size() % 3 != 0) {
        throw std::runtime_error(
            "Property DeviceInfoRevisionTranslation in Flash Properties XML does not contain the expected number of "
            "entries (N * 3 entries expected)");
    }
    Table table;
    for (std::size_t i = 0; i + 2 < pieces.size(); i += 3) {
        table.push_back({pieces[i + 2], pieces[i + 1], CLibraryNumber(pieces[i], 10)});
    }
    return table;
}

struct Revision {
    std::uint32_t majorNumber = 77;  // untouched
    std::uint32_t minorNumber = 88;
    bool operator==(const Revision&) const = default;
};

Revision FirstRevision(const std::string& text) {
    Revision revision;
    FlashUtil::ConvertRevisionStringToMajorMinor(text, &revision.majorNumber, &revision.minorNumber);
    return revision;
}

Revision SecondRevision(const std::string& text) {
    if (text.empty()) {
        throw std::runtime_error("FlashUtil::ConvertRevisionStringToMajorMinor(): Input string is empty");
    }
    const std::vector<std::string> pieces = SecondSplit(text, '.');
    return pieces.size() == 2 ? Revision{CLibraryNumber(pieces[0], 10), CLibraryNumber(pieces[1], 10)} : Revision{};
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    // A property's text ends at its first zero byte.
    const std::string text = std::string(data, data + size).c_str();
    PropertyHost host(text);
    flash::IFlashHost* access = &host;
    const auto first = ReadingOf<Table>([&] {
        Table table;
        flash::FlashUtil(access).ReadRevisionTranslation(table);
        return table;
    });
    FuzzRequire(first == ReadingOf<Table>([&] { return SecondTable(text); }), "both readers find the same rows");
    for (const flash::RevisionTranslationEntry& entry : first.result) {
        FuzzRequire(ReadingOf<Revision>([&] { return FirstRevision(entry.revisionText); }) ==
                        ReadingOf<Revision>([&] { return SecondRevision(entry.revisionText); }),
                    "both readers find the same major and minor number");
    }
    return 0;
}
