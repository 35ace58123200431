// Ownership of json-c objects, and lookups that hold on any value.
#ifndef QV_JSON_JSON_SCOPE_H
#define QV_JSON_JSON_SCOPE_H

#include <initializer_list>
#include <json-c/json.h>
#include <memory>

/// json_object_put of the object when there is one.
void qv_json_free(json_object* object);

/// Serialised text of the object (json-c's default form), or none when there is no object or
/// memory is out. The text belongs to the object.
const char* qv_json_to_string(json_object* object);

struct JsonDeleter {
    void operator()(json_object* object) const {
        qv_json_free(object);
    }
};

/// One reference to a json-c object.
using JsonPtr = std::unique_ptr<json_object, JsonDeleter>;

/// The member of that key, or none: also when `object` is none or no JSON object. A member that
/// is JSON null is none too. Borrowed from the object.
json_object* qv_json_member(json_object* object, const char* key);

/// Follows the keys from member to member; none as soon as one is missing.
json_object* qv_json_path(json_object* root, std::initializer_list<const char*> keys);

/// Gives the value to the object under the key. False, releasing the value, when there is no
/// value or memory is out.
bool qv_json_add(json_object* object, const char* key, JsonPtr value);

/// As qv_json_add, at the end of an array.
bool qv_json_append(json_object* array, JsonPtr value);

#endif
