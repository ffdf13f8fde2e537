#include "station/slot_file.h"

#include "station/event_text.h"
#include "station/replace_file.h"
#include "station/text.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <system_error>

namespace vandrel::station {

namespace {

constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

struct numbered_name {
    std::string_view letters;
    std::string_view digits;
};

numbered_name split(std::string_view name) {
    const std::size_t end = name.find_last_not_of("0123456789");
    const std::size_t middle = end == std::string_view::npos ? 0 : end + 1;
    return {name.substr(0, middle), name.substr(middle)};
}

/// The number that is one more, with at least as many digits.
std::string one_more(std::string digits) {
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        if (*digit != '9') {
            ++*digit;
            return digits;
        }
        *digit = '0';
    }
    return "1" + digits;
}

std::string_view without_zeros(std::string_view digits) {
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

} // namespace

std::optional<slot_line> read_slot_line(std::string_view line) {
    line = trimmed(line);
    const std::size_t middle = line.find_first_of(blanks);
    if (middle == std::string_view::npos) {
        return {};
    }
    std::string_view number = line.substr(0, middle);
    const bool is_hexadecimal = number.starts_with("0x") || number.starts_with("0X");
    number.remove_prefix(is_hexadecimal ? 2 : 0);
    slot_line result;
    const char* end = number.data() + number.size();
    const auto read =
        std::from_chars(number.data(), end, result.location, is_hexadecimal ? 16 : 10);
    if (read.ec != std::errc() || read.ptr != end) {
        return {};
    }
    result.name = trimmed(line.substr(middle));
    return result;
}

std::string with_slot(std::string_view content, const slot_line& added) {
    const bool has_carriage_returns = content.find("\r\n") != std::string_view::npos;
    const std::string_view end = has_carriage_returns ? "\r\n" : "\n";
    std::string result;
    while (!content.empty()) {
        const std::size_t length = std::min(content.find('\n'), content.size() - 1) + 1;
        const std::string_view line = content.substr(0, length);
        content.remove_prefix(length);
        std::string_view text = line;
        if (result.empty() && text.starts_with("\xEF\xBB\xBF")) {
            text.remove_prefix(3);
        }
        const auto known = read_slot_line(text);
        if (!known || (known->location != added.location && known->name != added.name)) {
            result += line;
        }
    }
    if (!result.empty() && result.back() != '\n') {
        result += end;
    }
    return result.append(location_text(added.location) + " " + added.name).append(end);
}

std::string next_slot_name(const std::string& name, const std::set<std::string>& taken) {
    auto [letters, digits] = split(name);
    std::string number(digits);
    if (number.empty()) {
        letters = "A";
        number = "0";
    }
    std::string next;
    do {
        number = one_more(number);
        next = std::string(letters) + number;
    } while (taken.contains(next));
    return next;
}

bool is_before(std::string_view first, std::string_view second) {
    const numbered_name one = split(first);
    const numbered_name other = split(second);
    const std::string_view number = without_zeros(one.digits);
    const std::string_view other_number = without_zeros(other.digits);
    if (one.letters != other.letters) {
        return one.letters < other.letters;
    }
    if (number != other_number) {
        return number.size() != other_number.size() ? number.size() < other_number.size()
                                                    : number < other_number;
    }
    return first < second;
}

void replace_slot_file(const std::filesystem::path& file, std::string_view content) {
    std::error_code error;
    // A symbolic link stays, and the file that it names is replaced.
    std::filesystem::path target = std::filesystem::weakly_canonical(file, error);
    if (error) {
        target = file;
    }
    if (const auto why = replace_file(target, content)) {
        throw std::runtime_error(printable(text_of(file)) + " cannot be written" +
                                 (why->empty() ? "" : ": " + *why));
    }
}

} // namespace vandrel::station
