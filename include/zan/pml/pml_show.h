#pragma once

#include <iosfwd>

#include "zan/base/export.h"

namespace zan::pml {

// The layout of rendered PML.
class ZAN_EXPORT ShowMode {
public:
    // The layouts.
    enum Mode {
        COMPACT = 1,   // one line, no blanks
        SIMPLE = 2,    // a line for each unit, indented
        MIXED = 3,     // line breaks around unnamed units with a type only
        FORMATTED = 4  // as SIMPLE, with room for comments
    };

    ShowMode(int mode = COMPACT) : mode_(mode) {}
    void set(int mode) { mode_ = mode; }
    int get() const { return mode_; }
    ShowMode& operator=(int mode) {
        mode_ = mode;
        return *this;
    }
    bool operator==(int mode) const { return mode_ == mode; }

private:
    int mode_;
};

// Writes the name, "<UnknownShowMode>" for a number that has none.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, ShowMode const& mode);

// Which parts of a unit are rendered: a sum of VALUE, TYPE, NAME and PATH.
class ZAN_EXPORT ShowPattern {
public:
    // The parts, as bits.
    enum Part {
        VALUE = 1,
        TYPE = 2,
        NAME = 4,
        PATH = 8  // a comment with the unit's path; in the layout FORMATTED only
    };

    ShowPattern(int parts = NAME | TYPE | VALUE) : parts_(parts) {}
    int data() const { return parts_; }
    ShowPattern& reset(int parts) {
        parts_ = parts;
        return *this;
    }
    ShowPattern& operator=(int parts) { return reset(parts); }

    bool show_value() const { return has(VALUE); }
    bool show_type() const { return has(TYPE); }
    bool show_name() const { return has(NAME); }
    bool show_path() const { return has(PATH); }
    ShowPattern& show_value(bool on) { return set(VALUE, on); }
    ShowPattern& show_type(bool on) { return set(TYPE, on); }
    ShowPattern& show_name(bool on) { return set(NAME, on); }
    ShowPattern& show_path(bool on) { return set(PATH, on); }

private:
    bool has(Part part) const { return (parts_ & part) != 0; }
    ShowPattern& set(Part part, bool on) {
        parts_ = on ? parts_ | part : parts_ & ~part;
        return *this;
    }

    int parts_;
};

// Writes "NONE", or the names of the parts, from PATH to VALUE, with a blank between them.
ZAN_EXPORT std::ostream& operator<<(std::ostream& os, ShowPattern const& pattern);

}  // namespace zan::pml
