#pragma once

#include <zan/zan.h>

#include <exception>
#include <iostream>
#include <utility>
#include <vector>

// The examples that stand in the reference, one for a class. A program has those of an area; it
// prints what each of them prints, and the tests compare that with the file <area>.out beside it,
// which the reference shows.
//
//     EXAMPLE(StringSlice) {
//         std::cout << zan::StringSlice("a b").length() << '\n';
//     }

namespace reference {

using Function = void (*)();

inline std::vector<std::pair<char const*, Function>>& all() {
    static std::vector<std::pair<char const*, Function>> examples;
    return examples;
}

inline bool add(char const* name, Function function) {
    all().emplace_back(name, function);
    return true;
}

// The library is up and logs to a file, as in every program.
inline int run(char const* log) {
    zan::InitFini const library(log);
    for (auto const& [name, function] : all()) {
        std::cout << "== " << name << '\n';
        try {
            function();
        } catch (std::exception const& e) {
            std::cout << "ended by " << e.what() << '\n';
            return 1;
        }
    }
    return 0;
}

}  // namespace reference

#define EXAMPLE(name)                                                                         \
    static void example_##name();                                                             \
    [[maybe_unused]] static bool const added_##name = reference::add(#name, &example_##name); \
    static void example_##name()
