// Text in memory of its own.
#ifndef QV_PLATFORM_OWNED_TEXT_H
#define QV_PLATFORM_OWNED_TEXT_H

#include <cstddef>
#include <cstdlib>
#include <memory>

struct FreeDeleter {
    void operator()(void* memory) const {
        free(memory);
    }
};

/// Characters allocated with malloc, so that running out of memory is a result and not the end.
using OwnedText = std::unique_ptr<char[], FreeDeleter>;

/// Room for `size` characters, or none.
inline OwnedText qv_allocate_text(size_t size) {
    return OwnedText(static_cast<char*>(malloc(size)));
}

#endif
