#include "json/json_scope.h"

#include <cerrno>

void qv_json_free(json_object* object) {
    if (object != nullptr) {
        json_object_put(object);
    }
}

const char* qv_json_to_string(json_object* object) {
    if (object == nullptr) {
        return nullptr;
    }
    // json-c leaves out what its buffer cannot be made larger for and prints on. All that tells is
    // what realloc(3) has put into errno.
    errno = 0;
    const char* const text = json_object_to_json_string(object);
    return errno == ENOMEM ? nullptr : text;
}

json_object* qv_json_member(json_object* object, const char* key) {
    json_object* member = nullptr;
    if (json_object_is_type(object, json_type_object) != 0) {
        json_object_object_get_ex(object, key, &member);
    }
    return member;
}

json_object* qv_json_path(json_object* root, std::initializer_list<const char*> keys) {
    for (const char* const key : keys) {
        root = qv_json_member(root, key);
    }
    return root;
}

bool qv_json_add(json_object* object, const char* key, JsonPtr value) {
    if (value == nullptr || json_object_object_add(object, key, value.get()) != 0) {
        return false;
    }
    static_cast<void>(value.release());
    return true;
}

bool qv_json_append(json_object* array, JsonPtr value) {
    if (value == nullptr || json_object_array_add(array, value.get()) != 0) {
        return false;
    }
    static_cast<void>(value.release());
    return true;
}
