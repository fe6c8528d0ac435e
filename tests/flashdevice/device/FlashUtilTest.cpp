// Structured values in the host's properties, and bytes and revisions as texts.
#include "flashdevice/device/FlashUtil.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/ConnectedChip.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

struct Util : testing::Test {
    SimulatedHost host;
    IFlashHost* hostPointer = &host;
    FlashUtil util{hostPointer};
    std::vector<RevisionTranslationEntry> entries;
    std::uint32_t first = 0xAAAA'AAAA;
    std::uint32_t second = 0xBBBB'BBBB;
};

constexpr char kNoHost[] = "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.";

TEST_F(Util, SeesTheDevicesPresentHost) {
    EXPECT_EQ(&util.GetFlashProgrammerUtility(), &host);
    hostPointer = nullptr;
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { util.GetFlashProgrammerUtility(); }), kNoHost);
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { util.ReadRevisionTranslation(entries); }), kNoHost);
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { util.ReadHexPair("Loc", &first, &second); }), kNoHost);
}

TEST_F(Util, ReadsTheRevisionTable) {
    struct Case {
        const char* name;
        const char* text;
        std::vector<RevisionTranslationEntry> expected;
    };
    const Case cases[] = {
        {"two entries", "0:1.0:RevA:1:2.0:RevB", {{"RevA", "1.0", 0}, {"RevB", "2.0", 1}}},
        {"nothing", "", {}},
        {"a final delimiter", "0:1.0:RevA:", {{"RevA", "1.0", 0}}},
        {"blanks stay", " 7 : 1.0 : A ", {{" A ", " 1.0 ", 7}}},
        {"codes are decimal", "010:1.0:A", {{"A", "1.0", 10}}},
        {"a code that is none", "x:1.0:A", {{"A", "1.0", 0}}},
        {"a code too large", "99999999999:1.0:A", {{"A", "1.0", 0xFFFF'FFFF}}},
        {"an empty name", "0:1.0::", {{"", "1.0", 0}}},
        {"empty fields", "::A", {{"A", "", 0}}},
    };
    for (const Case& each : cases) {
        host.properties["DeviceInfoRevisionTranslation"] = each.text;
        entries.clear();
        util.ReadRevisionTranslation(entries);
        EXPECT_EQ(entries, each.expected) << each.name;
    }
}

TEST_F(Util, AppendsToTheRevisionTable) {
    host.properties["DeviceInfoRevisionTranslation"] = "0:1.0:RevA";

    util.ReadRevisionTranslation(entries);
    util.ReadRevisionTranslation(entries);

    EXPECT_EQ(entries, (std::vector<RevisionTranslationEntry>{{"RevA", "1.0", 0}, {"RevA", "1.0", 0}}));
}

TEST_F(Util, RefusesARevisionTableThatIsNotOfThrees) {
    entries = {{"kept", "1.0", 9}};
    for (const char* text : {"0", "0:1.0", "0:1.0:RevA:1", "0:1.0:RevA:1:2.0", ":"}) {
        host.properties["DeviceInfoRevisionTranslation"] = text;
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { util.ReadRevisionTranslation(entries); }),
                  "Property DeviceInfoRevisionTranslation in Flash Properties XML does not contain the expected number "
                  "of entries (N * 3 entries expected)")
            << text;
    }
    EXPECT_EQ(entries.size(), 1U);
}

TEST_F(Util, PassesAMissingRevisionTableThrough) {
    host.properties.erase("DeviceInfoRevisionTranslation");

    EXPECT_EQ(ThrownText<std::logic_error>([&] { util.ReadRevisionTranslation(entries); }),
              "Unknown property \"DeviceInfoRevisionTranslation\"");
}

TEST_F(Util, ReadsAHexPair) {
    struct Case {
        const char* text;
        std::uint32_t first, second;
        bool isReported;
    };
    const std::uint32_t kFirst = first;
    const std::uint32_t kSecond = second;
    const Case cases[] = {
        {"0x12:34", 0x12, 0x34, false},
        {"1FFC8:6", 0x1'FFC8, 6, false},
        {"0X1F: 10", 0x1F, 0x10, false},
        {"12", 0x12, kSecond, true},
        {"1:2:3", 1, 2, true},
        {"", kFirst, kSecond, true},
        {"12:", 0x12, kSecond, true},
        {":12", 0, 0x12, false},
        {"::", 0, 0, false},
        {"zz:yy", 0, 0, false},
        {"FFFFFFFF:100000000", 0xFFFF'FFFF, 0xFFFF'FFFF, false},
    };
    for (const Case& each : cases) {
        host.properties["FieldLoc"] = each.text;
        host.ForgetCalls();
        first = kFirst;
        second = kSecond;
        util.ReadHexPair("FieldLoc", &first, &second);
        EXPECT_EQ(first, each.first) << each.text;
        EXPECT_EQ(second, each.second) << each.text;
        const Texts complaint = {
            "Property 'FieldLoc' in Flash Properties XML does not contain 2 values delimited by ':'.\n"};
        EXPECT_EQ(host.errors, each.isReported ? complaint : Texts{}) << each.text;
    }
}

TEST_F(Util, ExplainsAPairThatCannotBeRead) {
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { util.ReadHexPair("FieldLoc", &first, &second); }),
              "Failed to read property 'FieldLoc'.");
    EXPECT_EQ(first, 0xAAAA'AAAAU);
}

TEST_F(Util, EndsWithTheHostsTextWhenAPairCannotBeReported) {
    host.properties["FieldLoc"] = "12";
    host.failures.FailNth(Service::ReportError, 1, "no console");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { util.ReadHexPair("FieldLoc", &first, &second); }), "no console");

    EXPECT_EQ(first, 0xAAAA'AAAAU);
}

