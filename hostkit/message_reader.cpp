// Makes messages of their text.
#include <vector>

#include "hostkit/message_storage.h"
#include "hostkit/message_walk.h"

namespace hostkit {
namespace {

class message_maker : public message_sink {
public:
    explicit message_maker(CNMessageBase& root) { open_.push_back(&root); }

    void open(const message_field& field) override {
        CNMessageBase::Impl& storage = open_.back()->storage();
        if (field.kind == field_kind::child) {
            open_.push_back(storage.child(field.field, field.tag, true, field.content->group, field.content->number,
                                          field.child_type()));
        } else {
            const message_list_type& type = field.list_type();
            open_.push_back(type.append(storage.list(field.field, field.tag, true, type)));
        }
    }
    void close() override { open_.pop_back(); }
    void integer(const message_field& field, long long value) override {
        open_.back()->setint64(field.field, field.tag, value);
    }
    void text(const message_field& field, std::string_view value) override {
        if (field.kind == field_kind::string)
            open_.back()->setstring(field.field, field.tag, std::string(value));
        else
            open_.back()->getliststring(field.field, field.tag, true)->emplace_back(value);
    }
    void entry(const message_field& field, int value) override {
        open_.back()->getlistint(field.field, field.tag, true)->push_back(value);
    }

private:
    std::vector<CNMessageBase*> open_;
};

}  // namespace
}  // namespace hostkit

int CNMessageBase::unserialize(std::string& text) {
    impl_.reset();
    hostkit::message_maker maker(*this);
    return hostkit::read_message(text, class_group(), class_number(), maker);
}
