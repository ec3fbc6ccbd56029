// Turns one result of the index server into a record: whether it counts at the asked moment, its paths without the
// share's folder, its attributes and its named properties.
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "core/index_iface.h"
#include "core/log_line.h"
#include "core/time_units.h"
#include "query/message_access.h"

namespace {

namespace item_fields = message_fields::GResultItem;
namespace attribute_fields = message_fields::GResultAttributes;

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
    auto attributes = child_to_read(*item, item_fields::attributes);
    const long long deleted_time = attributes->getint64(attribute_fields::dtime);
    // An object deleted exactly at the asked time counts as gone.
    if (!ignore_deleted && deleted_time != 0 && real_before_time >= index_iface_sec_to_ns(deleted_time)) {
        IIF_LOG(5, "INDEX_IFACE: ignoring result: real_before_time [%lld], after_time [%ld], deleted_time [%ld].",
                real_before_time, fields.after_time, static_cast<long>(deleted_time));
        return ENOENT;
    }
    if (is_extent) {
        props.extent_number = attributes->getint64(attribute_fields::extent_number);
    } else {
        extract_object_fields(*item, *attributes, props);
    }
    props.version_guid = string_from_zystring(text_of(*item, item_fields::version_guid));
    props.object_guid = text_of(*item, item_fields::object_guid);
    props.parent_guid = text_of(*item, item_fields::parent_guid);
    props.atime = low_32_bits(item->getint64(item_fields::atime));
    props.ctime = low_32_bits(attributes->getint64(attribute_fields::ctime));
    props.mtime = low_32_bits(item->getint64(item_fields::mtime));
    if (deleted_time != 0) {
        props.dtime = deleted_time;
    }
    props.vtime = attributes->getint64(attribute_fields::vtime);
    props.extent_type = attributes->getint64(attribute_fields::extent_type) != 0 ? 1 : 0;
    props.is_extent = is_extent ? 1 : 0;
    props.result_ref_a = low_32_bits(item->getint64(item_fields::result_ref_a));
    props.result_ref_b = item->getint64(item_fields::result_ref_b);
    props.result_ref_c = item->getint64(item_fields::result_ref_c);
    if (attributes->isSet(attribute_fields::xattr.number)) {
        props.xattr = text_of(*attributes, attribute_fields::xattr);
        IIF_LOG(7, "INDEX_IFACE: Debug: [xattr] value [%s]", props.xattr.c_str());
    }
    extract_named_properties(*item, props);
    return 0;
}

void index_iface::extract_object_fields(KT5ContentIndexing::GResultItem& item, const CNMessageBase& attributes,
                                        index_iface_props& props) const {
    // The item that stands for the share's root is named after the folder's id.
    const std::string name = string_from_zystring(text_of(item, item_fields::name));
    props.name = name == without_prefix(sync_folder, 1) ? std::string(1, '/') : name;
    const std::string path = string_from_zystring(text_of(item, item_fields::path));
    if (path == sync_folder) {
        props.path.assign(1, '/');
    } else if (!path.empty()) {
        props.path = without_prefix(path, sync_folder.size());
    }
    props.mode_valid = true;
    props.mode = static_cast<std::uint32_t>(attributes.getint64(attribute_fields::mode));
    props.size = item.getint64(item_fields::size);
    // A text that is no number leaves the number unset under a set flag.
    props.uid_valid = true;
    sscanf(text_of(attributes, attribute_fields::uid).c_str(), "%u", &props.uid);
    props.gid_valid = true;
    sscanf(text_of(attributes, attribute_fields::gid).c_str(), "%u", &props.gid);
}

void index_iface::extract_named_properties(KT5ContentIndexing::GResultItem& item, index_iface_props& props) const {
    auto properties = child_to_read(item, item_fields::properties);
    auto list =
        list_to_read<KT5ContentIndexing::NameValueMap>(*properties, message_fields::GResultProperties::propertyList);
    for (const KT5ContentIndexing::NameValueMap& property : *list) {
        const std::string& name = text_of(property, message_fields::NameValueMap::propertyName);
        const std::string& value = text_of(property, message_fields::NameValueMap::propertyValue);
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
