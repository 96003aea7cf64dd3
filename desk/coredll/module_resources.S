// The module's resources, as the resource compiler wrote them.
    .section .rodata
    .balign 4
    .globl gModuleResourcesBegin
    .globl gModuleResourcesEnd
gModuleResourcesBegin:
    .incbin RESOURCE_FILE
gModuleResourcesEnd:
    .byte 0
    .section .note.GNU-stack, "", @progbits
