#include "TestEnvironment.h"

void UseThrowAwayState(char**) {}
