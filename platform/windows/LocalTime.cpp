#include "Platform.h"

bool LumLocalTime(long long llSeconds, std::tm* pLocal) { return _localtime64_s(pLocal, &llSeconds) == 0; }
