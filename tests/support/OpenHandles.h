// What this process has open, so that a test can tell whether a call gave everything back that it took.
#pragma once

#include <cstddef>

// CountOpenHandles: on Linux those of every kind, cryptography's among them, and the descriptors that stand behind or beside them.
//   On Windows those that the system knows of; keys and hashes are their provider's own.
std::size_t CountOpenHandles();
