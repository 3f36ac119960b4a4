// Programs at a terminal of their own, with somebody who types.
#pragma once

#include "LumProgram.h"

#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <string>
#include <vector>

struct TerminalResult
{
    int iStatus; // what it returned; -1 - N when signal N ended it
    std::string sScreen;
    bool bShowsTyping; // the terminal, afterwards
};

// LumAtTerminal: runs lum and types the next answer whenever a question ends the screen, up to the colon and blank.
inline TerminalResult LumAtTerminal(const std::vector<std::string>& words, const std::vector<std::string>& answers)
{
    std::string sProgram = ProgramPath("lum");
    std::vector<char*> arguments{sProgram.data()};
    for (const auto& sWord : words) arguments.push_back(const_cast<char*>(sWord.c_str()));
    arguments.push_back(nullptr);

    int iTerminal = -1;
    const pid_t child = forkpty(&iTerminal, nullptr, nullptr, nullptr);
    if (child == 0)
    {
        execv(sProgram.c_str(), arguments.data());
        _exit(127);
    }
    TerminalResult result{-1, {}, false};
    termios state{};
    auto next = answers.begin();
    char acPiece[1000];
    for (ssize_t n; (n = read(iTerminal, acPiece, sizeof acPiece)) > 0;)
    {
        result.sScreen.append(acPiece, static_cast<size_t>(n));
        if (next == answers.end() || !result.sScreen.ends_with(": ")) continue;
        EXPECT_EQ(write(iTerminal, next->data(), next->size()), static_cast<ssize_t>(next->size()));
        ++next;
    }
    int iStatus = 0;
    waitpid(child, &iStatus, 0);
    result.bShowsTyping = tcgetattr(iTerminal, &state) == 0 && state.c_lflag & ECHO;
    close(iTerminal);
    EXPECT_TRUE(next == answers.end()) << "no question any more";
    result.iStatus = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1 - WTERMSIG(iStatus);
    std::erase(result.sScreen, '\r');
    return result;
}
