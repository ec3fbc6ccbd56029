// Makes allocations of one thread fail, to see what the services keep when memory is missing.
#pragma once

/// While one lives, every operator new of this thread fails after the first `allowed` ones.
class scarce_memory {
public:
    explicit scarce_memory(int allowed);
    ~scarce_memory();
    scarce_memory(const scarce_memory&) = delete;
    scarce_memory& operator=(const scarce_memory&) = delete;
};
