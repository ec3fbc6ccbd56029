// The records that everybody gets, and scratch directories.
#include "bench/subject.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>

namespace bench {

namespace {

constexpr std::size_t files_in_directory = 64;
constexpr index_iface_time_t first_moment = 1'700'000'000'000'000'000;

/// Spreads numbers over all 64 bits, one to one, so that GUIDs are as unlike each other as real ones are.
std::uint64_t mixed(std::uint64_t number) {
    number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9ULL;
    number = (number ^ (number >> 27)) * 0x94d049bb133111ebULL;
    return number ^ (number >> 31);
}

std::string guid(char kind, std::size_t number) {
    char text[24];
    std::snprintf(text, sizeof text, "%c%016llx", kind, static_cast<unsigned long long>(mixed(number + 1)));
    return text;
}

}  // namespace

index_iface_props record(std::size_t number) {
    index_iface_props props;
    const std::size_t directory = number / files_in_directory;
    props.object_guid = guid('f', number);
    props.version_guid = guid('v', number);
    props.parent_guid = guid('d', directory);
    props.path = "/" + std::to_string(directory) + "/" + std::to_string(number);
    props.vtime = first_moment + static_cast<index_iface_time_t>(number);
    props.mode = 0100644;
    props.uid = props.gid = 1000;
    props.mode_valid = props.uid_valid = props.gid_valid = true;
    props.size = static_cast<long long>(number);
    props.atime = props.ctime = props.mtime = 1'700'000'000;
    props.is_extent = 0;
    return props;
}

std::size_t scattered(std::size_t number, std::size_t count) {
    return number * 2'654'435'761U % count;
}

scratch_directory::scratch_directory(const std::string& place) : path_(place + "/iif-bench.XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make a directory in " + place);
}

scratch_directory::~scratch_directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace bench
