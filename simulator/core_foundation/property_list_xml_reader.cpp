#include "simulator/core_foundation/array.h"
#include "simulator/core_foundation/boolean.h"
#include "simulator/core_foundation/data.h"
#include "simulator/core_foundation/date.h"
#include "simulator/core_foundation/dictionary.h"
#include "simulator/core_foundation/number.h"
#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/property_list_text.h"
#include "simulator/core_foundation/string.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>

namespace simulator {

namespace {

enum class element { plist, array, dict, key, string, integer, real, date, data, true_, false_ };

constexpr std::array<std::pair<std::string_view, element>, 11> elements{{
    {"plist", element::plist},
    {"array", element::array},
    {"dict", element::dict},
    {"key", element::key},
    {"string", element::string},
    {"integer", element::integer},
    {"real", element::real},
    {"date", element::date},
    {"data", element::data},
    {"true", element::true_},
    {"false", element::false_},
}};

element element_of(std::string_view name) {
    const auto* const found =
        std::ranges::find(elements, name, &std::pair<std::string_view, element>::first);
    if (found == elements.end()) {
        throw property_list_error("unknown element <" + std::string(name) + ">");
    }
    return found->second;
}

template<class T>
const T& value_or_error(const std::optional<T>& value, const char* what) {
    if (!value) {
        throw property_list_error(std::string("bad ") + what);
    }
    return *value;
}

/// The value of an element that holds text only, but for a key. Takes the text.
owned<const object> create_scalar(element kind, std::string& text) {
    if (kind == element::string) {
        return create_string_value(std::move(text));
    }
    const std::string_view trimmed = trim_xml_space(text);
    switch (kind) {
    case element::integer:
        return create_value<__CFNumber>(value_or_error(parse_integer(trimmed), "integer"));
    case element::real:
        return create_value<__CFNumber>(value_or_error(parse_real(trimmed), "real"));
    case element::date:
        return create_value<__CFDate>(value_or_error(parse_date(trimmed), "date"));
    case element::data:
        return create_value<__CFData>(value_or_error(parse_base64(text), "data"));
    default:
        break;
    }
    if (!trimmed.empty()) {
        throw property_list_error("text in a boolean");
    }
    return owned<const object>(kind == element::true_ ? kCFBooleanTrue : kCFBooleanFalse);
}

/// Keys, of which those that were met lately are shared: the dictionaries of a list mostly have the
/// same ones.
class key_maker {
public:
    owned<const object> make(std::string& text) {
        owned<const object>& known = lately_[std::hash<std::string>()(text) % lately_.size()];
        if (!known || static_cast<const __CFString&>(*known).utf8 != text) {
            known = create_string_value(std::move(text));
        }
        return retained(known.get());
    }

private:
    std::array<owned<const object>, 64> lately_;
};

/// Makes values out of elements as they open and close. What is open is kept on a stack of its own,
/// so the depth of a document costs no stack of the thread.
class xml_value_builder {
public:
    void open(std::string_view name) {
        const element kind = element_of(name);
        if (scalar_) {
            throw property_list_error("element <" + std::string(name) + "> inside a scalar");
        }
        check_place(kind);
        if (kind != element::plist && kind != element::array && kind != element::dict) {
            scalar_ = kind;
            return;
        }
        container& opened = containers_.emplace_back();
        opened.kind = kind;
        if (kind == element::array) {
            opened.array = create_value<__CFArray>();
        } else if (kind == element::dict) {
            opened.dictionary = create_value<__CFDictionary>();
        }
    }

    void add_text(std::string_view text) {
        if (scalar_) {
            text_ += text;
        } else if (!std::ranges::all_of(text, is_xml_space)) {
            throw property_list_error("text outside a value");
        }
    }

    void close() {
        if (scalar_) {
            if (*scalar_ == element::key) {
                containers_.back().key = keys_.make(text_);
            } else {
                add(create_scalar(*scalar_, text_));
            }
            scalar_.reset();
            text_.clear();
            return;
        }
        container closed = std::move(containers_.back());
        containers_.pop_back();
        if (closed.key) {
            throw property_list_error("key without a value");
        }
        if (closed.array) {
            add(std::move(closed.array));
        } else if (closed.dictionary) {
            add(std::move(closed.dictionary));
        }
    }

    owned<const object> take_value() {
        if (!value_) {
            throw property_list_error("no value");
        }
        return std::move(value_);
    }

private:
    struct container {
        element kind = element::plist;
        /// Of these two the one that `kind` names.
        owned<__CFArray> array;
        owned<__CFDictionary> dictionary;
        /// Waits for its value.
        owned<const object> key;
    };

