#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/string.h"

#include <algorithm>
#include <string_view>

namespace simulator {

namespace {

constexpr std::string_view head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                  "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                  "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                  "<plist version=\"1.0\">\n";
constexpr std::string_view tail = "</plist>\n";

/// So many bytes hold nearly every record without growing.
constexpr std::size_t record_capacity = 1'024;

/// The base64 text of one to three bytes.
void append_base64_group(std::string& text, std::span<const std::uint8_t> bytes) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        bits = bits << 8 | (i < bytes.size() ? bytes[i] : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        text += i <= bytes.size() ? digits[bits >> (18 - 6 * i) & 0x3F] : '=';
    }
}

/// Writes values line by line. A value at depth 0 stands at the left margin.
class xml_writer {
public:
    xml_writer() {
        text.reserve(record_capacity);
        text += head;
    }

    void write(const object& value, int depth) {
        if (const auto* string = cast<__CFString>(&value)) {
            element("<string>", string->utf8, "</string>\n", depth);
        } else if (const auto* number = cast<__CFNumber>(&value)) {
            const auto digits = number_text(number->value);
            if (std::holds_alternative<double>(number->value)) {
                element("<real>", digits, "</real>\n", depth);
            } else {
                element("<integer>", digits, "</integer>\n", depth);
            }
        } else if (const auto* boolean = cast<__CFBoolean>(&value)) {
            line(boolean->value ? "<true/>\n" : "<false/>\n", depth);
        } else if (const auto* date = cast<__CFDate>(&value)) {
            write_date(*date, depth);
        } else if (const auto* data = cast<__CFData>(&value)) {
            write_data(*data, depth);
        } else if (const auto* array = cast<__CFArray>(&value)) {
            write_array(*array, depth);
        } else if (const auto* dictionary = cast<__CFDictionary>(&value)) {
            write_dictionary(*dictionary, depth);
        } else {
            throw property_list_error(std::string(value.type().name()) + " in a property list");
        }
    }

    std::string text;

private:
    void indent(int depth) { text.append(static_cast<std::size_t>(depth), '\t'); }

    void line(std::string_view content, int depth) {
        indent(depth);
        text += content;
    }

    void element(std::string_view opening, std::string_view content, std::string_view closing,
                 int depth) {
        line(opening, depth);
        append_escaped(content);
        text += closing;
    }

    void append_escaped(std::string_view content) {
        const auto is_special = [](char c) { return c == '&' || c == '<' || c == '>'; };
        for (;;) {
            const auto special = std::ranges::find_if(content, is_special);
            text.append(content.begin(), special);
            if (special == content.end()) {
                return;
            }
            text += *special == '&' ? "&amp;" : *special == '<' ? "&lt;" : "&gt;";
            content = {special + 1, content.end()};
        }
    }

    void write_date(const __CFDate& date, int depth) {
        const auto written = date_text(date.time);
        if (!written) {
            throw property_list_error("date outside the years 0 to 9999");
        }
        element("<date>", *written, "</date>\n", depth);
    }

    void write_data(const __CFData& data, int depth) {
        // Lines get shorter to the right, as if a tab were eight columns wide, down to one group.
        const auto line_length = static_cast<std::size_t>(std::max(76 - 8 * depth, 4));
        line("<data>\n", depth);
        const std::size_t line_bytes = line_length / 4 * 3;
        for (auto rest = data.bytes; !rest.empty();) {
            auto piece = rest.first(std::min(rest.size(), line_bytes));
            rest = rest.subspan(piece.size());
            indent(depth);
            while (!piece.empty()) {
                const auto group = piece.first(std::min<std::size_t>(piece.size(), 3));
                append_base64_group(text, group);
                piece = piece.subspan(group.size());
            }
            text += '\n';
        }
        line("</data>\n", depth);
    }

    void write_array(const __CFArray& array, int depth) {
        check_depth(depth);
        if (array.values.empty()) {
            line("<array/>\n", depth);
            return;
        }
        line("<array>\n", depth);
        for (const auto& value : array.values) {
            write(*value, depth + 1);
        }
        line("</array>\n", depth);
    }

    void write_dictionary(const __CFDictionary& dictionary, int depth) {
        check_depth(depth);
        std::vector<std::pair<std::string_view, const object*>> entries;
        for (const auto& [key, value] : dictionary.table.entries()) {
            const auto* string = cast<__CFString>(key.get());
            if (string == nullptr) {
                throw property_list_error(std::string(key->type().name()) +
                                          " as a key in a property list");
            }
            entries.emplace_back(string->utf8, value.get());
        }
        if (entries.empty()) {
            line("<dict/>\n", depth);
            return;
        }
        std::ranges::sort(entries);
        line("<dict>\n", depth);
        for (const auto& [key, value] : entries) {
            element("<key>", key, "</key>\n", depth + 1);
            write(*value, depth + 1);
        }
        line("</dict>\n", depth);
    }

    /// What is written can be read back; and a container that holds itself ends here.
    static void check_depth(int depth) {
        if (depth >= property_list_depth_limit) {
            throw property_list_error("containers nested too deep");
        }
    }
};

} // namespace

std::string write_xml_property_list(const object& value) {
    xml_writer writer;
    writer.write(value, 0);
    writer.text += tail;
    return std::move(writer.text);
}

} // namespace simulator
