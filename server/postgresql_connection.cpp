// Connections to PostgreSQL, and what its errors mean.
#include "server/postgresql_connection.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <vector>

#include "server/postgresql_cursor.h"

namespace index_server {

namespace {

/// The plans that the statements were written for: each reads by an index that has its rows in order, and is planned
/// once. Estimates would choose otherwise for tables that grew since they were looked at, and plan again and again
/// where a table is cut into parts. What an engine does not know is left out.
constexpr const char* session_settings =
    "SELECT set_config(name, wanted, false) FROM (VALUES ('plan_cache_mode', 'force_generic_plan'), "
    "('enable_seqscan', 'off'), ('enable_bitmapscan', 'off'), ('enable_sort', 'off'), ('jit', 'off'), "
    "('client_min_messages', 'warning')) AS wish(name, wanted) JOIN pg_settings USING (name)";

// A plan that was made for a small table must not serve a large one for long.
constexpr unsigned runs_of_a_plan = 1000;
constexpr std::chrono::seconds age_of_a_plan{5};

/// One line of what the server or libpq says.
std::string said(const PGconn* handle, const PGresult* result) {
    const char* primary = result != nullptr ? PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY) : nullptr;
    std::string text = primary != nullptr ? primary : PQerrorMessage(handle);
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::erase(text, '\t');
    return text;
}

/// Whether the same may succeed later. These classes of states say that the server is going down or coming up, that it
/// is short of something, or that it chose this transaction to give way to another; a server that only reads has been
/// made a standby.
bool is_passing(std::string_view state) {
    constexpr std::array<std::string_view, 3> classes{"08", "40", "53"};
    constexpr std::array<std::string_view, 6> states{"57P01", "57P02", "57P03", "57P05", "25006", "55P03"};
    return std::find(classes.begin(), classes.end(), state.substr(0, 2)) != classes.end() ||
           std::find(states.begin(), states.end(), state) != states.end();
}

/// Whether libpq can read the text. Its own complaint would quote what it could not read.
void check_settings(const std::string& settings) {
    char* complaint = nullptr;
    PQconninfoOption* const options = PQconninfoParse(settings.c_str(), &complaint);
    const bool is_good = options != nullptr;
    PQfreemem(complaint);
    PQconninfoFree(options);
    if (!is_good) throw std::runtime_error("the setting [server] postgresql is no connection string");
}

}  // namespace

void fail_postgresql(PGconn* handle, const PGresult* result, const char* what) {
    const char* state = result != nullptr ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    const std::string text = std::string("database: ") + what + ": " + said(handle, result);
    // What has no state comes from libpq itself, which does not always know at once that its connection is lost.
    if (state == nullptr || PQstatus(handle) != CONNECTION_OK || is_passing(state)) throw storage_unavailable(text);
    throw std::runtime_error(text);
}

postgresql_connection::postgresql_connection(const std::string& settings) {
    check_settings(settings);
    // What comes before the connection string holds unless the string says otherwise.
    const std::array<const char*, 5> names{"connect_timeout", "fallback_application_name", "dbname", "client_encoding",
                                           nullptr};
    const std::array<const char*, 5> values{"5", "index_server", settings.c_str(), "UTF8", nullptr};
    handle_ = PQconnectdbParams(names.data(), values.data(), 1);
    if (handle_ == nullptr) throw std::bad_alloc();
    PQsetNoticeProcessor(
        handle_, [](void*, const char*) {}, nullptr);
    try {
        if (PQstatus(handle_) != CONNECTION_OK) fail_postgresql(handle_, nullptr, "cannot connect");
        postgresql_connection::execute(session_settings);
        const postgresql_result known(PQexec(handle_, "DISCARD PLANS"));
        can_discard_plans_ = PQresultStatus(known.get()) == PGRES_COMMAND_OK;
    } catch (...) {
        PQfinish(handle_);
        throw;
    }
}

postgresql_connection::~postgresql_connection() {
    PQfinish(handle_);
}

void postgresql_connection::execute(const char* sql) {
    const postgresql_result result(PQexec(handle_, sql));
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        fail_postgresql(handle_, result.get(), "cannot run a command");
}

void postgresql_connection::count_run() {
    const clock::time_point now = clock::now();
    if (!can_discard_plans_ || (++runs_ < runs_of_a_plan && now < planned_ + age_of_a_plan)) return;
    execute("DISCARD PLANS");
    runs_ = 0;
    planned_ = now;
}

std::unique_ptr<sql_cursor> postgresql_connection::prepare(const char* sql) {
    return std::make_unique<postgresql_cursor>(*this, sql);
}

void postgresql_connection::begin(sql_access what) {
    execute(what == sql_access::write ? "BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE"
                                      : "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
}

void postgresql_connection::commit() {
    const postgresql_result result(PQexec(handle_, "COMMIT"));
    if (PQresultStatus(result.get()) != PGRES_COMMAND_OK) fail_postgresql(handle_, result.get(), "cannot commit");
    // A transaction in which a statement had failed answers to its commit that it was rolled back.
    if (std::string_view(PQcmdStatus(result.get())) != "COMMIT")
        throw std::runtime_error("database: cannot commit: a statement had failed");
}

void postgresql_connection::roll_back() noexcept {
    PQclear(PQexec(handle_, "ROLLBACK"));
}

}  // namespace index_server
