#pragma once

#include <string>

namespace zan::detail {

// "zan::SimpleThread" for the mangled name of a type; the name itself where it cannot be read.
std::string demangle(char const* mangled);

// One lasting copy of a text, the same for equal texts. For the few function names that are put
// together at run time, since a source place keeps pointers only.
char const* keepText(std::string const& text);

}  // namespace zan::detail
