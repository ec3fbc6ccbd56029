// The text form of messages: every field comes back, any bytes survive, and nothing that is not a message passes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

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

TEST(message_text, a_field_is_called_by_its_place) {
    CNMessageBase request(30, 401);
    ZyEntities::UserEntity user;
    user.setstring(2, 5, "share");
    request.setint64(4, 4, 1);
    request.setObjectAccessor(&user, 5, 5);
    EXPECT_EQ("<GetSyncWebFolderReq requestFlag=\"1\"><user userName=\"share\"/></GetSyncWebFolderReq>",
              text_of(request));

    App::GetClientPropertiesResponse response;
    ASSERT_TRUE(reads(response,
                      "<GetClientPropertiesResponse><clients><clientProps><indexProps><indexServer>"
                      "<capabilities><serverEntity serverEntityName=\"ix\"/></capabilities>"
                      "<serverClient serverClientId=\"4\"/>"
                      "</indexServer></indexProps></clientProps></clients></GetClientPropertiesResponse>"));
    auto server = response.getlistobject<App::ClientInfo>(1, 1, false)
                      ->front()
                      .getObjectAccessor(true, false, 12, 12, 30, 161)
                      ->getObjectAccessor(true, false, 16, 16, 30, 480)
                      ->getObjectAccessor(true, false, 3, 3, 30, 486);
    EXPECT_EQ(4, server->getObjectAccessor(true, false, 7, 7, 18, 4)->getint64(0));
    EXPECT_EQ("ix", server->getlistobject<App::UserCapability>(3, 3, false)
                        ->front()
                        .getObjectAccessor<ZyEntities::UserEntity>(true, false, 1, 1, 18, 15)
                        ->getstring(2, 5));
}

TEST(message_text, the_number_26_stands_twice) {
    ZYSearchResp response;
    ASSERT_TRUE(reads(response,
                      "<ZYSearchResp><resultSet><resultItems resultRefA=\"-1\" name=\"n\">"
                      "<properties><propertyList propertyName=\"p\" propertyValue=\"v\"/></properties>"
                      "</resultItems></resultSet></ZYSearchResp>"));
    GResultItem& item =
        response.getObjectAccessor(true, false, 7, 13, 14, 33)->getlistobject<GResultItem>(1, 1, false)->front();
    EXPECT_EQ(-1, item.getint64(26));
    const auto properties = item.getObjectAccessor(true, false, 26, 56, 14, 26);
    EXPECT_EQ("v", properties->getlistobject<NameValueMap>(1, 1, false)->front().getstring(2, 5));
}

/// `value` as an attribute and as an element's text, there and back.
void expect_survives(const std::string& value) {
    FieldValue written;
    written.setstring(1, 1, value);
    written.getObjectAccessor(true, true, 2, 5, 14, 127)->getliststring(1, 1, true)->push_back(value);
    FieldValue read;
    const std::string text = text_of(written);
    ASSERT_TRUE(reads(read, text)) << text;
    EXPECT_EQ(value, read.getstring(1, 1));
    EXPECT_EQ(value, read.getObjectAccessor(true, false, 2, 5, 14, 127)->getliststring(1, 1, false)->at(0));
}

TEST(message_text, any_bytes_survive) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
        expect_survives(std::string(1, static_cast<char>(byte)));
    }
    expect_survives(all);
    expect_survives("");
    expect_survives("  two leading, one trailing \n");
    expect_survives("]]> &amp; \\x41 \\\\ &#65; <!-- --> 'q' \"q\"");
    // Not UTF-8, or UTF-8 of what XML has no place for: cut, overlong, surrogate, above the last plane, U+FFFE.
    for (const char* bytes : {"\xc3", "\xe2\x82", "\xf0\x9f\x98", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80",
                              "\xf4\x90\x80\x80", "\xef\xbf\xbe", "\xef\xbf\xbf", "\x80", "\xff", "\xc3\xc3\xa9"})
        expect_survives(bytes);
    std::mt19937 random(1);
    for (int round = 0; round < 500; ++round) {
        std::string bytes(random() % 40, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        expect_survives(bytes);
    }
}

