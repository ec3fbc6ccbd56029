// One list of the record's fields serves both directions of the record texts.
#include "tests/support/record_text.h"

#include <map>
#include <sstream>
#include <type_traits>
#include <utility>

#include "host/message_classes.h"

namespace {

// Gives `visit` the name and the place of every field, and for some the flag that says whether it is set.
template <class Props, class Visit>
void visit_fields(Props& p, Visit visit) {
    visit("name", p.name), visit("path", p.path), visit("version", p.version_guid), visit("object", p.object_guid);
    visit("parent", p.parent_guid), visit("mode", p.mode, &p.mode_valid), visit("size", p.size);
    visit("uid", p.uid, &p.uid_valid), visit("gid", p.gid, &p.gid_valid), visit("atime", p.atime);
    visit("ctime", p.ctime), visit("mtime", p.mtime), visit("dtime", p.dtime), visit("vtime", p.vtime);
    visit("sec", p.vtime_sec), visit("etype", p.extent_type), visit("esize", p.extent_size);
    visit("link", p.link_target), visit("extent", p.is_extent), visit("enum", p.extent_number);
    visit("a", p.result_ref_a), visit("b", p.result_ref_b), visit("c", p.result_ref_c), visit("xattr", p.xattr);
}

const std::vector<std::string> op_names{"NONE", "ADD", "UPD", "DEL", "REN"};

std::vector<std::pair<std::string, std::string>> words_of(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;)
        words.emplace_back(word.substr(0, word.find('=')), word.substr(word.find('=') + 1));
    return words;
}

CNMessageBase& child(CNMessageBase& message, short field, short tag, int group, int number) {
    return *message.getObjectAccessor(true, true, field, tag, group, number);
}

}  // namespace

index_iface_props record_of(const std::string& text) {
    index_iface_props props;
    for (const auto& word : words_of(text)) {
        const std::string &name = word.first, &value = word.second;
        if (name == "op") {
            for (std::size_t op = 0; op < op_names.size(); ++op) {
                if (op_names[op] == value) props.idx_ops = static_cast<index_iface_props::ops>(op);
            }
        } else if (name.starts_with("custom.")) {
            props.custom_props[name.substr(7)] = value;
        }
        visit_fields(props, [&](const std::string& known, auto& member, bool* valid = nullptr) {
            if (known != name) return;
            if (valid != nullptr) *valid = true;
            if constexpr (std::is_integral_v<std::remove_reference_t<decltype(member)>>) {
                member = static_cast<std::remove_reference_t<decltype(member)>>(std::stoll(value));
            } else {
                member = value;
            }
        });
    }
    return props;
}

std::string text_of(const index_iface_props& props) {
    std::string text = props.idx_ops == 0 ? "" : "op=" + op_names.at(static_cast<std::size_t>(props.idx_ops));
    visit_fields(props, [&](const std::string& name, const auto& member, const bool* valid = nullptr) {
        std::string value;
        if constexpr (std::is_integral_v<std::remove_cvref_t<decltype(member)>>) {
            if (valid != nullptr ? *valid : static_cast<long long>(member) != -1) value = std::to_string(member);
        } else {
            value = member;
        }
        if (!value.empty()) text += (text.empty() ? "" : " ") + name + "=" + value;
    });
    for (const auto& [key, value] : props.custom_props)
        text += " custom." + key + "=" + value;
    return text;
}

index_iface_props change_of(const std::string& object, const std::string& more) {
    return record_of("object=" + object + " parent=p1 version=v1 path=/d/" + object + " vtime=5000000000 extent=0 " +
                     more);
}

std::string search_answer(const std::vector<std::string>& records) {
    static const std::map<std::string, std::string> places{
        {"path", "path"},         {"name", "name"},          {"object", "objectGuid"},    {"version", "versionGuid"},
        {"parent", "parentGuid"}, {"a", "resultRefA"},       {"b", "resultRefB"},         {"c", "resultRefC"},
        {"size", "size"},         {"atime", "accessTime"},   {"mtime", "modifiedTime"},   {"uid", "@uid"},
        {"gid", "@gid"},          {"mode", "@mode"},         {"etype", "@extentPresent"}, {"xattr", "@xattr"},
        {"ctime", "@changeTime"}, {"enum", "@extentNumber"}, {"vtime", "@versionTime"},   {"dtime", "@deletedTime"}};
    std::string text = "<ZYSearchResp><resultSet>";
    for (const std::string& record : records) {
        std::string item, attributes, properties;
        for (const auto& [name, value] : words_of(record)) {
            const std::string quoted = "=\"" + value + "\" ";
            if (const auto place = places.find(name); place != places.end()) {
                const bool attribute = place->second[0] == '@';
                (attribute ? attributes : item) += place->second.substr(attribute) + quoted;
            }
            if (name.starts_with("custom.")) {
                properties += "<propertyList propertyName=\"" + name.substr(7) + "\" propertyValue" + quoted + "/>";
            }
        }
        text += "<resultItems " + item + "><properties>" + properties + "</properties><attributes " + attributes +
                "/></resultItems>";
    }
    return text + "</resultSet></ZYSearchResp>";
}

std::string search_error(int code, const std::string& message) {
    return "<ZYSearchResp><errors errorCode=\"" + std::to_string(code) + "\" errorMessage=\"" + message +
           "\"/></ZYSearchResp>";
}

std::string request_text(std::string request) {
    using namespace KT5ContentIndexing;
    ZYSearchReq message;
    if (message.unserialize(request) != 0) return "unreadable";
    std::ostringstream out;
    const auto info = message.getObjectAccessor<SearchProcessingInfo>(true, false, 1, 1, 14, 159);
    CNMessageBase& set = child(message, 2, 2, 14, 157);
    CNMessageBase& keyword = child(set, 1, 1, 14, 154);
    const auto security = set.getlistobject<ZYOrbitSecurityGroup>(7, 7, false);
    FieldValue& scope = security->at(0).getlistobject<FieldValue>(7, 7, false)->at(0);
    out << "page " << info->getint64(1) << " from " << info->getint64(2) << ", mode " << message.getint64(6)
        << ", keyword " << keyword.getstring(1, 1) << ":" << keyword.getint64(2) << ", share "
        << security->at(0).getlistint(2, 2, false)->at(0) << " in " << scope.getstring(1, 1)
        << (scope.isSet(2) || scope.isSet(3) ? " with values" : "") << ", cloud "
        << message.getlistobject<CIServer>(7, 7, false)->at(0).getint64(2) << " of "
        << child(message, 8, 8, 14, 1).getstring(2, 5) << "\n";
    for (const short groups : {short(4), short(3)}) {
        for (ZYSearchGroup& group : *set.getlistobject<ZYSearchGroup>(groups, groups, false)) {
            CNMessageBase& criteria = child(group, 4, 4, 14, 150);
            out << (groups == 4 ? "base " : "query ") << group.getint64(3) << criteria.getint64(3) << "\n";
            for (FieldValue& filter : *criteria.getlistobject<FieldValue>(2, 5, false)) {
                out << " " << filter.getstring(1, 1) << ":" << filter.getint64(3);
                const char* before = " ";
                for (const std::string& value : *child(filter, 2, 5, 14, 127).getliststring(1, 1, false))
                    out << std::exchange(before, ",") << value;
                out << "\n";
            }
        }
    }
    for (SearchParameters& option : *info->getlistobject<SearchParameters>(5, 5, false)) {
        out << option.getstring(1, 1) << "=" << option.getstring(2, 5) << "\n";
    }
    return out.str();
}
