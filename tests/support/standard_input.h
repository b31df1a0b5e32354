#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace zan_test {

// std::cin is this text for as long as this lives.
class StandardInput {
public:
    explicit StandardInput(std::string const& text)
        : text_(text), saved_(std::cin.rdbuf(text_.rdbuf())) {}
    ~StandardInput() {
        std::cin.rdbuf(saved_);
        std::cin.clear();
    }
    StandardInput(StandardInput const&) = delete;
    StandardInput& operator=(StandardInput const&) = delete;

private:
    std::istringstream text_;
    std::streambuf* saved_;
};

}  // namespace zan_test
