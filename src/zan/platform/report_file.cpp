#include "zan/platform/report_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

namespace zan::platform {

namespace {

struct Work {
    void (*work)(void*);
    void* argument;
};

void* onThread(void* raw) {
    auto const& work = *static_cast<Work const*>(raw);
    if (unshare(CLONE_FILES) == 0) close_range(3, ~0u, 0);
    work.work(work.argument);
    return nullptr;
}

}  // namespace

std::FILE* openReportStream(char const* name, bool append) {
    int const flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | (append ? O_APPEND : O_TRUNC);
    int const file = open(name, flags, 0666);
    if (file < 0) return nullptr;
    std::FILE* const stream = fdopen(file, append ? "a" : "w");
    if (stream == nullptr) close(file);
    return stream;
}

void runWithFreeFiles(void (*work)(void*), void* argument) {
    Work all = {work, argument};
    // Signals are for the threads of the program.
    sigset_t none, before;
    sigfillset(&none);
    pthread_sigmask(SIG_SETMASK, &none, &before);
    pthread_t thread;
    int const error = pthread_create(&thread, nullptr, &onThread, &all);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error != 0)
        work(argument);
    else
        pthread_join(thread, nullptr);
}

}  // namespace zan::platform
