#pragma once

#include <array>

namespace zan::pml {

// What the characters of PML text are to the parser and the renderer, by their low 8 bits.
enum CharClass : unsigned char {
    SPECIAL = 1,  // means something in PML
    ESCAPED = 2,  // written with "^" ahead of it
    HIGH = 4,     // not ASCII: written in quotes
    STOP = 8      // ends a plain run of a token, or may be the end of the text
};

constexpr std::array<unsigned char, 256> makeCharClasses() {
    std::array<unsigned char, 256> all{};
    for (unsigned int c = 128; c < 256; ++c) all[c] = HIGH;
    for (char const c : {'(', ')', ':', '*', '^', '\'', '"'})
        all[static_cast<unsigned char>(c)] |= SPECIAL;
    for (char const c : {'(', ')', ':', '^', '\'', '"', '\0'})
        all[static_cast<unsigned char>(c)] |= STOP;
    for (char const c : {'^', '"'}) all[static_cast<unsigned char>(c)] |= ESCAPED;
    return all;
}

constexpr std::array<unsigned char, 256> CHAR_CLASSES = makeCharClasses();

constexpr unsigned char classOf(char c) {
    return CHAR_CLASSES[static_cast<unsigned char>(c)];
}
constexpr unsigned char classOf(wchar_t c) {
    auto const v = static_cast<unsigned int>(c);
    return v < 128 ? CHAR_CLASSES[v] : CHAR_CLASSES[v & 255] & HIGH;
}

}  // namespace zan::pml
