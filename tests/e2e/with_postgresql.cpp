// Runs a command while a PostgreSQL of its own runs, with the fresh databases test1 to test10. IIF_TEST_POSTGRESQL is
// their connection string without the number. usage: with_postgresql PROGRAM ARGUMENT...
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/storage/postgresql_server.h"

int main(int, char** argv) {
    index_server::postgresql_server& server = index_server::postgresql_server::of_process();
    for (int number = 1; number <= 10; ++number)
        server.make_database();
    ::setenv("IIF_TEST_POSTGRESQL", server.settings_of("test").c_str(), 1);
    const pid_t command = ::fork();
    if (command == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        ::execvp(argv[1], argv + 1);
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(command, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
