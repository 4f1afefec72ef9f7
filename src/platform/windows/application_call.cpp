#include "platform/application_call.h"

#include <windows.h>

// MSVC's C++ exceptions are structured exceptions of this code. GCC's handlers do not see them and
// GCC has no __try, so the frame that does is written by hand. The system unwinds the frames above
// it, theirs with their own handlers, and goes on at its label.
extern "C" long ZvEventIsForeign(EXCEPTION_POINTERS* raised, void*) {
    constexpr DWORD kMsvcException = 0xE06D7363;
    return raised->ExceptionRecord->ExceptionCode == kMsvcException ? EXCEPTION_EXECUTE_HANDLER
                                                                    : EXCEPTION_CONTINUE_SEARCH;
}

// 1 when the call has returned, 0 when it was caught.
extern "C" int ZvEventCallApplication(zvEventCallback callback, const zvEventRecord* event,
                                      void* user_data);
asm(R"(
    .text
    .globl ZvEventCallApplication
    .def ZvEventCallApplication; .scl 2; .type 32; .endef
    .seh_proc ZvEventCallApplication
ZvEventCallApplication:
    sub $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long 1
    .rva .Lcall, .Lreturned, ZvEventIsForeign, .Lcaught
    .text
    mov %rcx, %rax
    mov %rdx, %rcx
    mov %r8, %rdx
.Lcall:
    call *%rax
    nop
.Lreturned:
    mov $1, %eax
    add $40, %rsp
    ret
.Lcaught:
    xor %eax, %eax
    add $40, %rsp
    ret
    .seh_endproc
)");

namespace zvevent {

bool CallApplication(zvEventCallback callback, const zvEventRecord* event, void* user_data) {
    return ZvEventCallApplication(callback, event, user_data) != 0;
}

}  // namespace zvevent
