#include "station/markup.h"

#include "station/text.h"

namespace vandrel::station {

namespace {

std::string_view escape_of(char c) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return {};
    }
}

} // namespace

std::string markup_text(std::string_view text) {
    std::string result;
    for (const char c : printable(allowed_in_xml(text))) {
        const std::string_view escape = escape_of(c);
        escape.empty() ? result += c : result += escape;
    }
    return result;
}

} // namespace vandrel::station
