// See message_walk.h. The parser is quick because it is lenient; what it lets pass and no message holds is refused
// here. The depth is bounded by the schema, in which no class leads back to itself; the parser's tree by the number of
// elements and attributes, which are counted before it is built.
#include "hostkit/message_walk.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <pugixml.hpp>

#include "hostkit/message_escape.h"
#include "hostkit/message_text.h"

namespace hostkit {
namespace {

/// Everything that the parser would otherwise pass over is asked for, so that it can be refused.
constexpr unsigned parse_options = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol |
                                   pugi::parse_wconv_attribute | pugi::parse_ws_pcdata_single | pugi::parse_comments |
                                   pugi::parse_pi | pugi::parse_doctype | pugi::parse_declaration |
                                   pugi::parse_fragment;

/// Thrown within this file for a text that is no message.
struct bad_message {};

template <class Number>
Number parse_number(std::string_view text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) throw bad_message();
    return number;
}

/// How often a character stands in the text and `unless` does not follow it.
std::size_t count_of(std::string_view text, char wanted, char unless) {
    std::size_t count = 0;
    for (std::size_t at = text.find(wanted); at != std::string_view::npos; at = text.find(wanted, at + 1))
        count += at + 1 == text.size() || text[at + 1] != unless ? 1 : 0;
    return count;
}

/// True for what follows the ampersand of a reference to a character, which the parser resolves. It leaves any other as
/// it stands, which would be a guess at what was meant; and a number that is none of a character it would wrap around,
/// or take for the end of the text.
bool is_reference(std::string_view text) {
    for (const std::string_view name : {"amp;", "lt;", "gt;", "quot;", "apos;"})
        if (text.starts_with(name)) return true;
    if (!text.starts_with('#')) return false;
    const bool is_hex = text.starts_with("#x");
    unsigned code = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + (is_hex ? 2 : 1), end, code, is_hex ? 16 : 10);
    const bool is_surrogate = code >= 0xd800 && code <= 0xdfff;
    return error == std::errc() && rest != end && *rest == ';' && code != 0 && code <= 0x10ffff && !is_surrogate;
}

bool is_too_large(std::string_view text) {
    using namespace message_text_limits;
    // A shorter text cannot hold as many of anything.
    return text.size() > bytes || (text.size() > elements && count_of(text, '<', '/') > elements) ||
           (text.size() > attributes && count_of(text, '=', '\0') > attributes);
}

/// Where the first byte stands that the parser would let pass and no message holds; npos when there is none.
std::size_t find_fault(std::string_view text) {
    const std::size_t zero = text.find('\0');
    text = text.substr(0, zero);
    for (std::size_t at = text.find('&'); at != std::string_view::npos; at = text.find('&', at + 1))
        if (!is_reference(text.substr(at + 1))) return at;
    return zero;
}

bool is_attribute(const message_field& field) {
    return field.kind == field_kind::integer || field.kind == field_kind::string;
}

/// The fields of one element. Each but a list occurs once.
class element_fields {
public:
    explicit element_fields(const message_class& described) : fields_(described.fields) {}

    const message_field& take(std::string_view name, bool attribute) {
        // Fields mostly come in the table's order, and a list repeats its own.
        for (std::size_t tried = 0, at = next_; tried < fields_.size(); ++tried, ++at) {
            if (at >= fields_.size()) at = 0;
            const message_field& field = fields_[at];
            if (field.name != name || is_attribute(field) != attribute) continue;
            next_ = at;
            const bool once = attribute || field.kind == field_kind::child;
            if (once && (seen_ >> at & 1u) != 0) throw bad_message();
            seen_ |= std::uint64_t{1} << at;
            return field;
        }
        throw bad_message();
    }

private:
    const std::span<const message_field> fields_;  // fewer than 64, as the schema has it
    std::size_t next_ = 0;
    std::uint64_t seen_ = 0;
};

