#pragma once

/// Prepares documents for expat. Apple's reader accepts more than XML: white space before the
/// declaration, and characters that XML does not allow.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace simulator {

/// A document prepared for expat.
class xml_source {
public:
    /// `document` outlives this. Throws property_list_error for broken UTF-16, and for UTF-16
    /// without a byte order mark.
    explicit xml_source(std::span<const std::uint8_t> document);
    xml_source(const xml_source&) = delete;
    xml_source& operator=(const xml_source&) = delete;

    std::string_view text() const { return text_; }
    /// The number of line feeds of the document before `text`.
    std::size_t lines_before() const { return lines_before_; }
    /// The encoding to give to expat. Null: the one that the document declares, or else UTF-8.
    const char* encoding() const { return is_converted_ ? "UTF-8" : nullptr; }
    /// Whether a declaration of `encoding` agrees with how the document is read.
    bool may_declare(std::string_view encoding) const;
    /// Whether characters are escaped in `text`, so that `append_unescaped` is needed.
    bool is_escaped() const { return is_escaped_; }

    /// Appends the unescaped `piece`, which is a part of `text`, to `result`. An escape may begin
    /// in one piece and end in the next.
    void append_unescaped(std::string& result, std::string_view piece);

private:
    void convert_utf16(std::span<const std::uint8_t> document);
    void escape();

    std::string storage_;
    std::string_view text_;
    std::size_t lines_before_ = 0;
    bool is_converted_ = false;
    bool is_escaped_ = false;
    bool is_inside_escape_ = false;
};

} // namespace simulator
