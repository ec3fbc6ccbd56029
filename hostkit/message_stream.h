// Writes a message as text piece by piece, without making the message: for answers of many thousands of fields.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/message_schema.h"

namespace hostkit {

/// Appends one message of a class pair to a text. What comes out is what the message itself would be written as, when
/// each element is given its integers first, then its strings, then its children, all in the order of their numbers.
/// A field that its class does not have is thrown as std::logic_error. One thread.
class message_stream {
public:
    /// Opens the message. The text outlives this.
    message_stream(std::string& text, int group, int number);

    void integer(short field, long long value);
    void string(short field, short tag, std::string_view value);
    /// Opens a child, or one more element of a list of objects; what follows goes there.
    void open(short field, short tag);
    /// Closes what was opened last, the message itself at the end.
    void close();

private:
    struct element {
        const message_class* described;
        std::string_view name;
        std::size_t next_field = 0;  // where the search for a field begins
        bool has_children = false;
    };

    template <class Wanted>
    const message_field& find_field(short field, const Wanted& wanted);

    void open_element(const message_class& described, std::string_view name);
    void begin_attribute(std::string_view name);

    std::string& text_;
    std::vector<element> open_;
};

}  // namespace hostkit
