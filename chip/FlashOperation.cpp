#include "chip/FlashOperation.h"

namespace flash::chip {
namespace {

constexpr int kLateness = 10;  // of an operation that reports busy for too long

ControllerSignals StrikeOnce(FlashOperation& started, Fault fault) {
    const Nanoseconds duration = started.end - started.start;
    switch (fault) {
        case Fault::PowerLossBeforeOperation:
            return {.powerIsLost = true};
        case Fault::PowerLossInsideOperation:
            started.outcome = Outcome::Torn;
            started.end = started.start + duration / 2;
            started.losesPowerAtEnd = true;
            break;
        case Fault::PowerLossAfterOperation:
            started.losesPowerAtEnd = true;
            break;
        case Fault::CoreStopsAtOperation:
            return {.coreStops = true};
        case Fault::OperationFails:
            started.outcome = Outcome::Torn;
            break;
        case Fault::OperationDoesNothing:
            started.outcome = Outcome::Nothing;
            started.breaksRule = false;
            break;
        case Fault::EarlyReady:
            started.saysReadyEarly = true;
            break;
        case Fault::LateReady:
            started.end = started.start + kLateness * duration;
            break;
        case Fault::StuckBusy:
            started.neverEnds = true;
            break;
        case Fault::PowerLossAtTransfer:
        case Fault::LinkErrorAtTransfer:
        case Fault::CoreStopsAtTransfer:
            break;  // the plan gives these at transfers
    }
    return {};
}

}  // namespace

ControllerSignals Strike(FlashOperation& started, const std::vector<Fault>& faults) {
    ControllerSignals signals;
    for (const Fault fault : faults) {
        const ControllerSignals raised = StrikeOnce(started, fault);
        signals.powerIsLost |= raised.powerIsLost;
        signals.coreStops |= raised.coreStops;
    }
    return signals;
}

}  // namespace flash::chip
