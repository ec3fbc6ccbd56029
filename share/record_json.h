// Records of the library as JSON objects, under their own field names.
#pragma once

#include <boost/json/object.hpp>
#include <stdexcept>
#include <string>

#include "core/records.h"

namespace share_host {

/// What is wrong with a request, in one phrase.
class bad_request : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The record with the fields that the object names. Throws bad_request on unknown fields, wrong types, numbers out of
/// their field's range (all bits 1 is "not set" and no value), and texts that entry lines cannot carry.
index_iface_props props_from_json(const boost::json::object& fields);

/// The set fields of a record. Bytes that are no valid UTF-8 are percent-encoded.
boost::json::object props_to_json(const index_iface_props& props);

/// A query's fields together with the texts that they point into.
struct query_fields {
    query_fields() = default;
    query_fields(const query_fields&) = delete;
    query_fields& operator=(const query_fields&) = delete;

    index_iface_browse_fields fields;
    std::string path;
    std::string object_guid;
    std::string version_guid;
};

/// What a query asks by, which it has to name.
enum class query_key { path, object_guid };

/// Fills a query. Throws bad_request as above, and when the key is missing.
void query_from_json(const boost::json::object& source, query_key key, query_fields& query);

/// A text that entry lines can carry, by the name it has in messages. Throws bad_request.
std::string carried_text(const boost::json::value& value, const std::string& name);

/// Throws bad_request unless the text begins at the share's root.
void check_path(const std::string& path, const std::string& name);

/// A whole number of the range, by the name it has in messages. Throws bad_request.
long long number_in_range(const boost::json::value& value, const std::string& name, long long low, long long high);

}  // namespace share_host
