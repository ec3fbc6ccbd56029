// Reads messages from text in one pass over the parser's events, without a tree in between. What the schema does not
// name is a failure, which also bounds the depth; size, count of elements and length of one tag are bounded here, so
// that no text makes the reader hold much more than the text itself.
#include <expat.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>
#include <vector>

#include "hostkit/message_escape.h"
#include "hostkit/message_schema.h"
#include "hostkit/message_storage.h"
#include "hostkit/message_text.h"

namespace hostkit {
namespace {

constexpr std::size_t piece_bytes = 1 << 20;

template <class Number>
bool parse_number(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end;
}

/// An element that is open: a message, or the text of one entry of a list of strings or ints.
struct open_element {
    CNMessageBase* message;
    const message_class* described;  // of `message`
    const message_field* entry_of;   // when this is an entry of a plain list
    std::size_t next_field;          // where the search for a name begins: fields mostly come in the table's order
};

class message_reader {
public:
    explicit message_reader(CNMessageBase& root) : root_(root) {}

    int read(std::string_view text);

private:
    static void XMLCALL on_start(void* self, const XML_Char* name, const XML_Char** attributes);
    static void XMLCALL on_end(void* self, const XML_Char* name);
    static void XMLCALL on_text(void* self, const XML_Char* text, int length);

    template <class Handler>
    void guarded(Handler handle);
    bool start(std::string_view name, const XML_Char** attributes);
    bool open(std::string_view name);
    bool set_attribute(open_element& element, std::string_view name, std::string_view value);
    bool text(std::string_view piece);
    bool end();
    const message_field* find_field(open_element& element, std::string_view name, bool attribute);
    void refuse(int error) {
        error_ = error;
        XML_StopParser(parser_, XML_FALSE);
    }

