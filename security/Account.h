// The machine's accounts, by way of PAM.
#pragma once

#include "FileIdentity.h"

#include "Platform.h"

#include <string>

// CheckAccount: checks user and password with PAM's service "lumbase", and gives the account's identity.
//   HRESULT_FROM_WIN32 of ERROR_LOGON_FAILURE (no such user, or another password), ERROR_ACCOUNT_RESTRICTION,
//   ERROR_ACCOUNT_EXPIRED, ERROR_ACCOUNT_LOCKED_OUT, ERROR_PASSWORD_MUST_CHANGE; E_FAIL when PAM itself fails. The machine's
//   rules decide how much of that is told.
HRESULT CheckAccount(const std::string& sUser, const char* pPassword, OFileIdentity& identity);
