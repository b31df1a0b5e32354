#pragma once

#include <random>
#include <string>

namespace zan_test {

// The seed of this run: ZAN_TEST_SEED from the environment, else a new one. Each test
// program prints it at its start, so that a failed run can be repeated.
unsigned long seed();

// A generator for one test. The same seed gives the same numbers, whichever other tests ran.
inline std::mt19937_64 makeRandom() {
    return std::mt19937_64(seed());
}

// Bytes below `kinds`.
inline std::string randomBytes(std::mt19937_64& random, std::size_t size, unsigned kinds = 256) {
    std::string bytes(size, 0);
    for (char& c : bytes) c = static_cast<char>(random() % kinds);
    return bytes;
}

}  // namespace zan_test
