// The firmware image that an upgrade is about.
#ifndef QVCTL_IMAGE_H
#define QVCTL_IMAGE_H

#include "options.h"

#include <string>

namespace qvctl {

struct Image {
    std::string name; ///< on the download server
    std::string md5sum;
};

/// What the arguments say of the image; a local file brings what they leave out. Throws Failure.
Image image_of(const Arguments& arguments);

/// A text as one segment of a URL's path: every byte but letters, digits and -._~ escaped, as
/// devices escape it.
std::string url_segment(const std::string& text);

} // namespace qvctl

#endif
