// The binary form of COPY: a signature, then for each row the number of its values and each value behind its length.
#include "server/postgresql_copy.h"

#include "server/postgresql_connection.h"

namespace index_server {

namespace {

constexpr std::size_t piece_bytes = std::size_t{64} << 10;
constexpr std::string_view signature{"PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0", 19};
constexpr std::uint64_t no_value = 0xFFFFFFFF;
constexpr std::uint64_t no_more_rows = 0xFFFF;

}  // namespace

postgresql_copy::postgresql_copy(sql_connection& connection, const char* sql)
    : connection_(dynamic_cast<postgresql_connection&>(connection)), pending_(signature) {
    const postgresql_result result(PQexec(connection_.handle(), sql));
    if (PQresultStatus(result.get()) != PGRES_COPY_IN)
        fail_postgresql(connection_.handle(), result.get(), "cannot begin a copy");
    is_open_ = true;
}

postgresql_copy::~postgresql_copy() {
    if (!is_open_) return;
    // On a lost connection there is nothing to give up, and no end of results that ask for more.
    if (PQputCopyEnd(connection_.handle(), "given up") != 1) return;
    while (PGresult* const result = PQgetResult(connection_.handle()))
        PQclear(result);
}

void postgresql_copy::put(std::uint64_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        pending_ += static_cast<char>(value >> shift & 0xFF);
}

void postgresql_copy::send() {
    if (PQputCopyData(connection_.handle(), pending_.data(), static_cast<int>(pending_.size())) != 1)
        fail_postgresql(connection_.handle(), nullptr, "cannot copy");
    pending_.clear();
}

postgresql_copy& postgresql_copy::row(int columns) {
    if (pending_.size() >= piece_bytes) send();
    put(static_cast<std::uint64_t>(columns), 2);
    return *this;
}

postgresql_copy& postgresql_copy::add(std::int64_t value) {
    put(sizeof value, 4);
    put(static_cast<std::uint64_t>(value), 8);
    return *this;
}

postgresql_copy& postgresql_copy::add_small(std::int64_t value) {
    put(sizeof(std::int32_t), 4);
    put(static_cast<std::uint64_t>(value), 4);
    return *this;
}

postgresql_copy& postgresql_copy::add(std::string_view text) {
    put(text.size(), 4);
    pending_ += text;
    return *this;
}

postgresql_copy& postgresql_copy::add_null() {
    put(no_value, 4);
    return *this;
}

void postgresql_copy::finish() {
    put(no_more_rows, 2);
    send();
    is_open_ = false;
    if (PQputCopyEnd(connection_.handle(), nullptr) != 1)
        fail_postgresql(connection_.handle(), nullptr, "cannot end a copy");
    postgresql_result failed;
    while (PGresult* const result = PQgetResult(connection_.handle())) {
        postgresql_result owner(result);
        if (PQresultStatus(result) != PGRES_COMMAND_OK && failed == nullptr) failed = std::move(owner);
    }
    if (failed != nullptr) fail_postgresql(connection_.handle(), failed.get(), "cannot copy");
}

}  // namespace index_server
