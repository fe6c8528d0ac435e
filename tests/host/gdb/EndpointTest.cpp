#include "host/gdb/Endpoint.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace flash::host::gdb {
namespace {

TEST(ParseEndpoint, ReadsNamesAndAddresses) {
    struct Case {
        const char* text;
        Endpoint expected;
        const char* printed;
    };
    const Case cases[] = {
        {"127.0.0.1:3333", {"127.0.0.1", 3333}, "127.0.0.1:3333"},
        {"localhost:0", {"localhost", 0}, "localhost:0"},
        {":65535", {"127.0.0.1", 65535}, "127.0.0.1:65535"},
        {"[::1]:3333", {"::1", 3333}, "[::1]:3333"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(ParseEndpoint(c.text), c.expected);
        EXPECT_EQ(TextOf(c.expected), c.printed);
    }
}

TEST(ParseEndpoint, RefusesWhatIsNone) {
    for (const char* const text : {"", "localhost", "localhost:", "localhost:x", "localhost:65536", "localhost:-1",
                                   "::1:3333", "[::1:3333", "[]:1", "[::1]", "local[host:1"}) {
        SCOPED_TRACE(text);
        EXPECT_THROW(ParseEndpoint(text), std::invalid_argument);
    }
}

TEST(IsLoopback, HoldsForThisMachineAlone) {
    EXPECT_TRUE(IsLoopback({"127.0.0.1", 1}));
    EXPECT_TRUE(IsLoopback({"127.1.2.3", 1}));
    EXPECT_TRUE(IsLoopback({"::1", 1}));
    EXPECT_TRUE(IsLoopback({"localhost", 1}));
    EXPECT_FALSE(IsLoopback({"0.0.0.0", 1}));
    EXPECT_FALSE(IsLoopback({"::", 1}));
    EXPECT_FALSE(IsLoopback({"127.example.org", 1}));
}

}  // namespace
}  // namespace flash::host::gdb