TEST(ConvertRevisionStringToMajorMinor, TakesMajorPointMinorAndPassesOverTheRest) {
    struct Case {
        const char* text;
        std::uint32_t major, minor;
    };
    const Case cases[] = {
        {"2.1", 2, 1}, {"10.20", 10, 20}, {"2", 77, 88}, {"2.1.0", 77, 88}, {"2.", 77, 88},   {".1", 0, 1},
        {"a.b", 0, 0}, {" 2. 1", 2, 1},   {".", 77, 88}, {"2.1.", 2, 1},    {"2..1", 77, 88}, {"0x2.1", 0, 1},
    };
    for (const Case& each : cases) {
        std::uint32_t major = 77;
        std::uint32_t minor = 88;
        FlashUtil::ConvertRevisionStringToMajorMinor(each.text, &major, &minor);
        EXPECT_EQ(major, each.major) << each.text;
        EXPECT_EQ(minor, each.minor) << each.text;
    }
}

TEST(ConvertRevisionStringToMajorMinor, RefusesAnEmptyText) {
    std::uint32_t major = 77;
    std::uint32_t minor = 88;
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { FlashUtil::ConvertRevisionStringToMajorMinor("", &major, &minor); }),
              "FlashUtil::ConvertRevisionStringToMajorMinor(): Input string is empty");
    EXPECT_EQ(major, 77U);
}

TEST(ConvertByteVectorToString, JoinsCapitalHexPairsWithColons) {
    EXPECT_EQ(FlashUtil::ConvertByteVectorToString({}), "");
    EXPECT_EQ(FlashUtil::ConvertByteVectorToString({0x0F}), "0F");
    EXPECT_EQ(FlashUtil::ConvertByteVectorToString({0x00, 0x12, 0xAB}), "00:12:AB");
    EXPECT_EQ(FlashUtil::ConvertByteVectorToString({0xFF, 0x9A}), "FF:9A");
}

TEST(ConvertStringToByteVector, TakesOneOrTwoDigitsPerByte) {
    struct Case {
        const char* text;
        Bytes bytes;
    };
    const Case cases[] = {
        {"aa:BB:c", {0xAA, 0xBB, 0x0C}},
        {"", {}},
        {"A", {0x0A}},
        {"1::2", {1, 0, 2}},
        {"1:2:", {1, 2}},
        {":", {0}},
        {" 5", {5}},
        {"+5", {5}},
        {"4G", {4}},
        {"zz", {0}},
        {"0x", {0}},
        {"-0", {0}},
        {"FF", {0xFF}},
    };
    for (const Case& each : cases) {
        Bytes bytes = {9, 9, 9, 9, 9};
        FlashUtil::ConvertStringToByteVector(each.text, bytes);
        EXPECT_EQ(bytes, each.bytes) << each.text;
    }
}

TEST(ConvertStringToByteVector, RefusesWhatIsNoByte) {
    struct Case {
        const char* text;
        const char* error;
        Bytes left;  // resized, and filled up to the bad piece
    };
    const char* const kTooLong = "Error: Expecting HEX valueConvertStringToByteVector(): ";
    const Case cases[] = {
        {"100", kTooLong, {9}},
        {"0x5", kTooLong, {9}},
        {"1: 12:3", kTooLong, {1, 9, 9}},
        {"-1", "Failed to convert HEX string '-1' to byte.", {9}},
        {"7:-F:100", "Failed to convert HEX string '-F' to byte.", {7, 9, 9}},
    };
    for (const Case& each : cases) {
        Bytes bytes = {9, 9, 9, 9};
        EXPECT_EQ(ThrownText<std::runtime_error>([&] { FlashUtil::ConvertStringToByteVector(each.text, bytes); }),
                  each.error)
            << each.text;
        EXPECT_EQ(bytes, each.left) << each.text;
    }
}

TEST(ReverseBytes, TurnsTheListAround) {
    for (const auto& [before, after] : std::vector<std::pair<Bytes, Bytes>>{
             {{}, {}}, {{1}, {1}}, {{1, 2}, {2, 1}}, {{1, 2, 3}, {3, 2, 1}}, {{1, 2, 3, 4}, {4, 3, 2, 1}}}) {
        Bytes bytes = before;
        FlashUtil::ReverseBytes(bytes);
        EXPECT_EQ(bytes, after);
    }
}

TEST(ConvertWordToByteVector, PutsTheLeastSignificantByteFirst) {
    EXPECT_EQ(FlashUtil::ConvertWordToByteVector(0x1122'3344), (Bytes{0x44, 0x33, 0x22, 0x11}));
    EXPECT_EQ(FlashUtil::ConvertWordToByteVector(0), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(FlashUtil::ConvertWordToByteVector(0xFFFF'FF00), (Bytes{0, 0xFF, 0xFF, 0xFF}));
}

TEST(SplitString, TakesPiecesAsTheyAre) {
    struct Case {
        const char* text;
        Texts pieces;
    };
    const Case cases[] = {
        {"", {}},    {"a", {"a"}},     {"a::b", {"a", "", "b"}},    {"a:b:", {"a", "b"}},    {":a", {"", "a"}},
        {":", {""}}, {"::", {"", ""}}, {" a : b ", {" a ", " b "}}, {"a\n:b", {"a\n", "b"}}, {"a,b", {"a,b"}},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(FlashUtil::SplitString(each.text, ':'), each.pieces) << each.text;
    }
    EXPECT_EQ(FlashUtil::SplitString("1,2-3", '-'), (Texts{"1,2", "3"}));
}

}  // namespace
}  // namespace flash::test
