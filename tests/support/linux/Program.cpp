#include "Program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

std::string ProgramPath(const std::string& sName)
{
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / sName).string();
}

static std::string ReadBack(int iFile)
{
    std::string sText;
    char aPiece[4096];
    lseek(iFile, 0, SEEK_SET);
    for (ssize_t n; (n = read(iFile, aPiece, sizeof aPiece)) > 0;) sText.append(aPiece, static_cast<size_t>(n));
    return sText;
}

ProgramResult RunProgram(const std::string& sPath, const std::vector<std::string>& arguments, const std::string& sInput)
{
    // Files instead of pipes: what is written cannot fill them up while nobody reads.
    std::FILE* pOut = std::tmpfile();
    std::FILE* pErr = std::tmpfile();
    std::vector<char*> words{const_cast<char*>(sPath.c_str())};
    for (const auto& sArgument : arguments) words.push_back(const_cast<char*>(sArgument.c_str()));
    words.push_back(nullptr);

    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
    {
        dup2(open(sInput.empty() ? "/dev/null" : sInput.c_str(), O_RDONLY), STDIN_FILENO);
        dup2(fileno(pOut), STDOUT_FILENO);
        dup2(fileno(pErr), STDERR_FILENO);
        execv(sPath.c_str(), words.data());
        _exit(127);
    }
    int iStatus = 0;
    waitpid(child, &iStatus, 0);
    ProgramResult result{WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1, ReadBack(fileno(pOut)), ReadBack(fileno(pErr))};
    std::fclose(pOut);
    std::fclose(pErr);
    return result;
}

void SetForPrograms(const char* pName, const char* pValue) { setenv(pName, pValue, 1); }
