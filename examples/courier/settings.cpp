#include "settings.h"

namespace courier {

using zan::pml::ntv::Unit;

void Settings::load(zan::istr const& file) {
    // The logger reads its section of the same file.
    zan::logger_factory::instance(zan::LOGGER_ID).load(file);
    zan::pml::stream settings(zan::ConfigFile::instance().mps().unit());
    check(settings.unit());
    codec(settings);
}

void Settings::codec(zan::pml::stream& s) {
    s& zan::pml::field("address", address);
    s& zan::pml::field("port", port);
    s& zan::pml::field("inbox", inbox);
    s& zan::pml::field("key", key);
    s& zan::pml::field("idleTimeout", idleTimeout);
}

// --- What is wrong

void Settings::check(Unit const& file) {
    zan::pml::stream known;
    codec(known);
    if (file.listValue() == nullptr) return;
    for (Unit const* const entry : *file.listValue()) {
        zan::String const path = zan::String() << file.name() << '/' << entry->name();
        if (entry->name() == "log")
            checkLog(*entry, path);
        else if (entry->name() == "port")
            checkValue(*entry, path, "no port", port);
        else if (entry->name() == "idleTimeout")
            checkValue(*entry, path, "no number", idleTimeout);
        else if (entry->name() == "enable" || entry->name() == "codepage" ||
                 entry->name() == "numofTimers" || known.has(entry->name()))
            continue;
        else
            report(path, "unknown, ignored");
    }
}

// The logger tells by itself which keys it has.
void Settings::checkLog(Unit const& section, zan::istr const& path) {
    zan::pml::stream known;
    zan::logger_factory::instance(zan::LOGGER_ID).codec(known);
    if (section.listValue() == nullptr) return;
    for (Unit const* const entry : *section.listValue()) {
        zan::String const keyPath = zan::String() << path << '/' << entry->name();
        Unit const* const standing = known.unit().find(entry->name());
        if (standing == nullptr) {
            report(keyPath, "unknown, ignored");
        } else if (entry->name().find("max") == 0 || entry->name() == "waitSeconds") {
            unsigned long number = 0;
            *standing >> number;
            checkValue(*entry, keyPath, "no number", number);
        } else if (entry->name() == "appLogs" || entry->name() == "msgLogs") {
            if (entry->listValue() == nullptr) continue;
            for (Unit const* const category : *entry->listValue())
                checkValue(*category, zan::String() << keyPath << '/' << category->name(),
                           "neither true nor false", false);
        } else if (entry->name() != "filename" && entry->name() != "filenameDebug") {
            bool flag = false;
            *standing >> flag;
            checkValue(*entry, keyPath, "neither true nor false", flag);
        }
    }
}

template <class T>
void Settings::checkValue(Unit const& unit, zan::istr const& path, zan::istr const& kind,
                          T const& standing) {
    T read{};
    // An empty key is one that is left out.
    if (unit.valueEmpty() || unit >> read) return;
    Unit shown;
    shown << standing;
    report(path, zan::String() << '\'' << unit.getStringValue() << "' is " << kind << ", "
                               << shown.getStringValue() << " stands in");
}

void Settings::report(zan::istr const& path, zan::String const& what) {
    problems_.push_back(zan::String() << path << ": " << what);
}

}  // namespace courier
