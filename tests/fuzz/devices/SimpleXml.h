// A second reader of XML, for the plain part of it that device descriptions are written in: elements, attributes
// without escapes, comments, text. It says nothing about texts that use more of XML.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace flash::fuzz {

struct Element {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<Element> children;
    bool hasText = false;

    // Null unless the element has it once.
    const std::string* Attribute(std::string_view wanted) const {
        const std::string* found = nullptr;
        for (const auto& [attribute, value] : attributes) {
            if (attribute == wanted) {
                if (found != nullptr) {
                    return nullptr;
                }
                found = &value;
            }
        }
        return found;
    }
};

class SimpleXmlReader {
public:
    // The document's element, without a name when there is another one; nothing for what is not plain.
    static std::optional<Element> Read(std::string_view text) {
        SimpleXmlReader reader(text);
        reader.Take("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
        reader.SkipBlanksAndComments();
        std::optional<Element> root = reader.ReadElement(0);
        for (reader.SkipBlanksAndComments(); root && !reader.rest.empty(); reader.SkipBlanksAndComments()) {
            root->name = "";
            if (!reader.ReadElement(0)) {
                return std::nullopt;
            }
        }
        return root;
    }

private:
    static constexpr int kDeepest = 20;

    explicit SimpleXmlReader(std::string_view text) : rest(text) {}

    bool Take(std::string_view expected) {
        const bool isThere = rest.starts_with(expected);
        rest.remove_prefix(isThere ? expected.size() : 0);
        return isThere;
    }

    std::string_view TakeWhile(std::string_view characters) {
        const std::string_view taken = rest.substr(0, rest.find_first_not_of(characters));
        rest.remove_prefix(taken.size());
        return taken;
    }

    bool SkipBlanks() { return !TakeWhile(" \t\r\n").empty(); }

    void SkipBlanksAndComments() {
        while (SkipBlanks() || SkipComment()) {
        }
    }

    bool SkipComment() {
        const std::size_t end = rest.find("--", 4);
        if (!rest.starts_with("<!--") || end == std::string_view::npos || !rest.substr(end).starts_with("-->")) {
            return false;
        }
        rest.remove_prefix(end + 3);
        return true;
    }

    std::optional<std::string> ReadName() {
        constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
        const bool startsWell = !rest.empty() && kLetters.find(rest.front()) != std::string_view::npos;
        return startsWell ? std::optional(std::string(TakeWhile(std::string(kLetters) + "0123456789"))) : std::nullopt;
    }

    static bool IsPlain(std::string_view text) {
        for (const char character : text) {
            if (character < ' ' || character > '~' || character == '<' || character == '&') {
                return false;
            }
        }
        return true;
    }

    bool ReadAttribute(Element& element) {
        const std::optional<std::string> name = ReadName();
        SkipBlanks();
        const bool hasValue = name && Take("=");
        SkipBlanks();
        if (!hasValue || rest.empty() || (rest.front() != '"' && rest.front() != '\'')) {
            return false;
        }
        const std::size_t end = rest.find(rest.front(), 1);
        if (end == std::string_view::npos || !IsPlain(rest.substr(1, end - 1))) {
            return false;
        }
        element.attributes.emplace_back(*name, rest.substr(1, end - 1));
        rest.remove_prefix(end + 1);
        return true;
    }

    std::optional<Element> ReadElement(int depth) {
        Element element;
        const std::optional<std::string> name = Take("<") ? ReadName() : std::nullopt;
        if (!name || depth > kDeepest) {
            return std::nullopt;
        }
        element.name = *name;
        for (bool isSeparated = SkipBlanks(); !Take("/>"); isSeparated = SkipBlanks()) {
            if (Take(">")) {
                return ReadContent(element, depth) ? std::optional(element) : std::nullopt;
            }
            if (!isSeparated || !ReadAttribute(element)) {
                return std::nullopt;
            }
        }
        return element;
    }

    // To the end of the closing tag.
    bool ReadContent(Element& element, int depth) {
        while (!Take("</" + element.name)) {
            if (SkipBlanks() || SkipComment()) {
                continue;
            }
            if (rest.starts_with('<')) {
                std::optional<Element> child = ReadElement(depth + 1);
                if (!child) {
                    return false;
                }
                element.children.push_back(std::move(*child));
            } else {
                const std::string_view text = rest.substr(0, rest.find_first_of("<\t\r\n"));
                if (text.empty() || !IsPlain(text)) {
                    return false;
                }
                element.hasText = true;
                rest.remove_prefix(text.size());
            }
        }
        SkipBlanks();
        return Take(">");
    }

    std::string_view rest;
};

}  // namespace flash::fuzz