    CNMessageBase& root_;
    XML_Parser parser_ = nullptr;
    std::vector<open_element> open_;
    std::string entry_text_;  // of the open list entry, escapes still in it
    std::string value_;       // scratch
    std::size_t elements_ = 0;
    bool moved_on_ = false;  // an event came since the last piece
    int error_ = 0;
};

/// Runs one event. No exception may pass through the parser, and after a failure no event counts any more.
template <class Handler>
void message_reader::guarded(Handler handle) {
    moved_on_ = true;
    if (error_ != 0) return;
    try {
        if (!handle()) refuse(EBADMSG);
    } catch (const std::bad_alloc&) {
        refuse(ENOMEM);
    } catch (const std::exception&) {
        refuse(EBADMSG);
    }
}

void XMLCALL message_reader::on_start(void* self, const XML_Char* name, const XML_Char** attributes) {
    auto* reader = static_cast<message_reader*>(self);
    reader->guarded([&] { return reader->start(name, attributes); });
}

void XMLCALL message_reader::on_end(void* self, const XML_Char*) {
    auto* reader = static_cast<message_reader*>(self);
    reader->guarded([&] { return reader->end(); });
}

void XMLCALL message_reader::on_text(void* self, const XML_Char* text, int length) {
    auto* reader = static_cast<message_reader*>(self);
    reader->guarded([&] { return reader->text({text, static_cast<std::size_t>(length)}); });
}

bool is_attribute(field_kind kind) {
    return kind == field_kind::integer || kind == field_kind::string;
}

const message_field* message_reader::find_field(open_element& element, std::string_view name, bool attribute) {
    const auto& fields = element.described->fields;
    for (std::size_t tried = 0, at = element.next_field; tried < fields.size(); ++tried, ++at) {
        if (at >= fields.size()) at = 0;
        if (fields[at].name != name || is_attribute(fields[at].kind) != attribute) continue;
        // A list repeats its element, so the next name is looked for from the same place.
        element.next_field = at;
        return &fields[at];
    }
    return nullptr;
}

bool message_reader::open(std::string_view name) {
    if (open_.empty()) {
        const message_class* described = find_message_class(root_.class_group(), root_.class_number());
        if (described == nullptr || described->name != name) return false;
        open_.push_back({&root_, described, nullptr, 0});
        return true;
    }
    open_element& parent = open_.back();
    if (parent.message == nullptr) return false;
    const message_field* field = find_field(parent, name, false);
    if (field == nullptr) return false;
    CNMessageBase::Impl& storage = parent.message->storage();
    if (field->kind == field_kind::child) {
        if (storage.find_field(field->field, field->tag) != nullptr) return false;
        CNMessageBase* child = storage.child(field->field, field->tag, true, field->content->group,
                                             field->content->number, field->child_type());
        open_.push_back({child, field->content, nullptr, 0});
    } else if (field->kind == field_kind::object_list) {
        const message_list_type& type = field->list_type();
        CNMessageBase* element = type.append(storage.list(field->field, field->tag, true, type));
        open_.push_back({element, field->content, nullptr, 0});
    } else {
        entry_text_.clear();
        open_.push_back({nullptr, nullptr, field, 0});
    }
    return true;
}

bool message_reader::set_attribute(open_element& element, std::string_view name, std::string_view value) {
    const message_field* field = element.message == nullptr ? nullptr : find_field(element, name, true);
    if (field == nullptr) return false;
    if (field->kind == field_kind::integer) {
        long long number = 0;
        if (!parse_number(value, number)) return false;
        element.message->setint64(field->field, field->tag, number);
        return true;
    }
    value_.clear();
    if (!append_unescaped(value_, value)) return false;
    element.message->setstring(field->field, field->tag, value_);
    return true;
}

bool message_reader::start(std::string_view name, const XML_Char** attributes) {
    if (++elements_ > message_text_limits::elements) {
        refuse(E2BIG);
        return true;
    }
    if (!open(name)) return false;
    for (; *attributes != nullptr; attributes += 2)
        if (!set_attribute(open_.back(), attributes[0], attributes[1])) return false;
    return true;
}

bool message_reader::text(std::string_view piece) {
    if (!open_.empty() && open_.back().entry_of != nullptr) {
        entry_text_ += piece;
        return true;
    }
    return piece.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

bool message_reader::end() {
    const message_field* field = open_.back().entry_of;
    open_.pop_back();
    if (field == nullptr) return true;
    CNMessageBase& owner = *open_.back().message;
    if (field->kind == field_kind::int_list) {
        int number = 0;
        if (!parse_number(entry_text_, number)) return false;
        owner.getlistint(field->field, field->tag, true)->push_back(number);
        return true;
    }
    value_.clear();
    if (!append_unescaped(value_, entry_text_)) return false;
    owner.getliststring(field->field, field->tag, true)->push_back(value_);
    return true;
}

int message_reader::read(std::string_view text) {
    if (text.size() > message_text_limits::bytes) return E2BIG;
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate("UTF-8"),
                                                                              &XML_ParserFree);
    if (!parser) return ENOMEM;
    parser_ = parser.get();
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, on_start, on_end);
    XML_SetCharacterDataHandler(parser_, on_text);
    // A document type is where entities would be declared; comments and instructions have no meaning here either.
    XML_SetStartDoctypeDeclHandler(parser_, [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
        static_cast<message_reader*>(self)->refuse(EBADMSG);
    });
    XML_SetCommentHandler(parser_,
                          [](void* self, const XML_Char*) { static_cast<message_reader*>(self)->refuse(EBADMSG); });
    XML_SetProcessingInstructionHandler(parser_, [](void* self, const XML_Char*, const XML_Char*) {
        static_cast<message_reader*>(self)->refuse(EBADMSG);
    });

    // In pieces, so that a tag without end is noticed before the parser has gathered all of it.
    std::size_t silent_pieces = 0;
    do {
        const std::string_view piece = text.substr(0, piece_bytes);
        text.remove_prefix(piece.size());
        moved_on_ = false;
        const XML_Status status = XML_Parse(parser_, piece.data(), static_cast<int>(piece.size()), text.empty());
        if (error_ != 0) return error_;
        if (status != XML_STATUS_OK) return XML_GetErrorCode(parser_) == XML_ERROR_NO_MEMORY ? ENOMEM : EBADMSG;
        silent_pieces = moved_on_ ? 0 : silent_pieces + 1;
        if (silent_pieces > message_text_limits::tag_bytes / piece_bytes) return E2BIG;
    } while (!text.empty());
    return 0;
}

}  // namespace
}  // namespace hostkit

int CNMessageBase::unserialize(std::string& text) {
    impl_.reset();
    return hostkit::message_reader(*this).read(text);
}
