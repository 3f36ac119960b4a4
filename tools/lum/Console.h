// What every command of lum shares: its exit status, its words to the user, colour and progress.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tool
{
enum ExitStatus { kDone = 0, kAnswerIsNo = 1, kUsage = 2, kFailure = 3 };

// Ends a command: what() goes to stderr, the status to the shell. Words it "what failed: what to look at"; empty when all has been
// said.
class Stop : public std::runtime_error
{
public:
    Stop(ExitStatus eStatus, const std::string& sText) : std::runtime_error(sText), meStatus(eStatus) {}
    ExitStatus Status() const { return meStatus; }

private:
    ExitStatus meStatus;
};

// "Access is denied. (5)": the system's text for an error, on one line, with its number.
std::string SystemText(unsigned int uError);

std::string Format(const char* pFormat, ...) __attribute__((format(printf, 1, 2)));

// Print: to stdout. Note: to stderr, behind "lum: ". Both end the line.
void Print(std::string_view sText);
void Note(std::string_view sText);

// Emphasis for people: nothing when stdout is no terminal or NO_COLOR is set.
enum class Ink { Bold, Faint, Green, Red, Yellow };
std::string Inked(Ink eInk, std::string_view sText);

// A line on stderr that shows how far long work is; nothing when stderr is no terminal. The line goes with the object.
class Progress
{
public:
    Progress(std::string sWhat, size_t uTotal);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void At(size_t uDone);

private:
    std::string msWhat;
    size_t muTotal;
    int miShown = -1; // percent
    bool mbTerminal;
};
} // namespace tool
