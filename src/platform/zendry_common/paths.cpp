#include "platform/zendry_common/paths.h"

#include <cstdlib>

namespace zendry {

std::string rooted(std::string_view path) {
    const char* root = getenv("ZENDRY_ROOT");
    std::string result = root != nullptr ? root : "";
    result.append(path);
    return result;
}

} // namespace zendry
