// Which of a host's calls are to fail, and with what text. A call that has no error text, `GetProperty` or
// `GetDirectoryPath`, fails by answering null.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "validator/simulation/HostCall.h"

namespace flash::simulation {

inline constexpr char kFailureText[] = "the probe was pulled out";

class Failures {
public:
    // The n-th call from now on (1 is the next one) of a service, or of any.
    void FailNth(Service service, std::size_t n, const std::string& text = kFailureText);
    void FailNthOfAny(std::size_t n, const std::string& text = kFailureText);
    void FailNthWithErrorText(std::size_t n, const std::string& text = kFailureText);  // counts only such calls
    // As `FailNthOfAny`, and all calls behind it, each with a text of its own: "text +1", "text +2", …
    void FailAllFrom(std::size_t n, const std::string& text = kFailureText);
    void FailEvery(Service service, const std::string& text = kFailureText);
    // The n-th `GetProperty` of one name.
    void HideProperty(const std::string& name, std::size_t n);
    void Clear() { plans.clear(); }

    // The service whose call failed last, if one did since the last plan was made.
    std::optional<Service> Last() const { return last; }

    // For the host: counts this call, and gives its text when it is to fail.
    std::optional<std::string> Strike(const HostCall& call);

private:
    struct Plan {
        std::optional<Service> service;  // none: any
        std::string property;            // empty: any
        std::size_t callsLeft;           // until it strikes; 1: at the next call that it is about
        bool isLasting;
        std::string text;
        bool areTextsNumbered = false;
        bool isAboutErrorTexts = false;
        std::size_t strikes = 0;  // so far
    };

    void Add(Plan plan);

    std::vector<Plan> plans;
    std::optional<Service> last;
};

}  // namespace flash::simulation
