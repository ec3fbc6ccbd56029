// The value records: construction, and the merge of the set fields of one record into another.
#include "core/records.h"

#include "core/index_iface.h"
#include "core/time_units.h"
#include "host/clock.h"

index_iface_props::index_iface_props() = default;
index_iface_props::index_iface_props(const index_iface_props& other) = default;
index_iface_props::index_iface_props(index_iface_props&& other) noexcept = default;
index_iface_props& index_iface_props::operator=(const index_iface_props& other) = default;
index_iface_props::~index_iface_props() = default;

index_iface_browse_fields::index_iface_browse_fields() {
    const std::timespec now = CTimeStamp::Now().AsTimeSpec();
    real_before_time = index_iface_sec_to_ns(now.tv_sec) + now.tv_nsec;
}

namespace {

void copy_if_set(const std::string& src, std::string& dst) {
    if (!src.empty()) {
        dst = src;
    }
}

template <class Number>
void copy_if_set(const Number& src, Number& dst) {
    if (src != static_cast<Number>(-1)) {
        dst = src;
    }
}

template <class Number>
void copy_if_valid(bool src_valid, const Number& src, bool& dst_valid, Number& dst) {
    if (src_valid) {
        dst = src;
        dst_valid = true;
    }
}

}  // namespace

// The operation, the identity and the version time of the first change stay with the record that is merged into.
void index_iface::copy_valid_props(const index_iface_props& src, index_iface_props& dst) {
    copy_if_set(src.path, dst.path);
    copy_if_set(src.version_guid, dst.version_guid);
    copy_if_set(src.parent_guid, dst.parent_guid);
    copy_if_valid(src.mode_valid, src.mode, dst.mode_valid, dst.mode);
    copy_if_set(src.size, dst.size);
    copy_if_valid(src.uid_valid, src.uid, dst.uid_valid, dst.uid);
    copy_if_valid(src.gid_valid, src.gid, dst.gid_valid, dst.gid);
    copy_if_set(src.atime, dst.atime);
    copy_if_set(src.ctime, dst.ctime);
    copy_if_set(src.mtime, dst.mtime);
    copy_if_set(src.extent_type, dst.extent_type);
    copy_if_set(src.extent_number, dst.extent_number);
    copy_if_set(src.extent_size, dst.extent_size);
    copy_if_set(src.dtime, dst.dtime);
    copy_if_set(src.link_target, dst.link_target);
    copy_if_set(src.xattr, dst.xattr);
    for (const auto& [key, value] : src.custom_props) {
        dst.custom_props[key] = value;
    }
}
