#pragma once

#include <cstdlib>

// What has to hold; else libFuzzer has a finding.
inline void require(bool holds) {
    if (!holds) std::abort();
}
