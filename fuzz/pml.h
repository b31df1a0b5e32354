#pragma once

#include <string>

#include "zan/log/log_factory.h"
#include "zan/log/log_logger.h"
#include "zan/pml/pml_t.h"

// How the parse ended. The tree holds what was read.
template <class Input>
std::string parse(zan::pml::ntv::Unit& u, Input&& in) {
    try {
        zan::pml::ntvFromPml(u, in);
        return "";
    } catch (zan::pml::DecodeException const& e) {
        return e.msg();
    } catch (zan::DuplicatedUnitException const& e) {
        return e.msg();
    }
}

// The report of each refused input is not for the screen.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    zan::detail::zanLogger().setConsoleOn(false);
    return 0;
}
