// The control socket: what goes through, what is refused, and that one bad client harms nobody.
#include "share/control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/json.hpp>
#include <future>
#include <system_error>

#include "tests/share/fake_index.h"
#include "tests/share/temporary_tree.h"

namespace share_host {
namespace {

namespace json = boost::json;
using testing::HasSubstr;

class control_test : public testing::Test {
protected:
    std::string ask(const std::string& line) { return answer_control_line({{"docs", &index}}, line, {}); }
    json::object ask_json(const std::string& line) { return json::parse(ask(line)).as_object(); }
    std::string error_of(const std::string& line) {
        const json::object answer = ask_json(line);
        return answer.contains("error") ? std::string(answer.at("error").as_string()) : "no error";
    }
    static std::string add_with(const std::string& fields) {
        return R"({"op":"add_item","share":"docs","props":{)" + fields + "}}";
    }

    fake_index index;
};

TEST_F(control_test, a_change_takes_every_field_and_a_query_gives_it_back) {
    const std::string props =
        R"("object_guid":"o","parent_guid":"root","version_guid":"v","path":"/a b","mode":33188,"size":0,"uid":0,)"
        R"("gid":4294967295,"atime":-2,"ctime":5,"mtime":6,"vtime":5000000000,"extent_type":0,"extent_size":7,)"
        R"("link_target":"t","is_extent":0,"extent_number":9223372036854775807,"xattr":"x","custom_props":{"k":"v"})";
    EXPECT_EQ(ask_json(add_with(props)).at("ret").as_int64(), 0);
    const json::object found = ask_json(R"({"op":"find_by_path","fields":{"path":"/a b"},"fresh_ms":10})");
    EXPECT_EQ(found.at("ret").as_int64(), 0);
    EXPECT_TRUE(found.at("fresh").as_bool());
    EXPECT_EQ(found.at("props"), json::parse("{" + props + "}"));
    const json::object listed = ask_json(R"({"op":"browse_by_path","share":"docs","fields":{"path":"/"}})");
    EXPECT_EQ(listed.at("items").as_array().size(), 1u);
    EXPECT_EQ(ask(R"({"op":"find_by_path","fields":{"path":"/none"}})"), R"({"ret":2})");
    index.refusals = {EIO};
    EXPECT_EQ(ask(add_with(R"("vtime_sec":5)")), R"({"ret":5,"vtime_sec":5})");
}

TEST_F(control_test, what_is_wrong_is_named) {
    const std::map<std::string, std::string> cases = {
        {"", "no JSON"},
        {R"({"op":"add_item","props":{"path":"/)"
         "\xff"
         R"("}})",
         "no JSON"},
        {R"({"op":"erase"})", "unknown op erase"},
        {R"({"op":"rename_item","props":{},"old_path":"/a"})", "old_parent_guid is missing"},
        {R"({"op":"rename_item","props":{},"old_parent_guid":"p|","old_path":"/a"})", "old_parent_guid has a char"},
        {R"({"op":"rename_item","props":{},"old_parent_guid":"p","old_path":"/","flush_now":1})", "neither true nor"},
        {R"({"op":"browse_by_guid","fields":{"path":"/a"}})", "object_guid is missing"},
        {R"({"op":"log_perf_counters","text":"a\nb"})", "text has a character"},
        {R"({"op":"flush","share":"other"})", "unknown share other"},
        {R"({"op":"flush","timeout":1})", "unknown member timeout"},
        {R"({"op":"find_by_path","fields":{"path":""}})", "path does not begin with /"},
        {R"({"op":"find_by_path","fields":{"path":"/a","object":"x"}})", "unknown field object"},
        {R"({"op":"find_by_path","fields":{"path":"/a","before_time":9223372037}})", "before_time is out of"},
        {add_with(R"("idx_ops":1)"), "unknown field idx_ops"},
        {add_with(R"("size":9223372036854775808)"), "size is out of its range"},
        {add_with(R"("size":-1)"), "means not set"},
        {add_with(R"("path":"/a|b")"), "path has a character"},
        {add_with(R"("custom_props":{"k":""})"), "custom_props.k is empty"},
        {add_with(R"("custom_props":{"k":"a:b"})"), "custom_props.k has a character"},
    };
    for (const auto& [line, problem] : cases)
        EXPECT_THAT(error_of(line), HasSubstr(problem)) << line;
    EXPECT_THAT(index.log, testing::IsEmpty()) << "nothing that is refused may reach the share";
    EXPECT_THAT(answer_control_line({{"a", &index}, {"b", &index}}, R"({"op":"flush"})", {}),
                HasSubstr("share is missing"));
}

class control_socket_test : public control_test {
protected:
    const std::string flush_line = R"({"op":"flush"})";
    temporary_tree place;
    const std::string path = place.at(std::string(120, 'x')) + "/control.sock";
    std::optional<control_server> server;

    void SetUp() override {
        place.make_directory(std::string(120, 'x'));
        server.emplace(path, served_shares{{"docs", &index}});
    }
};

TEST_F(control_socket_test, serves_many_at_once_and_goes_on_after_nonsense) {
    struct stat info {};
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    control_client first(path);
    control_client second(path);
    EXPECT_THAT(first.ask("nonsense"), HasSubstr("error"));
    EXPECT_EQ(second.ask(flush_line), R"({"ret":0})");
    EXPECT_EQ(first.ask(flush_line), R"({"ret":0})");
    const std::string two_lines = flush_line + "\n" + R"({"op":"find_by_path","fields":{"path":"/none"}})";
    EXPECT_EQ(first.ask(two_lines), R"({"ret":0})");
    EXPECT_EQ(first.ask(flush_line), R"({"ret":2})") << "answers come in the order of the requests";
}

TEST_F(control_socket_test, a_line_over_the_limit_is_answered_and_passed_over) {
    const std::string longest = flush_line + std::string(control_line_limit - flush_line.size(), ' ');
    control_client patient(path);
    EXPECT_EQ(patient.ask(longest), R"({"ret":0})");
    control_client greedy(path);
    EXPECT_THAT(greedy.ask(longest + " "), HasSubstr("too long"));
    EXPECT_EQ(greedy.ask(flush_line), R"({"ret":0})");
    EXPECT_THAT(greedy.ask(longest + longest + flush_line), HasSubstr("too long"));
    EXPECT_EQ(greedy.ask(flush_line), R"({"ret":0})") << "the rest of the long line is not taken for another";
}

TEST_F(control_socket_test, ends_with_connections_open_and_takes_over_a_stale_socket) {
    control_client waiting(path);
    server.reset();
    EXPECT_THROW(waiting.ask(flush_line), std::system_error);
    EXPECT_THROW(control_client{path}, std::system_error);
    // What a killed process leaves behind.
    const control_server killed(path, {{"docs", &index}});
    server.emplace(path, served_shares{{"docs", &index}});
    EXPECT_EQ(control_client(path).ask(flush_line), R"({"ret":0})");
}

}  // namespace
}  // namespace share_host
