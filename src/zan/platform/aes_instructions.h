#pragma once

#include <cstdint>

namespace zan::platform {

// The AES instructions of the processor, where it has them. They take the same time whatever the
// key and the text are, which look-ups in tables do not.
//
// Schedules hold 4 * (rounds + 1) words, the first byte of the key in the low byte of the first
// word. `in` and `out` are the same or apart. `chain` is the initialisation vector or the counter.
// The number of the mode is that of AesCipher. Threads: any.
//
// REQUIRES, for all but the first: hasAesInstructions().

// Asked once.
bool hasAesInstructions();

// The S-box on each byte.
std::uint32_t aesSubWord(std::uint32_t word);
// The decryption schedule of an encryption schedule.
void aesInvertKeys(std::uint32_t const* keys, int rounds, std::uint32_t* inverse);

void aesEncrypt(std::uint32_t const* keys, int rounds, int mode, unsigned char const* chain,
                unsigned char const* in, unsigned char* out, unsigned long blocks);
// `keys` is the decryption schedule for ECB and CBC, the encryption schedule for the others.
void aesDecrypt(std::uint32_t const* keys, int rounds, int mode, unsigned char const* chain,
                unsigned char const* in, unsigned char* out, unsigned long blocks);

}  // namespace zan::platform
