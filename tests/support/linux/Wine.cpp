#include "Wine.h"

bool RunsUnderWine() { return false; }
bool RunsAsAdministrator() { return false; }
