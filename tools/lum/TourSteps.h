// What the steps of the tour share, and those that have a file of their own.
#pragma once

#include <string>

namespace tool
{
void Say(const std::string& sText);
void Shows(const std::string& sCall, const std::string& sResult);

// Encrypts, decrypts, signs and verifies a file of that folder, which is gone afterwards; with keys of its own, not the user's.
void ShowCryptOfFile(const std::string& sFolder);

// Writes a compound file to that folder, lists it and reads it back; it is gone afterwards.
void ShowStorageOfFile(const std::string& sFolder);
} // namespace tool
