// Which calls fail.
#include <gtest/gtest.h>

#include "validator/simulation/Failures.h"

namespace flash::simulation {
namespace {

// What each of these calls fails with; "-" for none.
std::vector<std::string> Strikes(Failures& failures, const std::vector<HostCall>& calls) {
    std::vector<std::string> texts;
    for (const HostCall& call : calls) {
        texts.push_back(failures.Strike(call).value_or("-"));
    }
    return texts;
}

HostCall CallOf(Service service, const std::string& text = "") {
    HostCall call;
    call.service = service;
    call.text = text;
    return call;
}

const HostCall kRun = CallOf(Service::RunTarget);
const HostCall kHalt = CallOf(Service::HaltTarget);

using Texts = std::vector<std::string>;

TEST(Failures, StrikeTheNthCallOfAServiceOnce) {
    Failures failures;
    failures.FailNth(Service::HaltTarget, 2, "lost");

    EXPECT_EQ(Strikes(failures, {kHalt, kRun, kHalt, kHalt}), (Texts{"-", "-", "lost", "-"}));
    EXPECT_EQ(failures.Last(), Service::HaltTarget);
}

TEST(Failures, StrikeTheNthCallOfAnyOnce) {
    Failures failures;
    failures.FailNthOfAny(2, "lost");

    EXPECT_EQ(failures.Last(), std::nullopt);
    EXPECT_EQ(Strikes(failures, {kHalt, kRun, kRun}), (Texts{"-", "lost", "-"}));
}

TEST(Failures, StrikeTheNthCallThatHasAnErrorText) {
    Failures failures;
    failures.FailNthWithErrorText(2, "lost");

    EXPECT_EQ(Strikes(failures, {kHalt, CallOf(Service::GetProperty, "A"), CallOf(Service::GetDirectoryPath), kRun}),
              (Texts{"-", "-", "-", "lost"}));
}

TEST(Failures, StrikeAllCallsWithATextOfTheirOwn) {
    Failures failures;
    failures.FailAllFrom(2, "lost");

    EXPECT_EQ(Strikes(failures, {kHalt, kRun, kHalt, kRun}), (Texts{"-", "lost", "lost +1", "lost +2"}));
    failures.Clear();
    EXPECT_EQ(Strikes(failures, {kHalt}), Texts{"-"});
}

TEST(Failures, StrikeEveryCallOfAService) {
    Failures failures;
    failures.FailEvery(Service::RunTarget, "lost");

    EXPECT_EQ(Strikes(failures, {kRun, kHalt, kRun}), (Texts{"lost", "-", "lost"}));
}

TEST(Failures, HideOnePropertyAtItsNthReading) {
    Failures failures;
    failures.HideProperty("A", 2);
    const HostCall a = CallOf(Service::GetProperty, "A");
    const HostCall b = CallOf(Service::GetProperty, "B");

    EXPECT_EQ(Strikes(failures, {a, b, a, a}), (Texts{"-", "-", kFailureText, "-"}));
}

}  // namespace
}  // namespace flash::simulation
