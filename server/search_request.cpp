// Takes a search request from its text.
#include "server/search_request.h"

#include "host/message_fields.h"
#include "hostkit/message_walk.h"

namespace index_server {

namespace {

using namespace message_fields;
using hostkit::message_field;

/// The classes that a request is made of, by their numbers.
enum class_number : int {
    field_value_list = FieldValue::fieldValues.class_number,
    field_value = 146,
    criteria = ZYSearchGroup::criteria.class_number,
    filter_group = 151,
    security_group = 153,
    keyword = SearchFilterSet::keyword.class_number,
    parameter = 158,
    processing = ZYSearchReq::processingInfo.class_number,
    request = 169,
};
constexpr int request_group = 14;

class request_sink : public hostkit::message_sink {
public:
    explicit request_sink(search_request& into) : into_(into) { open_.push_back(request); }

    void open(const message_field& field) override {
        const int above = open_.back();
        open_.push_back(field.content->number);
        if (open_.back() == parameter) into_.parameters.emplace_back();
        if (open_.back() == field_value)
            filter_ = &(above == security_group ? into_.scopes : into_.filters).emplace_back();
    }

    void close() override { open_.pop_back(); }

    void integer(const message_field& field, long long value) override {
        switch (open_.back()) {
            case request:
                into_.search_mode = value;
                break;
            case processing:
                (field.field == SearchProcessingInfo::pageSize.number ? into_.page_size : into_.page_start) = value;
                break;
            case keyword:
                into_.keyword_mode = value;
                break;
            case filter_group:
                into_.group_modes.push_back(value);
                break;
            case criteria:
                into_.criteria_modes.push_back(value);
                break;
            case field_value:
                filter_->mode = value;
                break;
            default:  // which server the client means is settled by where it asks
                break;
        }
    }

    void text(const message_field& field, std::string_view value) override {
        switch (open_.back()) {
            case parameter: {
                search_request::parameter& last = into_.parameters.back();
                (field.field == SearchParameters::paramName.number ? last.name : last.value) = value;
                break;
            }
            case keyword:
                into_.keyword = value;
                break;
            case field_value:
                filter_->name = value;
                break;
            case field_value_list:
                filter_->values.emplace_back(value);
                break;
            default:
                break;
        }
    }

    void entry(const message_field&, int value) override { into_.subclient_ids.push_back(value); }

private:
    search_request& into_;
    std::vector<int> open_;
    search_request::filter* filter_ = nullptr;  // the last one; its list grows only when another one begins
};

}  // namespace

std::optional<search_request> read_search_text(std::string_view text) {
    search_request made;
    request_sink sink(made);
    if (hostkit::read_message(text, request_group, request, sink) != 0) return std::nullopt;
    return made;
}

}  // namespace index_server
