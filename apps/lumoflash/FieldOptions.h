// What the command line calls the host's fields.
#pragma once

#include <string>

#include "host/Field.h"

namespace flash::app {

// The option that gives the field, as it is typed.
std::string OptionOf(host::Field field);

// The host's text in the user's words.
inline std::string InWords(const host::FieldText& text) { return text.With(OptionOf); }

}  // namespace flash::app
