// Each function of the platform is a jump to the library's function of the same name, so neither
// its arguments nor its type matter here. Keep everything else out of this file: the compiler does
// not know that the section changes.

#define FUNCTION(library, name)                                                                    \
    __asm__(".text\n"                                                                              \
            ".globl " #name "\n" #name ":\n"                                                       \
            "    jmp *forwarded_" #name "(%rip)\n");
#define CONSTANT(library, name, type)
#include "platform/forwarding/forwarded.inc"
