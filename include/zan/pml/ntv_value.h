#pragma once

#include <cstddef>
#include <iosfwd>

#include "zan/base/base_type_view.h"
#include "zan/base/export.h"
#include "zan/mt/mutex.h"

namespace zan {

class dumper;

namespace pml::ntv {

class ListValue;
class StringValue;
class Unit;

// What a unit of the native tree holds: a single datum, or the list of its children.
//
// The parser makes StringValue and ListValue only. The classes that hold a typed datum are for
// applications that build a tree; they show as PML text, and what is read back is text.
//
// Ownership: a unit owns its value. A value that no unit has taken yet, or that popValue() gave
//   back, belongs to the caller, who frees it with ZAN_DELETE or delete.
// Threads: one at a time, as the tree.
class ZAN_EXPORT ValueBase : noncopyable {
public:
    virtual ~ValueBase();
    virtual bool single() const = 0;
    // Same class, same content, no owner. The caller owns it.
    virtual ValueBase* clone() const = 0;
    virtual dumper& dump(dumper& d) const = 0;
    // The PML text of the value.
    virtual std::ostream& dump(std::ostream& os) const = 0;

    // The unit that holds the value, null where there is none.
    Unit*& owner() { return owner_; }
    Unit const* owner() const { return owner_; }

    // What the parser makes lies side by side in blocks; `delete` knows the way back.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, char const* file, unsigned int line,
                              char const* func);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* p) noexcept;
    static void operator delete(void* p, char const* file, unsigned int line,
                                char const* func) noexcept;
    static void operator delete(void*, void*) noexcept {}

protected:
    explicit ValueBase(Unit* owner) : owner_(owner) {}

private:
    friend class ListValue;
    friend class StringValue;
    friend class TreeAccess;
    friend class Unit;

    enum Kind : unsigned char { OTHER, STRING, LIST };

    ValueBase(Kind kind, Unit* owner) : owner_(owner), kind_(kind) {}

    Unit* owner_;
    Kind kind_ = OTHER;
};

}  // namespace pml::ntv
}  // namespace zan
