// Passwords and keys: bytes that leave no trace in memory, and where they come from.
#pragma once

#include "Platform.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace tool
{
// Room for so many bytes, with a zero behind them; wiped at the end.
class Secret
{
public:
    explicit Secret(size_t uRoom);
    ~Secret();
    Secret(Secret&&) = default;
    Secret& operator=(Secret&&) = delete;

    char* Data() { return mpBytes.get(); }
    unsigned char* Bytes() { return reinterpret_cast<unsigned char*>(Data()); }
    size_t Size() const { return muSize; }
    size_t Room() const { return muRoom; }
    void Resize(size_t uSize); // at most the room
    std::string_view View() const { return {mpBytes.get(), muSize}; }

private:
    std::unique_ptr<char[]> mpBytes;
    size_t muRoom, muSize = 0;
};

// A plain record that is wiped at the end.
template <class T>
struct Wiped : T
{
    Wiped() : T{} {}
    ~Wiped() { SecureZeroMemory(static_cast<T*>(this), sizeof(T)); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;
};

// A file; of one that is longer than that, one byte more than uMost. Throws Stop with the system's reason.
Secret ReadSecretFile(const std::string& sPath, size_t uMost);

// Where a password comes from: never from the command line, which every user of the machine can see.
struct PasswordWords
{
    std::string sFile;
    std::vector<CLI::Option*> options; // of each command that has it

    CLI::Option* AddFile(CLI::App* pVerb); // --password-file FILE
    bool IsGiven() const;

    // From the file, without one line's end, else typed unseen; twice when it is a new one, since nobody can look it up later.
    // Not empty.
    enum class Kind
    {
        New,
        Known
    };
    Secret Read(Kind eKind) const;
};
} // namespace tool
