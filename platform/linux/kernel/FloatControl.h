// The floating-point control and status word of the calling thread, under the runtime library's names.
//
//  * The words are abstract: the same bits whatever the processor's are.
//  * They stand for the vector unit, which computes float and double; the older unit (long double) is left alone.
#pragma once

#define _MCW_EM 0x0008001F // the masks of the conditions: a set bit means that the condition does not fault
#define _EM_INEXACT 0x00000001
#define _EM_UNDERFLOW 0x00000002
#define _EM_OVERFLOW 0x00000004
#define _EM_ZERODIVIDE 0x00000008
#define _EM_INVALID 0x00000010
#define _EM_DENORMAL 0x00080000

#define _MCW_RC 0x00000300 // rounding
#define _RC_NEAR 0x00000000
#define _RC_DOWN 0x00000100
#define _RC_UP 0x00000200
#define _RC_CHOP 0x00000300

#define _MCW_PC 0x00030000 // precision: the unit has no choice of it, the bits read as 0

#define _MCW_DN 0x03000000 // denormal numbers
#define _DN_SAVE 0x00000000
#define _DN_FLUSH 0x01000000
#define _DN_FLUSH_OPERANDS_SAVE_RESULTS 0x02000000
#define _DN_SAVE_OPERANDS_FLUSH_RESULTS 0x03000000

#define _SW_INEXACT 0x00000001
#define _SW_UNDERFLOW 0x00000002
#define _SW_OVERFLOW 0x00000004
#define _SW_ZERODIVIDE 0x00000008
#define _SW_INVALID 0x00000010
#define _SW_DENORMAL 0x00080000

// _control87: replaces the bits of the control word that uMask selects by those of uNew; returns the resulting word.
//   Exceptions, rounding and denormal numbers are honoured, other bits ignored. A change clears the status word.
unsigned int _control87(unsigned int uNew, unsigned int uMask);
// _controlfp: the same, but never touches the mask of the denormal operand.
unsigned int _controlfp(unsigned int uNew, unsigned int uMask);
// _statusfp: the status word, conditions met since it was last cleared.
unsigned int _statusfp();
// _clearfp: clears the status word; returns what it was.
unsigned int _clearfp();
