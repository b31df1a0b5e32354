#pragma once

#include <atomic>
#include <cstddef>
#include <iosfwd>
#include <list>
#include <string>

#include "zan/base/base_type_time.h"
#include "zan/base/base_type_value.h"
#include "zan/base/base_type_view.h"
#include "zan/util/binarystream.h"

namespace zan {

class dumper;

namespace nbr {

class Arena;
class ComplexValue;

// A node of the tree that parser::from() builds: a SimpleValue, a view of bytes in the parsed
// buffer, or a ComplexValue, a list of children under ids of one byte. The tree is for reading;
// what is written goes through OutputStream straight into bytes.
//
// Ownership: whoever got the root from parser::from() deletes it, and the whole tree goes with it;
//   a ComplexValue deletes what was added to it. No other node may be deleted by itself. The nodes
//   of a parsed tree lie in a few blocks that belong to its root. The parsed buffer must outlive
//   the tree.
// Threads: a tree that nobody adds to may be read by any number of threads.
// Errors: read() throws BinaryDecodeException for a number of 128 to 255 bytes.
// Cost: nothing here recurses, so trees may be as deep as memory allows.
class ZAN_EXPORT ValueBase {
public:
    virtual ~ValueBase();
    virtual bool simple() const = 0;
    virtual dumper& dump(dumper& d) const = 0;

    // In front of each node that is deleted by itself stands the address of the blocks that go with
    // it.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, char const* file, unsigned int line,
                              char const* func);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* p) noexcept;
    static void operator delete(void* p, char const* file, unsigned int line,
                                char const* func) noexcept;
    static void operator delete(void*, void*) noexcept {}

protected:
    ValueBase() = default;
    // The place in a tree is not copied.
    ValueBase(ValueBase const&) {}
    ValueBase& operator=(ValueBase const&) { return *this; }

private:
    friend class Arena;
    friend class ComplexValue;
    friend class TreeBuilder;

    enum Home : unsigned char {
        HEAP,  // deleted by its parent
        ROOT,  // the first node of an arena, which goes with it
        ARENA  // never deleted by itself
    };

    ValueBase* next_ = nullptr;  // the sibling behind; the parent, while a tree is being built
    unsigned char id_ = 0;
    Home home_ = HEAP;
    bool complex_ = false;
};

// A counted run of bytes. What it holds is known to the reader, who asks for it by type.
class ZAN_EXPORT SimpleValue final : public ValueBase {
public:
    explicit SimpleValue(bool text = false) : text_(text) {}
    SimpleValue(istr const& data, bool text) : text_(text), data_(data) {}

    bool simple() const override { return true; }
    istr const& data() const { return data_; }

    // Each takes the value whatever its text flag says. The first bytes count, as many as the type
    // has; missing ones are 0, so no sign is extended but that of 32 bits into a `long`, which as
    // data has 32 bits. Empty data reads as 0.
    void read(bool& v) const { v = readUint(1) != 0; }
    void read(char& v) const { v = static_cast<char>(readUint(1)); }
    void read(unsigned char& v) const { v = static_cast<unsigned char>(readUint(1)); }
    void read(short& v) const { v = static_cast<short>(readUint(2)); }
    void read(unsigned short& v) const { v = static_cast<unsigned short>(readUint(2)); }
    void read(int& v) const { v = static_cast<int>(readUint(4)); }
    void read(unsigned int& v) const { v = static_cast<unsigned int>(readUint(4)); }
    void read(long& v) const { v = static_cast<int>(readUint(4)); }
    void read(unsigned long& v) const { v = static_cast<unsigned long>(readUint(4)); }
    void read(__int64& v) const { v = readInt(8); }
    void read(uint64& v) const { v = readUint(8); }
    void read(float& v) const;
    void read(double& v) const;
    void read(Bit& v) const { read(v.value()); }
    void read(Char& v) const { read(v.value()); }
    void read(Short& v) const { read(v.value()); }
    void read(Long& v) const { read(v.value()); }
    void read(Longlong& v) const { read(v.value()); }
    void read(Byte& v) const { read(v.value()); }
    void read(Ushort& v) const { read(v.value()); }
    void read(Ulong& v) const { read(v.value()); }
    void read(Ulonglong& v) const { read(v.value()); }
    void read(Float& v) const { read(v.value()); }
    void read(Double& v) const { read(v.value()); }
    void read(Wchar& v) const { v = static_cast<wchar_t>(readUint(2)); }
    void read(String& v) const;              // from UTF-8 to the configured code page
    void read(std::wstring& v) const;        // from UTF-8
    void read(istr& v) const { v = data_; }  // a view of the same bytes
    void read(Bytes& v) const;               // a copy of them
    void read(Time& v) const { v = Time::microSeconds(readInt(8)); }  // from microseconds

    // Text in single quotes and in full; bytes as hexadecimal digits.
    dumper& dump(dumper& d) const override;

private:
    __int64 readInt(unsigned long maxBytes) const {
        return static_cast<__int64>(readUint(maxBytes));
    }
    uint64 readUint(unsigned long maxBytes) const {
        return BinaryStream::readUint(data_, maxBytes);
    }

    bool text_;
    istr data_;
};

// An ordered list of children. Ids need be neither ascending nor unique.
class ZAN_EXPORT ComplexValue final : public ValueBase {
public:
    // A child. It is owned by the list.
    struct Item {
        unsigned char id;
        ValueBase* value;
    };
    using List = std::list<Item>;
    using const_iterator = List::const_iterator;

    ComplexValue() { complex_ = true; }
    // Not copyable: children have one owner. Parse the bytes again for a second tree.
    ComplexValue(ComplexValue const&) = delete;
    ComplexValue& operator=(ComplexValue const&) = delete;
    ~ComplexValue() override;

    // Takes ownership of `value`, which is null (and then left out), made by `new`, or the root of
    // a parsed tree. REQUIRES: it has no parent yet; nobody reads this tree meanwhile.
    void add(unsigned char id, ValueBase* value);
    // The child added last under the id, or null. Constant time: longer lists get an index at the
    // first call.
    ValueBase* get(unsigned char id) const;
    // All children in the order of their adding. The list is made at the first call.
    List const& data() const;
    const_iterator begin() const { return data().begin(); }
    const_iterator end() const { return data().end(); }

    bool simple() const override { return false; }
    dumper& dump(dumper& d) const override;

private:
    friend class Arena;
    friend class TreeBuilder;

    struct Made;
    struct MadeList;
    struct MadeIndex;

    MadeIndex const& makeIndex() const;
    template <class T>
    T& keep(std::atomic<T*>& place, T* made) const;
    static void destroy(ValueBase* chain);

    ValueBase* first_ = nullptr;
    ValueBase** tail_ = &first_;  // where the next child is linked in
    Arena* arena_ = nullptr;      // that this node lies in
    mutable std::atomic<MadeList*> list_{nullptr};
    mutable std::atomic<MadeIndex*> index_{nullptr};
};

inline dumper& operator<<(dumper& d, ValueBase const& value) {
    return value.dump(d);
}
// With the default settings of a dumper.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, ValueBase const& value);

}  // namespace nbr
}  // namespace zan
