#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace zan_test {

namespace {

std::string trimmed(std::string const& text) {
    auto const first = text.find_first_not_of(' ');
    return first == std::string::npos ? ""
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::vector<Vector> vectors(std::string const& file, std::string const& kind) {
    std::vector<Vector> all;
    std::ifstream in(std::string(ZAN_TEST_VECTORS "/") + file);
    std::string text;
    for (unsigned long line = 1; std::getline(in, text); ++line) {
        if (text.rfind(kind + ' ', 0) != 0) continue;
        Vector v{line, kind, {}};
        for (std::size_t at = kind.size(); at != std::string::npos;) {
            std::size_t const end = text.find('|', at);
            v.fields.push_back(trimmed(text.substr(at, end == std::string::npos ? end : end - at)));
            at = end == std::string::npos ? end : end + 1;
        }
        all.push_back(v);
    }
    EXPECT_FALSE(all.empty()) << file << " has no " << kind;
    return all;
}

std::string fromDigits(std::string const& text) {
    std::string bytes;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        if (word == "-") continue;
        auto const end = word.find('*');
        std::string piece;
        for (std::size_t at = 0; at + 1 < std::min(end, word.size()); at += 2)
            piece += static_cast<char>(std::stoi(word.substr(at, 2), nullptr, 16));
        auto times = end == std::string::npos ? 1 : std::stoul(word.substr(end + 1));
        while (times-- != 0) bytes += piece;
    }
    return bytes;
}

}  // namespace zan_test
