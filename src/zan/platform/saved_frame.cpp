#include "zan/platform/saved_frame.h"

// No compiler promises where it puts the registers that it saves. The caller's exceptions pass
// through: the table of the frame is kept up to date.
#if defined(__x86_64__)
asm(R"(
    .text
    .globl zan_with_frame
    .hidden zan_with_frame
    .type zan_with_frame, @function
    .p2align 4
zan_with_frame:
    .cfi_startproc
    endbr64
    pushq %rbp
    .cfi_adjust_cfa_offset 8
    pushq %rbx
    .cfi_adjust_cfa_offset 8
    pushq %r12
    .cfi_adjust_cfa_offset 8
    pushq %r13
    .cfi_adjust_cfa_offset 8
    pushq %r14
    .cfi_adjust_cfa_offset 8
    pushq %r15
    .cfi_adjust_cfa_offset 8
    movq %rcx, %rax
    movq %rsp, %rcx
    subq $8, %rsp
    .cfi_adjust_cfa_offset 8
    call *%rax
    addq $56, %rsp
    .cfi_adjust_cfa_offset -56
    ret
    .cfi_endproc
    .size zan_with_frame, .-zan_with_frame
)");
#elif defined(__aarch64__)
asm(R"(
    .text
    .globl zan_with_frame
    .hidden zan_with_frame
    .type zan_with_frame, %function
    .p2align 4
zan_with_frame:
    .cfi_startproc
    stp x29, x30, [sp, #-96]!
    .cfi_def_cfa_offset 96
    .cfi_offset x29, -96
    .cfi_offset x30, -88
    stp x19, x20, [sp, #16]
    stp x21, x22, [sp, #32]
    stp x23, x24, [sp, #48]
    stp x25, x26, [sp, #64]
    stp x27, x28, [sp, #80]
    mov x9, x3
    mov x3, sp
    blr x9
    ldp x29, x30, [sp], #96
    .cfi_restore x29
    .cfi_restore x30
    .cfi_def_cfa_offset 0
    ret
    .cfi_endproc
    .size zan_with_frame, .-zan_with_frame
)");
#endif
