// A host that has one property, whatever its name, and keeps what is reported.
#pragma once

#include <string>
#include <vector>

#include "tests/support/StubHost.h"

namespace flash::fuzz {

class PropertyHost final : public test::StubHost {
public:
    explicit PropertyHost(const std::string& text) : property(text) {}

    const char* GetProperty(const char*) override { return property.c_str(); }
    const char* ReportError(const char* text) override {
        errors.emplace_back(text);
        return nullptr;
    }

    std::string property;
    std::vector<std::string> errors;
};

}  // namespace flash::fuzz
