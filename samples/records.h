#pragma once

// Reads vandrel's records, and judges a run by them.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A value of a property list.
struct plist_value {
    std::string kind; // The name of its element, such as "integer"; empty for a missing value.
    std::string text;
    std::vector<std::string> keys; // Of a dictionary; its values are in the same order.
    std::vector<plist_value> values;

    const plist_value& at(std::string_view key) const {
        static const plist_value missing;
        const auto found = std::find(keys.begin(), keys.end(), key);
        return found == keys.end() ? missing
                                   : values[static_cast<std::size_t>(found - keys.begin())];
    }
    // A whole number can be a real, such as 100.0.
    bool is_number(int number) const {
        char* end = nullptr;
        const double found = std::strtod(text.c_str(), &end);
        return (kind == "integer" || kind == "real") && end != text.c_str() && *end == '\0' &&
               found == number;
    }
    bool is_integer(int number) const { return kind == "integer" && is_number(number); }
};

// Reads a document that vandrel writes. Another XML parser can take its place.
class plist_parser {
public:
    explicit plist_parser(std::string_view document) : rest_(document) {}

    // Throws std::runtime_error for a document that is no property list.
    plist_value parse() {
        std::string_view name = tag();
        while (name.starts_with('?') || name.starts_with('!')) {
            name = tag();
        }
        expect(name.starts_with("plist"));
        plist_value result = element(tag(), 0);
        expect(tag() == "/plist" && blanks() == rest_.size());
        return result;
    }

private:
    static void expect(bool is_so) {
        if (!is_so) {
            throw std::runtime_error("not a property list");
        }
    }

