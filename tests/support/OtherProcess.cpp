#include "OtherProcess.h"

#include <cstdio>
#include <cstring>
#include <map>

static std::map<std::string, OtherRole::Answer>& Roles()
{
    static std::map<std::string, OtherRole::Answer> roles;
    return roles;
}

OtherRole::OtherRole(const char* pName, Answer pAnswer) { Roles()[pName] = pAnswer; }

bool RunsInRole(int argc, char** argv)
{
    if (argc != 3 || std::strcmp(argv[1], "--role") != 0) return false;
    const OtherRole::Answer pAnswer = Roles().at(argv[2]);
    char acOrder[8192];
    while (std::fgets(acOrder, sizeof acOrder, stdin))
    {
        acOrder[std::strcspn(acOrder, "\r\n")] = 0;
        std::printf("%s\n", pAnswer(acOrder).c_str());
        std::fflush(stdout);
    }
    return true;
}
