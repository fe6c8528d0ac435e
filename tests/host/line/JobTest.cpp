// Texts of a job with something to fill in.
#include "host/line/Job.h"

#include <gtest/gtest.h>

#include "tests/support/ThrownText.h"

namespace flash::host::line {
namespace {

using test::ThrownText;

TEST(ProbeFor, FillsInTheRunningNumberEverywhere) {
    EXPECT_EQ(ProbeFor({"a", "virtual:chips/{n}/{n}.chip"}, 12), "virtual:chips/12/12.chip");
    EXPECT_EQ(ProbeFor({"a", "gdb:127.0.0.1:3333"}, 12), "gdb:127.0.0.1:3333");
}

TEST(SplitWords, KnowsBlanksAndQuotesAndNothingElseOfAShell) {
    struct Case {
        const char* text;
        std::vector<std::string> words;
    };
    const Case cases[] = {
        {"", {}},
        {"  \t ", {}},
        {"print", {"print"}},
        {" print  --to\tprinter ", {"print", "--to", "printer"}},
        {"print 'a b' \"c d\"", {"print", "a b", "c d"}},
        {"print a' b'c", {"print", "a bc"}},
        {"print '' \"\"", {"print", "", ""}},
        {"print \"it's\" '\"'", {"print", "it's", "\""}},
        {"print $HOME `id` * a\\ b; rm | > x & {ieee}",
         {"print", "$HOME", "`id`", "*", "a\\", "b;", "rm", "|", ">", "x", "&", "{ieee}"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(SplitWords(c.text), c.words) << c.text;
    }
    EXPECT_EQ(ThrownText<std::invalid_argument>([] { SplitWords("print 'a b"); }), "a ' is not closed");
}

TEST(FillIn, KnowsTheNamesOfTheTable) {
    const std::map<std::string, std::string> values{{"ieee", "02:01"}, {"n", "7"}};
    EXPECT_EQ(FillIn("--address={ieee} no {n}{n}", values), "--address=02:01 no 77");
    EXPECT_EQ(FillIn("", values), "");
    EXPECT_EQ(FillIn("a } b", values), "a } b");
    EXPECT_EQ(ThrownText<std::invalid_argument>([&] { FillIn("{mac}", values); }),
              "there is nothing to fill in for {mac}");
    EXPECT_EQ(ThrownText<std::invalid_argument>([&] { FillIn("a {ieee", values); }),
              "there is nothing to fill in for {ieee");
}

}  // namespace
}  // namespace flash::host::line
