// The exceptions of the library, thrown by pointer, and the faults of the processor that arrive as some of them.
//
//  * Whoever swallows one calls its Delete(). The run-time class, message and report of each are those of CException.
//  * Faults become exceptions on the threads that called SetupSignal, in code compiled with -fnon-call-exceptions. In-line
//    assembler counts as code that cannot fault: put it into a function of its own.
//  * A stack overflow arrives as OSEUnknownException with the code 0xC00000FD; deleting it makes the next one catchable again.
#pragma once

#include "Platform.h"

#include "CException.h"
#include "OString.h"

class OAppException : public CException
{
public:
    OAppException() = default;
    OAppException(const OAppException& source) = default;
    ~OAppException() override;
    OAppException& operator=(OAppException& source);

    ULONG mulErrorBase = 0;  // the first code of the range of the object that raised it
    ULONG mulOffset = 0;     // the code within that range
    ULONG mulErrorCode = 0;  // both together: also the id of the text in the resource library
    LONG miApiErrorCode = 0; // the system's error number, 0 when no system call failed
    OString mText;
};

class OStopException : public OAppException
{
public:
    OStopException() = default;
    explicit OStopException(ULONG ulStopCode) : mulStopCode(ulStopCode) {}
    OStopException(const OStopException& source) = default;
    OStopException& operator=(OStopException& source);

    // ReportError: shows a fixed notice; the stop code goes where the style of the box belongs, and is not seen.
    // Not the virtual one of CException, whose name it takes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"
    void ReportError();
#pragma GCC diagnostic pop

    ULONG mulStopCode = 0;
};

// Error code 34012 without a base; the classes below have the base 34000 and a code of their own.
class OStructuredException : public OAppException
{
public:
    explicit OStructuredException(unsigned int ulStructuredCode);
    OStructuredException(const OStructuredException& source) = default;
    OStructuredException& operator=(OStructuredException& source);

    ULONG mulStructuredCode; // the system's number, such as 0xC0000005
};

class OSEUnknownException : public OStructuredException // 34010: a code without a class of its own
{
public:
    explicit OSEUnknownException(unsigned int ulStructuredCode);
    OSEUnknownException(const OSEUnknownException& source) = default;
    ~OSEUnknownException() override;
};

class OAccessViolationException : public OStructuredException // 34014
{
public:
    explicit OAccessViolationException(unsigned int ulStructuredCode);
};

class OMathException : public OStructuredException // 34011
{
public:
    explicit OMathException(unsigned int ulStructuredCode);
};

class OFloatException : public OMathException // 34013; making one clears the floating-point status
{
public:
    explicit OFloatException(unsigned int ulStructuredCode);
};

class OFloatDivZeroException : public OFloatException // 34003
{
public:
    explicit OFloatDivZeroException(unsigned int ulStructuredCode);
};

class OFloatInexactException : public OFloatException // 34004
{
public:
    explicit OFloatInexactException(unsigned int ulStructuredCode);
};

class OFloatInvalidException : public OFloatException // 34005
{
public:
    explicit OFloatInvalidException(unsigned int ulStructuredCode);
};

class OFloatOverflowException : public OFloatException // 34006
{
public:
    explicit OFloatOverflowException(unsigned int ulStructuredCode);
};

class OFloatStackException : public OFloatException // 34007
{
public:
    explicit OFloatStackException(unsigned int ulStructuredCode);
};

class OFloatUnderflowException : public OFloatException // 34008
{
public:
    explicit OFloatUnderflowException(unsigned int ulStructuredCode);
};

class OIntException : public OMathException // 34009
{
public:
    explicit OIntException(unsigned int ulStructuredCode);
};

class OIntDivZeroException : public OIntException // 34001
{
public:
    explicit OIntDivZeroException(unsigned int ulStructuredCode);
};

class OIntOverflowException : public OIntException // 34002
{
public:
    explicit OIntOverflowException(unsigned int ulStructuredCode);
};

extern "C"
{
// SetupSignal: from here on the faults of the calling thread are thrown as exceptions of the classes above, and the
//   floating-point conditions invalid operation, division by zero, overflow and denormal operand are faults. Returns _clearfp().
unsigned int SetupSignal();

// BuildExceptionString: the text of the code ulErrorBase + ulOffset from the resource library, followed by the system's text
//   for iApiErrorCode unless that is 0; a text with the numbers when there is none. The two further texts are not used.
void BuildExceptionString(OString& sOut, ULONG ulOffset, ULONG ulErrorBase, int iApiErrorCode, const OString* pExtra1,
                          const OString* pExtra2);

// ThrowString: throws an OAppException* with that code and text and no base.
[[noreturn]] void ThrowString(ULONG ulCode, const OString& sText);
}