    /// Whether an element of this kind may open here.
    void check_place(element kind) const {
        if ((kind == element::plist) != containers_.empty()) {
            throw property_list_error("<plist> must be the outermost element, and only that");
        }
        if (kind == element::plist) {
            return;
        }
        const container& outer = containers_.back();
        if (outer.kind == element::plist && value_) {
            throw property_list_error("second value in <plist>");
        }
        const bool key_may_come = outer.kind == element::dict && !outer.key;
        if (kind == element::key && !key_may_come) {
            throw property_list_error("key where a value must come");
        }
        if (kind != element::key && key_may_come) {
            throw property_list_error("value without a key");
        }
        // <plist> is on the stack as well.
        if (containers_.size() > property_list_depth_limit &&
            (kind == element::array || kind == element::dict)) {
            throw property_list_error("containers nested too deep");
        }
    }

    /// Of two equal keys the last wins.
    void add(owned<const object> value) {
        container& outer = containers_.back();
        if (outer.array) {
            outer.array->values.push_back(std::move(value));
        } else if (outer.dictionary) {
            outer.dictionary->table.set(*outer.key, value.get());
            outer.key.reset();
        } else {
            value_ = std::move(value);
        }
    }

    std::vector<container> containers_;
    key_maker keys_;
    std::optional<element> scalar_;
    std::string text_;
    owned<const object> value_;
};

/// One run of expat over a document. No exception may pass through expat, so the first one is kept
/// and stops it.
class xml_reader {
public:
    xml_reader() {
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), on_open, on_close);
        XML_SetCharacterDataHandler(parser_.get(), on_text);
        XML_SetStartDoctypeDeclHandler(parser_.get(), on_document_type);
        XML_SetSkippedEntityHandler(parser_.get(), on_skipped_entity);
    }

    owned<const object> read(std::span<const std::uint8_t> document) {
        // expat copies each piece, so these are small. It scans what is unfinished at the end of a
        // piece, such as a long comment, anew with the next, which is then as large at least: that
        // way no text is scanned more than a few times.
        constexpr std::size_t smallest_piece = std::size_t{1} << 16;
        constexpr std::size_t largest_piece = std::numeric_limits<int>::max() / 2;
        std::size_t given = 0;
        std::size_t unfinished = 0;
        bool is_last = false;
        while (!is_last) {
            const std::size_t size = std::clamp(unfinished, smallest_piece, largest_piece);
            const auto piece = document.subspan(given, std::min(document.size() - given, size));
            given += piece.size();
            is_last = given == document.size();
            const auto* text = reinterpret_cast<const char*>(piece.data());
            if (XML_Parse(parser_.get(), text, static_cast<int>(piece.size()), is_last) !=
                XML_STATUS_OK) {
                fail();
            }
            const XML_Index finished = XML_GetCurrentByteIndex(parser_.get());
            unfinished = given - static_cast<std::size_t>(std::max<XML_Index>(finished, 0));
        }
        return builder_.take_value();
    }

private:
    struct parser_deleter {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    [[noreturn]] void fail() {
        const std::string line =
            "line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ": ";
        if (!failure_) {
            throw property_list_error(line + XML_ErrorString(XML_GetErrorCode(parser_.get())));
        }
        try {
            std::rethrow_exception(failure_);
        } catch (const property_list_error& error) {
            throw property_list_error(line + error.what());
        }
    }

    template<class Step>
    static void guarded(void* context, Step step) noexcept {
        auto& self = *static_cast<xml_reader*>(context);
        // A stopped parser still reports the end of an empty element.
        if (self.failure_) {
            return;
        }
        try {
            step(self.builder_);
        } catch (...) {
            self.failure_ = std::current_exception();
            XML_StopParser(self.parser_.get(), XML_FALSE);
        }
    }

    static void XMLCALL on_open(void* context, const char* name, const char**) {
        guarded(context, [name](xml_value_builder& builder) { builder.open(name); });
    }

    static void XMLCALL on_close(void* context, const char*) {
        guarded(context, [](xml_value_builder& builder) { builder.close(); });
    }

    static void XMLCALL on_text(void* context, const char* text, int length) {
        guarded(context, [text, length](xml_value_builder& builder) {
            builder.add_text({text, static_cast<std::size_t>(length)});
        });
    }

    /// Entities, which can grow without bound, are declared in an internal subset; no property list
    /// has one.
    static void XMLCALL on_document_type(void* context, const char*, const char*, const char*,
                                         int has_internal_subset) {
        guarded(context, [has_internal_subset](xml_value_builder&) {
            if (has_internal_subset != 0) {
                throw property_list_error("declarations in the document type");
            }
        });
    }

    /// The external subset is never read, so an entity of it is a hole in the text.
    static void XMLCALL on_skipped_entity(void* context, const char* name, int) {
        guarded(context, [name](xml_value_builder&) {
            throw property_list_error("unknown entity &" + std::string(name) + ";");
        });
    }

    std::unique_ptr<XML_ParserStruct, parser_deleter> parser_{XML_ParserCreate(nullptr)};
    xml_value_builder builder_;
    std::exception_ptr failure_;
};

} // namespace

owned<const object> read_xml_property_list(std::span<const std::uint8_t> document) {
    return xml_reader().read(document);
}

} // namespace simulator
