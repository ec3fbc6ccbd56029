// What the HTTP side of the index server needs of a storage engine: shares and their tokens, the records of
// transactions, the application of collect files, and searches.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/collect.h"
#include "server/storage_unavailable.h"

namespace index_server {

/// A registered share. Its root row exists from the registration on.
struct share {
    std::string name;
    std::int64_t subclient_id = 0;  ///< 1 to 2^31-1
    std::int64_t client_id = 0;     ///< every share is a client of its own
    std::int64_t folder_id = 0;     ///< random, ten digits; the root's name in the index
    std::string root_guid;
    std::string index_server_name;  ///< unique; keys the folder
};

/// A stored token: a hash, and a share it grants. Subclient 0 stands for the admin. A token that grants several shares
/// is stored once for each.
struct token_grant {
    std::string hash;
    std::int64_t subclient_id = 0;
};

/// One collect transaction as the storage remembers it.
struct transaction_record {
    std::string id;
    std::int64_t subclient_id = 0;
    App::ProcessingStatus status = App::ProcessingStatus_UNKNOWN;
    std::string error;  ///< why it failed, empty otherwise
    std::int64_t created_ns = 0;
    std::uint64_t lines = 0;  ///< lines of its file that were read, once it was applied or refused
};

/// What became of a collect file.
struct apply_outcome {
    bool applied = false;
    std::uint64_t lines = 0;       ///< lines read
    std::uint64_t error_line = 0;  ///< first line that could not be understood, 1 for the first; 0 when none
    std::string error;             ///< why nothing was applied, naming the line when there is one
};

class administration;
struct search_request;

/// Any thread may call any operation. A failure of the storage itself is thrown as std::runtime_error; as
/// storage_unavailable when it passes by itself.
class engine {
public:
    virtual ~engine() = default;

    /// Makes a share with its root row, or gives the one of that name, also when another server makes it just now.
    virtual share register_share(const std::string& name) = 0;
    virtual std::vector<share> shares() = 0;
    virtual std::optional<share> share_of_subclient(std::int64_t subclient_id) = 0;

    /// Stores a grant, unless it is there. Durable on return.
    virtual void add_token(const token_grant& grant) = 0;
    /// Forgets a grant, if it is there. Durable on return.
    virtual void remove_token(const token_grant& grant) = 0;
    virtual std::vector<token_grant> tokens() = 0;

    /// Inserts the record, or replaces the one of that id. Durable on return.
    virtual void put_transaction(const transaction_record& record) = 0;
    virtual std::optional<transaction_record> transaction(const std::string& id) = 0;
    virtual std::optional<transaction_record> last_transaction(std::int64_t subclient_id) = 0;
    /// Those that are queued or being processed, oldest first.
    virtual std::vector<transaction_record> open_transactions() = 0;

    /// Applies a whole collect file in one storage transaction, durable on return; or nothing of it.
    virtual apply_outcome apply_collect_file(const share& target, const std::string& path) = 0;

    /// Whether the storage is this server's alone and lies in files of this machine, so that searches wait for nothing
    /// else.
    virtual bool is_embedded() const { return false; }

    /// The text of the ZYSearchResp that answers a search of one share. What is wrong with the request becomes an entry
    /// of its `errors`.
    virtual std::string search(const share& target, const search_request& request) = 0;

    /// The administrator's side; it lives as long as the engine.
    virtual administration& admin() = 0;
};

/// Opens the embedded engine, whose database lies in `directory`, and brings its schema up to date.
std::unique_ptr<engine> open_sqlite_engine(const std::string& directory);

/// Opens the engine over a PostgreSQL database, which `settings` names as a connection string of libpq, and brings its
/// schema up to date. Several servers may work on one database: each has a `server_name` of its own, under which its
/// open transactions are found again. Operations throw storage_unavailable while the database cannot be reached, and
/// work again when it can.
std::unique_ptr<engine> open_postgresql_engine(const std::string& settings, const std::string& server_name);

}  // namespace index_server
