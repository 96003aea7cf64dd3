/* The fault dictionary and the guide to the tests, linked into the client. */
    .section .rodata
    .globl gFaultCausesBegin
    .globl gFaultCausesEnd
    .globl gTestGuideBegin
    .globl gTestGuideEnd
gFaultCausesBegin:
    .incbin FAULT_CAUSES
gFaultCausesEnd:
gTestGuideBegin:
    .incbin TEST_GUIDE
gTestGuideEnd:
    .byte 0
    .section .note.GNU-stack, "", @progbits
