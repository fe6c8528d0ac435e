#include "host/line/Csv.h"

#include <algorithm>

namespace flash::host::line {
namespace {

std::string TextOfCell(std::string text) {
    if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos) {
        text.insert(text.begin(), '\'');
    }
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char character : text) {
        quoted += character == '"' ? "\"\"" : std::string(1, character);
    }
    return quoted + '"';
}

// What stands between quotes, from behind the first one on; `line` goes on behind the last one.
std::optional<std::string> TakeQuoted(std::string_view& line) {
    std::string text;
    while (!line.empty()) {
        const char character = line.front();
        line.remove_prefix(1);
        if (character != '"') {
            text += character;
        } else if (!line.empty() && line.front() == '"') {
            text += '"';
            line.remove_prefix(1);
        } else {
            return text;
        }
    }
    return std::nullopt;
}

}  // namespace

std::string CsvLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) {
        line += (line.empty() ? "" : ",") + TextOfCell(field);
    }
    return line + '\n';
}

std::optional<std::vector<std::string>> ParseCsvLine(std::string_view line) {
    std::vector<std::string> fields;
    while (true) {
        std::optional<std::string> field;
        if (line.starts_with('"')) {
            line.remove_prefix(1);
            field = TakeQuoted(line);
        } else {
            const std::size_t end = std::min(line.find(','), line.size());
            field = std::string(line.substr(0, end));
            line.remove_prefix(end);
        }
        if (!field || (!line.empty() && line.front() != ',')) {
            return std::nullopt;
        }
        fields.push_back(*field);
        if (line.empty()) {
            return fields;
        }
        line.remove_prefix(1);
    }
}

}  // namespace flash::host::line
