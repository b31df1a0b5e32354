#pragma once

#include <iosfwd>

#include "zan/base/base_type_string.h"

namespace zan::pml {

// The name of a PML file: 8-bit text in the configured code page, with '\' or '/' between folders,
// relative to the working directory. The file itself is text in the configured code page; there is
// no byte order mark and no detection of an encoding.
class ZAN_EXPORT File {
public:
    File() = default;
    explicit File(istr const& name) : name_(name) {}
    File& operator=(istr const& name) {
        name_ = name;
        return *this;
    }
    String const& filename() const { return name_; }

    // True when the stream is in order afterwards.
    bool open(std::ifstream& in) const;
    // Makes the file, or empties it.
    bool open(std::ofstream& out) const;

private:
    String name_;
};

}  // namespace zan::pml
