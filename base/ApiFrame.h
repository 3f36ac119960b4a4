// The call frame of the checked system calls: two message boxes in the place of a log line.
#pragma once

// ShowApiCaught: shows what is in flight: first where it was caught, "CApi::" and the member; then its numbers, with the line by
//   which service knows that member. The lines are names, and stay what they are wherever the members have moved.
//   Call it in a handler only, and throw on. Keeps the last error.
void ShowApiCaught(const char* pMember, int iLine);
