#include "zan/platform/fork.h"

#include <pthread.h>

namespace zan::platform {

int aroundFork(void (*prepare)(), void (*done)()) {
    return pthread_atfork(prepare, done, done);
}

}  // namespace zan::platform
