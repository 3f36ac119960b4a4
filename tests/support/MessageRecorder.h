// A program's own place for message boxes, which keeps what it is to show. Installed for as long as it lives.
#pragma once

#include "Platform.h"

#include <string>
#include <utility>
#include <vector>

class MessageRecorder
{
public:
    using Boxes = std::vector<std::string>;

    MessageRecorder()
    {
        Kept().clear();
        LumSetMessageHook([](const char* pText, const char* pCaption)
        {
            Kept().push_back(std::string(pCaption) + " | " + pText);
            return IDOK;
        });
    }
    ~MessageRecorder() { LumSetMessageHook(nullptr); }
    MessageRecorder(const MessageRecorder&) = delete;
    MessageRecorder& operator=(const MessageRecorder&) = delete;

    // "caption | text" of what came since the last question.
    Boxes Shown() { return std::exchange(Kept(), {}); }

private:
    static Boxes& Kept()
    {
        static Boxes boxes;
        return boxes;
    }
};
