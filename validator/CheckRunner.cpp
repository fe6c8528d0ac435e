#include "validator/CheckRunner.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "validator/Expectation.h"

namespace flash::validator {
namespace {

constexpr const char* kOutcomeNames[] = {"passed", "failed", "crashed", "hung", "not loaded", "not reached"};

// What a check's process sends: one letter, then two texts, each ended by a zero byte.
constexpr char kPassed = 'P';
constexpr char kFailed = 'F';
constexpr char kNotLoaded = 'L';
constexpr char kNotReached = 'N';

std::string Message(char letter, const std::string& expected, const std::string& found) {
    std::string message(1, letter);
    return message.append(expected.c_str(), expected.size() + 1).append(found.c_str(), found.size() + 1);
}

Outcome OutcomeOf(char letter) {
    switch (letter) {
        case kPassed:
            return Outcome::Passed;
        case kFailed:
            return Outcome::Failed;
        case kNotReached:
            return Outcome::NotReached;
        default:
            return Outcome::NotLoaded;
    }
}

void ReadMessage(const std::string& message, CheckResult& result) {
    result.outcome = OutcomeOf(message[0]);
    result.expected = message.c_str() + 1;
    result.found = message.c_str() + 2 + result.expected.size();
}

// A whole message: its letter and two texts.
bool IsWhole(const std::string& message) {
    return !message.empty() && std::count(message.begin(), message.end(), '\0') == 2;
}

std::string FoundAt(const ProcessEnd& process, const RunLimits& limits) {
    switch (process.end) {
        case End::ComputingOver:
            return "nothing after " + Counted(limits.cpuSeconds, "second") + " of computing";
        case End::TimeOver:
            return "nothing after " + Counted(limits.wallSeconds, "second");
        case End::MemoryOver:
            return "a use of more than " + std::to_string(limits.mebibytes) + " MiB of memory";
        case End::OfItself:
            return "an exit of the process with code 0";
        default:
            return process.words;
    }
}

void Judge(const ProcessEnd& process, const RunLimits& limits, CheckResult& result) {
    if (process.end == End::OfItself && IsWhole(process.message)) {
        ReadMessage(process.message, result);
        return;
    }
    const bool isHung = process.end == End::TimeOver || process.end == End::ComputingOver;
    result.outcome = isHung ? Outcome::Hung : Outcome::Crashed;
    result.expected = "the check to come to its end";
    result.found = FoundAt(process, limits);
}

}  // namespace

std::string Perform(const Check& check, const std::string& modulePath) {
    try {
        const ModuleUnderCheck module(modulePath);
        check.run(module);
        return Message(kPassed, "", "");
    } catch (const NotLoadable& failure) {
        return Message(kNotLoaded, "a module that can be loaded", failure.reason);
    } catch (const NotPossible& here) {
        return Message(kNotReached, "", here.reason);
    } catch (const UnmetExpectation& unmet) {
        return Message(kFailed, unmet.expected, unmet.found);
    } catch (const std::exception& error) {
        return Message(kFailed, "no exception", Quoted(error.what()));
    }
}

const char* NameOf(Outcome outcome) { return kOutcomeNames[static_cast<std::size_t>(outcome)]; }

bool IsBroken(const CheckResult& result) {
    return result.outcome != Outcome::Passed && result.outcome != Outcome::NotReached;
}

std::optional<CheckResult> RunCheck(const Check& check, const std::string& modulePath, const RunLimits& limits,
                                    const std::atomic<bool>& isInterrupted) {
    const auto start = std::chrono::steady_clock::now();
    const ProcessEnd process = RunInProcess(check, modulePath, limits, isInterrupted);
    if (process.end == End::Interrupted) {
        return std::nullopt;
    }
    CheckResult result{check.topic, check.name, check.demand, Outcome::Passed, "", "", 0};
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    Judge(process, limits, result);
    return result;
}

}  // namespace flash::validator
