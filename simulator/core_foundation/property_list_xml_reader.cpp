#include "simulator/core_foundation/property_list.h"
#include "simulator/core_foundation/property_list_text.h"
#include "simulator/core_foundation/xml_source.h"
#include "simulator/core_foundation/xml_value_builder.h"

#include <expat.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <string_view>

namespace simulator {

namespace {

constexpr bool is_in_base64(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '+' || character == '/' ||
           character == '=';
}

/// One run of expat over a document. XML that property lists do not need, such as comments and
/// CDATA, is handled here as Apple's reader handles it. No exception may pass through expat, so the
/// first one is kept and stops it.
class xml_reader {
public:
    explicit xml_reader(std::span<const std::uint8_t> document) : source_(document) {
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), on_open, on_close);
        XML_SetCharacterDataHandler(parser_.get(), on_text);
        XML_SetCommentHandler(parser_.get(), on_comment);
        XML_SetProcessingInstructionHandler(parser_.get(), on_instruction);
        XML_SetCdataSectionHandler(parser_.get(), on_open_cdata, on_close_cdata);
        XML_SetXmlDeclHandler(parser_.get(), on_declaration);
        XML_SetStartDoctypeDeclHandler(parser_.get(), on_document_type);
        XML_SetSkippedEntityHandler(parser_.get(), on_skipped_entity);
    }

    owned<const object> read() {
        // expat copies each piece, so pieces are small. It scans an unfinished token at the end of
        // a piece, such as a long comment, again with the next piece. That piece is then at least
        // as large, so no text is scanned more than a few times.
        constexpr std::size_t smallest_piece = std::size_t{1} << 16;
        constexpr std::size_t largest_piece = std::numeric_limits<int>::max() / 2;
        const std::string_view document = source_.text();
        std::size_t given = 0;
        std::size_t unfinished = 0;
        bool is_last = false;
        while (!is_last) {
            const std::size_t size = std::clamp(unfinished, smallest_piece, largest_piece);
            const auto piece = document.substr(given, size);
            given += piece.size();
            is_last = given == document.size();
            const auto status =
                XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), is_last);
            if (is_finished_) {
                break;
            }
            if (status != XML_STATUS_OK) {
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
        const auto number = XML_GetCurrentLineNumber(parser_.get()) + source_.lines_before();
        const std::string line = "line " + std::to_string(number) + ": ";
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
        if (self.failure_ || self.is_finished_) {
            return;
        }
        try {
            step(self);
        } catch (...) {
            self.failure_ = std::current_exception();
            XML_StopParser(self.parser_.get(), XML_FALSE);
        }
    }

