// The names of classes as their programmers wrote them.
#pragma once

#include <typeinfo>

// ClassName: the name of a type; it stays valid. Made once for each type, then found without a lock. Any thread.
//   The compiler's own spelling when there is no memory.
const char* ClassName(const std::type_info& type);
