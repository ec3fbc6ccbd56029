// Writing of a finished entry line.
#pragma once

#include <string>

#include "host/errors.h"
#include "host/files.h"

/// Writes `line` with one Write. A short count is the error EIO; what was written of the line stays in the file.
CXoError write_to_file(CXoFile* file, const std::string& line);