    std::size_t blanks() const {
        return std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size());
    }

    // What is between < and >.
    std::string_view tag() {
        rest_.remove_prefix(blanks());
        expect(rest_.starts_with('<'));
        const std::size_t end = rest_.find('>');
        expect(end != std::string_view::npos);
        const std::string_view name = rest_.substr(1, end - 1);
        rest_.remove_prefix(end + 1);
        return name;
    }

    plist_value element(std::string_view name, int depth) {
        constexpr int deepest = 500;
        expect(!name.empty() && !name.starts_with('/') && depth < deepest);
        plist_value result;
        result.kind = name.substr(0, name.find('/'));
        if (name.ends_with('/')) {
            return result;
        }
        if (name != "dict" && name != "array") {
            result.text = text(name);
            return result;
        }
        const std::string end = "/" + result.kind;
        for (std::string_view each = tag(); each != end; each = tag()) {
            if (name == "dict") {
                expect(each == "key");
                result.keys.push_back(text("key"));
                each = tag();
            }
            result.values.push_back(element(each, depth + 1));
        }
        return result;
    }

    // The text of an element, up to the end of the element.
    std::string text(std::string_view name) {
        const std::size_t end = std::min(rest_.find('<'), rest_.size());
        std::string_view raw = rest_.substr(0, end);
        rest_.remove_prefix(end);
        const std::string_view end_tag = tag();
        expect(end_tag.starts_with('/') && end_tag.substr(1) == name);
        std::string result;
        while (!raw.empty()) {
            result += raw[0] == '&' ? reference(raw) : raw[0];
            raw.remove_prefix(raw[0] == '&' ? raw.find(';') + 1 : 1);
        }
        return result;
    }

    static char reference(std::string_view raw) {
        constexpr std::array<std::pair<std::string_view, char>, 5> references{
            {{"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}}};
        for (const auto& [name, character] : references) {
            if (raw.starts_with(name)) {
                return character;
            }
        }
        throw std::runtime_error("not a property list");
    }

    std::string_view rest_;
};

// Says how a run went. vandrel's exit status does not: it is 0 for a restore that has failed or
// timed out.
class run_judge {
public:
    explicit run_judge(bool enters_restore_mode) : enters_restore_mode_(enters_restore_mode) {}

    void take(const plist_value& record) {
        const std::string& type = record.at("Type").text;
        if (type == "RestoreStatus") {
            take_report(record.at("Value"));
        } else if (type == "InternalError") {
            take_error(record.at("Value"));
        } else if (type == "CommandSuccess" || type == "DeviceInfo" || type == "DeviceList") {
            note(done, 0, "done");
        }
    }

    // The exit status and the words of the verdict.
    std::pair<int, std::string> verdict() const {
        if (!found_.empty()) {
            return found_.begin()->second;
        }
        return {4, "not completed: the records end" + where_};
    }

private:
    // Of the findings of a run, the first in this order counts.
    enum finding { restored, device_failed, timed_out, tool_failed, done };

    void note(finding what, int status, std::string words) {
        found_.try_emplace(what, status, std::move(words));
    }

    void take_report(const plist_value& report) {
        // "Communication error, possibly USB disconnection"
        constexpr int usb_disconnection = 9;
        const plist_value& operation = report.at("Operation");
        const plist_value& progress = report.at("Progress");
        const plist_value& error = report.at("Error");
        if (!operation.is_number(0)) {
            where_ = " in " + report.at("Orv_OperationName").text + " at " + progress.text + " %";
        }
        const bool has_error = !error.kind.empty() && !error.is_integer(0);
        // An error in a report does not count if the device was restored.
        if (report.at("Status").text == "Failed" || has_error) {
            const bool is_lost = error.is_integer(usb_disconnection);
            note(device_failed, is_lost ? 3 : 1,
                 (is_lost ? "connection lost: " : "failed: ") + words_of(error) + where_);
        } else if (operation.is_number(0) && progress.is_number(100)) {
            note(restored, 0, "restored");
        } else if (operation.is_number(9) && enters_restore_mode_) {
            note(done, 0, "done");
        }
    }

    void take_error(const plist_value& error) {
        const plist_value& reason = error.at("FailureReason");
        const std::string& text = reason.kind.empty() ? error.at("Description").text : reason.text;
        if (error.at("Domain").text == "vandrel" && error.at("Code").is_integer(7)) {
            note(timed_out, 2, "timed out: " + text);
        } else {
            note(tool_failed, 1, "failed: " + words_of(error) + ": " + text);
        }
    }

    static std::string words_of(const plist_value& error) {
        if (error.kind == "integer") {
            return "error " + error.text;
        }
        const plist_value& code = error.at("Code");
        return code.kind.empty() ? "unknown error"
                                 : "error " + code.text + " (" + error.at("Domain").text + ")";
    }

    bool enters_restore_mode_;
    std::map<finding, std::pair<int, std::string>> found_;
    std::string where_;
};

using record_handler = std::function<void(std::string_view document, const plist_value& record)>;

// Takes records out of a stream. Counts those that cannot be read, and goes on.
class record_reader {
public:
    explicit record_reader(record_handler handle_record)
        : handle_record_(std::move(handle_record)) {}

    // Takes any part of the stream, and handles the records that it completes.
    void take(std::string_view piece) {
        // A document ends with </plist>. It also ends where the next one begins: vandrel cuts a
        // record short at U+0000.
        constexpr std::string_view end = "</plist>";
        constexpr std::string_view start = "<?xml";
        text_ += piece;
        for (;;) {
            const std::size_t whole = text_.find(end);
            const std::size_t size = std::min(
                text_.find(start, 1), whole == std::string::npos ? whole : whole + end.size());
            if (size == std::string::npos) {
                return;
            }
            handle(text_.substr(0, size));
            text_.erase(0, size);
        }
    }

    // The stream has ended. What is left of it, but for white space, cannot be read.
    void finish() { handle(std::exchange(text_, {})); }

private:
    void handle(std::string document) {
        erase_forbidden(document);
        if (document.find_first_not_of(" \t\r\n") == std::string::npos) {
            return;
        }
        plist_value record;
        try {
            record = plist_parser(document).parse();
        } catch (const std::runtime_error&) {
            // `record` stays empty.
        }
        if (record.at("Type").kind == "string" && !record.at("Value").kind.empty()) {
            handle_record_(document, record);
        } else {
            std::cerr << "unreadable records: " << ++unreadable_ << '\n';
        }
    }

    // XML forbids these characters, but texts of devices can have them.
    static void erase_forbidden(std::string& document) {
        std::erase_if(document, [](char c) {
            return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' && c != '\r';
        });
        for (const std::string_view each : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
            for (std::size_t at = document.find(each); at != std::string::npos;
                 at = document.find(each, at)) {
                document.erase(at, each.size());
            }
        }
    }

    record_handler handle_record_;
    std::string text_;
    int unreadable_ = 0;
};
