// Owner of one open stream.
#ifndef QV_PLATFORM_SCOPED_FILE_H
#define QV_PLATFORM_SCOPED_FILE_H

#include <cstdio>
#include <memory>

struct FileCloser {
    void operator()(FILE* file) const {
        fclose(file);
    }
};

using FilePtr = std::unique_ptr<FILE, FileCloser>;

#endif
