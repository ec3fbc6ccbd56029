// A PostgreSQL of the tests' own: a private directory, a Unix socket in it, and nobody else's data.
#pragma once

#include <sys/types.h>

#include <string>

namespace index_server {

/// Runs as an unprivileged user when the tests run as root, and ends with the thread that started it, however that
/// ends. Does not force anything to the disk. Used by one thread. Failures are thrown as std::runtime_error.
class postgresql_server {
public:
    /// The one of this process, made at the first call and removed at its end.
    static postgresql_server& of_process();

    postgresql_server();
    ~postgresql_server();
    postgresql_server(const postgresql_server&) = delete;
    postgresql_server& operator=(const postgresql_server&) = delete;

    /// The connection string of a new database; a copy of the one of that name, unless it is empty.
    std::string make_database(const std::string& like = {});
    std::string settings_of(const std::string& database) const;

    /// Ends the server at once, as a crash does.
    void stop();
    /// Starts it again; on return it takes connections.
    void start();

private:
    pid_t spawn(const char* program, const std::string& arguments) const;
    void run(const char* program, const std::string& arguments) const;
    void execute(const std::string& sql) const;

    std::string directory_;
    pid_t process_ = -1;
    int databases_ = 0;
};

}  // namespace index_server
