// What the library exports, as a program finds it that was not linked with it.
#pragma once

// FindExport: the function of exactly that name; null when the library exports none.
void* FindExport(const char* pName);
