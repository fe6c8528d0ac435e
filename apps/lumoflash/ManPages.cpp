#include "apps/lumoflash/ManPages.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace flash::app {
namespace {

// Nothing in it is a request or an escape; what stands between backticks is bold.
std::string Escaped(const std::string& text) {
    std::string escaped;
    bool isBold = false;
    for (const char c : text) {
        if (c == '`') {
            isBold = !isBold;
            escaped += isBold ? "\\fB" : "\\fR";
        } else if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) {
            escaped += std::string("\\&") + c;
        } else if (c == '\\') {
            escaped += "\\e";
        } else if (c == '-') {
            escaped += "\\-";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

// The same in lines of fewer than 80 characters, as readers of pages want them.
std::string Filled(const std::string& text) {
    constexpr std::size_t kLongest = 78;
    std::string filled, line;
    std::istringstream words(Escaped(text));
    for (std::string word; words >> word; line += word) {
        if (line.size() + 1 + word.size() > kLongest) {
            filled += line + "\n";
            line = word.starts_with(".") || word.starts_with("'") ? "\\&" : "";
        } else if (!line.empty()) {
            line += " ";
        }
    }
    return filled + line;
}

std::string PageName(const std::string& command) {
    std::string name = command;
    std::ranges::replace(name, ' ', '-');
    return name;
}

std::string Upper(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

// Behind a text that ends without a full stop another sentence may follow.
std::string Sentence(const std::string& text) {
    return text.empty() || text.ends_with('.') || text.ends_with('!') || text.ends_with('?') ? text : text + ".";
}

// "Programs files." as a name's own line has it: without the full stop.
std::string Brief(const std::string& help) { return help.ends_with(".") ? help.substr(0, help.size() - 1) : help; }

std::string NameLine(const std::string& name, const CommandText& command) {
    return Filled(name + " - " + Brief(command.help));
}

std::string Repeated(const OptionText& option) { return option.isRepeated && option.isWord ? " ..." : ""; }

std::string Synopsis(const CommandText& command) {
    std::string text = fmt::format("\\fB{}\\fR [\\fIoption\\fR ...]", Escaped(command.name));
    for (const OptionText& option : command.options) {
        if (option.isWord) {
            const std::string word = fmt::format("\\fI{}\\fR{}", Escaped(option.names.front()), Repeated(option));
            text += option.isRequired ? " " + word : " [" + word + "]";
        }
    }
    return text + (command.commands.empty() ? "" : " \\fIcommand\\fR ...") + "\n";
}

std::string OptionEntry(const OptionText& option) {
    std::string head;
    for (const std::string& name : option.names) {
        head += fmt::format("{}\\f{}{}\\fR", head.empty() ? "" : ", ", option.isWord ? 'I' : 'B', Escaped(name));
    }
    if (!option.isWord && !option.value.empty()) {
        head += fmt::format(" \\fI{}\\fR", Escaped(option.value));
    }
    std::string text = fmt::format(".TP\n{}\n{}\n", head + Repeated(option), Filled(Sentence(option.help)));
    if (option.isWord && option.value.find('|') != std::string::npos) {
        text += fmt::format("One of \\fI{}\\fR.\n", Escaped(option.value));
    }
    if (!option.usualValue.empty()) {
        text += fmt::format("Without it: {}.\n", Escaped(option.usualValue));
    }
    return text +
           (option.variable.empty() ? "" : fmt::format("The variable \\fB{}\\fR stands for it.\n", option.variable));
}

std::string OptionSection(const std::string& title, const CommandText& command) {
    std::string text = ".SH " + title + "\n";
    for (const OptionText& option : command.options) {
        text += OptionEntry(option);
    }
    return text;
}

std::string CommandSection(const CommandText& command) {
    std::string text;
    for (const CommandText& each : command.commands) {
        text += fmt::format(".TP\n.BR {} (1)\n{}\n", Escaped(PageName(each.name)), Filled(each.help));
    }
    return text.empty() ? "" : ".SH COMMANDS\n" + text;
}

std::string ExitStatusSection(const CommandText& program) {
    std::string text;
    for (const std::string& code : program.exitCodes) {
        const std::size_t space = code.find(' ');
        text += fmt::format(".TP\n\\fB{}\\fR\n{}\n", code.substr(0, space), Filled(code.substr(space + 1)));
    }
    const std::string notes = program.notes.empty() ? "" : ".PP\n" + Filled(program.notes) + "\n";
    return text.empty() ? "" : ".SH EXIT STATUS\n" + text + notes;
}

// A command line as a shell takes it from several lines, none of which is wider than a terminal; options stay with
// their values.
std::string Broken(const std::string& commandLine) {
    constexpr std::size_t kWidest = 70;
    std::string broken, line, item;
    const auto end = [&] {
        if (!line.empty() && line.size() + 1 + item.size() > kWidest) {
            broken += line + " \\\n";
            line = "      " + item;
        } else {
            line += (line.empty() ? "  " : " ") + item;
        }
        item.clear();
    };
    std::istringstream words(commandLine);
    for (std::string word; words >> word;) {
        if (!item.empty() && (word.starts_with("-") || !item.starts_with("-") || item.find(' ') != std::string::npos)) {
            end();
        }
        item += (item.empty() ? "" : " ") + word;
    }
    end();
    return broken + line + "\n";
}

std::string ExampleSection(const std::string& example) {
    std::string text;
    std::istringstream lines(example);
    for (std::string line; std::getline(lines, line);) {
        text += line.empty() ? "" : Broken(line);
    }
    return text.empty() ? "" : fmt::format(".SH EXAMPLE\n.nf\n{}.fi\n", Escaped(text));
}

class Writer {
public:
    Writer(const CommandText& theProgram, const std::string& version, const std::string& date)
        : program(theProgram), source(fmt::format("{} \"lumo-flash {}\" \"User commands\"", date, version)) {
        Add(program, nullptr);
    }

    std::map<std::string, std::string> pages;

private:
    void Add(const CommandText& command, const CommandText* parent) {
        const std::string name = PageName(command.name);
        std::string page =
            fmt::format(".TH {} 1 {}\n.nh\n.SH NAME\n{}\n.SH SYNOPSIS\n{}.SH DESCRIPTION\n{}\n", Upper(name), source,
                        NameLine(name, command), Synopsis(command), Filled(command.help));
        page += CommandSection(command) + OptionSection("OPTIONS", command);
        if (parent != nullptr) {
            page += OptionSection("OPTIONS OF EVERY COMMAND", program);
        }
        page += ExitStatusSection(program) + ExampleSection(command.example);
        page += parent == nullptr ? "" : fmt::format(".SH SEE ALSO\n.BR {} (1)\n", Escaped(PageName(parent->name)));
        pages[name + ".1"] = page;
        for (const CommandText& each : command.commands) {
            Add(each, &command);
        }
    }

    const CommandText& program;
    std::string source;
};

}  // namespace

std::map<std::string, std::string> ManPages(const CommandText& program, const std::string& version,
                                            const std::string& date) {
    return Writer(program, version, date).pages;
}

int WriteManual(const std::filesystem::path& folder, const std::map<std::string, std::string>& pages) {
    std::filesystem::create_directories(folder);
    for (const auto& [name, page] : pages) {
        std::ofstream file(folder / name, std::ios::binary);
        file << page;
        if (!file.flush()) {
            std::fprintf(stderr, "Cannot write %s\n", (folder / name).c_str());
            return 1;
        }
    }
    return 0;
}

}  // namespace flash::app
