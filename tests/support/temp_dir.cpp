#include "support/temp_dir.h"

#include <cerrno>
#include <cstdlib>
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

}  // namespace zan_test
