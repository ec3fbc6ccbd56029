// Lets memory run out at a chosen allocation of one thread.
#pragma once

/// How many allocations the calling thread may still make; below 0: any number.
extern thread_local int allocations_left;
