#pragma once

#include <iosfwd>
#include <ostream>

#include "zan/base/base_type_time.h"

namespace zan {

namespace pml {
class stream;
}

// A comparable version number: first `version`, then `patch`.
struct ZAN_EXPORT Version {
    Version() = default;
    // Both have 32 bits; a value that does not fit throws OutOfRangeException.
    Version(unsigned long version, unsigned long patch);

    unsigned long version() const { return version_; }
    unsigned long patch() const { return patch_; }
    // Fills or writes the children "version" and "patch".
    void codec(pml::stream& s);

private:
    unsigned int version_ = 0;
    unsigned int patch_ = 0;
};

inline bool operator==(Version const& a, Version const& b) {
    return a.version() == b.version() && a.patch() == b.patch();
}
inline bool operator<(Version const& a, Version const& b) {
    return a.version() != b.version() ? a.version() < b.version() : a.patch() < b.patch();
}
inline bool operator>(Version const& a, Version const& b) {
    return b < a;
}
inline bool operator!=(Version const& a, Version const& b) {
    return !(a == b);
}
inline bool operator<=(Version const& a, Version const& b) {
    return !(a > b);
}
inline bool operator>=(Version const& a, Version const& b) {
    return !(a < b);
}

// "2.03": the patch in two digits.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, Version const& v);

// Streaming it writes the version report: banner, times, and the compile switches of the including
// source file.
struct show_version {};

namespace detail {
ZAN_EXPORT char const* versionBanner();
// "(debug) 2.0.3-00[20140611]", with the kind of this library's build.
ZAN_EXPORT char const* versionText();
}  // namespace detail

// Internal linkage: the report describes the switches and the time of the including file, so no two
// files may share one body.
static inline std::ostream& operator<<(std::ostream& os, show_version) {
    os << detail::versionBanner() << '\n'
       << "\nCurrent time = " << Time::now().toDateTime() << '\n'
       << "Compile time = " << __DATE__ << ' ' << __TIME__ << '\n'
       << "Compile options:\n";
#if defined(_DEBUG)
    os << "\t_DEBUG\n";
#endif
#if defined(_ZAN_UNIT_TEST)
    os << "\t_ZAN_UNIT_TEST\n";
#else
    os << "\t_ZAN_UNIT_TEST OFF\n";
#endif
#if defined(_ZAN_DEBUG_ON)
    os << "\t_ZAN_DEBUG_ON\n";
#endif
#if defined(_ZAN_TRACE_ON)
    os << "\t_ZAN_TRACE_ON\n";
#endif
#if defined(_ZAN_TRACE_LOG_ON)
    os << "\t_ZAN_TRACE_LOG_ON\n";
#endif
#if defined(_ZAN_MEMLEAKCHECK_ON)
    os << "\t_ZAN_MEMLEAKCHECK_ON\n";
#endif
#if defined(_ZAN_ASSERT_ON)
    os << "\t_ZAN_ASSERT_ON\n";
#endif
#if defined(_ZAN_ASSERT_ABORT_ON)
    os << "\t_ZAN_ASSERT_ABORT_ON\n";
#endif
#if defined(_ZAN_BREAK_ON_EXCEPTION)
    os << "\t_ZAN_BREAK_ON_EXCEPTION = " << _ZAN_BREAK_ON_EXCEPTION << '\n';
#endif
#if defined(_ZAN_THROW_REALLY)
    os << "\t_ZAN_THROW_REALLY = " << _ZAN_THROW_REALLY << '\n';
#endif
    return os.flush();
}

}  // namespace zan

// Names its version in the library's symbol table.
namespace zan_20300 {
ZAN_EXPORT void zzz_dummy_to_show_version();
}
