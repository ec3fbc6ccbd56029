// Where a share keeps its state: which directory belongs to which share, the lock that lets one process at a time work
// on it, and the share's identity at the index server.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "hostkit/descriptor.h"

namespace share_host {

/// ${XDG_STATE_HOME:-~/.local/state}/index-iface, without a slash at the end. Throws std::runtime_error when neither
/// XDG_STATE_HOME nor HOME is set.
std::string state_home();

/// A name that is safe in paths and messages (letters, digits, '.', '_', '-'), made from the last component of a path.
std::string share_name_for(const std::string& path);

/// One share's directory, mode 0700:
///     directory     the share's name, a line feed, and the served directory as an absolute path, empty for none
///     share.json    the identity, mode 0600
///     lock          held by the process that works on the share
///     control.sock  its control socket
///     root          which directory was indexed (reconcile_options::root_record)
///     journal/      root_dir of the library
struct state_dir {
    std::string path;
    std::string share_name;

    std::string directory_file() const { return path + "/directory"; }
    std::string identity_file() const { return path + "/share.json"; }
    std::string lock_file() const { return path + "/lock"; }
    std::string control_socket() const { return path + "/control.sock"; }
    std::string root_record() const { return path + "/root"; }
    std::string journal_root() const { return path + "/journal"; }
    /// Where the library keeps the share's journal files.
    std::string journal_dir() const { return journal_root() + "/" + share_name; }
};

/// The state of the served directory `directory`, which has to exist, made when it is new. The share is called after
/// the directory unless a name is given; two directories of the same name get states and names of their own (docs,
/// docs-2). With `explicit_path` the state is there. Throws std::runtime_error with one sentence, also when the state
/// or the name asked for is another directory's.
state_dir state_for_directory(const std::string& directory, const std::string& explicit_path = {},
                              const std::string& share_name = {});

/// The state of a share that has no directory and is fed through its control socket, made when it is new, at
/// `home`/`share_name`; an empty `home` is the state home. Throws std::runtime_error with one sentence, also when that
/// state is a directory's.
state_dir state_for_share(const std::string& share_name, const std::string& home = {});

/// The state at a given path, or of the share of that name in the state home; nothing when there is none.
std::optional<state_dir> state_at(const std::string& path);
std::optional<state_dir> state_of_share(const std::string& share_name);

/// All states in the state home, sorted by share name.
std::vector<state_dir> known_states();

/// The absolute path of the served directory, empty when there is none.
std::string served_directory(const state_dir& state);

/// Somebody else holds a lock. `holder` is that process's id, 0 when it is not known.
class state_in_use : public std::runtime_error {
public:
    state_in_use(const std::string& text, long holder_pid) : std::runtime_error(text), holder(holder_pid) {}
    const long holder;
};

/// The right to work on a state, held until destruction.
class state_lock {
public:
    /// Throws state_in_use at once when another process works on it, std::system_error on other failures.
    explicit state_lock(const state_dir& state);

private:
    hostkit::descriptor fd_;
};

/// Who the share is at the index server.
struct share_identity {
    std::string name;  ///< as registered at the server
    std::uint64_t subclient_id = 0;
    std::uint64_t client_id = 0;
    std::string token;
    std::string server_url;  ///< empty when the server is embedded and its address changes with each start
};

/// Nothing when there is none yet. Throws std::runtime_error when the file is damaged.
std::optional<share_identity> load_identity(const state_dir& state);

/// Replaces the file in one step. Throws std::system_error.
void save_identity(const state_dir& state, const share_identity& identity);

}  // namespace share_host
