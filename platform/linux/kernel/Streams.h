// Positions of streams in 64 bits, by the runtime's names. LumOpenStream makes streams on handles.
#pragma once

#include "Types.h"

#include <cstdio>

// _fseeki64: 0, or not 0 when the position cannot be reached. _ftelli64: -1 when there is none.
inline int _fseeki64(std::FILE* pStream, LONGLONG llOffset, int iWhence) { return fseeko(pStream, llOffset, iWhence); }
inline LONGLONG _ftelli64(std::FILE* pStream) { return ftello(pStream); }
