// A protected login record in its file, as docs/format_login.md has it.
#pragma once

#include "OEncrypt.h"

#include "Secret.h"

#include <string>

namespace tool
{
using Login = Wiped<LOGINDATA>;

// What keeps the bytes of a file from being a whole record, on one line; empty when nothing does.
std::string LoginRecordTrouble(const Secret& bytes);

// The bytes of a file; enough of a longer one to tell.
Secret ReadLoginRecord(const std::string& sPath);
void GatherLogin(const Secret& bytes, Login& login); // of a whole record
void WriteLoginRecord(const std::string& sPath, Login& login);
} // namespace tool
