// What a test program needs of the system it runs on.
#pragma once

// UseThrowAwayState: makes sure that no test touches a user's own registry or files.
//   Linux: a state directory of its own, made before the library is loaded (the program starts itself again with it) and
//   removed when the program ends. Windows: nothing, the Wine prefix is thrown away as a whole.
void UseThrowAwayState(char** argv);
