#include "zan/pml/pml_file.h"

#include <fstream>

#include "zan/platform/native_path.h"

namespace zan::pml {

bool File::open(std::ifstream& in) const {
    in.open(platform::nativePath(toWstring(ansi(name_))));
    return in.good();
}

bool File::open(std::ofstream& out) const {
    out.open(platform::nativePath(toWstring(ansi(name_))));
    return out.good();
}

}  // namespace zan::pml
