#pragma once

#include <cstdio>
#include <string>

#include "zan/mlc/stackwalker.h"
#include "zan/platform/symbols.h"

// How the frames of a stack stand in a report.

namespace zan::detail {

template <class... Args>
std::string formatted(char const* format, Args... args) {
    int const size = std::snprintf(nullptr, 0, format, args...);
    std::string text(static_cast<unsigned long>(size) + 1, '\0');
    std::snprintf(text.data(), text.size(), format, args...);
    text.pop_back();
    return text;
}

// What stands for the character in XML; null where it may stand for itself.
char const* xmlEntity(char c);

// The name of the function alone, with its scopes.
std::string bareNameOf(platform::Symbol const& symbol);

// Frame `n` of the walk with the number `walk`.
void putFrame(std::string& out, OutputForm form, unsigned long walk, unsigned long n,
              void const* address, platform::Symbol const& symbol);

}  // namespace zan::detail
