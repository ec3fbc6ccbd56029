// Statements of PostgreSQL: parameters and rows in the forms of its protocol.
#include "server/postgresql_cursor.h"

#include <algorithm>
#include <charconv>

namespace index_server {

namespace {

constexpr int text_format = 0;
constexpr int binary_format = 1;

// Types of result columns, by their fixed numbers in every server.
constexpr Oid int8_type = 20;
constexpr Oid int2_type = 21;
constexpr Oid int4_type = 23;

/// The statement with $1 for ?1 outside of quoted texts; `count` becomes the highest number.
std::string with_dollars(std::string_view sql, std::size_t& count) {
    std::string text(sql);
    bool is_quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\'') is_quoted = !is_quoted;
        if (text[at] != '?' || is_quoted) continue;
        text[at] = '$';
        std::size_t number = 0;
        std::from_chars(text.data() + at + 1, text.data() + text.size(), number);
        count = std::max(count, number);
    }
    return text;
}

}  // namespace

postgresql_cursor::postgresql_cursor(postgresql_connection& connection, const char* sql) : connection_(connection) {
    std::size_t count = 0;
    sql_ = with_dollars(sql, count);
    values_.resize(count);
    lengths_.resize(count);
    formats_.resize(count);
    numbers_.resize(count);
}

void postgresql_cursor::bind_null(int index) {
    values_.at(static_cast<std::size_t>(index - 1)) = nullptr;
}

void postgresql_cursor::bind_integer(int index, std::int64_t value) {
    const auto at = static_cast<std::size_t>(index - 1);
    digits& number = numbers_.at(at);
    *std::to_chars(number.data(), number.data() + number.size() - 1, value).ptr = '\0';
    values_[at] = number.data();
    formats_[at] = text_format;
}

void postgresql_cursor::bind_text(int index, std::string_view text) {
    const auto at = static_cast<std::size_t>(index - 1);
    // A null pointer would be bound as no value.
    values_.at(at) = text.data() != nullptr ? text.data() : "";
    lengths_[at] = static_cast<int>(text.size());
    formats_[at] = binary_format;
}

void postgresql_cursor::prepare() {
    const std::string name = connection_.statement_name();
    const postgresql_result result(PQprepare(connection_.handle(), name.c_str(), sql_.c_str(), 0, nullptr));
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK)
        fail_postgresql(connection_.handle(), result.get(), "cannot prepare a statement");
    name_ = name;
    sql_.clear();
}

void postgresql_cursor::run() {
    connection_.count_run();
    if (name_.empty()) prepare();
    result_.reset(PQexecPrepared(connection_.handle(), name_.c_str(), static_cast<int>(values_.size()), values_.data(),
                                 lengths_.data(), formats_.data(), binary_format));
    const ExecStatusType status = PQresultStatus(result_.get());
    if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) return;
    const postgresql_result failed = std::move(result_);
    fail_postgresql(connection_.handle(), failed.get(), "cannot run a statement");
}

bool postgresql_cursor::step() {
    if (result_ == nullptr) {
        run();
        row_ = 0;
    } else {
        ++row_;
    }
    if (row_ < PQntuples(result_.get())) return true;
    result_.reset();
    return false;
}

std::int64_t postgresql_cursor::integer(int column) const {
    if (is_null(column)) return 0;
    const Oid type = PQftype(result_.get(), column);
    if (type != int8_type && type != int4_type && type != int2_type)
        throw std::runtime_error("database: a column holds no whole number");
    const int length = PQgetlength(result_.get(), row_, column);
    const auto* bytes = reinterpret_cast<const unsigned char*>(PQgetvalue(result_.get(), row_, column));
    // The first byte carries the sign; the order is that of the network.
    auto value = static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<signed char>(bytes[0])));
    for (int i = 1; i < length; ++i)
        value = value << 8 | bytes[i];
    return static_cast<std::int64_t>(value);
}

std::string_view postgresql_cursor::text(int column) const {
    return {PQgetvalue(result_.get(), row_, column),
            static_cast<std::size_t>(PQgetlength(result_.get(), row_, column))};
}

bool postgresql_cursor::is_null(int column) const {
    return PQgetisnull(result_.get(), row_, column) != 0;
}

}  // namespace index_server
