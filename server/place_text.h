// Places in walks of the administration that are told by two numbers.
#pragma once

#include <cstdint>

#include "server/administration.h"

namespace index_server {

/// Which of several lists a walk is in, and after which number there.
struct number_place {
    std::int64_t list = 0;
    std::int64_t after = 0;
};

step_place place_text(const number_place& place);

/// Of a text that `place_text` made; an empty one is the beginning. Throws std::invalid_argument for any other, also
/// for a list that is none of so many.
number_place read_place(const step_place& text, std::int64_t lists);

}  // namespace index_server
