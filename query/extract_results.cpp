// Turns one result of the index server into a record: whether it counts at the asked moment, its paths without the
// share's folder, its attributes and its named properties.
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "core/time_units.h"

namespace {

constexpr std::size_t property_prefix_length = 7;  // "custom_", cut and not compared

std::int32_t low_32_bits(long long value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

std::string without_prefix(const std::string& text, std::size_t length) {
    return text.substr(std::min(length, text.size()));
}

}  // namespace

int index_iface::extract_results_zysearch(std::vector<KT5ContentIndexing::GResultItem>::iterator item,
                                          index_iface_props& props, bool is_extent,
                                          const index_iface_browse_fields& fields, index_iface_time_t real_before_time,
                                          bool ignore_deleted) {
    auto attributes = item->getObjectAccessor(true, false, 50, 110, 14, 32);
    const long long deleted_time = attributes->getint64(17);
    // An object deleted exactly at the asked time counts as gone.
    if (!ignore_deleted && deleted_time != 0 && real_before_time >= index_iface_sec_to_ns(deleted_time)) {
        IIF_LOG(5, "INDEX_IFACE: ignoring result: real_before_time [%lld], after_time [%ld], deleted_time [%ld].",
                real_before_time, fields.after_time, static_cast<long>(deleted_time));
        return ENOENT;
    }
    if (is_extent) {
        props.extent_number = attributes->getint64(15);
    } else {
        extract_object_fields(*item, *attributes, props);
    }
    props.version_guid = string_from_zystring(item->getstringByRef(37, 82));
    props.object_guid = item->getstringByRef(24, 51);
    props.parent_guid = item->getstringByRef(46, 103);
    props.atime = low_32_bits(item->getint64(101));
    props.ctime = low_32_bits(attributes->getint64(12));
    props.mtime = low_32_bits(item->getint64(34));
    if (deleted_time != 0) {
        props.dtime = deleted_time;
    }
    props.vtime = attributes->getint64(16);
    props.extent_type = attributes->getint64(10) != 0 ? 1 : 0;
    props.is_extent = is_extent ? 1 : 0;
    props.result_ref_a = low_32_bits(item->getint64(26));
    props.result_ref_b = item->getint64(39);
    props.result_ref_c = item->getint64(40);
    if (attributes->isSet(13)) {
        props.xattr = attributes->getstringByRef(13, 19);
        IIF_LOG(7, "INDEX_IFACE: Debug: [xattr] value [%s]", props.xattr.c_str());
    }
    extract_named_properties(*item, props);
    return 0;
}

void index_iface::extract_object_fields(KT5ContentIndexing::GResultItem& item, const CNMessageBase& attributes,
                                        index_iface_props& props) const {
    // The item that stands for the share's root is named after the folder's id.
    const std::string name = string_from_zystring(item.getstringByRef(3, 9));
    props.name = name == without_prefix(sync_folder, 1) ? "/" : name;
    const std::string path = string_from_zystring(item.getstringByRef(2, 5));
    if (path == sync_folder) {
        props.path = "/";
    } else if (!path.empty()) {
        props.path = without_prefix(path, sync_folder.size());
    }
    props.mode_valid = true;
    props.mode = static_cast<std::uint32_t>(attributes.getint64(9));
    props.size = item.getint64(33);
    // A text that is no number leaves the number unset under a set flag.
    props.uid_valid = true;
    sscanf(attributes.getstringByRef(1, 1).c_str(), "%u", &props.uid);
    props.gid_valid = true;
    sscanf(attributes.getstringByRef(2, 5).c_str(), "%u", &props.gid);
}

void index_iface::extract_named_properties(KT5ContentIndexing::GResultItem& item, index_iface_props& props) const {
    auto properties = item.getObjectAccessor(true, false, 26, 56, 14, 26);
    auto list = properties->getlistobject<KT5ContentIndexing::NameValueMap>(1, 1, false);
    for (const KT5ContentIndexing::NameValueMap& property : *list) {
        const std::string& name = property.getstringByRef(1, 1);
        const std::string& value = property.getstringByRef(2, 5);
        if (name == "EXTENT_SIZE") {
            props.extent_size = atoll(value.c_str());
            IIF_LOG(7, "INDEX_IFACE: Debug: extent_size = [%lld] objectGuid [%s]", props.extent_size,
                    props.object_guid.c_str());
        } else if (name == "DELETED_TIME") {
            props.dtime = atoi(value.c_str());
            IIF_LOG(7, "INDEX_IFACE: Debug: props.dtime = [%lld] objectGuid [%s]", props.dtime,
                    props.object_guid.c_str());
        } else if (name == "LINK_TARGET") {
            props.link_target = value;
            IIF_LOG(7, "INDEX_IFACE: Debug: link_target = [%s] objectGuid [%s]", props.link_target.c_str(),
                    props.object_guid.c_str());
        } else {
            props.custom_props[is_solr_cloud ? name : without_prefix(name, property_prefix_length)] = value;
        }
    }
}
