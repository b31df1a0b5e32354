#include "support/temp_dir.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace zan_test {

TempDir::TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "zan-test-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::content(std::string const& name) const {
    std::ifstream in(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string TempDir::put(std::string const& name, std::string const& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
}

}  // namespace zan_test
