// An account of the tests' own. It exists for one process alone, which has in a mount namespace of its own another /etc/passwd,
// /etc/shadow, /etc/group and /etc/pam.d. The machine's stay as they are.
//
// That process is OtherProcess("account"); its orders and their words are separated by |. First "prepare|FOLDER", then, as a test
// needs, "drop passes" or "become service", "initialise|PASSWORD", and what is to be found out.
#pragma once

#include "Platform.h"

#include <sys/types.h>

#include <string>

inline constexpr uid_t kuAccount = 61234;
inline constexpr char kacAccount[] = "lumbase-test", kacPassword[] = "torch & lamp";

// RegisterServer: names the module of the security server in the registry.
void RegisterServer();
void UnregisterServer();

// LogOn: what the server's log-on comes to, as eight digits.
std::string LogOn(const std::string& sUser, const std::string& sDomain, const std::string& sPassword);
std::string HexOf(HRESULT hResult);
