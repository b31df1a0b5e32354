#include "zan/util/demangle.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <set>

#include "zan/base/mlcheck.h"
#include "zan/util/singleton_t.h"

namespace zan::detail {

std::string demangle(char const* mangled) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(
        abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
    return status == 0 && name ? name.get() : mangled;
}

char const* keepText(std::string const& text) {
    UncheckedBlocks const lifelong;
    static Mutex& mutex = *new Mutex;
    static std::set<std::string>& texts = *new std::set<std::string>;
    MutexLock const guard(mutex);
    return texts.insert(text).first->c_str();
}

char const* destroyName(char const* mangled) {
    return keepText("zan::CreateByAllocate<class " + demangle(mangled) + ">::destroy");
}

}  // namespace zan::detail
