// Another process that makes, opens, waits for and gives back objects as it is told.
//
// Orders: a verb, an object's name and numbers, with blanks between them. A name stands for the handle that the process
// opened last under it.
//   event NAME MANUAL SIGNALLED, mutex NAME OWNED, mapping NAME BYTES: the last error of a success, "failed N" otherwise
//   open-event NAME ACCESS, open-mutex NAME ACCESS, open-mapping NAME ACCESS: likewise
//   wait NAME MS: what the wait answered; waits NAME NAME MS: for any of two
//   set NAME, reset NAME, release NAME, close NAME: 0 or the error
//   read NAME OFFSET, write NAME OFFSET VALUE: a byte of a mapping
#pragma once

#include "OtherProcess.h"

#include <cstdlib>

class ObjectProcess : public OtherProcess
{
public:
    ObjectProcess() : OtherProcess("objects") {}
    DWORD Number(const std::string& sOrder) { return static_cast<DWORD>(std::strtoul(Ask(sOrder).c_str(), nullptr, 10)); }
    DWORD NumberAnswer() { return static_cast<DWORD>(std::strtoul(Answer().c_str(), nullptr, 10)); }
};

// A name that no other test, and no other run of the tests, has.
std::string ObjectName(const char* pStem);
