#pragma once

#include <iosfwd>
#include <map>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/pml/ntv_unit.h"
#include "zan/pml/pml_file.h"
#include "zan/pml/pml_parser.h"
#include "zan/pml/pml_show.h"

namespace zan::pml {

// Says that a text is the name of a file.
struct from_file {};

// A name that is known at compile time, for the look-up of children.
struct ZAN_EXPORT name_id {
    virtual char const* name() const = 0;

protected:
    ~name_id() = default;
};

// A unit with a direction. A class describes its fields once, in a codec(pml::stream&) member, and
// the same code fills the object from a tree or writes it into one:
//
//     void Server::codec(zan::pml::stream& s) {
//         s & zan::pml::field("address", address_) & zan::pml::field("port", port_);
//     }
//
//     zan::pml::stream out;                                       // writing
//     server.codec(out.name("server"));
//     zan::String text = out.toPml(true);
//
//     zan::pml::stream in("server.pml", zan::pml::from_file(), false);  // reading
//     server.codec(in);
//
// Reading, a field of which the child is missing or does not convert stays as it is, so the
// object's defaults survive; has() and isEmptyChild() tell. Writing adds children: writing the same
// object twice into one stream is a DuplicatedUnitException.
//
// With the bool `valueString` the text is the body of a unit, without its name and parentheses.
//
// Ownership: the tree is the stream's own; copies are deep. Threads: one at a time. Errors: those
//   of the parser pass; a file that does not open is an empty tree.
class ZAN_EXPORT stream {
public:
    // Output.
    stream() = default;
    // Input: a copy of the unit.
    explicit stream(ntv::Unit const& unit) : unit_(unit), direction_(INPUT) {}
    // Input, parsed.
    stream(istr const& text, bool valueString);
    stream(iwstr const& text, bool valueString);
    stream(istr const& fileName, from_file, bool valueString);

    // Read anew; the direction stays.
    void from(istr const& text, bool valueString);
    void from(iwstr const& text, bool valueString);
    void from(istr const& fileName, from_file, bool valueString);

    bool isInputStream() const { return direction_ == INPUT; }
    bool isOutputStream() const { return direction_ == OUTPUT; }
    void setAsInputStream() const { direction_ = INPUT; }
    // The flag is a mark for applications.
    void setAsOutputStream(bool allNesessary = false) const {
        direction_ = OUTPUT;
        allNesessary_ = allNesessary;
    }
    bool allNesessary() const { return allNesessary_; }
    void allNesessary(bool v) const { allNesessary_ = v; }

    ntv::Unit& unit() { return unit_; }
    ntv::Unit const& unit() const { return unit_; }
    String const& name() const { return unit_.name(); }
    stream& name(istr const& v) {
        unit_.name(v);
        return *this;
    }
    String const& type() const { return unit_.type(); }
    stream& type(istr const& v) {
        unit_.type(v);
        return *this;
    }
    stream& value(istr const& v) {
        unit_.setValue(v);
        return *this;
    }
    stream& clear() {
        unit_.clear();
        return *this;
    }

    // Makes a child that is missing.
    ntv::Unit& operator[](istr const& name) { return unit_[name]; }
    ntv::Unit& operator[](name_id const& id) { return unit_[istr(id.name())]; }
    // The null unit where the child is missing.
    ntv::Unit const& operator[](istr const& name) const { return unit_[name]; }
    ntv::Unit const& operator[](name_id const& id) const { return unit_[istr(id.name())]; }
    // Takes a path.
    bool has(istr const& path) const { return unit_.find(path) != nullptr; }
    // No such child, or nothing in it. Takes a name.
    bool isEmptyChild(istr const& name) const;
    // Copies of the other's children, but for those whose name has() finds here.
    void combine(stream const& other);

    // The unit of the object that is being coded: its type and name, unless the stream has them.
    void enter(istr const& type, istr const& name = istr(), istr const& = istr(),
               istr const& = istr());
    void leave() {}
    void enterSuper() {}
    void leaveSuper() {}

    String str(ShowMode mode = ShowMode(), ShowPattern pattern = ShowPattern()) const {
        return unit_.str(mode, pattern);
    }
    // Appends.
    void toString(String& out, ShowMode mode = ShowMode(),
                  ShowPattern pattern = ShowPattern()) const {
        unit_.toString(out, mode, pattern);
    }
    String toPml(bool formatted = false) const {
        return str(formatted ? ShowMode::FORMATTED : ShowMode::COMPACT, ShowPattern(7));
    }
    dumper& dump(dumper& d) const;

private:
    enum Direction { OUTPUT = 0, INPUT = 1 };

