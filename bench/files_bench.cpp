// A tree of 20,000 files, read when the system has it in memory.
#include <benchmark/benchmark.h>
#include <ftw.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "zan/zan.h"

namespace {

using benchmark::State;
namespace fs = std::filesystem;

constexpr int FOLDERS = 200;
constexpr int FILES = 100;  // in each

// Gone with the process.
class Tree {
public:
    Tree() : path_("tree." + std::to_string(getpid())) {
        for (int i = 0; i < FOLDERS; ++i) {
            fs::path const folder =
                path_ / ("group" + std::to_string(i / 20)) / ("folder" + std::to_string(i));
            fs::create_directories(folder);
            for (int j = 0; j < FILES; ++j)
                std::ofstream(folder / ("report_" + std::to_string(j) + ".txt")) << j;
        }
    }
    ~Tree() { fs::remove_all(path_); }
    std::string path() const { return path_.string(); }

private:
    fs::path path_;
};

std::string const& tree() {
    static Tree const made;
    static std::string const path = made.path();
    return path;
}

long seenSize;
long seenFiles;

int see(char const*, struct stat const* status, int kind, FTW*) {
    if (kind == FTW_F) {
        seenSize += status->st_size;
        ++seenFiles;
    }
    return 0;
}

void directoryZan(State& state) {
    std::wstring const home = zan::libraryName(tree());
    for (auto _ : state) {
        zan::Directory d;
        if (!d.setup(home)) state.SkipWithError("failed");
        benchmark::DoNotOptimize(d.totalSize());
    }
}
BENCHMARK(directoryZan)->Name("directory/zan");

void directoryNftw(State& state) {
    std::string const& home = tree();  // made before the clock starts
    for (auto _ : state) {
        seenSize = seenFiles = 0;
        nftw(home.c_str(), see, 16, FTW_PHYS);
    }
    if (seenFiles != FOLDERS * FILES) state.SkipWithError("other result");
}
BENCHMARK(directoryNftw)->Name("directory/nftw");

}  // namespace
