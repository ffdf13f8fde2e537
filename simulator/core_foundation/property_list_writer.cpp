#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/string.h"
#include "simulator/core_foundation/unique_id.h"

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

/// Nearly every record nests its containers no deeper.
constexpr std::size_t record_depth = 4;

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

/// Writes values line by line. A value at depth 0 is at the left margin.
class xml_writer {
public:
    xml_writer() {
        text.reserve(record_capacity);
        open_.reserve(record_depth);
        text += head;
    }

    void write(const object& value) {
        put(value);
        while (!open_.empty()) {
            put_next();
        }
    }

    std::string text;

private:
    struct entry {
        const __CFString* key;
        const object* value;
    };

    /// A container whose opening tag has been written. Kept apart from the stack of the thread,
    /// which nested containers could overflow.
    struct open_container {
        /// Null for a dictionary.
        const __CFArray* array;
        /// Of a dictionary, in the order in which they are written.
        std::vector<entry> entries;
        std::size_t next = 0;
    };

    /// Writes a scalar, or opens a container.
    void put(const object& value) {
        const std::size_t depth = open_.size();
        if (const auto* string = cast<__CFString>(&value)) {
            element("<string>", string->valid_part(), "</string>\n", depth);
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
            element("<date>", date_text(date->time), "</date>\n", depth);
        } else if (const auto* data = cast<__CFData>(&value)) {
            write_data(*data, depth);
        } else if (const auto* array = cast<__CFArray>(&value)) {
            open_array(*array, depth);
        } else if (const auto* dictionary = cast<__CFDictionary>(&value)) {
            open_dictionary(*dictionary, depth);
        } else if (const auto* id = cast<__CFKeyedArchiverUID>(&value)) {
            write_unique_id(*id, depth);
        } else {
            throw property_list_error(std::string(value.type().name()) + " in a property list");
        }
    }

    /// Goes on with the innermost container.
    void put_next() {
        open_container& innermost = open_.back();
        if (innermost.array != nullptr) {
            const auto& values = innermost.array->values;
            if (innermost.next == values.size()) {
                close("</array>\n");
            } else {
                put(*values[innermost.next++]);
            }
        } else if (innermost.next == innermost.entries.size()) {
            close("</dict>\n");
        } else {
            const auto [key, value] = innermost.entries[innermost.next++];
            element("<key>", key->valid_part(), "</key>\n", open_.size());
            put(*value);
        }
    }

    void indent(std::size_t depth) { text.append(depth, '\t'); }

    void line(std::string_view content, std::size_t depth) {
        indent(depth);
        text += content;
    }

    void element(std::string_view opening, std::string_view content, std::string_view closing,
                 std::size_t depth) {
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

    void write_data(const __CFData& data, std::size_t depth) {
        // Lines get shorter to the right, as if a tab were eight columns wide, up to a depth of
        // eight. The lines of deeper data are not indented any further; the tags are.
        const std::size_t line_depth = std::min<std::size_t>(depth, 8);
        const std::size_t line_length = 76 - 8 * line_depth;
        line("<data>\n", depth);
        const std::size_t line_bytes = line_length / 4 * 3;
        for (auto rest = data.bytes; !rest.empty();) {
            auto piece = rest.first(std::min(rest.size(), line_bytes));
            rest = rest.subspan(piece.size());
            indent(line_depth);
            while (!piece.empty()) {
                const auto group = piece.first(std::min<std::size_t>(piece.size(), 3));
                append_base64_group(text, group);
                piece = piece.subspan(group.size());
            }
            text += '\n';
        }
        line("</data>\n", depth);
    }

    /// In XML it is a dictionary.
    void write_unique_id(const __CFKeyedArchiverUID& id, std::size_t depth) {
        line("<dict>\n", depth);
        line("<key>CF$UID</key>\n", depth + 1);
        element("<integer>", std::to_string(id.value), "</integer>\n", depth + 1);
        line("</dict>\n", depth);
    }

    void open_array(const __CFArray& array, std::size_t depth) {
        check_depth(depth);
        if (array.values.empty()) {
            line("<array/>\n", depth);
            return;
        }
        line("<array>\n", depth);
        open_.push_back({&array, {}});
    }

    void open_dictionary(const __CFDictionary& dictionary, std::size_t depth) {
        check_depth(depth);
        std::vector<entry> entries;
        entries.reserve(dictionary.table.entries().size());
        for (const auto& [key, value] : dictionary.table.entries()) {
            const auto* string = cast<__CFString>(key.get());
            if (string == nullptr) {
                throw property_list_error(std::string(key->type().name()) +
                                          " as a key in a property list");
            }
            entries.push_back({string, value.get()});
        }
        if (entries.empty()) {
            line("<dict/>\n", depth);
            return;
        }
        std::ranges::sort(entries, [](const entry& left, const entry& right) {
            return is_before(*left.key, *right.key);
        });
        line("<dict>\n", depth);
        open_.push_back({nullptr, std::move(entries)});
    }

    void close(std::string_view tag) {
        open_.pop_back();
        line(tag, open_.size());
    }

    static void check_depth(std::size_t depth) {
        if (depth >= property_list_written_depth_limit) {
            throw property_list_error("containers nested too deep");
        }
    }

    std::vector<open_container> open_;
};

} // namespace

std::string write_xml_property_list(const object& value) {
    xml_writer writer;
    writer.write(value);
    writer.text += tail;
    return std::move(writer.text);
}

} // namespace simulator
