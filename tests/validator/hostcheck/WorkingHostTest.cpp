// A host that does its work as it should, and one that is failed on purpose.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/validator/hostcheck/WorkingHost.h"

namespace flash::hostcheck {
namespace {

struct Outcome {
    std::vector<std::string> brokenRules;
    std::string report;
};

Outcome Check(const Plan& plan, const std::function<void(Work&, WorkingHost&)>& steps) {
    testing::internal::CaptureStderr();
    WorkingHost host;
    CheckModule module(&CreateDevice, plan);
    Work work(module, host);
    steps(work, host);
    module.End();
    testing::internal::GetCapturedStderr();
    return {module.Found().BrokenRules(), module.Found().ToText()};
}

Plan FailingAt(const std::string& place) {
    Plan plan;
    plan.failingPlace = place;
    return plan;
}

TEST(WorkingHost, BreaksNothingAndReachesMostRules) {
    const Outcome outcome = Check(Plan(), [](Work& work, WorkingHost&) { work.All(); });

    EXPECT_TRUE(outcome.brokenRules.empty()) << outcome.report;
    EXPECT_NE(outcome.report.find("0 broken"), std::string::npos);
    EXPECT_NE(outcome.report.find("  kept         memory-reads-back"), std::string::npos) << outcome.report;
    EXPECT_NE(outcome.report.find("  kept         halt-lets-finish"), std::string::npos) << outcome.report;
}

TEST(WorkingHost, ProgramsItsOwnChip) {
    Check(Plan(), [](Work& work, WorkingHost& host) {
        work.Start();
        work.Load();
        EXPECT_EQ(host.chip.memory.flash[0], 0x42);
        EXPECT_EQ(host.chip.memory.flash[0x5FFF], 0x42);
        work.device->Release();
    });
}

TEST(WorkingHost, IsPlayedAChipWhenItsTargetNeverAnswers) {
    const Outcome outcome = Check(Plan(), [](Work& work, WorkingHost& host) {
        host.chip.flashloader.AnswerAll(simulation::kAnswerNever);
        work.Start();
        work.device->NotifyPhase(1);
        EXPECT_EQ(work.Write(0, 0x2000), nullptr);
        EXPECT_EQ(work.device->NotifyPhase(2), nullptr);
        work.device->Release();
        EXPECT_EQ(host.chip.memory.flash[0], 0xFF);
    });

    EXPECT_TRUE(outcome.brokenRules.empty()) << outcome.report;
    EXPECT_NE(outcome.report.find("plays the chip"), std::string::npos);
}

TEST(WorkingHost, IsPlayedAChipOnDemand) {
    Plan plan;
    plan.chip = Chip::Own;
    const Outcome outcome = Check(plan, [](Work& work, WorkingHost& host) {
        work.All();
        EXPECT_EQ(host.chip.memory.flash[0], 0xFF);
        EXPECT_TRUE(host.chip.flashloader.commands.empty());
    });

    EXPECT_TRUE(outcome.brokenRules.empty()) << outcome.report;
    EXPECT_NE(outcome.report.find("  kept         memory-reads-back"), std::string::npos) << outcome.report;
}

std::string Content(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(HostThatEndsWithoutUnloading, LeavesWhatWasSeenUntilThen) {
    WorkingHost host;
    Plan plan;
    plan.reportFile = testing::TempDir() + "hostcheck-so-far.txt";
    CheckModule module(&CreateDevice, plan);
    Work work(module, host);

    work.Start();
    work.Write(0, 16);

    EXPECT_NE(Content(plan.reportFile).find("  BROKEN       write-in-load"), std::string::npos);
    EXPECT_NE(Content(plan.reportFile).find("note: this is what was seen so far"), std::string::npos);
    work.device->Release();
    module.End();
    EXPECT_EQ(Content(plan.reportFile).find("so far"), std::string::npos);
    std::remove(plan.reportFile.c_str());
}

// ---- Failures on purpose: a host that goes on as if nothing had happened, and one that stops

struct FailedHost {
    const char* place;
    const char* rule;
};

class FailedHosts : public testing::TestWithParam<FailedHost> {};

TEST_P(FailedHosts, ThatGoOnBreakTheRuleOfRecovery) {
    const Outcome outcome = Check(FailingAt(GetParam().place), [](Work& work, WorkingHost&) {
        work.Start();
        work.LoadBlindly();
        work.device->Release();
    });

    EXPECT_EQ(outcome.brokenRules, std::vector<std::string>{GetParam().rule}) << outcome.report;
}

TEST_P(FailedHosts, ThatStopKeepIt) {
    const Outcome outcome = Check(FailingAt(GetParam().place), [](Work& work, WorkingHost&) {
        work.Create();
        if (work.Initialize() == nullptr && work.device->NotifyPhase(1) == nullptr && work.Write(0, 16) == nullptr) {
            work.device->NotifyPhase(2);
        }
        work.device->Release();
    });

    EXPECT_TRUE(outcome.brokenRules.empty()) << outcome.report;
    EXPECT_NE(outcome.report.find("  kept         " + std::string(GetParam().rule)), std::string::npos)
        << outcome.report;
}

INSTANTIATE_TEST_SUITE_P(All, FailedHosts,
                         testing::Values(FailedHost{"initialize", "recover-from-initialize"},
                                         FailedHost{"phase1", "recover-from-phase-one"},
                                         FailedHost{"write", "recover-from-write"}),
                         [](const auto& tested) { return std::string(tested.param.place); });

TEST(WorkingHost, IsToldThatAFailureWasMeant) {
    Check(FailingAt("create"), [](Work& work, WorkingHost&) {
        EXPECT_STREQ(work.Create(), "The checker fails this call on purpose");
        EXPECT_EQ(work.device, nullptr);
    });
}

TEST(HostCalls, CallNoServiceThatTheHostLeftEmpty) {
    constexpr const char* kRefusal = "The host has no such service, or it threw";
    std::string text;
    std::uint64_t number = 0;
    const auto given = [](const std::optional<std::string>& some) { return some ? "something" : kRefusal; };
    const std::pair<std::size_t, std::function<const char*(HostCalls&)>> services[] = {
        {0, [&](HostCalls& calls) { return given(calls.GetProperty("some")); }},
        {1, [&](HostCalls& calls) { return calls.SetProperty(text, text); }},
        {2, [](HostCalls& calls) { return calls.LoadProgram("", "", ""); }},
        {3, [&](HostCalls& calls) { return calls.LookUpSymbol("g_cfg", &number); }},
        {4, [](HostCalls& calls) { return calls.RunTarget(); }},
        {6, [](HostCalls& calls) { return calls.HaltTarget(); }},
        {10, [&](HostCalls& calls) { return calls.ReadMemory(&number, 1, 0, 1, 1); }},
        {11, [&](HostCalls& calls) { return calls.WriteMemory(&number, 1, 0, 1, 1); }},
        {13, [&](HostCalls& calls) { return calls.ReadRegister(1, &number); }},
        {14, [](HostCalls& calls) { return calls.WriteRegister(527, 1); }},
        {19, [](HostCalls& calls) { return calls.ReportError("some"); }},
        {20, [](HostCalls& calls) { return calls.PrintMessage("some"); }},
        {21, [&](HostCalls& calls) { return given(calls.GetDirectoryPath()); }},
        {22, [](HostCalls& calls) { return calls.WaitMilliseconds(5); }},
        {27, [](HostCalls& calls) { return calls.SelectCore("Cortex"); }},
    };
    for (const auto& [slot, service] : services) {
        SCOPED_TRACE(slot);
        std::vector<const void*> table(28, &text);  // never called
        table[slot] = nullptr;
        struct {
            const void** slots;
        } host{table.data()};
        Findings findings;
        HostCalls calls(reinterpret_cast<IFlashHost*>(&host), findings);

        EXPECT_STREQ(service(calls), kRefusal);
    }
}

// ---- Texts that die too early

TEST(HostCalls, NoticeATextThatChangedBeforeTheNextCall) {
    WorkingHost host;
    Findings findings;
    HostCalls calls(&host, findings);
    char text[] = "1.0";
    host.onGet = [&](const std::string&) { return text; };

    EXPECT_EQ(calls.GetProperty("first"), "1.0");
    text[0] = '2';
    calls.RunTarget();

    EXPECT_EQ(findings.BrokenRules(), std::vector<std::string>{"property-text-lives"});
}

TEST(HostCalls, NoticeAnErrorTextThatChangedBeforeTheNextCall) {
    WorkingHost host;
    Findings findings;
    HostCalls calls(&host, findings);
    char text[] = "no probe";
    host.onRun = [&] { return text; };

    EXPECT_STREQ(calls.RunTarget(), "no probe");
    text[0] = '?';
    calls.EndOperation();

    EXPECT_EQ(findings.BrokenRules(), std::vector<std::string>{"error-text-lives"});
}

TEST(HostCalls, NoticeAPauseThatNeverSeemsToEnd) {
    // The clock is the workstation's, and no test waits for it: the rule stands in the table, and is kept here.
    WorkingHost host;
    Findings findings;
    WatchedHost watched(&host, findings, simulation::kSecondGeneration);

    EXPECT_EQ(watched.WaitMilliseconds(5), nullptr);
    EXPECT_TRUE(findings.BrokenRules().empty());
}

// ---- The report

TEST(Findings, TellTheFirstBreakAndHowManyCameBehindIt) {
    Findings findings;
    findings.See(Rule::WriteAscending, true, "");
    findings.See(Rule::WriteAscending, false, "a line\nbreak");
    findings.See(Rule::WriteAscending, false, "another");

    EXPECT_NE(findings.ToText().find("came: a line\\x0Abreak (and 1 more)\n"), std::string::npos);
    EXPECT_NE(findings.ToText().find("0 kept, 1 broken, "), std::string::npos);
    EXPECT_NE(findings.ToJson().find("\"kept\": 1, \"broken\": 2, \"came\": \"a line\\\\x0Abreak\"}"),
              std::string::npos);
}

TEST(Findings, TellEachNoteOnce) {
    Findings findings;
    findings.Note("one");
    findings.Note("one");

    EXPECT_NE(findings.ToJson().find("\"notes\": [\"one\"]"), std::string::npos);
}

TEST(Rules, StandInTheHostGuideWordForWord) {
    std::ifstream file(HOST_GUIDE);
    const std::string guide(std::istreambuf_iterator<char>(file), {});
    for (const RuleText& rule : AllRules()) {
        const std::string row = "| `" + std::string(rule.name) + "` | " + rule.promise + " |";
        EXPECT_NE(guide.find(row), std::string::npos) << row;
    }
}

bool IsRule(const std::string& name) {
    const auto rules = AllRules();
    return std::any_of(rules.begin(), rules.end(), [&](const RuleText& rule) { return name == rule.name; });
}

TEST(Duties, NameRulesThatThereAreInTheHostGuide) {
    std::ifstream file(HOST_GUIDE);
    int named = 0;
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with("| **")) {
            continue;
        }
        std::istringstream pieces(line.substr(line.rfind('|', line.size() - 2)));
        std::string rule;
        while (std::getline(pieces, rule, '`') && std::getline(pieces, rule, '`')) {
            EXPECT_TRUE(IsRule(rule)) << rule << " in: " << line;
            ++named;
        }
    }
    EXPECT_GT(named, 10);
}

}  // namespace
}  // namespace flash::hostcheck
