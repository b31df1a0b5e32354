#pragma once

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

// For programs that run copies of themselves and look at the files that those leave.

inline int failures = 0;

inline void check(bool ok, std::string const& what, std::string const& text) {
    if (ok) return;
    ++failures;
    std::cout << what << "\n" << text << std::endl;
}

inline std::string contentOf(std::string const& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
