#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <type_traits>

#include "zan/base/base_type_bytes.h"
#include "zan/base/base_type_time.h"
#include "zan/base/base_type_value.h"
#include "zan/pml/ntv_listvalue.h"
#include "zan/pml/ntv_stringvalue.h"
#include "zan/pml/pml_show.h"

namespace zan {

class dumper;

namespace pml::ntv {

// A node of the native tree, the form that PML text and all configuration have in memory: a name, a
// free type label, and one value, which is a text, a typed datum, or the list of the child units.
//
//     Unit cfg("server");
//     cfg.addChild("address", "127.0.0.1");
//     cfg["port"] << 8080;
//
//     Unit const& in = cfg;
//     unsigned short port = 80;
//     in["port"] >> port;                   // keeps 80 where the key is missing or no number
//     Unit const* first = in.find("peers[0]/address");
//
// A child is found by its name, an unnamed one by "[n]", where n was its place in the list when it
// was added; a copied unit counts as place 0. Names are unique among the children of a unit.
//
// On a unit that is not const, `u["name"]` and `at()` make a child that is missing. Use a const
// reference or find() to look without changing the tree.
//
// Ownership: a unit owns its value and with it the subtree. Copies are deep; the units of a copy,
//   other than the root of the subtree, have no parent and the index 0.
// Threads: one at a time, or any number while nobody writes.
// Errors: a look-up that misses and a conversion that fails give null or false.
//   DuplicatedUnitException for a second child of one name, which the caller then still owns.
// Cost: a leaf with name and text of up to 15 bytes takes some 180 bytes in all. A list of more
//   than sixteen children has an index of names. Nothing here recurses: trees may be as deep as
//   memory allows, and every walk takes time linear in what it walks.
class ZAN_EXPORT Unit {
public:
    // A parent is noted; the unit is not added to it.
    explicit Unit(Unit* parent = nullptr) : parent_(parent) {}
    explicit Unit(istr const& name, Unit* parent = nullptr) : name_(name), parent_(parent) {}
    // Take the value.
    explicit Unit(ValueBase* value, Unit* parent = nullptr);
    Unit(istr const& name, istr const& type, ValueBase* value, Unit* parent = nullptr);
    Unit(istr const& name, istr const& type, istr const& value, Unit* parent = nullptr);
    // Without the place in the tree.
    Unit(Unit const& other);
    // The place in the tree stays. `other` may be a unit below this one.
    Unit& operator=(Unit const& other);
    ~Unit();

    // What the parser makes lies side by side in blocks; `delete` knows the way back.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, char const* file, unsigned int line,
                              char const* func);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* p) noexcept;
    static void operator delete(void* p, char const* file, unsigned int line,
                                char const* func) noexcept;
    static void operator delete(void*, void*) noexcept {}

    // --- Fields

    String const& name() const { return name_; }
    String& name();
    Unit& name(istr const& v);
    String const& type() const { return type_; }
    Unit& type(istr const& v) {
        type_ = v;
        return *this;
    }
    ValueBase* value() const { return value_; }
    // Takes the value. A list or text that was there is not freed: take it with popValue() first.
    // A single value of another kind is.
    Unit& value(ValueBase* v);
    void value(istr const& text) { setValue(text); }  // the same as setValue()
    // Children go; a single value that is no text stays.
    void setValue(istr const& text);
    // The caller owns what it gives. The children of a list that is taken have no parent any more.
    ValueBase* popValue();
    Unit const* parent() const { return parent_; }
    Unit* parent() { return parent_; }
    Unit& parent(Unit* v) {
        parent_ = v;
        return *this;
    }
    unsigned long index() const { return index_; }
    Unit& index(unsigned long v) {
        index_ = v;
        return *this;
    }
    Unit const* root() const;
    // A mark for applications.
    bool allNesessary() const { return allNesessary_; }
    Unit& allNesessary(bool v) {
        allNesessary_ = v;
        return *this;
    }

    // As new, without a parent.
    void clear();
    // No name, no type, no value.
    bool empty() const { return name_.empty() && type_.empty() && value_ == nullptr; }
    // No value or a single one.
    bool simple() const { return value_ == nullptr || value_->single(); }
    // No value or an empty text; false for a typed datum.
    bool valueEmpty() const;
    // The out argument becomes null where the result is false.
    bool getValue(StringValue*& out) const;
    bool getValue(ListValue*& out) const;
    StringValue* stringValue() const {
        return value_ != nullptr && value_->kind_ == ValueBase::STRING
                   ? static_cast<StringValue*>(value_)
                   : nullptr;
    }
    ListValue const* listValue() const { return list(); }
    istr getStringValue() const;
    unsigned long numofChildren() const;
    // The unit is a leaf, or the head of a chain of only children that ends in one.
    bool childWasSingle() const;
    // At least two children, all without a name and with a type.
    bool childrenWereUnnamedList() const;

    // --- Children

