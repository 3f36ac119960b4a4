// Hardware faults as C++ exceptions: LumSetFaultTranslator of PlatformCommon.h, and the room that a stack overflow needs.
//
//  * SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGTRAP, when the processor raised them on a thread with a translator: the thread goes on
//    in the translator, as if the faulting instruction had called it. The signal is over by then: its mask and its stack are
//    free. Registers that calls preserve reach the handler as they were at the fault.
//  * Everywhere else, and for signals that a process sent: what was installed when the first translator was set decides.
//  * The translator runs on the thread's alternate signal stack: the program's own when it has 64 KiB, else one of ours.
//    A fault on that stack is not translated: there is nothing left to throw from.
//  * Codes are those of Windows; a stack overflow is 0xC00000FD. 64 KiB at the end of the stack are kept back, so that
//    handlers and destructors near the overflow have room to run in (stacks of 256 KiB and more).
//  * Without memory for the alternate stack LumSetFaultTranslator changes nothing.
#pragma once

// _resetstkoflw: keeps the room at the end of the stack back again, after an overflow has been handled.
//   Returns 0 while the caller itself still stands in it. Until then a next overflow is caught, but has no room.
int _resetstkoflw();
