// From the host's C texts to exceptions.
#include "flashdevice/device/HostServices.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/ConnectedChip.h"
#include "tests/support/ThrownText.h"

namespace flash::test {
namespace {

TEST(RequireHost, GivesTheHostOrExplainsThatThereIsNone) {
    SimulatedHost host;

    EXPECT_EQ(&RequireHost(&host), &host);
    EXPECT_EQ(ThrownText<std::runtime_error>([] { RequireHost(nullptr); }),
              "FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.");
}

TEST(ThrowIfError, ThrowsExactlyTheHostsText) {
    EXPECT_NO_THROW(ThrowIfError(nullptr));
    EXPECT_EQ(ThrownText<std::runtime_error>([] { ThrowIfError("Probe: 100%s lost"); }), "Probe: 100%s lost");
    EXPECT_EQ(ThrownText<std::runtime_error>([] { ThrowIfError(""); }), "");
}

TEST(TextOrEmpty, TakesNullAsEmpty) {
    EXPECT_EQ(TextOrEmpty(nullptr), "");
    EXPECT_EQ(TextOrEmpty("text"), "text");
}

TEST(ReadPropertyOfHost, AsksTwice) {
    SimulatedHost host;
    host.properties["Name"] = "value";

    EXPECT_EQ(ReadProperty(host, "Name"), "value");

    EXPECT_EQ(TextsOf(host.calls), (Texts{"GetProperty Name", "GetProperty Name"}));
}

TEST(ReadPropertyOfHost, FailsForAnUnknownProperty) {
    SimulatedHost host;

    EXPECT_EQ(ThrownText<std::logic_error>([&] { ReadProperty(host, "Name"); }), "Unknown property \"Name\"");

    EXPECT_EQ(TextsOf(host.calls), (Texts{"GetProperty Name"}));
}

TEST(ReadPropertyOfHost, FailsWhenThePropertyIsGoneAtTheSecondQuestion) {
    SimulatedHost host;
    host.properties["Name"] = "value";
    host.failures.HideProperty("Name", 2);

    EXPECT_EQ(ThrownText<std::logic_error>([&] { ReadProperty(host, "Name"); }), "Unknown property \"Name\"");
}

TEST(PrintText, SendsTheTextAsItIs) {
    SimulatedHost host;

    PrintText(host, "100%s\n");

    EXPECT_EQ(host.messages, Texts{"100%s\n"});
}

TEST(PrintText, ThrowsTheHostsError) {
    SimulatedHost host;
    host.failures.FailNth(Service::PrintMessage, 1, "no console");

    EXPECT_EQ(ThrownText<std::runtime_error>([&] { PrintText(host, "text"); }), "no console");
}

TEST(ReportErrorTextOfHost, ThrowsOnlyTheHostsError) {
    SimulatedHost host;
    host.failures.FailNth(Service::ReportError, 2, "no console");

    EXPECT_NO_THROW(ReportErrorText(host, "complaint"));
    EXPECT_EQ(ThrownText<std::runtime_error>([&] { ReportErrorText(host, "complaint"); }), "no console");
    EXPECT_EQ(host.errors, Texts{"complaint"});
}

}  // namespace
}  // namespace flash::test
