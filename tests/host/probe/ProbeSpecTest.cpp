// Names of probes, taken apart and put together again.
#include "host/probe/ProbeSpec.h"

#include <gtest/gtest.h>

namespace flash::host {
namespace {

using Keys = std::map<std::string, std::string>;

TEST(ProbeSpec, IsAKindAPlaceAndKeys) {
    struct Case {
        const char* text;
        ProbeSpec expected;
    };
    const Case cases[] = {
        {"virtual", {"virtual", "", {}}},
        {"virtual:chip.bin", {"virtual", "chip.bin", {}}},
        {"gdb:lab-3:3333", {"gdb", "lab-3:3333", {}}},
        {"gdb:lab:3333,speed=4,core-2=on", {"gdb", "lab:3333", Keys{{"speed", "4"}, {"core-2", "on"}}}},
        {"gdb:lab:3333,name=", {"gdb", "lab:3333", Keys{{"name", ""}}}},
        {"gdb:lab,list=1,2,=,3,next=a=b", {"gdb", "lab", Keys{{"list", "1,2,=,3"}, {"next", "a=b"}}}},
        {"virtual:a,b.bin", {"virtual", "a,b.bin", {}}},
        {"virtual:a=b", {"virtual", "a=b", {}}},
        {"virtual:a,B=c,", {"virtual", "a,B=c,", {}}},
        {"virtual:a, b=c", {"virtual", "a, b=c", {}}},
        {"virtual:/a:b", {"virtual", "/a:b", {}}},
        {"az09-:x,az09-=y", {"az09-", "x", Keys{{"az09-", "y"}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(ParseProbeSpec(c.text), c.expected);
        EXPECT_EQ(ParseProbeSpec(PrintProbeSpec(c.expected)), c.expected);
    }
}

TEST(ProbeSpec, AnythingElseIsNone) {
    for (const char* text : {"", ":", ":chip.bin", "virtual:", "gdb:,key=value", "gdb:lab,key=1,key=1"}) {
        EXPECT_EQ(ParseProbeSpec(text), std::nullopt) << text;
    }
}

TEST(ProbeSpec, IsPrintedAsAUserWouldWriteIt) {
    EXPECT_EQ(PrintProbeSpec({"virtual", "", {}}), "virtual");
    EXPECT_EQ(PrintProbeSpec({"gdb", "lab:3333", {{"a", "1"}, {"b", ""}}}), "gdb:lab:3333,a=1,b=");
}

}  // namespace
}  // namespace flash::host
