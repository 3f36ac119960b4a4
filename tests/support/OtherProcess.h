// A second process of the same test program that takes orders: for what two processes do to each other.
#pragma once

#include <string>

// A role that the test program can be started in: a function that is given each order, a line, and answers with a line.
// Defined at namespace scope in a test file: `const OtherRole kHolder("holder", AnswerHolder);`
class OtherRole
{
public:
    using Answer = std::string (*)(const std::string& sOrder);
    OtherRole(const char* pName, Answer pAnswer);
};

// RunsInRole: plays the role to the end of the orders when the program was started for one.
bool RunsInRole(int argc, char** argv);

class OtherProcess
{
public:
    explicit OtherProcess(const std::string& sRole);
    ~OtherProcess(); // lets it end, and waits for that
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    // Ask: gives an order and waits for the answer; empty when the process has ended. Tell and Answer are its two halves.
    std::string Ask(const std::string& sOrder)
    {
        Tell(sOrder);
        return Answer();
    }
    void Tell(const std::string& sOrder);
    std::string Answer();

    void Kill(); // at once, without a chance to tidy up; returns when it is gone

private:
    struct System;
    System* mpSystem;
};
