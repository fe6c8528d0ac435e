// The page of results, in three forms that say the same: for people, for programs, and for the build servers that read
// the XML of JUnit.
#pragma once

#include <string>

#include "validator/ValidatePlugin.h"

namespace flash::validator {

enum class PageForm { Text, Json, JUnit };

std::string TextPage(const ValidationReport& report);
std::string JsonPage(const ValidationReport& report);
std::string JUnitPage(const ValidationReport& report);

std::string PageOf(const ValidationReport& report, PageForm form);

// What the text says of one check: its topic's line when that is another one than `topic`, which it replaces.
std::string TextOf(const CheckResult& result, std::string& topic);

}  // namespace flash::validator
