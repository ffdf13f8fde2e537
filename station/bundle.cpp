#include "station/bundle.h"

#include "station/text.h"
#include "station/zip_archive.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <set>
#include <string_view>
#include <utility>

#include <pugixml.hpp>

namespace vandrel::station {

namespace {

constexpr const char* manifest_name = "BuildManifest.plist";
/// Manifests are some MB. What is read ends here, whatever the zip says of itself.
constexpr std::size_t largest_manifest = std::size_t{16} * 1024 * 1024;
/// Elements, and attributes. Each takes some hundred bytes of memory. A manifest of some MB has a
/// tenth of this number.
constexpr std::ptrdiff_t most_elements = 500'000;
constexpr std::size_t largest_options = std::size_t{16} * 1024 * 1024;

[[noreturn]] void refuse(const std::filesystem::path& path, const std::string& why) {
    throw unusable_file(path, why);
}

std::string read_manifest(const zip_archive& zip) {
    const auto text = zip.read(manifest_name, largest_manifest);
    if (!text) {
        refuse(zip.path(), "is no IPSW: it has no BuildManifest.plist");
    }
    if (text->size() > largest_manifest || std::ranges::count(*text, '<') > most_elements ||
        std::ranges::count(*text, '=') > most_elements) {
        refuse(zip.path(), "is no IPSW that can be used: its BuildManifest.plist is too large");
    }
    return *text;
}

/// The dictionary that a property list is. `name` is what to call the file.
pugi::xml_node parse(pugi::xml_document& document, const std::string& text,
                     const std::filesystem::path& path, const std::string& name) {
    if (text.starts_with("bplist")) {
        refuse(path, name + " is a binary property list; it has to be an XML one");
    }
    const std::string clean = allowed_in_xml(text);
    const bool parsed = static_cast<bool>(document.load_buffer(
        clean.data(), clean.size(), pugi::parse_default | pugi::parse_comments | pugi::parse_pi,
        pugi::encoding_utf8));
    const pugi::xml_node root = document.child("plist").child("dict");
    if (!parsed || !root) {
        refuse(path, name + " is no property list with a dictionary");
    }
    return root;
}

/// This one, or the first behind it that is an element.
pugi::xml_node element_from(pugi::xml_node node) {
    while (node && node.type() != pugi::node_element) {
        node = node.next_sibling();
    }
    return node;
}

pugi::xml_node next_element(const pugi::xml_node& node) {
    return element_from(node.next_sibling());
}

bool is_only_element(const pugi::xml_node& element) {
    return element == element_from(element.parent().first_child()) && !next_element(element);
}

pugi::xml_node value_of(const pugi::xml_node& dictionary, std::string_view key) {
    for (pugi::xml_node each = dictionary.child("key"); each; each = each.next_sibling("key")) {
        if (key == each.child_value()) {
            return next_element(each);
        }
    }
    return {};
}

std::string text_in(const pugi::xml_node& dictionary, std::string_view key) {
    const pugi::xml_node value = value_of(dictionary, key);
    return std::string_view(value.name()) == "string" ? value.child_value() : "";
}

/// A number such as "0x8110".
std::optional<std::uint32_t> number_in(const pugi::xml_node& dictionary, std::string_view key) {
    const std::string text = text_in(dictionary, key);
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return {};
    }
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + 2, end, number, 16);
    if (result.ec != std::errc() || result.ptr != end) {
        return {};
    }
    return number;
}

std::optional<restore_behavior> behavior_in(const pugi::xml_node& info) {
    const std::string text = text_in(info, "RestoreBehavior");
    if (text == "Erase") {
        return restore_behavior::erase;
    }
    return text == "Update" ? std::optional(restore_behavior::update) : std::nullopt;
}

std::vector<build_identity> identities_in(const pugi::xml_node& manifest) {
    std::vector<build_identity> result;
    for (const pugi::xml_node& each : value_of(manifest, "BuildIdentities").children("dict")) {
        const auto chip = number_in(each, "ApChipID");
        const auto board = number_in(each, "ApBoardID");
        const build_identity identity{chip.value_or(0), board.value_or(0),
                                      behavior_in(value_of(each, "Info"))};
        // Manifests have the same one for several variants.
        if (chip && board && std::ranges::find(result, identity) == result.end()) {
            result.push_back(identity);
        }
    }
    return result;
}

/// Whether the element holds one text and nothing else. An empty one does.
bool is_one_text(const pugi::xml_node& element) {
    const pugi::xml_node text = element.first_child();
    return !text || (!text.next_sibling() &&
                     (text.type() == pugi::node_pcdata || text.type() == pugi::node_cdata));
}

/// Readers differ in what they take from a dictionary that is not plain: which of two equal keys,
/// which part of a text. The tool must not read another restore than the one that was asked about.
void refuse_ambiguous(const pugi::xml_node& dictionary, const std::filesystem::path& path) {
    std::set<std::string> keys;
    pugi::xml_node key = element_from(dictionary.first_child());
    while (key) {
        const pugi::xml_node value = next_element(key);
        if (std::string_view(key.name()) != "key" || !is_one_text(key) || !value ||
            (std::string_view(value.name()) == "string" && !is_one_text(value))) {
            refuse(path, "cannot be used: its keys and values are not plain texts");
        }
        if (!keys.insert(key.child_value()).second) {
            refuse(path, "cannot be used: it has a key twice: " + printable(key.child_value()));
        }
        key = next_element(value);
    }
}

} // namespace

unusable_file::unusable_file(const std::filesystem::path& path, const std::string& reason)
    : std::runtime_error(printable(text_of(path)) + " " + reason), why(reason) {}

bundle read_bundle(const std::filesystem::path& path) {
    const zip_archive zip(path);
    pugi::xml_document document;
    const pugi::xml_node manifest =
        parse(document, read_manifest(zip), path, "is no IPSW: its BuildManifest.plist");
    bundle result;
    result.path = path;
    result.size = zip.size();
    result.unpacked_size = zip.unpacked_size();
    result.version = text_in(manifest, "ProductVersion");
    result.build = text_in(manifest, "ProductBuildVersion");
    for (const pugi::xml_node& each :
         value_of(manifest, "SupportedProductTypes").children("string")) {
        result.models.emplace_back(each.child_value());
    }
    result.identities = identities_in(manifest);
    if (result.identities.empty()) {
        refuse(path, "is no IPSW that can be used: its BuildManifest.plist has no build identity");
    }
    return result;
}

void verify_bundle(const std::filesystem::path& path) {
    zip_archive(path).verify();
}

restore_options_file read_restore_options(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(largest_options + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.eof() || file.bad()) {
        refuse(path, file.gcount() > 0 ? "is too large for restore options" : "cannot be read");
    }
    text.resize(static_cast<std::size_t>(file.gcount()));
    pugi::xml_document document;
    const pugi::xml_node options = parse(document, text, path, "cannot be used: it");
    if (!is_only_element(options) || !is_only_element(options.parent())) {
        refuse(path, "cannot be used: it is more than one dictionary");
    }
    refuse_ambiguous(options, path);
    restore_options_file result;
    result.erases = text_in(options, "AuthInstallRestoreBehavior") != "Update";
    if (const std::string named = text_in(options, "RestoreBundlePath"); !named.empty()) {
        result.bundle = path_of(named);
    }
    result.content = std::move(text);
    return result;
}

} // namespace vandrel::station
