// The text form of messages: every field comes back, any bytes survive, and nothing that is not a message passes.
#include <gtest/gtest.h>

#include "host/message_classes.h"
#include "hostkit/message_schema.h"
#include "hostkit/message_storage.h"
#include "hostkit/message_text.h"

namespace {

using namespace KT5ContentIndexing;
using namespace hostkit;

std::string text_of(const CNMessageBase& message) {
    std::string text = "what was there before";
    message.serialize(text, false);
    return text;
}

bool reads(CNMessageBase& message, std::string text) {
    return message.unserialize(text) == 0;
}

/// Fills every field that the schema knows, two elements to a list.
void fill(CNMessageBase& message, const message_class& described, long long& next) {
    for (const message_field& field : described.fields) {
        CNMessageBase::Impl& storage = message.storage();
        switch (field.kind) {
            case field_kind::integer:
                message.setint64(field.field, field.tag, ++next % 2 ? next : -next);
                break;
            case field_kind::string:
                message.setstring(field.field, field.tag, "text " + std::to_string(++next));
                break;
            case field_kind::child:
                fill(*storage.child(field.field, field.tag, true, field.content->group, field.content->number,
                                    field.child_type()),
                     *field.content, next);
                break;
            case field_kind::object_list:
                for (int i = 0; i < 2; ++i)
                    fill(*field.list_type().append(storage.list(field.field, field.tag, true, field.list_type())),
                         *field.content, next);
                break;
            case field_kind::string_list:
                *message.getliststring(field.field, field.tag, true) = {"", " x ", std::to_string(++next)};
                break;
            case field_kind::int_list:
                *message.getlistint(field.field, field.tag, true) = {-2147483647 - 1, 0, 2147483647};
                break;
        }
    }
}

TEST(message_text, every_field_of_every_class_comes_back) {
    for (const message_class* described : message_classes()) {
        if (find_message_class(described->group, described->number) != described) continue;  // a second set of names
        long long next = 0;
        CNMessageBase written(described->group, described->number);
        fill(written, *described, next);
        const std::string text = text_of(written);
        CNMessageBase read(described->group, described->number);
        ASSERT_TRUE(reads(read, text)) << text;
        EXPECT_EQ(text, text_of(read));
        EXPECT_GT(next, 0) << described->name;
    }
}

TEST(message_text, any_bytes_survive) {
    // As an attribute and as an element's text, there and back.
    const auto expect_survives = [](const std::string& value) {
        FieldValue written, read;
        written.setstring(1, 1, value);
        written.getObjectAccessor(true, true, 2, 5, 14, 127)->getliststring(1, 1, true)->push_back(value);
        const std::string text = text_of(written);
        ASSERT_TRUE(reads(read, text)) << text;
        EXPECT_EQ(value, read.getstring(1, 1));
        EXPECT_EQ(value, read.getObjectAccessor(true, false, 2, 5, 14, 127)->getliststring(1, 1, false)->at(0));
    };
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
        expect_survives(std::string(1, static_cast<char>(byte)));
    }
    expect_survives(all);
    expect_survives("");
    expect_survives("]]> &amp; \\x41 \\\\ &#65; <!-- --> 'q' \"q\"");
    // Not UTF-8, or UTF-8 of what XML has no place for: cut, overlong, surrogate, above the last plane, U+FFFE.
    for (const char* bytes : {"\xc3", "\xe2\x82", "\xf0\x9f\x98", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80",
                              "\xf4\x90\x80\x80", "\xef\xbf\xbe", "\xef\xbf\xbf", "\x80", "\xff", "\xc3\xc3\xa9"})
        expect_survives(bytes);
}

TEST(message_text, what_is_no_message_is_refused) {
    const char* const texts[] = {
        "",
        "<ZYSearchReq/>",
        "<ZYSearchResp>",
        "<ZYSearchResp/>x",
        "<ZYSearchResp unknown=\"1\"/>",
        "<!DOCTYPE a [<!ENTITY e \"x\">]><ZYSearchResp><errors errorMessage=\"&e;\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"\\x4\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"1 \"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"9223372036854775808\"/></ZYSearchResp>",
        "<ZYSearchResp><resultSet/><resultSet/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"1\" errorCode=\"1\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"&nbsp;\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"a & b\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"&#x;\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"a&#0;b\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"&#4294967361;\"/></ZYSearchResp>",
        "<ZYSearchResp>x</ZYSearchResp>",
        "<ZYSearchResp><!-- --></ZYSearchResp>",
        "<ZYSearchResp><?x?></ZYSearchResp>",
        "<ZYSearchResp/><ZYSearchResp/>",
        "<ZYSearchResp/><?xml version=\"1.0\"?>",
    };
    for (const char* text : texts) {
        ZYSearchResp response;
        EXPECT_FALSE(reads(response, text)) << text;
    }
    ZYSearchResp response;
    EXPECT_FALSE(reads(response, std::string("<ZYSearchResp/>\0", 16))) << "a zero byte at the end";
    ZYOrbitSecurityGroup group;
    EXPECT_FALSE(reads(group, "<ZYOrbitSecurityGroup><subclientIds>2147483648</subclientIds></ZYOrbitSecurityGroup>"));
}

TEST(message_text, no_cut_text_is_a_message_and_reading_replaces_what_was_there) {
    ZYSearchResp whole;
    long long next = 0;
    fill(whole, *find_message_class(14, 171), next);
    const std::string text = text_of(whole);
    ZYSearchResp response;
    for (std::size_t length = 0; length < text.size(); ++length)
        ASSERT_FALSE(reads(response, text.substr(0, length))) << length;
    EXPECT_TRUE(response.isSet(1)) << "a failure keeps what was read";
    for (const char* half :
         {"<errors errorCode=\"34", "<errors errorCode=\"34\"",
          "<errors errorCode=\"34\" errorMessage=\"&x;\"/></ZYSearchResp>", "<errors errorCode=34/>", "<errors"}) {
        EXPECT_FALSE(
            reads(response, "<?xml version=\"1.0\"?>\n<ZYSearchResp><errors errorCode=\"12\"/>" + std::string(half)));
        const auto errors = response.getlistobject<Error>(1, 1, false);
        ASSERT_EQ(errors->size(), 1u) << "half a tag is none";
        EXPECT_EQ(errors->front().getint64(1), 12);
    }
    EXPECT_TRUE(reads(response, "<ZYSearchResp/>"));
    EXPECT_FALSE(response.isSet(1) || response.isSet(7)) << "reading replaces what was there";
}

TEST(message_text, the_reader_is_bounded) {
    ZYSearchResp response;
    std::string deep = "<ZYSearchResp>";
    for (int level = 0; level < 100'000; ++level)
        deep += "<resultSet>";
    EXPECT_FALSE(reads(response, deep));

    std::string many = "<ZYSearchResp>";
    for (std::size_t i = 0; i < message_text_limits::elements; ++i)
        many += "<errors/>";
    EXPECT_FALSE(reads(response, many + "</ZYSearchResp>"));
}

}  // namespace
