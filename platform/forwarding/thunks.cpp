// Each function of the platform is a jump to where its namesake lies, so that neither its arguments
// nor its type matter here. Nothing else may stand in this file: the compiler does not know that
// the section changes.

#define FUNCTION(library, name)                                                                    \
    __asm__(".text\n"                                                                              \
            ".globl " #name "\n" #name ":\n"                                                       \
            "    jmp *forwarded_" #name "(%rip)\n");
#define CONSTANT(library, name, type)
#include "platform/forwarding/forwarded.inc"
