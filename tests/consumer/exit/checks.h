#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

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

inline void checkHas(std::string const& file, std::string const& part) {
    std::string const text = contentOf(file);
    check(text.find(part) != std::string::npos, part + " is missing", text);
}

// The full name of a copy of this program, beside which its files will lie.
inline std::string copyOfThisProgram(char const* name) {
    auto const copy = std::filesystem::current_path() / name;
    std::filesystem::copy_file("/proc/self/exe", copy,
                               std::filesystem::copy_options::overwrite_existing);
    return copy.string();
}

// The wait status of the program; what it prints is in out.txt and screen.txt.
inline int run(std::string const& program, char const* first, char const* second = nullptr) {
    pid_t const child = fork();
    if (child == 0) {
        rlimit const noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        if (std::freopen("out.txt", "w", stdout) != nullptr &&
            std::freopen("screen.txt", "w", stderr) != nullptr)
            execl(program.c_str(), program.c_str(), first, second, static_cast<char*>(nullptr));
        _exit(104);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}
