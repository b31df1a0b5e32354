#include "zan/base/version.h"

#include <iomanip>
#include <limits>

#include "zan/base/exception.h"
#include "zan/pml/pml_stream.h"

#if defined(NDEBUG) && !defined(_DEBUG)
#define ZAN_BUILD_KIND "(release)"
#else
#define ZAN_BUILD_KIND "(debug)"
#endif

namespace zan {

namespace {

unsigned int checked(unsigned long v) {
    if (v > std::numeric_limits<unsigned int>::max()) ZAN_THROW_PLAIN(zan::OutOfRangeException);
    return static_cast<unsigned int>(v);
}

}  // namespace

namespace detail {

char const* versionText() {
    return ZAN_BUILD_KIND " 2.0.3-00[20140611]";
}

char const* versionBanner() {
    return "ZAN(Zenith Assembly Nexus) version " ZAN_BUILD_KIND
           " 2.0.3-00[20140611]\n"
           "A toolkit for long-running networked programs on Linux.\n"
           "Written and maintained by the zan developers.\n"
           "See CHANGELOG.md for what is new.";
}

}  // namespace detail

Version::Version(unsigned long version, unsigned long patch)
    : version_(checked(version)), patch_(checked(patch)) {}

void Version::codec(pml::stream& s) {
    s& pml::field("version", version_) & pml::field("patch", patch_);
}

std::ostream& operator<<(std::ostream& os, Version const& v) {
    return os << v.version() << '.' << std::setfill('0') << std::setw(2) << v.patch()
              << std::setfill(' ');
}

}  // namespace zan

namespace zan_20300 {
void zzz_dummy_to_show_version() {}
}  // namespace zan_20300
