#include "host/gdb/Requests.h"

#include <gtest/gtest.h>

namespace flash::host::gdb {
namespace {

template <typename Kind>
Kind Parsed(std::string_view payload) {
    const Request request = ParseRequest(payload);
    const Kind* const kind = std::get_if<Kind>(&request);
    if (kind == nullptr) {
        ADD_FAILURE() << payload << " is of kind " << request.index();
        return Kind{};
    }
    return *kind;
}

bool IsMalformed(std::string_view payload) { return std::holds_alternative<request::Malformed>(ParseRequest(payload)); }

TEST(ParseRequest, KnowsThePacketsWithoutArguments) {
    struct Case {
        const char* payload;
        Request expected;
    };
    const Case cases[] = {
        {"QStartNoAckMode", request::StartNoAckMode{}},
        {"!", request::EnableExtendedMode{}},
        {"?", request::AskWhyStopped{}},
        {"qC", request::AskCurrentThread{}},
        {"qfThreadInfo", request::AskThreads{true}},
        {"qsThreadInfo", request::AskThreads{false}},
        {"qAttached", request::AskWhetherAttached{}},
        {"qAttached:1", request::AskWhetherAttached{}},
        {"Hg0", request::SelectThread{}},
        {"Hc-1", request::SelectThread{}},
        {"T1", request::AskThreadAlive{}},
        {"vCont?", request::AskResumeActions{}},
        {"g", request::ReadRegisters{}},
        {"vCont;t", request::Stop{}},
        {"vFlashDone", request::FinishFlash{}},
        {"vRun;", request::Run{}},
        {"vRun;61;62", request::Run{}},
        {"R00", request::Restart{}},
        {"k", request::Kill{false}},
        {"vKill;a410", request::Kill{true}},
        {"D", request::Detach{}},
        {"D;1", request::Detach{}},
        {"vMustReplyEmpty", request::Unknown{}},
        {"qTStatus", request::Unknown{}},
        {"qOffsets", request::Unknown{}},
        {"qXfer:features:write:target.xml:0,1", request::Unknown{}},
        {"", request::Unknown{}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.payload);
        EXPECT_EQ(ParseRequest(c.payload).index(), c.expected.index());
    }
    EXPECT_TRUE(Parsed<request::AskThreads>("qfThreadInfo").isFirst);
    EXPECT_FALSE(Parsed<request::AskThreads>("qsThreadInfo").isFirst);
    EXPECT_TRUE(Parsed<request::Kill>("vKill;1").wantsAnswer);
    EXPECT_FALSE(Parsed<request::Kill>("k").wantsAnswer);
}

TEST(ParseRequest, SplitsTheFeaturesOfTheClient) {
    EXPECT_EQ(Parsed<request::QuerySupported>("qSupported:hwbreak+;xmlRegisters=arm").features,
              (std::vector<std::string>{"hwbreak+", "xmlRegisters=arm"}));
    EXPECT_TRUE(Parsed<request::QuerySupported>("qSupported").features.empty());
}

TEST(ParseRequest, ReadsAddressesAndLengths) {
    EXPECT_EQ(Parsed<request::ReadMemory>("m20000000,10").range, (AddressRange{0x20000000, 0x10}));
    EXPECT_EQ(Parsed<request::ReadMemory>("mFFFFFFFF,ffffffff").range, (AddressRange{0xFFFFFFFF, 0xFFFFFFFF}));
    EXPECT_EQ(Parsed<request::Checksum>("qCRC:0,2000").range, (AddressRange{0, 0x2000}));
    EXPECT_EQ(Parsed<request::EraseFlash>("vFlashErase:00002000,00001000").range, (AddressRange{0x2000, 0x1000}));
}

TEST(ParseRequest, ReadsBytesOfMemory) {
    const auto fromHex = Parsed<request::WriteMemory>("M20000004,2:aB01");
    const auto fromBinary = Parsed<request::WriteMemory>("X20000004,2:}\x03:");
    const auto probing = Parsed<request::WriteMemory>("X20000000,0:");
    const auto flash = Parsed<request::WriteFlash>("vFlashWrite:1000:a:}]");

    EXPECT_EQ(fromHex.address, 0x20000004u);
    EXPECT_EQ(fromHex.bytes, (std::vector<std::uint8_t>{0xAB, 0x01}));
    EXPECT_EQ(fromBinary.bytes, (std::vector<std::uint8_t>{'#', ':'}));
    EXPECT_TRUE(probing.bytes.empty());
    EXPECT_EQ(flash.address, 0x1000u);
    EXPECT_EQ(flash.bytes, (std::vector<std::uint8_t>{'a', ':', '}'}));
}

TEST(ParseRequest, ReadsRegisters) {
    EXPECT_EQ(Parsed<request::ReadRegister>("pf").number, 15u);
    EXPECT_EQ(Parsed<request::WriteRegister>("Pf=04030201").number, 15u);
    EXPECT_EQ(Parsed<request::WriteRegister>("Pf=04030201").bytes, (std::vector<std::uint8_t>{4, 3, 2, 1}));
    EXPECT_EQ(Parsed<request::WriteRegisters>("G0102").bytes, (std::vector<std::uint8_t>{1, 2}));
}

TEST(ParseRequest, ReadsHowToGoOn) {
    using request::Resumption;
    struct Case {
        const char* payload;
        Resumption how;
        std::optional<std::uint32_t> address;
    };
    const Case cases[] = {
        {"c", Resumption::Continue, std::nullopt},
        {"c20000000", Resumption::Continue, 0x20000000},
        {"s", Resumption::Step, std::nullopt},
        {"s10", Resumption::Step, 0x10},
        {"C05", Resumption::Continue, std::nullopt},
        {"S05;10", Resumption::Step, 0x10},
        {"vCont;c", Resumption::Continue, std::nullopt},
        {"vCont;s:1;c", Resumption::Step, std::nullopt},
        {"vCont;C05:1", Resumption::Continue, std::nullopt},
        {"vCont;S05", Resumption::Step, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.payload);
        EXPECT_EQ(Parsed<request::Resume>(c.payload).how, c.how);
        EXPECT_EQ(Parsed<request::Resume>(c.payload).address, c.address);
    }
}

TEST(ParseRequest, ReadsBreakpoints) {
    const auto inserted = Parsed<request::ChangeBreakpoint>("Z1,100,2");
    const auto removed = Parsed<request::ChangeBreakpoint>("z0,20000100,2");

    EXPECT_TRUE(inserted.isInserted);
    EXPECT_EQ(inserted.kind, request::BreakpointKind::Hardware);
    EXPECT_EQ(inserted.address, 0x100u);
    EXPECT_FALSE(removed.isInserted);
    EXPECT_EQ(removed.kind, request::BreakpointKind::Software);
}

TEST(ParseRequest, ReadsTheWordsOfAMonitorCommand) {
    EXPECT_EQ(Parsed<request::Monitor>("qRcmd,72657365742068616c74").command, "reset halt");
}

TEST(ParseRequest, ReadsWhichPartOfAnObjectIsWanted) {
    const auto object = Parsed<request::ReadObject>("qXfer:features:read:target.xml:0,ffb");

    EXPECT_EQ(object.object, "features");
    EXPECT_EQ(object.annex, "target.xml");
    EXPECT_EQ(object.range, (AddressRange{0, 0xFFB}));
}

TEST(ParseRequest, RefusesWhatIsMalformed) {
    const char* const payloads[] = {
        "m",
        "m0",
        "m0,",
        "m,4",
        "m0,4,",
        "m100000000,4",
        "m0,g",
        "m-1,4",
        "M0,1:",
        "M0,1:a",
        "M0,2:ab",
        "M0,0:ab",
        "M0,1ab",
        "X0,1:",
        "X0,2:a",
        "X0,1:}",
        "p",
        "px",
        "Pf",
        "Pf=0",
        "P=00",
        "G0",
        "Z1",
        "Z1,",
        "Z1,0",
        "Z5,0,2",
        "qRcmd,6",
        "qRcmd,zz",
        "qCRC:0",
        "vCont;",
        "vCont;q",
        "vFlashErase:0",
        "vFlashErase:0,",
        "vFlashWrite:0",
        "vFlashWrite::a",
        "vFlashWrite:0:}",
        "czz",
        "Czz",
        "C",
        "qXfer:features:read:target.xml:0",
    };
    for (const char* const payload : payloads) {
        SCOPED_TRACE(payload);
        EXPECT_TRUE(IsMalformed(payload));
    }
}

TEST(IsPartOfLoad, HoldsForErasingWritingAndFinishing) {
    EXPECT_TRUE(IsPartOfLoad(ParseRequest("vFlashErase:0,1000")));
    EXPECT_TRUE(IsPartOfLoad(ParseRequest("vFlashWrite:0:a")));
    EXPECT_TRUE(IsPartOfLoad(ParseRequest("vFlashDone")));
    EXPECT_FALSE(IsPartOfLoad(ParseRequest("m0,4")));
    EXPECT_FALSE(IsPartOfLoad(ParseRequest("vFlashErase:0")));
}

}  // namespace
}  // namespace flash::host::gdb