TEST(message_text, ordinary_characters_stay_readable) {
    SearchParameters parameters;
    parameters.setstring(1, 1, "Gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80");
    parameters.setstring(2, 5, "a\\b\n<\xff>");
    EXPECT_EQ(
        "<SearchParameters paramName=\"Gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80\" "
        "paramValue=\"a\\\\b\\x0a&lt;\\xff&gt;\"/>",
        text_of(parameters));
}

TEST(message_text, what_is_no_message_is_refused) {
    const char* const texts[] = {
        "",
        " ",
        "not xml",
        "<html><body>502</body></html>",
        "<ZYSearchReq/>",
        "<ZYSearchResp>",
        "<ZYSearchResp/>x",
        "<ZYSearchResp/><ZYSearchResp/>",
        "<ZYSearchResp>text</ZYSearchResp>",
        "<ZYSearchResp unknown=\"1\"/>",
        "<ZYSearchResp><unknown/></ZYSearchResp>",
        "<ZYSearchResp><errors></errors></ZYSearchResp><!-- -->",
        "<ZYSearchResp><!-- a comment --></ZYSearchResp>",
        "<ZYSearchResp><?an instruction?></ZYSearchResp>",
        "<!DOCTYPE ZYSearchResp><ZYSearchResp/>",
        "<!DOCTYPE a [<!ENTITY e \"x\">]><ZYSearchResp><errors errorMessage=\"&e;\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"&e;\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"\xff\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"\\\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"\\n\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"\\x4\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"\\x-1\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorMessage=\"a\" errorMessage=\"a\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"1 \"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"+1\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"0x1\"/></ZYSearchResp>",
        "<ZYSearchResp><errors errorCode=\"9223372036854775808\"/></ZYSearchResp>",
        "<ZYSearchResp><resultSet/><resultSet/></ZYSearchResp>",
        "<ZYSearchResp><resultSet><resultItems attributes=\"1\"/></resultSet></ZYSearchResp>",
        "<ZYSearchResp><resultSet><resultItems><path/></resultItems></resultSet></ZYSearchResp>",
    };
    for (const char* text : texts) {
        ZYSearchResp response;
        EXPECT_FALSE(reads(response, text)) << text;
    }
    ZYSearchResp response;
    EXPECT_FALSE(reads(response, std::string("<ZYSearchResp/>\0", 16))) << "a zero byte at the end";
    ZYOrbitSecurityGroup group;
    EXPECT_FALSE(reads(group, "<ZYOrbitSecurityGroup><subclientIds>2147483648</subclientIds></ZYOrbitSecurityGroup>"));
    EXPECT_FALSE(reads(group, "<ZYOrbitSecurityGroup><subclientIds a=\"1\">1</subclientIds></ZYOrbitSecurityGroup>"));
    EXPECT_FALSE(reads(group, "<ZYOrbitSecurityGroup><subclientIds>1<b/></subclientIds></ZYOrbitSecurityGroup>"));
    CNMessageBase unknown(1, 1);
    EXPECT_FALSE(reads(unknown, "<a/>"));
}

TEST(message_text, pretty_printed_text_with_a_declaration_is_a_message) {
    ZYSearchResp response;
    EXPECT_TRUE(reads(response,
                      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ZYSearchResp>\n  <errors errorCode='7'\n"
                      "    errorMessage=\"a&amp;b\"></errors>\n</ZYSearchResp>\n"));
    EXPECT_EQ("a&b", response.getlistobject<Error>(1, 1, false)->at(0).getstring(2, 2));
}

TEST(message_text, reading_replaces_what_was_there_and_a_failure_keeps_what_was_read) {
    ZYSearchResp response;
    response.getObjectAccessor(true, true, 7, 13, 14, 33);
    EXPECT_FALSE(reads(response, "<ZYSearchResp><errors errorCode=\"5\"/><resultSet>"));
    EXPECT_EQ(5, response.getlistobject<Error>(1, 1, false)->at(0).getint64(1));
    EXPECT_TRUE(reads(response, "<ZYSearchResp/>"));
    EXPECT_FALSE(response.isSet(1));
    EXPECT_FALSE(response.isSet(7));
}

