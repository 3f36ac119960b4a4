// The end of an exception that is not passed on.
#pragma once

// DropCaught: frees the exception in flight, which the library throws by pointer. Call it in a handler only, as the last thing.
void DropCaught() noexcept;
