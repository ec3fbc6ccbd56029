// What an administrator asks of a storage engine beside feeding and searching: what is there, whether it is sound, and
// the removal of what nobody needs any more.
//
// Work that grows with a share goes in steps. Each step is one short storage transaction, so that feeds and searches go
// on in between; it tells where the next one begins. Nothing is remembered between steps: a walk may be given up at any
// of them, and begun again.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/engine.h"

namespace index_server {

/// Where the next step of a walk through a share begins: empty for the beginning. Opaque bytes.
using step_place = std::string;

/// What a share has in the storage, in rows.
struct share_rows {
    std::uint64_t objects = 0;   ///< those that something is known of
    std::uint64_t versions = 0;  ///< of objects
    std::uint64_t extents = 0;   ///< versions of extents
    std::uint64_t extents_to_back_up = 0;
    std::uint64_t tokens = 0;
};

/// A transaction's record and its place in the order of all records.
struct listed_transaction {
    std::int64_t place = 0;
    transaction_record record;
};

struct purge_step {
    share_rows removed;
    std::optional<step_place> next;  ///< nothing when the walk is done
};

struct backup_mark_step {
    std::uint64_t marked = 0;
    std::optional<step_place> next;
};

/// Something that no feed can bring about.
struct finding {
    std::string kind;    ///< root, orphan, cycle, newest, state, place, name or stray
    std::string object;  ///< GUID of the object; empty where none is known
    std::string text;    ///< a sentence
};

struct check_step {
    std::uint64_t objects = 0;  ///< looked at
    std::uint64_t waiting = 0;  ///< among them those below a directory that nothing is known of yet
    std::vector<finding> findings;
    std::uint64_t untold = 0;  ///< further findings, beyond what one answer should hold
    std::optional<step_place> next;
};

/// Any thread may call any operation. A failure of the storage is thrown as std::runtime_error.
class administration {
public:
    virtual ~administration() = default;

    virtual share_rows rows_of(const share& of) = 0;

    /// The records before a place, newest first; of all shares when none is named.
    virtual std::vector<listed_transaction> transactions_before(std::optional<std::int64_t> subclient_id,
                                                                std::int64_t place, std::int64_t most) = 0;

    /// Removes history that no question about the second `bound_s` or a later moment needs: versions that were
    /// superseded by then, and objects and extents that had ended by then. What lives stays.
    virtual purge_step purge(const share& of, std::int64_t bound_s, const step_place& from) = 0;

    /// Gives the newest versions of extents that have no backup id this one. With `up_to_s` only those that are not
    /// younger than that second. One that has an id keeps it.
    virtual backup_mark_step mark_backed_up(const share& of, std::int64_t backup_id,
                                            std::optional<std::int64_t> up_to_s, const step_place& from) = 0;

    /// Throws std::invalid_argument for a place that no step told.
    virtual check_step check(const share& of, const step_place& from) = 0;

    /// Forgets the share with its tokens and transactions; its name is free on return. Its rows stay until
    /// `remove_rows` has removed them.
    virtual void withdraw_share(const share& gone) = 0;
    /// The subclient ids of withdrawn shares whose rows are not all removed.
    virtual std::vector<std::int64_t> withdrawn_shares() = 0;
    /// Removes some rows of a withdrawn share. True when there may be more.
    virtual bool remove_rows(std::int64_t subclient_id) = 0;

    /// Copies the index as it is now into a new file that belongs to its owner alone, while feeds and searches go on.
    /// Throws backup_refused when the file may not be written, or when the engine has other means for this.
    virtual void back_up_to(const std::string& file, bool overwrite) = 0;
};

/// Why a backup is not made: a sentence that says what to do instead.
class backup_refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace index_server
