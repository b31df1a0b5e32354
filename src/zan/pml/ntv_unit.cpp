#include "zan/pml/ntv_unit.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <ostream>
#include <random>
#include <sstream>
#include <utility>

#include "zan/base/exception.h"
#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_logger.h"
#include "zan/pml/name_index.h"
#include "zan/pml/node_memory.h"
#include "zan/pml/pml_t.h"
#include "zan/pml/tree_access.h"
#include "zan/pml/wchar_text.h"
#include "zan/util/base64.h"
#include "zan/util/singleton_t.h"

namespace zan::pml::ntv {

namespace {

using zan::detail::zanLogger;

// The place of an unnamed unit that the key names: "[12]". False for any other text.
bool placeOf(istr const& key, unsigned long& n) {
    if (key.size() < 3 || key[0] != '[' || key[key.size() - 1] != ']') return false;
    if (key[1] == '0' && key.size() != 3) return false;
    char const* const last = key.end() - 1;
    auto const read = std::from_chars(key.begin() + 1, last, n);
    return read.ec == std::errc() && read.ptr == last;
}

template <class T>
String numberText(T v) {
    char digits[24];
    char const* const end = std::to_chars(digits, digits + sizeof(digits), v).ptr;
    return String(digits, static_cast<unsigned long>(end - digits));
}

template <class T>
String streamText(T v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

// Whole numbers in plain digits, read without a stream; all others are left to it.
template <class T>
bool readDigits(istr const& text, T& v) {
    if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
        if (!CharIsDigit(text[text.size() - 1])) return false;
        auto const read = std::from_chars(text.begin(), text.end(), v);
        return read.ec == std::errc() && read.ptr == text.end();
    } else {
        return false;
    }
}

// What ends a name in a path.
constexpr std::array<bool, 256> makeNameEnds() {
    std::array<bool, 256> all{};
    all['/'] = all['['] = true;
    return all;
}
constexpr std::array<bool, 256> NAME_ENDS = makeNameEnds();
bool endsName(char c) {
    return NAME_ENDS[static_cast<unsigned char>(c)];
}

uint64 mix(uint64 a, uint64 b) {
    __extension__ using uint128 = unsigned __int128;
    uint128 const product = static_cast<uint128>(a) * b;
    return static_cast<uint64>(product) ^ static_cast<uint64>(product >> 64);
}

uint64 loadWord(char const* p, unsigned long n) {
    uint64 word = 0;
    std::memcpy(&word, p, n);
    return word;
}

struct HashKey {
    HashKey() {
        std::random_device random;
        for (uint64* const word : {&first, &second})
            *word = static_cast<uint64>(random()) << 32 | random() | 1;
    }
    uint64 first = 0;
    uint64 second = 0;
};

}  // namespace

unsigned int Unit::NameIndex::hashOf(istr const& name) {
    static HashKey const key;
    char const* p = name.data();
    unsigned long n = name.size();
    uint64 hash = key.first ^ n;
    for (; n > 8; p += 8, n -= 8) hash = mix(hash ^ loadWord(p, 8), key.second);
    hash = mix(hash ^ loadWord(p, n), key.second);
    hash = mix(hash, key.first);
    return static_cast<unsigned int>(hash);
}

// --- Construction. Where a body may fail, another constructor has run, so the value goes.

Unit::Unit(ValueBase* value, Unit* parent) : Unit(parent) {
    value_ = value;
    init();
}

Unit::Unit(istr const& name, istr const& type, ValueBase* value, Unit* parent)
    : Unit(name, parent) {
    value_ = value;
    type_ = type;
    init();
}

Unit::Unit(istr const& name, istr const& type, istr const& value, Unit* parent)
    : Unit(name, parent) {
    type_ = type;
    value_ = StringValue::create(value);
    init();
}

Unit::Unit(Unit const& other) : Unit(istr(other.name_)) {
    type_ = other.type_;
    if (other.value_ == nullptr) return;
    value_ = other.value_->clone();
    setValueOwner();
    indexChildren();
}

Unit& Unit::operator=(Unit const& other) {
    if (this == &other) return *this;
    String name(other.name_);
    *this << other;
    renaming();
    name_.swap(name);
    return *this;
}

Unit::~Unit() {
    clearChildrenMap();
    clearValue();
}

void* Unit::operator new(std::size_t size) {
    return NodeBlock::alone(size);
}

void* Unit::operator new(std::size_t size, char const* file, unsigned int line, char const* func) {
    return NodeBlock::alone(size, file, line, func);
}

void Unit::operator delete(void* p) noexcept {
    NodeBlock::free(p);
}

void Unit::operator delete(void* p, char const*, unsigned int, char const*) noexcept {
    NodeBlock::free(p);
}

void Unit::init() {
    setValueOwner();
    initChildrenMap();
}

void Unit::clearValue() {
    ValueBase* const old = value_;
    value_ = nullptr;
    ZAN_DELETE(old);
}

void Unit::setValueOwner() {
    if (value_ != nullptr) value_->owner() = this;
}

// --- Children by name

// Nothing is called for a short name in a short list, which is what most look-ups are. REQUIRES:
// the key is not empty.
__attribute__((always_inline)) inline Unit* Unit::lookup(istr key) const {
    ListValue const* const units = list();
    if (units == nullptr) return nullptr;
    if (__builtin_expect(children_ != nullptr || key.size() > NameIndex::SHORT_NAME, 0))
        return lookupFurther(key);
    char const last = key[key.size() - 1];
    for (Unit* const unit : units->data_)
        if (NameIndex::sameShort(unit->name_, key, last)) return unit;
    return key[0] == '[' ? lookupPlace(key) : nullptr;
}

Unit* Unit::lookupFurther(istr key) const {
    std::vector<Unit*> const& all = list()->data_;
    unsigned long i = 0;
    if (children_ != nullptr) {
        if (Unit* const found = children_->find(key)) return found;
        if (!childRenamed_) i = children_->covered();
    }
    for (; i < all.size(); ++i)
        if (NameIndex::same(all[i]->name_, key)) return all[i];
    return key[0] == '[' ? lookupPlace(key) : nullptr;
}

// An unnamed unit by its key.
Unit* Unit::lookupPlace(istr key) const {
    std::vector<Unit*> const& all = list()->data_;
    unsigned long n = 0;
    if (!placeOf(key, n)) return nullptr;
    if (n < all.size() && all[n]->name_.empty() && all[n]->index_ == n) return all[n];
    if (n == 0)
        for (Unit* const unit : all)
            if (unit->name_.empty() && unit->index_ == 0) return unit;
    return nullptr;
}

void Unit::clearChildrenMap() {
    ZAN_DELETE(children_);
    children_ = nullptr;
    childRenamed_ = false;
}

void Unit::indexChildren() {
    ListValue const* const units = list();
    if (units == nullptr || units->size() <= NameIndex::SHORT) return;
    if (children_ == nullptr) children_ = ZAN_NEW(NameIndex);
    children_->reserve(units->size());
    children_->catchUp(units->data_);
}

void Unit::initChildrenMap() {
    clearChildrenMap();
    ListValue const* const units = list();
    if (units == nullptr) return;
    indexChildren();
    for (Unit* const unit : units->data_)
        if (!unit->name_.empty() && lookup(unit->name_) != unit)
            throw DuplicatedUnitException(ZAN_HERE, "DuplicatedUnitException");
}

void Unit::copyIntoMap(Unit* child) {
    ZAN_ASSERT_TEXT_DO(child != nullptr, "_v!=0", "return", return );
    if (!child->name_.empty() && lookup(child->name_) != nullptr)
        throw DuplicatedUnitException(ZAN_HERE, "DuplicatedUnitException");
}

void Unit::append(ListValue& units, Unit* child) {
    child->parent_ = this;
    child->index_ = units.size();
    if (childRenamed_ && children_ != nullptr) {
        children_->clear();
        children_->catchUp(units.data_);
        childRenamed_ = false;
    }
    copyIntoMap(child);
    if (units.size() < NameIndex::SHORT) {
        units.data_.push_back(child);
        return;
    }
    if (children_ == nullptr) children_ = ZAN_NEW(NameIndex);
    children_->reserve(units.size() + 1);
    units.data_.push_back(child);
    children_->catchUp(units.data_);
}

// The parent's index holds the old name; it is told to look closer.
void Unit::renaming() {
    if (parent_ != nullptr && parent_->children_ != nullptr) parent_->childRenamed_ = true;
}

// --- Fields

String& Unit::name() {
    renaming();
    return name_;
}

Unit& Unit::name(istr const& v) {
    renaming();
    name_ = v;
    return *this;
}

Unit& Unit::value(ValueBase* v) {
    if (value_ != nullptr && value_ != v && value_->kind_ == ValueBase::OTHER) clearValue();
    value_ = v;
    init();
    return *this;
}

void Unit::setValue(istr const& text) {
    if (StringValue* const value = stringValue()) {
        value->assign(text);
        return;
    }
    if (value_ != nullptr && value_->kind_ != ValueBase::LIST) return;
    // The text may stand in the list that goes.
    StringValue* const made = StringValue::create(text);
    clearChildrenMap();
    clearValue();
    value_ = made;
    setValueOwner();
}

ValueBase* Unit::popValue() {
    clearChildrenMap();
    ValueBase* const value = value_;
    if (ListValue* const units = list())
        for (Unit* const unit : units->data_)
            if (unit->parent_ == this) unit->parent_ = nullptr;
    if (value != nullptr) value->owner() = nullptr;
    value_ = nullptr;
    return value;
}

Unit const* Unit::root() const {
    Unit const* unit = this;
    while (unit->parent_ != nullptr) unit = unit->parent_;
    return unit;
}

void Unit::clear() {
    renaming();
    name_.clear();
    type_.clear();
    clearChildrenMap();
    clearValue();
    parent_ = nullptr;
    index_ = 0;
}

bool Unit::valueEmpty() const {
    if (value_ == nullptr) return true;
    StringValue const* const text = stringValue();
    return text != nullptr && text->data().empty();
}

bool Unit::getValue(StringValue*& out) const {
    out = stringValue();
    return out != nullptr;
}

bool Unit::getValue(ListValue*& out) const {
    out = list();
    return out != nullptr;
}

istr Unit::getStringValue() const {
    StringValue const* const text = stringValue();
    return text == nullptr ? istr() : istr(text->data());
}

unsigned long Unit::numofChildren() const {
    ListValue const* const units = list();
    return units == nullptr ? 0 : units->size();
}

bool Unit::childWasSingle() const {
    Unit const* unit = this;
    for (;;) {
        ListValue const* const units = unit->list();
        if (units == nullptr || units->empty()) return true;
        if (units->size() > 1) return false;
        unit = units->data_[0];
    }
}

bool Unit::childrenWereUnnamedList() const {
    ListValue const* const units = list();
    if (units == nullptr || units->size() < 2) return false;
    for (Unit const* const unit : units->data_)
        if (!unit->name_.empty() || unit->type_.empty()) return false;
    return true;
}

// --- Adding

void Unit::initValueAsList() {
    ListValue* const units = ZAN_NEW(ListValue(this));
    clearChildrenMap();
    clearValue();
    value_ = units;
}

bool Unit::addChild(Unit* child) {
    ZAN_ASSERT_TEXT_DO(child != nullptr, "_v!=0", "return false", return false);
    if (list() == nullptr) {
        Tracked<ListValue> units(ZAN_NEW(ListValue(this)));
        if (stringValue() != nullptr) {
            units->data_.reserve(2);
            Unit* const first = ZAN_NEW(Unit(this));
            first->value_ = value_;
            first->setValueOwner();
            value_ = units.release();
            append(*list(), first);
        } else {
            clearValue();
            value_ = units.release();
        }
    }
    append(*list(), child);
    return true;
}

bool Unit::addMade(Unit* child) {
    Tracked<Unit> made(child);
    if (!addChild(child)) return false;
    made.release();
    return true;
}

bool Unit::addChild(Unit const& child) {
    return addMade(ZAN_NEW(Unit(child)));
}

bool Unit::addChild(istr const& name) {
    return addMade(ZAN_NEW(Unit(name)));
}

bool Unit::addChild(istr const& name, istr const& type, istr const& value) {
    return addMade(ZAN_NEW(Unit(name, type, value)));
}

bool Unit::addOrUpdateChild(Unit* child) {
    ZAN_ASSERT_TEXT_DO(child != nullptr, "_v!=0", "return false", return false);
    if (child->name_.empty()) return addChild(child);
    Unit* const present = at(child->name_);
    if (present == child) return false;
    *present = *child;
    ZAN_DELETE(child);
    return false;
}

bool Unit::updateChild(Unit const& child) {
    return addOrUpdateChild(ZAN_NEW(Unit(child)));
}

bool Unit::updateChild(istr const& name, istr const& type, istr const& value) {
    return addOrUpdateChild(ZAN_NEW(Unit(name, type, value)));
}

void Unit::operator+=(Unit const& other) {
    unsigned long const n = other.numofChildren();
    for (unsigned long i = 0; i < n; ++i) addChild(*other.list()->data_[i]);
}

// --- Look-up

// One name of a path. Inlined into the walk: a call would cost as much as the few names of a usual
// list. REQUIRES: the name is not empty.
__attribute__((always_inline)) inline Unit const* Unit::step(istr name) const {
    if (__builtin_expect(name[0] == '.', 0)) {
        if (name.size() == 1) return this;
        if (name.size() == 2 && name[1] == '.') return parent_;
    }
    return lookup(name);
}

Unit const* Unit::at(istr const& name) const {
    if (name.empty()) return this;
    if (name.size() == 1 && name[0] == '/') return root();
    return step(name);
}

Unit* Unit::at(istr const& name) {
    if (!name.empty())
        if (Unit* const found = lookup(name)) return found;
    Unit* const made = ZAN_NEW(Unit(name));
    return addMade(made) ? made : nullptr;
}

Unit const* Unit::childAt(unsigned long n) const {
    ListValue const* const units = list();
    if (units != nullptr) return units->at(n);
    ZAN_ERROR(zanLogger(), "Value was not a list.");
    return nullptr;
}

Unit const* Unit::find(istr const& path) const {
    Unit const* current = this;
    char const* p = path.begin();
    char const* const end = path.end();
    if (p != end && *p == '/') {
        current = root();
        ++p;
    }
    for (;;) {
        char const* const start = p;
        while (p != end && !endsName(*p)) ++p;
        if (p != start) {
            current = current->step(istr(start, p));
            if (current == nullptr) return nullptr;
        }
        if (p == end) return current;
        if (*p++ == '/') continue;
        char const* const place = p;
        unsigned long n = 0;
        bool fits = true;
        for (; p != end; ++p) {
            auto const digit = static_cast<unsigned char>(*p - '0');
            if (digit > 9) break;
            fits = fits && (n < npos / 10 || (n == npos / 10 && digit <= npos % 10));
            n = n * 10 + digit;
        }
        if (p == end || *p != ']' || p == place || !fits)
            return std::find(p, end, ']') == end ? current->at(place, end) : nullptr;
        ++p;
        ListValue const* const units = current->list();
        current =
            units != nullptr && n < units->data_.size() ? units->data_[n] : current->childAt(n);
        if (current == nullptr) return nullptr;
    }
}

String Unit::path() const {
    std::vector<Unit const*> way;
    for (Unit const* unit = this; unit->parent_ != nullptr; unit = unit->parent_)
        way.push_back(unit);
    if (way.empty()) return String("/");
    String text;
    for (auto i = way.rbegin(); i != way.rend(); ++i) {
        text += '/';
        if ((*i)->name_.empty())
            text.append(1, '[').append(numberText((*i)->index_)).append(1, ']');
        else
            text += (*i)->name_;
    }
    return text;
}

bool Unit::getChild(istr const& name, String& out) const {
    Unit const* const child = at(name);
    if (child == nullptr) return false;
    out = String(child->getStringValue());
    return true;
}

Unit const& Unit::operator[](istr const& name) const {
    Unit const* const child = at(name);
    return child == nullptr ? null() : *child;
}

Unit const& Unit::operator[](unsigned long n) const {
    Unit const* const child = childAt(n);
    return child == nullptr ? null() : *child;
}

Unit const& Unit::null() {
    return *Singleton<Unit>::instance(ZAN_HERE);
}

void Unit::destroy_null() {
    Singleton<Unit>::destroy();
}

// --- Text

String Unit::str(ShowMode mode, ShowPattern pattern) const {
    String text;
    toString(text, mode, pattern);
    return text;
}

void Unit::toString(String& out, ShowMode mode, ShowPattern pattern) const {
    ntvToPml(*this, out, mode, pattern);
}

dumper& Unit::dump(dumper& d) const {
    dump(d, this, nullptr);
    return d;
}

// Dumps a unit or a list, whichever is not null.
void Unit::dump(dumper& d, Unit const* unit, ListValue const* units) {
    struct Level {
        ListValue const* units;
        unsigned long next;
    };
    std::vector<Level> open;
    auto const enter = [&](ListValue const* list) {
        d.enter(istr());
        open.push_back(Level{list, 0});
    };
    // True where the children are to follow.
    auto const head = [&](Unit const& u) {
        d.raw(u.name_);
        if (!u.type_.empty()) d.raw(":").raw(u.type_);
        if (u.list() != nullptr) {
            d.raw("(");
            enter(u.list());
            return true;
        }
        if (u.value_ != nullptr) u.value_->dump(d);
        return false;
    };
    if (unit != nullptr)
        head(*unit);
    else
        enter(units);
    while (!open.empty()) {
        Level& level = open.back();
        if (level.next < level.units->size()) {
            Unit const& child = *level.units->data_[level.next++];
            d << zan::indent << namestring("");
            if (!head(child)) d << zan::endline;
            continue;
        }
        d.leave();
        open.pop_back();
        if (!open.empty() || unit != nullptr) d.raw(")");
        if (!open.empty()) d << zan::endline;
    }
}

// --- Conversion to text

void Unit::operator<<(bool v) {
    setValue(v ? "1" : "0");
}

void Unit::operator<<(__int64 v) {
    setValue(numberText(v));
}

void Unit::operator<<(uint64 v) {
    setValue(numberText(v));
}

void Unit::operator<<(float v) {
    setValue(streamText(v));
}

void Unit::operator<<(double v) {
    setValue(streamText(v));
}

void Unit::operator<<(iwstr const& v) {
    String text;
    Base64::encode(toUtf8(wstr(v)), text, false);
    setValue(text);
    type_ = "utf8";
}

void Unit::operator<<(Bytes const& v) {
    String text;
    Base64::encode(v, text, false);
    setValue(text);
    type_ = "base64";
}

void Unit::operator<<(Wchar const& v) {
    setValue(wcharText(v));
}

void Unit::operator<<(Time const& v) {
    setValue(v.toFullDateTime());
}

void Unit::operator<<(Unit const& v) {
    if (this == &v) return;
    String type(v.type_);
    // The other unit may stand in the value that goes.
    ValueBase* const value = v.value_ == nullptr ? nullptr : v.value_->clone();
    type_.swap(type);
    clearChildrenMap();
    clearValue();
    value_ = value;
    setValueOwner();
    indexChildren();
}

// --- Conversion from text

template <class T>
bool Unit::readNumber(T& v) const {
    istr const text = getStringValue();
    if (text.empty()) return false;
    T read{};
    if (!readDigits(text, read)) {
        std::istringstream is{static_cast<std::string>(text)};
        if (!(is >> read)) return false;
    }
    v = read;
    return true;
}

bool Unit::operator>>(bool& v) const {
    istr const text = getStringValue();
    if (text == istr("true"))
        v = true;
    else if (text == istr("false"))
        v = false;
    else
        return readNumber(v);
    return true;
}

bool Unit::operator>>(char& v) const {
    for (char const c : getStringValue()) {
        if (CharIsSpace(c)) continue;
        v = c;
        return true;
    }
    return false;
}

bool Unit::operator>>(unsigned char& v) const {
    char c = 0;
    if (!(*this >> c)) return false;
    v = static_cast<unsigned char>(c);
    return true;
}

bool Unit::operator>>(Char& v) const {
    short read = 0;
    if (!readNumber(read)) return false;
    v = static_cast<char>(read);
    return true;
}

bool Unit::operator>>(Byte& v) const {
    unsigned short read = 0;
    if (!readNumber(read)) return false;
    v = static_cast<unsigned char>(read);
    return true;
}

bool Unit::operator>>(short& v) const {
    return readNumber(v);
}
bool Unit::operator>>(unsigned short& v) const {
    return readNumber(v);
}
bool Unit::operator>>(int& v) const {
    return readNumber(v);
}
bool Unit::operator>>(unsigned int& v) const {
    return readNumber(v);
}
bool Unit::operator>>(long& v) const {
    return readNumber(v);
}
bool Unit::operator>>(unsigned long& v) const {
    return readNumber(v);
}
bool Unit::operator>>(__int64& v) const {
    return readNumber(v);
}
bool Unit::operator>>(uint64& v) const {
    return readNumber(v);
}
bool Unit::operator>>(float& v) const {
    return readNumber(v);
}
bool Unit::operator>>(double& v) const {
    return readNumber(v);
}

bool Unit::operator>>(String& v) const {
    StringValue const* const text = stringValue();
    if (text == nullptr) return false;
    v = text->data();
    return true;
}

bool Unit::operator>>(std::string& v) const {
    StringValue const* const text = stringValue();
    if (text == nullptr) return false;
    v = text->data();
    return true;
}

bool Unit::operator>>(std::wstring& v) const {
    StringValue const* const text = stringValue();
    if (text == nullptr) return false;
    std::wstring read;
    if (type_ == "utf8") {
        Bytes bytes;
        Base64::decode(text->data(), bytes);
        utf8ToWstring(bytes, read);
    } else {
        ansiToWstring(text->data(), read);
    }
    v.swap(read);
    return true;
}

bool Unit::operator>>(Bytes& v) const {
    StringValue const* const text = stringValue();
    if (text == nullptr) return false;
    Bytes read;
    Base64::decode(text->data(), read);
    v.swap(read);
    return true;
}

bool Unit::operator>>(Wchar& v) const {
    istr const text = getStringValue();
    if (text.size() != 6 || !text.beginWith("\\u")) return false;
    unsigned int read = 0;
    for (char const c : text.removeLeft(2ul)) {
        unsigned char const digit = HexFromChar(c);
        if (digit > 15) return false;
        read = read << 4 | digit;
    }
    v = static_cast<wchar_t>(read);
    return true;
}

bool Unit::operator>>(Time& v) const {
    StringValue const* const text = stringValue();
    if (text == nullptr) return false;
    try {
        Time read;
        read.fromString(text->data(), nullptr);
        v = read;
        return true;
    } catch (InvalidDataException const&) {
        return false;
    }
}

bool Unit::operator>>(Unit& v) const {
    if (stringValue() == nullptr && list() == nullptr) return false;
    v << *this;
    return true;
}

// --- Streams

std::ostream& operator<<(std::ostream& os, Unit const& u) {
    ntvToFormattedPml(u, os, ShowPattern(7));
    return os;
}

String& operator<<(String& out, Unit const& u) {
    ntvToFormattedPml(u, out, ShowPattern(7));
    return out;
}

void operator<<(Unit& u, ShowMode const& mode) {
    u.setValue(streamText(mode));
}

void operator<<(Unit& u, ShowPattern const& pattern) {
    u.setValue(streamText(pattern));
}

}  // namespace zan::pml::ntv
