#pragma once

#include <string>
#include <vector>

namespace zan_test {

// One line of a file of tests/vectors/, which peers in other languages are tested with, too.
struct Vector {
    unsigned long line;
    std::string kind;                 // the first word
    std::vector<std::string> fields;  // what stands behind it, cut at each " | "
};

// Those of the kind. Fails the test where there is none.
std::vector<Vector> vectors(std::string const& file, std::string const& kind);

// The bytes of "01 02 41*300", or "0102*2 03"; none of "-".
std::string fromDigits(std::string const& text);

}  // namespace zan_test
