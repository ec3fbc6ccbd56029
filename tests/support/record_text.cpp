// One table of the record's fields serves both directions of the record texts.
#include "tests/support/record_text.h"

#include <functional>
#include <map>
#include <sstream>

#include "host/message_classes.h"

namespace {

struct field {
    std::string name;
    std::function<std::string(const index_iface_props&)> get;
    std::function<void(index_iface_props&, const std::string&)> set;
};

field text(const char* name, std::string index_iface_props::*member) {
    return {name, [=](const auto& props) { return props.*member; },
            [=](auto& props, const auto& v) { props.*member = v; }};
}

template <class Number>
field number(const char* name, Number index_iface_props::*member) {
    return {name, [=](const auto& props) { return props.*member == -1 ? "" : std::to_string(props.*member); },
            [=](auto& props, const auto& v) { props.*member = static_cast<Number>(std::stoll(v)); }};
}

field flagged(const char* name, bool index_iface_props::*valid, std::uint32_t index_iface_props::*member) {
    return {name, [=](const auto& props) { return props.*valid ? std::to_string(props.*member) : ""; },
            [=](auto& props, const auto& v) {
                props.*valid = true;
                props.*member = static_cast<std::uint32_t>(std::stoul(v));
            }};
}

const std::vector<field>& fields() {
    using p = index_iface_props;
    static const std::vector<field> all{text("name", &p::name),
                                        text("path", &p::path),
                                        text("version", &p::version_guid),
                                        text("object", &p::object_guid),
                                        text("parent", &p::parent_guid),
                                        flagged("mode", &p::mode_valid, &p::mode),
                                        number("size", &p::size),
                                        flagged("uid", &p::uid_valid, &p::uid),
                                        flagged("gid", &p::gid_valid, &p::gid),
                                        number("atime", &p::atime),
                                        number("ctime", &p::ctime),
                                        number("mtime", &p::mtime),
                                        number("dtime", &p::dtime),
                                        number("vtime", &p::vtime),
                                        number("sec", &p::vtime_sec),
                                        number("etype", &p::extent_type),
                                        number("esize", &p::extent_size),
                                        text("link", &p::link_target),
                                        number("extent", &p::is_extent),
                                        number("enum", &p::extent_number),
                                        number("a", &p::result_ref_a),
                                        number("b", &p::result_ref_b),
                                        number("c", &p::result_ref_c),
                                        text("xattr", &p::xattr)};
    return all;
}

const std::vector<std::string> op_names{"NONE", "ADD", "UPD", "DEL", "REN"};

std::vector<std::pair<std::string, std::string>> words_of(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;)
        words.emplace_back(word.substr(0, word.find('=')), word.substr(word.find('=') + 1));
    return words;
}

std::string joined(const std::vector<std::string>& values) {
    std::string all;
    for (const std::string& value : values)
        all += (all.empty() ? "" : ",") + value;
    return all;
}

CNMessageBase& child(CNMessageBase& message, short field, short tag, int group, int number) {
    return *message.getObjectAccessor(true, true, field, tag, group, number);
}

}  // namespace

index_iface_props record_of(const std::string& text) {
    index_iface_props props;
    for (const auto& [name, value] : words_of(text)) {
        if (name == "op") {
            for (std::size_t op = 0; op < op_names.size(); ++op) {
                if (op_names[op] == value) props.idx_ops = static_cast<index_iface_props::ops>(op);
            }
        } else if (name.starts_with("custom.")) {
            props.custom_props[name.substr(7)] = value;
        }
        for (const field& known : fields()) {
            if (known.name == name) known.set(props, value);
        }
    }
    return props;
}

std::string text_of(const index_iface_props& props) {
    std::string text = props.idx_ops == 0 ? "" : "op=" + op_names.at(static_cast<std::size_t>(props.idx_ops));
    for (const field& known : fields()) {
        const std::string value = known.get(props);
        if (!value.empty()) text += (text.empty() ? "" : " ") + known.name + "=" + value;
    }
    for (const auto& [key, value] : props.custom_props)
        text += " custom." + key + "=" + value;
    return text;
}

index_iface_props change_of(const std::string& object, const std::string& more) {
    return record_of("object=" + object + " parent=p1 version=v1 path=/d/" + object + " vtime=5000000000 extent=0 " +
                     more);
}

std::string search_answer(const std::vector<std::string>& records) {
    static const std::map<std::string, std::string> of_item{
        {"path", "path"},          {"name", "name"},        {"object", "objectGuid"}, {"version", "versionGuid"},
        {"parent", "parentGuid"},  {"a", "resultRefA"},     {"b", "resultRefB"},      {"c", "resultRefC"},
        {"mtime", "modifiedTime"}, {"atime", "accessTime"}, {"size", "size"}};
    static const std::map<std::string, std::string> of_attributes{
        {"uid", "uid"},          {"gid", "gid"},          {"mode", "mode"},         {"etype", "extentPresent"},
        {"xattr", "xattr"},      {"ctime", "changeTime"}, {"enum", "extentNumber"}, {"vtime", "versionTime"},
        {"dtime", "deletedTime"}};
    std::string text = "<ZYSearchResp><resultSet>";
    for (const std::string& record : records) {
        std::string item, attributes, properties;
        for (const auto& [name, value] : words_of(record)) {
            const std::string quoted = "=\"" + value + "\" ";
            if (of_item.contains(name)) item += of_item.at(name) + quoted;
            if (of_attributes.contains(name)) attributes += of_attributes.at(name) + quoted;
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
                out << " " << filter.getstring(1, 1) << ":" << filter.getint64(3) << " "
                    << joined(*child(filter, 2, 5, 14, 127).getliststring(1, 1, false)) << "\n";
            }
        }
    }
    for (SearchParameters& option : *info->getlistobject<SearchParameters>(5, 5, false)) {
        out << option.getstring(1, 1) << "=" << option.getstring(2, 5) << "\n";
    }
    return out.str();
}
