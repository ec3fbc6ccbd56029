// Names and open flags of the journal files, and the listing that finds them again.
#pragma once

#include <fcntl.h>

#include <string>
#include <vector>

constexpr char IIFACE_DELIMITER_C = '/';
constexpr char journal_file_prefix[] = "collect_file_";

/// A new journal must not exist yet.
constexpr int new_journal_flags = O_WRONLY | O_CREAT | O_EXCL | O_TRUNC | O_APPEND;
/// After a restart the newest journal goes on at its end.
constexpr int reopen_journal_flags = O_WRONLY | O_EXCL | O_APPEND;
constexpr int read_journal_flags = O_RDONLY | O_EXCL;
/// The collect file is replaced at each delivery.
constexpr int collect_file_flags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND;
constexpr int journal_file_mode = 0644;

static_assert(new_journal_flags == 1729 && reopen_journal_flags == 1153 && read_journal_flags == 128 &&
              collect_file_flags == 1601);

/// Forms the path of the journal with the given number.
void form_journal_file_name(const std::string& directory, std::string& name, int number);

/// Appends the bare names in `directory` that begin with `prefix`, in the directory's order. Returns 0 or the errno of
/// opendir, which it logs.
int get_fnames_in_dir(std::vector<std::string>& names, const std::string& directory, const std::string& prefix);
