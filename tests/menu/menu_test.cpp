// examples/menu as it is, by hand at a terminal; its script `demo` runs it in batch.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/temp_dir.h"

extern char** environ;

namespace {

using testing::HasSubstr;

// The program in a folder of its own, at a terminal of its own.
class Menu {
public:
    Menu() {
        master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        char name[64] = "";
        EXPECT_EQ(0, grantpt(master_) | unlockpt(master_) | ptsname_r(master_, name, sizeof(name)));
        auto const program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "menu";
        std::vector<std::string> args = {"/bin/sh", "-c", "cd \"$0\" && exec \"$1\"", dir_.path(),
                                         program.string()};
        std::vector<char*> argv;
        for (auto& arg : args) argv.push_back(arg.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        for (int fd : {0, 1, 2}) posix_spawn_file_actions_addopen(&actions, fd, name, O_RDWR, 0);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        EXPECT_EQ(0, posix_spawn(&pid_, "/bin/sh", &actions, &attributes, argv.data(), environ));
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    Menu(Menu const&) = delete;
    Menu& operator=(Menu const&) = delete;
    ~Menu() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(master_);
    }

    // All that has been shown since the last call, up to and with the first `text`; everything up
    // to the end of the program where that is empty.
    std::string upTo(std::string const& text) {
        for (;;) {
            auto const at = text.empty() ? std::string::npos : shown_.find(text);
            if (at != std::string::npos) {
                std::string const part = shown_.substr(0, at + text.size());
                shown_.erase(0, part.size());
                return part;
            }
            pollfd terminal = {master_, POLLIN, 0};
            if (poll(&terminal, 1, 60000) != 1) break;
            char buffer[4096];
            ssize_t const n = read(master_, buffer, sizeof(buffer));
            if (n <= 0) break;  // the program has ended
            for (char const c : std::string(buffer, static_cast<std::size_t>(n)))
                if (c != '\r') shown_ += c;
        }
        EXPECT_EQ("", text) << "was not shown after\n" << shown_;
        return std::exchange(shown_, std::string());
    }
    void type(std::string const& keys) {
        EXPECT_EQ(static_cast<ssize_t>(keys.size()), write(master_, keys.data(), keys.size()));
    }
    // The exit code, or 1000 plus the signal.
    int wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

private:
    zan_test::TempDir const dir_;
    std::string shown_;
    int master_ = -1;
    pid_t pid_ = -1;
};

TEST(MenuProgram, ByHandThroughItsMenus) {
    Menu menu;
    std::string const first = menu.upTo(">>> ");
    EXPECT_THAT(first, HasSubstr("\nmenu:\n(/main) {}\n    net: framed TCP\n"));
    EXPECT_THAT(first, HasSubstr("    exit: exit program (*)\n"));
    struct {
        char const* typed;
        std::vector<std::string> shown;
    } const steps[] = {
        {"net\n", {"(/main/net) "}},
        {"echo\n", {" ~echo\n", "(/main/net) "}},
        {"/text/base64\n", {" ~base64\n", "quit\n", "(/main/net) "}},
        {"nosuch\n", {"Function not found for ==> nosuch\n"}},
        {"quit\n", {"(/main) {}\n"}},
        {"quit\n", {"At top level already.\n"}},
    };
    for (auto const& step : steps) {
        menu.type(step.typed);
        for (std::string const& text : step.shown) menu.upTo(text);
        menu.upTo(">>> ");
    }
    menu.type("\4");  // the end of the input
    EXPECT_THAT(menu.upTo(""), HasSubstr("exit\n"));
    EXPECT_EQ(0, menu.wait());
}

}  // namespace
