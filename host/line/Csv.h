// Lines of comma-separated values, as RFC 4180 has them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace flash::host::line {

// With its line end. What begins like a formula gets a ' in front: spreadsheets would run it.
std::string CsvLine(const std::vector<std::string>& fields);

// The fields of one line without its end; null when a quote is not closed or something follows it.
std::optional<std::vector<std::string>> ParseCsvLine(std::string_view line);

}  // namespace flash::host::line
