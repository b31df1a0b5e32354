#pragma once

namespace zan::platform {

// What a walk up the stack begins with: the registers that a call has to give back as they were,
// where it returns to, and, behind all of it in memory, the stack of the caller.
struct SavedFrame {
#if defined(__x86_64__)
    // r15, r14, r13, r12, rbx, rbp
    static constexpr unsigned long REGISTERS = 6;
    unsigned long registers[REGISTERS];
    unsigned long returnAddress;
#elif defined(__aarch64__)
    // x29, the return address in x30, x19 to x28
    static constexpr unsigned long REGISTERS = 10;
    unsigned long framePointer;
    unsigned long returnAddress;
    unsigned long registers[REGISTERS];
#else
#error "the registers that a call preserves are not known for this processor"
#endif
};

using FrameWork = void* (*)(unsigned long a, unsigned long b, unsigned long c,
                            SavedFrame const* frame);

}  // namespace zan::platform

// Calls `work` with a frame that begins in the caller of this function; of a function that calls it
// last, and gives its result back, in the caller of that one.
extern "C" void* zan_with_frame(unsigned long a, unsigned long b, unsigned long c,
                                zan::platform::FrameWork work);
// The same under other types: a call that has to catch or convert is not the last.
extern "C" void* zan_with_frame_noexcept(unsigned long a, unsigned long b, unsigned long c,
                                         zan::platform::FrameWork work) noexcept
    __asm__("zan_with_frame");
extern "C" int zan_with_frame_int(unsigned long a, unsigned long b, unsigned long c,
                                  zan::platform::FrameWork work) noexcept __asm__("zan_with_frame");