    ntv::Unit unit_;
    mutable int direction_ = OUTPUT;
    mutable Bit allNesessary_;
};

// COMPACT.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, stream const& s);
// FORMATTED.
ZAN_EXPORT String& operator<<(String& out, stream const& s);
// Type and value, without the name.
ZAN_EXPORT ntv::Unit& operator<<(ntv::Unit& unit, stream const& s);
ZAN_EXPORT ntv::Unit const& operator>>(ntv::Unit const& unit, stream& s);

namespace detail {

template <class T>
void setField(ntv::Unit& unit, T const& value) {
    unit << value;
}
template <class T>
bool getField(ntv::Unit const& unit, T& value) {
    return unit >> value;
}

template <class K, class V, class C, class A>
void setField(ntv::Unit& unit, std::map<K, V, C, A> const& map);
template <class K, class V, class C, class A>
bool getField(ntv::Unit const& unit, std::map<K, V, C, A>& map);

// A map is a unit of the type "map" with one child to an entry.
template <class K, class V, class C, class A>
void setField(ntv::Unit& unit, std::map<K, V, C, A> const& map) {
    unit.type("map");
    unit.initValueAsList();
    for (auto const& entry : map) {
        ntv::Unit key;
        key << entry.first;
        ntv::Unit child(key.getStringValue());
        setField(child, entry.second);
        unit.addChild(child);
    }
}

// A unit with a text is no map; entries that do not convert are left out.
template <class K, class V, class C, class A>
bool getField(ntv::Unit const& unit, std::map<K, V, C, A>& map) {
    if (unit.listValue() == nullptr && !unit.valueEmpty()) return false;
    map.clear();
    if (unit.listValue() == nullptr) return true;
    for (ntv::Unit const* const child : *unit.listValue()) {
        ntv::Unit name;
        name.setValue(child->name());
        K key{};
        V value{};
        if (getField(name, key) && getField(*child, value)) map[key] = value;
    }
    return true;
}

}  // namespace detail

// One field of an object under its name in the tree. `T` is whatever a Unit converts to and from
// by >> and <<, or a std::map of such. The names must outlive the binding, the value is the
// object's own.
template <class T>
class Field__ {
public:
    Field__(istr const& name, T& value, istr const& type = istr())
        : name_(name), type_(type), value_(&value) {}

    // False where there is no such child; the field is then untouched.
    bool get(stream& s) const {
        ntv::Unit const* const child = static_cast<stream const&>(s).unit().at(name_);
        if (child == nullptr) return false;
        detail::getField(*child, *value_);
        return true;
    }
    void set(stream& s) const {
        ntv::Unit* const child = ZAN_NEW(ntv::Unit);
        try {
            detail::setField(*child, *value_);
            if (!type_.empty()) child->type(type_);
            child->name(name_);
            s.unit().addChild(child);
        } catch (...) {
            ZAN_DELETE(child);
            throw;
        }
    }

private:
    istr name_;
    istr type_;
    T* value_;
};

template <class T>
Field__<T> field(istr const& name, T& value, istr const& type = istr()) {
    return Field__<T>(name, value, type);
}

// Reads or writes the field, by the stream's direction.
template <class T>
stream& operator&(stream& s, Field__<T> const& f) {
    if (s.isInputStream())
        f.get(s);
    else
        f.set(s);
    return s;
}

// For classes that are coded through a base class.
class ZAN_EXPORT PmlCodecInterface : public virtual Interface {
public:
    ~PmlCodecInterface() override;
    virtual void codec(stream& s) = 0;
};

// A text or a file that stands for a tree.
class ZAN_EXPORT pmlType {
public:
    virtual ~pmlType();
    virtual bool fromNTV(ntv::Unit const& unit, ShowMode mode, ShowPattern pattern) = 0;
    virtual bool toNTV(ntv::Unit& unit) const = 0;
};

// A text.
class ZAN_EXPORT pmlString : public pmlType {
public:
    pmlString() = default;
    explicit pmlString(istr const& data) : data_(data) {}
    ~pmlString() override;

    String& data() { return data_; }
    String const& data() const { return data_; }
    // Appends to data(). Always true.
    bool fromNTV(ntv::Unit const& unit, ShowMode mode, ShowPattern pattern) override;
    bool toNTV(ntv::Unit& unit) const override;

private:
    String data_;
};

// A file; see File for the errors.
class ZAN_EXPORT pmlFile : public pmlType {
public:
    // With `valueString` the file holds the body of a unit; fromNTV() writes a whole unit all the
    // same.
    pmlFile(istr const& fileName, bool valueString) : file_(fileName), valueString_(valueString) {}
    ~pmlFile() override;

    File const& file() const { return file_; }
    bool fromNTV(ntv::Unit const& unit, ShowMode mode, ShowPattern pattern) override;
    bool toNTV(ntv::Unit& unit) const override;

private:
    File file_;
    bool valueString_;
};

}  // namespace zan::pml
