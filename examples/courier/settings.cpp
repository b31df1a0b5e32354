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
    s& zan::pml::field("idleTimeout", idleTimeout);
}

// --- What is wrong

void Settings::check(Unit const& file) {
    zan::pml::stream known;
    codec(known);
    if (file.listValue() == nullptr) return;
    for (Unit const* const key : *file.listValue()) {
        zan::String const path = zan::String() << file.name() << '/' << key->name();
        if (key->name() == "log")
            checkLog(*key, path);
        else if (key->name() == "port")
            checkValue(*key, path, "no port", port);
        else if (key->name() == "idleTimeout")
            checkValue(*key, path, "no number", idleTimeout);
        else if (key->name() == "enable" || key->name() == "codepage" ||
                 key->name() == "numofTimers" || known.has(key->name()))
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
    for (Unit const* const key : *section.listValue()) {
        zan::String const keyPath = zan::String() << path << '/' << key->name();
        Unit const* const standing = known.unit().find(key->name());
        if (standing == nullptr) {
            report(keyPath, "unknown, ignored");
        } else if (key->name().find("max") == 0 || key->name() == "waitSeconds") {
            unsigned long number = 0;
            *standing >> number;
            checkValue(*key, keyPath, "no number", number);
        } else if (key->name() == "appLogs" || key->name() == "msgLogs") {
            if (key->listValue() == nullptr) continue;
            for (Unit const* const category : *key->listValue())
                checkValue(*category, zan::String() << keyPath << '/' << category->name(),
                           "neither true nor false", false);
        } else if (key->name() != "filename" && key->name() != "filenameDebug") {
            bool flag = false;
            *standing >> flag;
            checkValue(*key, keyPath, "neither true nor false", flag);
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
