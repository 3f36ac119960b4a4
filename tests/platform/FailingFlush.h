// A disk whose flushes fail when a test says so, or its reads.
#pragma once

#include <climits>

// FailFlushes: after so many that succeed, so many fail.   CountFlushes: those that this process has asked for.
void FailFlushes(int iAllowed, int iFailures = INT_MAX);
inline void LetFlushes() { FailFlushes(INT_MAX, 0); }
int CountFlushes();

// FailReadsAfter: so many flushes, no read of a place in a file succeeds, until LetReads.
void FailReadsAfter(int iFlushes);
inline void LetReads() { FailReadsAfter(INT_MAX); }
