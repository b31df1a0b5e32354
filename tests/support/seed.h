#pragma once

#include <random>

namespace zan_test {

// The seed of this run: ZAN_TEST_SEED from the environment, else a new one. Each test
// program prints it at its start, so that a failed run can be repeated.
unsigned long seed();

// A generator for one test. The same seed gives the same numbers, whichever other tests ran.
inline std::mt19937_64 makeRandom() {
    return std::mt19937_64(seed());
}

}  // namespace zan_test