    // Takes the unit where the result is true. A text that this unit has becomes its first child,
    // without a name; a typed datum goes.
    // REQUIRES: not null, in no list yet, and not above this unit.
    bool addChild(Unit* child);
    bool addChild(Unit const& child);  // a copy of it
    // A new one.
    bool addChild(istr const& name);
    bool addChild(istr const& name, istr const& value) { return addChild(name, istr(), value); }
    bool addChild(istr const& name, istr const& type, istr const& value);
    // Takes the unit. A child of the same name gets its name, type and value. True only where an
    // unnamed child was added; the tree has the change either way.
    bool addOrUpdateChild(Unit* child);
    bool updateChild(Unit const& child);
    bool updateChild(istr const& name, istr const& value) {
        return updateChild(name, istr(), value);
    }
    bool updateChild(istr const& name, istr const& type, istr const& value);
    // Copies of the other's children.
    void operator+=(Unit const& other);
    // An empty list in place of what there was.
    void initValueAsList();

    // --- Look-up

    // A child by name; "" and "." are this unit, ".." the parent, "/" the root.
    Unit const* at(istr const& name) const;
    Unit const* at(char const* begin, char const* end) const { return at(istr(begin, end)); }
    Unit const* at(unsigned char const* begin, unsigned char const* end) const {
        return at(istr(reinterpret_cast<char const*>(begin), reinterpret_cast<char const*>(end)));
    }
    // No special names; makes the child that is missing.
    Unit* at(istr const& name);
    // Without a list or past its end a logged error and null.
    Unit const* childAt(unsigned long n) const;
    // By a path: names separated by "/", from the root with a leading one, "[n]" for the nth child
    // of the list: "/a/b", "a[2]/c", "../x".
    Unit const* find(istr const& path) const;
    // From the root, whose path is "/".
    String path() const;
    // The text of a child, empty where it has none. False leaves `out` alone.
    bool getChild(istr const& name, String& out) const;
    // null() where there is no such child.
    Unit const& operator[](istr const& name) const;
    Unit const& operator()(istr const& name) const { return (*this)[name]; }
    Unit const& operator[](unsigned long n) const;
    Unit const& operator[](unsigned long n) { return static_cast<Unit const&>(*this)[n]; }
    Unit const& operator()(unsigned long n) const { return (*this)[n]; }
    Unit& operator[](istr const& name) { return *at(name); }  // made where it is missing
    // The unit that stands for all that are missing.
    static Unit const& null();
    // At the end of the library; the next null() makes it anew.
    static void destroy_null();

    // --- Text

    // See pml_t.h.
    String str(ShowMode mode = ShowMode(), ShowPattern pattern = ShowPattern()) const;
    // Appends.
    void toString(String& out, ShowMode mode = ShowMode(),
                  ShowPattern pattern = ShowPattern()) const;
    dumper& dump(dumper& d) const;

    // --- Conversions. << makes the text of a value and sets it as setValue() does: numbers in
    // decimal, with 6 significant digits where they have a fraction; a Char and a Byte as numbers,
    // but a char as itself.

    void operator<<(bool v);
    void operator<<(Bit const& v) { *this << v.value(); }
    void operator<<(char v) { setValue(istr(&v, 1)); }
    void operator<<(unsigned char v) { *this << static_cast<char>(v); }
    void operator<<(Char const& v) {
        *this << static_cast<short>(static_cast<signed char>(v.value()));
    }
    void operator<<(Byte const& v) { *this << static_cast<unsigned short>(v.value()); }
    void operator<<(short v) { *this << static_cast<__int64>(v); }
    void operator<<(unsigned short v) { *this << static_cast<uint64>(v); }
    void operator<<(int v) { *this << static_cast<__int64>(v); }
    void operator<<(unsigned int v) { *this << static_cast<uint64>(v); }
    void operator<<(long v) { *this << static_cast<__int64>(v); }
    void operator<<(unsigned long v) { *this << static_cast<uint64>(v); }
    void operator<<(__int64 v);
    void operator<<(uint64 v);
    void operator<<(Short const& v) { *this << v.value(); }
    void operator<<(Ushort const& v) { *this << v.value(); }
    void operator<<(Long const& v) { *this << v.value(); }
    void operator<<(Ulong const& v) { *this << v.value(); }
    void operator<<(Longlong const& v) { *this << v.value(); }
    void operator<<(Ulonglong const& v) { *this << v.value(); }
    void operator<<(float v);
    void operator<<(double v);
    void operator<<(Float const& v) { *this << v.value(); }
    void operator<<(Double const& v) { *this << v.value(); }
    void operator<<(istr const& v) { setValue(v); }
    void operator<<(char const* v) { setValue(istr(v)); }
    void operator<<(unsigned char const* v) { setValue(istr(v)); }
    void operator<<(String const& v) { setValue(v); }
    void operator<<(std::string const& v) { setValue(istr(v)); }
    // Base64 of the UTF-8; the type becomes "utf8".
    void operator<<(iwstr const& v);
    void operator<<(wchar_t const* v) { *this << iwstr(v); }
    void operator<<(std::wstring const& v) { *this << iwstr(v); }
    // Base64; the type becomes "base64".
    void operator<<(Bytes const& v);
    // "\u00E9". OutOfRangeException above 0xFFFF, and nothing is changed.
    void operator<<(Wchar const& v);
    void operator<<(Time const& v);  // local time with milliseconds
    // Type and value, without the name.
    void operator<<(Unit const& v);

