#include "simulator/core_foundation/xml_source.h"

#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/property_list_text.h"
#include "simulator/core_foundation/utf8.h"

#include <algorithm>

namespace simulator {

namespace {

/// An escape is U+10FFFF and a letter for the character: '@' to '_' are the control characters, in
/// order. U+10FFFF itself is escaped too.
constexpr std::string_view escape_mark = "\xF4\x8F\xBF\xBF";
constexpr char first_control_letter = '@';
constexpr char letter_of_fffe = 'a';
constexpr char letter_of_ffff = 'b';
constexpr char letter_of_mark = 'c';
constexpr std::string_view fffe = "\xEF\xBF\xBE";
constexpr std::string_view ffff = "\xEF\xBF\xBF";

constexpr bool is_forbidden_control(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

/// In blocks, for which the compiler generates fast code.
bool has_forbidden_control(std::string_view text) {
    constexpr std::size_t block = 64;
    while (text.size() >= block) {
        unsigned found = 0;
        for (std::size_t i = 0; i < block; ++i) {
            const auto byte = static_cast<unsigned char>(text[i]);
            found |= static_cast<unsigned>(byte < 0x20) & static_cast<unsigned>(byte != '\t') &
                     static_cast<unsigned>(byte != '\n') & static_cast<unsigned>(byte != '\r');
        }
        if (found != 0) {
            return true;
        }
        text.remove_prefix(block);
    }
    return std::ranges::any_of(text, is_forbidden_control);
}

bool has_forbidden_character(std::string_view text) {
    return has_forbidden_control(text) || text.find(fffe) != text.npos ||
           text.find(ffff) != text.npos;
}

/// Appends the character for the letter of an escape.
void append_character_of(char letter, std::string& result) {
    if (letter < letter_of_fffe) {
        result += static_cast<char>(letter - first_control_letter);
    } else if (letter == letter_of_fffe) {
        result += fffe;
    } else {
        result += letter == letter_of_ffff ? ffff : escape_mark;
    }
}

bool is_equal_but_for_case(char left, char right) {
    return left == right ||
           ((left ^ right) == 0x20 && (left | 0x20) >= 'a' && (left | 0x20) <= 'z');
}

} // namespace

xml_source::xml_source(std::span<const std::uint8_t> document)
    : text_(reinterpret_cast<const char*>(document.data()), document.size()) {
    if (text_.starts_with("\xFE\xFF") || text_.starts_with("\xFF\xFE")) {
        convert_utf16(document);
    } else if (text_.substr(0, 2).find('\0') != text_.npos) {
        throw property_list_error("UTF-16 without a byte order mark");
    }
    while (!text_.empty() && is_xml_space(text_.front())) {
        lines_before_ += text_.front() == '\n' ? 1 : 0;
        text_.remove_prefix(1);
    }
    if (has_forbidden_character(text_)) {
        escape();
    }
}

bool xml_source::may_declare(std::string_view encoding) const {
    if (!is_converted_ && !is_escaped_) {
        return true;
    }
    const std::string_view own = is_converted_ ? "UTF-16" : "UTF-8";
    return std::ranges::equal(encoding.substr(0, own.size()), own, is_equal_but_for_case);
}

void xml_source::convert_utf16(std::span<const std::uint8_t> document) {
    const bool is_big_endian = document[0] == 0xFE;
    if (document.size() % 2 != 0 || !append_utf16(storage_, document.subspan(2), is_big_endian)) {
        throw property_list_error("text that is not UTF-16");
    }
    text_ = storage_;
    is_converted_ = true;
}

void xml_source::escape() {
    std::string escaped;
    const auto put = [&escaped](char letter) {
        escaped += escape_mark;
        escaped += letter;
    };
    for (auto rest = text_; !rest.empty();) {
        std::size_t taken = 3;
        if (is_forbidden_control(rest.front())) {
            put(static_cast<char>(first_control_letter + rest.front()));
            taken = 1;
        } else if (rest.starts_with(fffe)) {
            put(letter_of_fffe);
        } else if (rest.starts_with(ffff)) {
            put(letter_of_ffff);
        } else if (rest.starts_with(escape_mark)) {
            put(letter_of_mark);
            taken = escape_mark.size();
        } else {
            escaped += rest.front();
            taken = 1;
        }
        rest.remove_prefix(taken);
    }
    storage_ = std::move(escaped);
    text_ = storage_;
    is_escaped_ = true;
}

void xml_source::append_unescaped(std::string& result, std::string_view piece) {
    while (!piece.empty()) {
        if (is_inside_escape_) {
            append_character_of(piece.front(), result);
            piece.remove_prefix(1);
        }
        const std::size_t plain = std::min(piece.find(escape_mark), piece.size());
        result += piece.substr(0, plain);
        piece.remove_prefix(plain);
        is_inside_escape_ = !piece.empty();
        piece.remove_prefix(is_inside_escape_ ? escape_mark.size() : 0);
    }
}

} // namespace simulator
