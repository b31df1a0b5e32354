#include "zan/util/names.h"

namespace zan {

namespace {

constexpr wchar_t const SEPARATORS[] = L"\\/";

}  // namespace

// The setters take a copy first: the view may be one of this object's own fields.

Filename& Filename::full(iwstr const& value) {
    full_ = std::wstring(value);
    split();
    return *this;
}

Filename& Filename::dir(iwstr const& value) {
    dir_ = std::wstring(value);
    merge();
    return *this;
}

Filename& Filename::file(iwstr const& value) {
    file_ = std::wstring(value);
    merge();
    return *this;
}

void Filename::split() {
    if (!full_.empty() && (full_.back() == L'\\' || full_.back() == L'/')) full_.pop_back();
    unsigned long const at = full_.find_last_of(SEPARATORS);
    if (at == std::wstring::npos) {
        dir_.clear();
        file_ = full_;
    } else {
        dir_ = full_.substr(0, at);
        file_ = full_.substr(at + 1);
    }
}

void Filename::merge() {
    if (!file_.empty() && file_.back() == separator()) file_.pop_back();
    full_.clear();
    if (!dir_.empty()) (full_ = dir_) += separator();
    full_ += file_;
}

dumper& Filename::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::Filename");
    d << indent << namestring("full_") << full_ << endline;
    d << indent << namestring("dir_") << dir_ << endline;
    d << indent << namestring("file_") << file_ << endline;
    return d;
}

Funcname& Funcname::full(istr const& value) {
    full_ = String(value);
    split();
    return *this;
}

Funcname& Funcname::ns(istr const& value) {
    ns_ = String(value);
    merge();
    return *this;
}

Funcname& Funcname::func(istr const& value) {
    func_ = String(value);
    merge();
    return *this;
}

void Funcname::split() {
    unsigned long at = full_.rfind(separator());
    if (at == String::npos) {
        ns_.clear();
        func_ = full_;
        return;
    }
    if (at != 0) {
        unsigned long const before = full_.rfind(separator(), at - 1);
        if (before != String::npos) at = before;
    }
    ns_ = String(full_.substr(0, at));
    func_ = String(full_.substr(at + 2));
}

void Funcname::merge() {
    full_ = ns_;
    full_ += separator();
    full_ += func_;
}

dumper& Funcname::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::Funcname");
    d << indent << namestring("full_") << full_ << endline;
    d << indent << namestring("ns_") << ns_ << endline;
    d << indent << namestring("func_") << func_ << endline;
    return d;
}

MultiString& MultiString::full(istr const& value) {
    full_ = String(value);
    split();
    return *this;
}

MultiString& MultiString::list(std::list<String> const& value) {
    list_ = value;
    merge();
    return *this;
}

MultiString& MultiString::separator(istr const& value) {
    sep_ = String(value);
    merge();
    return *this;
}

MultiString& MultiString::add(istr const& element) {
    String const copy(element);
    if (!list_.empty()) full_ += sep_;
    full_ += copy;
    list_.push_back(copy);
    return *this;
}

MultiString& MultiString::clear() {
    full_.clear();
    list_.clear();
    return *this;
}

void MultiString::split() {
    list_.clear();
    if (full_.empty()) return;
    if (sep_.empty()) {
        for (char c : full_) list_.emplace_back(&c, 1UL);
        return;
    }
    unsigned long mark = 0;
    for (unsigned long at; (at = full_.find(sep_, mark)) != String::npos; mark = at + sep_.size())
        list_.emplace_back(full_.data() + mark, at - mark);
    list_.emplace_back(full_.data() + mark, full_.size() - mark);
}

void MultiString::merge() {
    full_.clear();
    bool first = true;
    for (String const& element : list_) {
        if (!first) full_ += sep_;
        full_ += element;
        first = false;
    }
}

dumper& MultiString::dump(dumper& d) const {
    dumper::_Entry const entry(d, "zan::MultiString");
    d << indent << namestring("full_") << full_ << endline;
    d << indent << namestring("list_") << list_ << endline;
    d << indent << namestring("sep_") << sep_ << endline;
    return d;
}

String normalizeName(istr const& name) {
    String result;
    bool inRun = false;
    for (char c : name) {
        bool const separates = c == '.' || c == ':';
        if (!separates)
            result += c;
        else if (!inRun)
            result += '.';
        inRun = separates;
    }
    return result;
}

}  // namespace zan
