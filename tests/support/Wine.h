// Where Wine is known to answer otherwise than Windows and we do.
#pragma once

// RunsUnderWine, RunsAsAdministrator: of this test program; both false on Linux, where neither changes an answer of ours.
bool RunsUnderWine();
bool RunsAsAdministrator();

// WineSays: for an expectation; its line says why, and fails on the day the difference goes away.
template <class T>
T WineSays(T wine, T everywhereElse) { return RunsUnderWine() ? wine : everywhereElse; }
