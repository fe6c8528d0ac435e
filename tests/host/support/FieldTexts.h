// Texts with fields, as a test compares them.
#pragma once

#include <string>
#include <vector>

#include "host/Field.h"

namespace flash::host {

// Each with the host's own names.
inline std::vector<std::string> Plain(const std::vector<FieldText>& texts) {
    std::vector<std::string> plain;
    for (const FieldText& text : texts) {
        plain.push_back(text.Plain());
    }
    return plain;
}

}  // namespace flash::host