bool is_blank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// Takes the element out that the parser was in when it gave up, unless its tag was read to the end: half an attribute
/// is none. `text` is what was parsed.
void drop_half_tag(pugi::xml_document& parsed, std::string_view text, std::size_t fault) {
    pugi::xml_node last = parsed.last_child();
    while (last.last_child())
        last = last.last_child();
    while (last && last.type() != pugi::node_element)
        last = last.parent();
    if (!last) return;
    const std::ptrdiff_t name = last.offset_debug();
    std::size_t at = name < 0 ? std::string_view::npos : text.find_first_of("\"'>", static_cast<std::size_t>(name));
    while (at != std::string_view::npos && text[at] != '>') {
        at = text.find(text[at], at + 1);
        if (at != std::string_view::npos) at = text.find_first_of("\"'>", at + 1);
    }
    if (at >= fault) last.parent().remove_child(last);
}

class message_walk {
public:
    explicit message_walk(message_sink& into) : into_(into) {}

    /// The only element of the document is the message.
    void document(const pugi::xml_document& parsed, const message_class& described) {
        bool found = false;
        for (pugi::xml_node node = parsed.first_child(); node; node = node.next_sibling()) {
            if (node.type() == pugi::node_declaration && node == parsed.first_child()) continue;
            if (node.type() == pugi::node_pcdata && is_blank(node.value())) continue;
            if (node.type() != pugi::node_element || found || described.name != node.name()) throw bad_message();
            found = true;
            element(node, described);
        }
        if (!found) throw bad_message();
    }

private:
    void element(pugi::xml_node node, const message_class& described) {
        element_fields fields(described);
        for (pugi::xml_attribute attribute = node.first_attribute(); attribute;
             attribute = attribute.next_attribute()) {
            const message_field& field = fields.take(attribute.name(), true);
            if (field.kind == field_kind::integer)
                into_.integer(field, parse_number<long long>(attribute.value()));
            else
                into_.text(field, unescaped(attribute.value()));
        }
        for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
            if (child.type() == pugi::node_element)
                member(child, fields.take(child.name(), false));
            else if ((child.type() != pugi::node_pcdata && child.type() != pugi::node_cdata) ||
                     !is_blank(child.value()))
                throw bad_message();
        }
    }

    void member(pugi::xml_node node, const message_field& field) {
        if (field.kind == field_kind::string_list) return into_.text(field, unescaped(entry_text(node)));
        if (field.kind == field_kind::int_list) return into_.entry(field, parse_number<int>(entry_text(node)));
        into_.open(field);
        element(node, *field.content);
        into_.close();
    }

    /// The text of an entry of a list of plain values, which has nothing besides.
    std::string_view entry_text(pugi::xml_node node) {
        if (node.first_attribute()) throw bad_message();
        const pugi::xml_node first = node.first_child();
        if (!first) return {};
        pieces_.clear();
        for (pugi::xml_node piece = first; piece; piece = piece.next_sibling()) {
            if (piece.type() != pugi::node_pcdata && piece.type() != pugi::node_cdata) throw bad_message();
            pieces_ += piece.value();
        }
        return pieces_;
    }

    std::string_view unescaped(std::string_view text) {
        if (text.find('\\') == std::string_view::npos) return text;
        value_.clear();
        if (!append_unescaped(value_, text)) throw bad_message();
        return value_;
    }

    message_sink& into_;
    std::string pieces_;  // scratch
    std::string value_;   // scratch
};

}  // namespace

int read_message(std::string_view text, int group, int number, message_sink& into) noexcept {
    if (is_too_large(text)) return E2BIG;
    const std::size_t fault = find_fault(text);
    text = text.substr(0, fault);
    const message_class* described = find_message_class(group, number);
    if (described == nullptr) return EBADMSG;
    try {
        // The parser works in place, and the text is the caller's. It gives the last byte up, so that one is added.
        const std::size_t size = text.size() + 1;
        const auto buffer = std::make_unique_for_overwrite<char[]>(size);
        std::memcpy(buffer.get(), text.data(), text.size());
        buffer[text.size()] = '\n';
        pugi::xml_document parsed;
        const pugi::xml_parse_result result =
            parsed.load_buffer_inplace(buffer.get(), size, parse_options, pugi::encoding_utf8);
        if (result.status == pugi::status_out_of_memory) return ENOMEM;
        if (!result) drop_half_tag(parsed, text, static_cast<std::size_t>(result.offset));
        message_walk(into).document(parsed, *described);
        return result && fault == std::string_view::npos ? 0 : EBADMSG;
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    } catch (...) {
        return EBADMSG;
    }
}

}  // namespace hostkit
