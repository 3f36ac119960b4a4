// Other programs, started as a user starts them.
#pragma once

#include <string>
#include <vector>

struct ProgramResult
{
    int iStatus;      // what it returned; -1 when it could not be started or was ended by a signal
    std::string sOut; // what it wrote to each, CR LF as LF
    std::string sErr;
};

// ProgramPath: a program of the build, by its name without an extension.
std::string ProgramPath(const std::string& sName);

// RunProgram: starts it with those arguments and no terminal, and waits for its end. It reads the file that is named as input, or
// nothing.
ProgramResult RunProgram(const std::string& sPath, const std::vector<std::string>& arguments, const std::string& sInput = {});

// SetForPrograms: an environment variable for this program and those it starts from then on.
void SetForPrograms(const char* pName, const char* pValue);
