// What pictures (SVG) and pages (HTML) are written with. Texts of others come in only through `XmlText`.
#pragma once

#include <string>
#include <string_view>

namespace flash::host {

// Content or the value of an attribute, in XML and in HTML: nothing in the text ends an element, and every character
// may stand there. Control characters, and what is no UTF-8, are shown as "\x1B".
std::string XmlText(std::string_view text);

// A length or a place in a picture, the same on every machine: "12", "0.5", at most two decimals.
std::string Coordinate(double value);

// At most so many characters of the text; what is cut off is shown as "…".
std::string Shortened(std::string_view text, std::size_t mostCharacters);

// One element each. `rest` are further attributes, as they are written; texts are escaped here.
std::string SvgRectangle(double x, double y, double width, double height, std::string_view rest);
std::string SvgText(double x, double y, std::string_view classes, std::string_view text);
std::string SvgTitle(std::string_view text);  // shown when a pointer rests on the element around it

}  // namespace flash::host