std::string sample_response() {
    ZYSearchResp response;
    long long next = 0;
    fill(response, *find_message_class(14, 171), next);
    return text_of(response);
}

TEST(message_text, no_cut_text_is_a_message) {
    const std::string text = sample_response();
    for (std::size_t length = 0; length < text.size(); ++length) {
        ZYSearchResp response;
        ASSERT_FALSE(reads(response, text.substr(0, length))) << length;
    }
}

TEST(message_text, damaged_text_is_refused_or_means_something) {
    const std::string whole = sample_response();
    std::mt19937 random(2);
    for (int round = 0; round < 5000; ++round) {
        std::string text = whole;
        for (int change = 0; change < 3; ++change) {
            const std::size_t at = random() % text.size();
            switch (random() % 3) {
                case 0:
                    text[at] = static_cast<char>(random());
                    break;
                case 1:
                    text.erase(at, random() % 20);
                    break;
                default:
                    text.insert(at, whole, random() % whole.size(), random() % 20);
            }
        }
        ZYSearchResp response;
        if (!reads(response, text)) continue;
        ZYSearchResp again;
        ASSERT_TRUE(reads(again, text_of(response))) << text;
    }
}

TEST(message_text, the_reader_is_bounded) {
    ZYSearchResp response;
    std::string deep = "<ZYSearchResp>";
    for (int level = 0; level < 100'000; ++level)
        deep += "<resultSet>";
    EXPECT_FALSE(reads(response, deep));

    std::string endless_tag = "<ZYSearchResp><errors errorMessage=\"";
    endless_tag.append(message_text_limits::tag_bytes + (4u << 20), 'x');
    EXPECT_FALSE(reads(response, endless_tag + "\"/></ZYSearchResp>"));

    std::string many = "<ZYSearchResp>";
    for (std::size_t i = 0; i < message_text_limits::elements; ++i)
        many += "<errors/>";
    EXPECT_FALSE(reads(response, many + "</ZYSearchResp>"));
}

TEST(message_text, what_has_no_text_form_is_not_written) {
    std::string text = "untouched";
    ZYSearchResp response;
    response.setint64(99, 99, 1);
    EXPECT_THROW(response.serialize(text, false), std::logic_error);
    ZYSearchReq request;
    request.getObjectAccessor(true, true, 2, 2, 14, 33);
    EXPECT_THROW(request.serialize(text, false), std::logic_error);
    EXPECT_THROW(CNMessageBase(1, 1).serialize(text, false), std::logic_error);
    EXPECT_EQ("untouched", text);
}

std::string wire_format_page() {
    const auto page = std::filesystem::path(__FILE__).parent_path() / "../../docs/wire-format.md";
    std::ostringstream text;
    text << std::ifstream(page).rdbuf();
    return text.str();
}

TEST(message_text, the_document_names_every_field_and_its_examples_are_messages) {
    const std::string page = wire_format_page();
    for (const message_class* described : message_classes()) {
        std::string heading = "\n### ";
        heading.append(described->name).append(" (" + std::to_string(described->group) + ",");
        heading += std::to_string(described->number) + ")";
        for (const message_field& field : described->fields) {
            std::string row = "\n| " + std::to_string(field.field);
            if (field.kind != field_kind::integer) row += "," + std::to_string(field.tag);
            bool found = false;
            for (std::size_t at = page.find(heading); at != std::string::npos && !found;
                 at = page.find(heading, at + 1)) {
                const std::string section = page.substr(at, page.find("\n#", at + 1) - at);
                const std::size_t line = section.find("`" + std::string(field.name) + "`");
                found = line != std::string::npos && section.rfind(row + " |", line) == section.rfind('\n', line);
            }
            EXPECT_TRUE(found) << heading << row << ' ' << field.name;
        }
    }
    int examples = 0;
    for (std::size_t at = 0; (at = page.find("```xml\n", at)) != std::string::npos; ++at, ++examples) {
        const std::string text = page.substr(at + 7, page.find("```", at + 7) - at - 7);
        ZYSearchReq request;
        ZYSearchResp response;
        EXPECT_TRUE(reads(request, text) || reads(response, text)) << text;
    }
    EXPECT_EQ(3, examples);
}

}  // namespace