    /// The document from expat's position on.
    std::string_view source_here() const {
        return source_.text().substr(
            static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())));
    }

    /// Whether the current text is from an entity or a character reference.
    bool is_reference() const { return !is_in_cdata_ && source_here().starts_with('&'); }

    void add_text(std::string_view text) {
        const auto scalar = builder_.open_scalar();
        if (!scalar) {
            if (!std::ranges::all_of(text, is_xml_space) || (text.size() == 1 && is_reference())) {
                throw property_list_error("text outside a value");
            }
            return;
        }
        switch (*scalar) {
        case element::key:
        case element::string:
            add_string_text(text);
            break;
        case element::data:
            add_data_text(text);
            break;
        case element::integer:
        case element::date:
            if (is_reference()) {
                throw property_list_error("reference in a number or date");
            }
            builder_.add_text(text);
            break;
        case element::real:
            builder_.add_text(text);
            break;
        default:
            throw property_list_error("text in a boolean");
        }
    }

    /// Line ends are kept as they are in the document. expat changes all of them to line feeds.
    void add_string_text(std::string_view text) {
        if (text == "\n" && source_here().starts_with('\r')) {
            builder_.add_text(source_here().starts_with("\r\n") ? "\r\n" : "\r");
        } else if (source_.is_escaped() && !is_reference()) {
            std::string unescaped;
            source_.append_unescaped(unescaped, text);
            builder_.add_text(unescaped);
        } else {
            builder_.add_text(text);
        }
    }

    /// The letters and digits of a reference are read as base64.
    void add_data_text(std::string_view text) {
        if (!is_reference()) {
            builder_.add_text(text);
            return;
        }
        const std::string_view here = source_here();
        std::string digits(here.substr(0, here.find(';')));
        std::erase_if(digits, [](char character) { return !is_in_base64(character); });
        builder_.add_text(digits);
    }

    void refuse_in_scalar(const char* what) const {
        if (builder_.open_scalar()) {
            throw property_list_error(std::string(what) + " inside a scalar");
        }
    }

    void close() {
        // The end of an element without an end tag has no bytes.
        if (builder_.open_scalar() == element::data &&
            XML_GetCurrentByteCount(parser_.get()) == 0) {
            throw property_list_error("data without an end tag");
        }
        if (builder_.close()) {
            // The rest is ignored.
            is_finished_ = true;
            XML_StopParser(parser_.get(), XML_FALSE);
        }
    }

    void open_cdata() {
        const auto scalar = builder_.open_scalar();
        if (scalar != element::key && scalar != element::string && scalar != element::real) {
            throw property_list_error("CDATA where no text may be");
        }
        is_in_cdata_ = true;
    }

    static void XMLCALL on_open(void* context, const char* name, const char**) {
        guarded(context, [name](xml_reader& self) { self.builder_.open(name); });
    }

    static void XMLCALL on_close(void* context, const char*) {
        guarded(context, [](xml_reader& self) { self.close(); });
    }

    static void XMLCALL on_text(void* context, const char* text, int length) {
        guarded(context, [text, length](xml_reader& self) {
            self.add_text({text, static_cast<std::size_t>(length)});
        });
    }

    static void XMLCALL on_comment(void* context, const char*) {
        guarded(context, [](const xml_reader& self) { self.refuse_in_scalar("comment"); });
    }

    static void XMLCALL on_instruction(void* context, const char*, const char*) {
        guarded(context,
                [](const xml_reader& self) { self.refuse_in_scalar("processing instruction"); });
    }

    static void XMLCALL on_open_cdata(void* context) {
        guarded(context, [](xml_reader& self) { self.open_cdata(); });
    }

    static void XMLCALL on_close_cdata(void* context) {
        guarded(context, [](xml_reader& self) { self.is_in_cdata_ = false; });
    }

    static void XMLCALL on_declaration(void* context, const char*, const char* encoding, int) {
        guarded(context, [encoding](const xml_reader& self) {
            if (encoding != nullptr && !self.source_.may_declare(encoding)) {
                throw property_list_error("another encoding than the one that is declared");
            }
        });
    }

    /// Entities, which can grow without bound, are declared in an internal subset. Property lists
    /// have none.
    static void XMLCALL on_document_type(void* context, const char*, const char*, const char*,
                                         int has_internal_subset) {
        guarded(context, [has_internal_subset](const xml_reader&) {
            if (has_internal_subset != 0) {
                throw property_list_error("declarations in the document type");
            }
        });
    }

    /// The external subset is never read, so an entity of it would be missing from the text.
    static void XMLCALL on_skipped_entity(void* context, const char* name, int) {
        guarded(context, [name](const xml_reader&) {
            throw property_list_error("unknown entity &" + std::string(name) + ";");
        });
    }

    xml_source source_;
    std::unique_ptr<XML_ParserStruct, parser_deleter> parser_{XML_ParserCreate(source_.encoding())};
    xml_value_builder builder_;
    std::exception_ptr failure_;
    bool is_in_cdata_ = false;
    bool is_finished_ = false;
};

} // namespace

owned<const object> read_xml_property_list(std::span<const std::uint8_t> document) {
    return xml_reader(document).read();
}

} // namespace simulator
