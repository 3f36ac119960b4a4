// Shows the lines of a log that a question asks for: in columns, or as JSON with an object a line.
#pragma once

#include "Console.h"
#include "LogLine.h"

#include <optional>
#include <string>
#include <vector>

namespace tool
{
struct LogQuestion
{
    std::vector<std::string> groups, classes; // of any of these, in any case; none: of all
    bool bErrors = false;                     // as IsError
    std::optional<double> fSince;             // seconds since the program began to log
    size_t uFirst = 0;                        // so many entries at most; 0: all

    bool IsForAll() const { return groups.empty() && classes.empty() && !bErrors && !fSince; }
};

class LogView
{
public:
    LogView(const LogQuestion& question, bool bJson) : mQuestion(question), mbJson(bJson), mbShowing(question.IsForAll()) {}

    // Lines: the next lines of the log, each but the last with its end. False when no more are wanted.
    bool Lines(std::string_view sLines);

    // Finish: shows what is held back in case that its text goes on.
    void Finish();

    bool HasEnough() const { return mQuestion.uFirst != 0 && muShown >= mQuestion.uFirst; }
    bool HasShownAny() const { return mbHasShownAny; }

private:
    struct Column
    {
        size_t uWidth; // grows with what is shown, so that the columns seldom move
        void Add(std::string& sRow, std::string_view sName, std::optional<Ink> eInk = {});
    };

    void Line(std::string_view sLine);
    bool Wants(const LogLine& line) const;
    void Banner(const LogLine& line);
    void Heading();
    void Show(const LogLine& line);
    void ShowMore(std::string_view sLine);
    void Hold(std::string_view sLine);

    const LogQuestion mQuestion;
    const bool mbJson;
    bool mbShowing; // the entry before is shown, and so is what continues it
    bool mbHasShownAny = false;
    bool mbEnough = false;
    size_t muShown = 0;    // entries
    size_t muIndent = 0;   // where the text of the entry before began
    std::string msRun;     // when the run began, as it is shown
    bool mbNewRun = false; // its heading has not been shown
    Column mGroup{12}, mClass{12}, mItem{8};
    std::optional<std::string> msHeld; // JSON: the line whose text may go on
    std::string msMore;                // and how it has gone on
};
} // namespace tool
