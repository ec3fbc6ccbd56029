// Makes, starts and ends the server's processes.
#include "tests/storage/postgresql_server.h"

#include <fcntl.h>
#include <grp.h>
#include <libpq-fe.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace index_server {

namespace {

/// Whom the server runs as: it refuses to be root. Nothing when this process is not root.
const passwd* unprivileged_user() {
    if (::geteuid() != 0) return nullptr;
    const passwd* user = ::getpwnam("postgres");
    return user != nullptr ? user : ::getpwnam("nobody");
}

std::vector<std::string> words_of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

}  // namespace

postgresql_server& postgresql_server::of_process() {
    static postgresql_server server;
    return server;
}

postgresql_server::postgresql_server() {
    // Below /tmp: the name of a socket has to be short.
    std::string name = "/tmp/iif-postgresql-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a directory for PostgreSQL");
    directory_ = name;
    if (const passwd* user = unprivileged_user()) {
        if (::chown(name.c_str(), user->pw_uid, user->pw_gid) != 0) throw std::runtime_error("cannot give " + name);
    }
    run("initdb", "-D " + directory_ + "/data -U iif --auth=trust --no-sync -E UTF8 --locale=C.UTF-8");
    start();
}

postgresql_server::~postgresql_server() {
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

pid_t postgresql_server::spawn(const char* program, const std::string& arguments) const {
    std::vector<std::string> words = words_of(IIF_POSTGRESQL_PROGRAMS "/" + std::string(program) + " " + arguments);
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const passwd* const user = unprivileged_user();
    const std::string log = directory_ + "/" + program + ".log";
    const pid_t made = ::fork();
    if (made < 0) throw std::runtime_error("cannot fork");
    if (made > 0) return made;
    const bool is_user =
        user == nullptr || (::setgroups(0, nullptr) == 0 && ::setgid(user->pw_gid) == 0 && ::setuid(user->pw_uid) == 0);
    const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (!is_user || out < 0 || ::dup2(out, 1) < 0 || ::dup2(out, 2) < 0) ::_exit(127);
    // After the change of user, which takes this back.
    ::prctl(PR_SET_PDEATHSIG, SIGQUIT);
    if (::chdir(directory_.c_str()) == 0) ::execv(argv[0], argv.data());
    ::_exit(127);
}

void postgresql_server::run(const char* program, const std::string& arguments) const {
    int status = 0;
    ::waitpid(spawn(program, arguments), &status, 0);
    if (status != 0) throw std::runtime_error(std::string(program) + " failed; see " + directory_);
}

void postgresql_server::start() {
    process_ = spawn("postgres", "-D " + directory_ + "/data -k " + directory_ +
                                     " -c listen_addresses= -c fsync=off -c max_connections=200");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (PQping(settings_of("postgres").c_str()) != PQPING_OK) {
        if (::waitpid(process_, nullptr, WNOHANG) != 0 || std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("PostgreSQL does not start; see " + directory_);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void postgresql_server::stop() {
    if (process_ <= 0) return;
    ::kill(process_, SIGQUIT);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
}

std::string postgresql_server::settings_of(const std::string& database) const {
    return "host=" + directory_ + " user=iif dbname=" + database;
}

std::string postgresql_server::make_database(const std::string& like) {
    const std::string name = "test" + std::to_string(++databases_);
    execute("CREATE DATABASE " + name + (like.empty() ? "" : " TEMPLATE " + like + " STRATEGY file_copy"));
    return settings_of(name);
}

void postgresql_server::execute(const std::string& sql) const {
    PGconn* const connection = PQconnectdb(settings_of("postgres").c_str());
    PGresult* const result = PQexec(connection, sql.c_str());
    const bool is_done = PQresultStatus(result) == PGRES_COMMAND_OK;
    const std::string reason = PQerrorMessage(connection);
    PQclear(result);
    PQfinish(connection);
    if (!is_done) throw std::runtime_error(reason);
}

}  // namespace index_server
