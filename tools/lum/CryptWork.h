// Files, encrypted and signed by the library, with its failures in the words of lum.
#pragma once

#include "Secret.h"

#include <string>

namespace tool
{
enum class CryptWay
{
    Encrypt,
    Decrypt
};

// The destination is there as a whole or not at all; what was there before stays until then. Without a password, for the user's own
// exchange pair. All throw Stop.
void CryptFile(CryptWay eWay, const std::string& sSource, const std::string& sDestination, const Secret* pPassword);

void SignFileTo(const std::string& sSource, const std::string& sSignature);
bool SignatureMatches(const std::string& sSource, const std::string& sSignature);
} // namespace tool
