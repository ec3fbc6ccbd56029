// Reading of messages in their text form, field by field, without making the messages: for whoever keeps little of a
// text, or keeps it in a form of its own.
#pragma once

#include <string_view>

#include "hostkit/message_schema.h"

namespace hostkit {

/// Is told what a text holds, in the order of the text. What an operation throws ends the reading.
class message_sink {
public:
    virtual ~message_sink() = default;

    /// A child, or one more element of a list of objects, begins; what follows goes there until it ends. The message
    /// itself is not told of.
    virtual void open(const message_field& field) = 0;
    virtual void close() = 0;
    virtual void integer(const message_field& field, long long value) = 0;
    /// Of a string, or of one more entry of a list of strings. The text lives as long as the call.
    virtual void text(const message_field& field, std::string_view value) = 0;
    /// Of one more entry of a list of ints.
    virtual void entry(const message_field& field, int value) = 0;
};

/// Reads one message of a class pair. 0 when the text is one, otherwise EBADMSG, E2BIG for a text beyond the bounds of
/// message_text.h, of which nothing is told, or ENOMEM; the sink has been told what stands before the fault. What the schema does not name
/// is a fault, and so is a second occurrence of what occurs once. Nothing is thrown.
int read_message(std::string_view text, int group, int number, message_sink& into) noexcept;

}  // namespace hostkit