    // >> reads the text back. False where there is no text or it does not convert; the target is
    // then as it was. A number is read up to the first character that does not belong: "12ab" is
    // 12.

    // "true", "false", "1", "0".
    bool operator>>(bool& v) const;
    bool operator>>(Bit& v) const { return readAs<bool>(v); }
    // The first character that is no white space.
    bool operator>>(char& v) const;
    bool operator>>(unsigned char& v) const;
    // Numbers, of which the low 8 bits count.
    bool operator>>(Char& v) const;
    bool operator>>(Byte& v) const;
    // Numbers in decimal.
    bool operator>>(short& v) const;
    bool operator>>(unsigned short& v) const;
    bool operator>>(int& v) const;
    bool operator>>(unsigned int& v) const;
    bool operator>>(long& v) const;
    bool operator>>(unsigned long& v) const;
    bool operator>>(__int64& v) const;
    bool operator>>(uint64& v) const;
    bool operator>>(float& v) const;
    bool operator>>(double& v) const;
    bool operator>>(Short& v) const { return *this >> v.value(); }
    bool operator>>(Ushort& v) const { return *this >> v.value(); }
    bool operator>>(Long& v) const { return *this >> v.value(); }
    bool operator>>(Ulong& v) const { return *this >> v.value(); }
    bool operator>>(Longlong& v) const { return *this >> v.value(); }
    bool operator>>(Ulonglong& v) const { return *this >> v.value(); }
    bool operator>>(Float& v) const { return *this >> v.value(); }
    bool operator>>(Double& v) const { return *this >> v.value(); }
    // As the type without `volatile`.
    bool operator>>(bool volatile& v) const { return readAs<bool>(v); }
    bool operator>>(char volatile& v) const { return readAs<char>(v); }
    bool operator>>(unsigned char volatile& v) const { return readAs<unsigned char>(v); }
    bool operator>>(short volatile& v) const { return readAs<short>(v); }
    bool operator>>(unsigned short volatile& v) const { return readAs<unsigned short>(v); }
    bool operator>>(int volatile& v) const { return readAs<int>(v); }
    bool operator>>(unsigned int volatile& v) const { return readAs<unsigned int>(v); }
    bool operator>>(long volatile& v) const { return readAs<long>(v); }
    bool operator>>(unsigned long volatile& v) const { return readAs<unsigned long>(v); }
    bool operator>>(__int64 volatile& v) const { return readAs<__int64>(v); }
    bool operator>>(uint64 volatile& v) const { return readAs<uint64>(v); }
    bool operator>>(float volatile& v) const { return readAs<float>(v); }
    bool operator>>(double volatile& v) const { return readAs<double>(v); }
    // Text as it is.
    bool operator>>(String& v) const;
    bool operator>>(std::string& v) const;
    // Base64 of UTF-8 under the type "utf8", else text in the configured code page.
    bool operator>>(std::wstring& v) const;
    // Base64, whatever the type says.
    bool operator>>(Bytes& v) const;
    bool operator>>(Wchar& v) const;  // as << writes it
    bool operator>>(Time& v) const;   // as << writes it
    // Type and value, text or list, without the name.
    bool operator>>(Unit& v) const;

private:
    friend class ListValue;
    friend class TreeAccess;

    class NameIndex;

    template <class T, class Target>
    bool readAs(Target& v) const {
        T read{};
        if (!(*this >> read)) return false;
        v = read;
        return true;
    }
    template <class T>
    bool readNumber(T& v) const;

    ListValue* list() const {
        return value_ != nullptr && value_->kind_ == ValueBase::LIST
                   ? static_cast<ListValue*>(value_)
                   : nullptr;
    }
    void init();
    void clearValue();
    void setValueOwner();
    void initChildrenMap();
    void clearChildrenMap();
    void copyIntoMap(Unit* child);
    void renaming();
    Unit* lookup(istr key) const;
    Unit* lookupFurther(istr key) const;
    Unit* lookupPlace(istr key) const;
    Unit const* step(istr name) const;
    void indexChildren();
    bool addMade(Unit* child);
    void append(ListValue& units, Unit* child);
    static void dump(dumper& d, Unit const* unit, ListValue const* units);

    String name_;
    String type_;
    ValueBase* value_ = nullptr;
    Unit* parent_ = nullptr;
    unsigned long index_ = 0;
    NameIndex* children_ = nullptr;  // of the children's names, where there are many
    unsigned int hash_ = 0;          // of the name, in the parent's index
    Bit allNesessary_;
    bool childRenamed_ = false;  // the index may have missed the new name
};

// FORMATTED, with name, type and value.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, Unit const& u);
ZAN_EXPORT String& operator<<(String& out, Unit const& u);

// Set the value to the text of the mode or pattern.
ZAN_EXPORT void operator<<(Unit& u, ShowMode const& mode);
ZAN_EXPORT void operator<<(Unit& u, ShowPattern const& pattern);

}  // namespace pml::ntv
}  // namespace zan
