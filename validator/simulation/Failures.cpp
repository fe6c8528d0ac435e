#include "validator/simulation/Failures.h"

#include <utility>

namespace flash::simulation {

void Failures::FailNth(Service service, std::size_t n, const std::string& text) { Add({service, "", n, false, text}); }

void Failures::FailNthOfAny(std::size_t n, const std::string& text) { Add({std::nullopt, "", n, false, text}); }

void Failures::FailNthWithErrorText(std::size_t n, const std::string& text) {
    Add({std::nullopt, "", n, false, text, false, true});
}

void Failures::FailAllFrom(std::size_t n, const std::string& text) { Add({std::nullopt, "", n, true, text, true}); }

void Failures::FailEvery(Service service, const std::string& text) { Add({service, "", 1, true, text}); }

void Failures::HideProperty(const std::string& name, std::size_t n) {
    Add({Service::GetProperty, name, n, false, kFailureText});
}

void Failures::Add(Plan plan) {
    last.reset();
    plans.push_back(std::move(plan));
}

std::optional<std::string> Failures::Strike(const HostCall& call) {
    for (auto plan = plans.begin(); plan != plans.end(); ++plan) {
        const bool isMeant = plan->service.value_or(call.service) == call.service &&
                             (plan->property.empty() || plan->property == call.text) &&
                             (!plan->isAboutErrorTexts || HasErrorText(call.service));
        if (!isMeant || --plan->callsLeft != 0) {
            continue;
        }
        last = call.service;
        const std::size_t earlier = plan->strikes++;
        const std::string text =
            plan->text + (plan->areTextsNumbered && earlier != 0 ? " +" + std::to_string(earlier) : "");
        plan->callsLeft = 1;
        if (!plan->isLasting) {
            plans.erase(plan);
        }
        return text;
    }
    return std::nullopt;
}

}  // namespace flash::simulation
