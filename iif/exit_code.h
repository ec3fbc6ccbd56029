// How the program ends: the codes that scripts may rely on, and the exception that carries one to main.
#pragma once

#include <stdexcept>
#include <string>

namespace iif {

/// The exit codes of every subcommand.
enum class exit_code : int {
    done = 0,
    not_found = 1,     ///< the object asked for is not in the index
    usage = 2,         ///< the command line or what it names cannot be understood
    cannot_reach = 3,  ///< a server, a socket or a directory that is needed does not answer
    refused = 4,       ///< there, but it says no: damage, a lock held by another process, a share's refusal
};

/// Ends a subcommand. `what()` is one plain sentence for stderr that says what to do.
class program_error : public std::runtime_error {
public:
    program_error(exit_code code, const std::string& sentence) : std::runtime_error(sentence), code_(code) {}
    exit_code code() const { return code_; }

private:
    exit_code code_;
};

}  // namespace iif
