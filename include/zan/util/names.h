#pragma once

#include <list>
#include <string>

#include "zan/base/base_type_string.h"
#include "zan/log/log_dumper.h"

// Names that consist of parts. Each class holds the whole and the parts at once and keeps them in
// step: set the whole and the parts are worked out, set a part and the whole is built anew.
//
// Ownership: all text is copied. What the getters return are views of the fields, good until the
//   next change of the object.
// Threads: plain values.
// Errors: none; every text is legal.

namespace zan {

// A path: directory and file. Both '\' and '/' count on reading, a backslash is written.
//
//     Filename name(L"logs/today.log");
//     name.file(L"yesterday.log");  // full() is now logs\yesterday.log
class ZAN_EXPORT Filename {
public:
    Filename() = default;
    explicit Filename(iwstr const& full) { this->full(full); }
    Filename(iwstr const& dir, iwstr const& file) : dir_(dir), file_(file) { merge(); }

    Filename& full(iwstr const& value);
    Filename& dir(iwstr const& value);
    Filename& file(iwstr const& value);
    iwstr full() const { return full_; }
    // All before the last separator; empty where there is none.
    iwstr dir() const { return dir_; }
    // All behind it.
    iwstr file() const { return file_; }

    // From the whole, whose last character goes if it is a separator. A path in the root, "\x",
    // has an empty directory, and so merges to "x".
    void split();
    // From the parts. A backslash at the end of the file goes.
    void merge();

    static wchar_t separator() { return L'\\'; }

    dumper& dump(dumper& d) const;

private:
    std::wstring full_;
    std::wstring dir_;
    std::wstring file_;
};

// A qualified function name. The function keeps its class: "zan::Time::toString" has the namespace
// "zan" and the function "Time::toString". With a single separator, "Time::now", what stands before
// it is the namespace.
class ZAN_EXPORT Funcname {
public:
    Funcname() = default;
    explicit Funcname(istr const& full) { this->full(full); }
    Funcname(istr const& ns, istr const& func) : ns_(ns), func_(func) { merge(); }

    Funcname& full(istr const& value);
    Funcname& ns(istr const& value);
    Funcname& func(istr const& value);
    istr full() const { return full_; }
    istr ns() const { return ns_; }
    istr func() const { return func_; }

    void split();
    // Also with an empty namespace there is a separator: "::main".
    void merge();

    static char const* separator() { return "::"; }

    dumper& dump(dumper& d) const;

private:
    String full_;
    String ns_;
    String func_;
};

// A list in one text, with a separator of any length. With an empty separator each byte is an
// element.
class ZAN_EXPORT MultiString {
public:
    MultiString(istr const& full, istr const& separator) : full_(full), sep_(separator) { split(); }
    MultiString(std::list<String> const& list, istr const& separator)
        : list_(list), sep_(separator) {
        merge();
    }

    MultiString& full(istr const& value);
    MultiString& set(istr const& value) { return full(value); }
    MultiString& list(std::list<String> const& value);
    // Keeps the elements; the whole changes.
    MultiString& separator(istr const& value);
    MultiString& add(istr const& element);
    // The separator stays.
    MultiString& clear();
    istr full() const { return full_; }
    std::list<String> const& list() const { return list_; }
    istr separator() const { return sep_; }

    // An empty whole has no elements; otherwise there is one more than separators.
    void split();
    void merge();

    dumper& dump(dumper& d) const;

private:
    String full_;
    std::list<String> list_;
    String sep_;
};

// "zan::Time" becomes "zan.Time": each run of '.' and ':' is a single '.'.
ZAN_EXPORT String normalizeName(istr const& name);

}  // namespace zan
