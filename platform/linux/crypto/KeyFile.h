// The file of a key container: its layout alone (docs/format_keys.md). Every byte of a file may be anything. Internal to
// platform/linux.
#pragma once

#include "Secret.h"

#include <cstddef>
#include <span>

namespace lum
{
constexpr int kiPairs = 2; // exchange and signature, in this order
constexpr std::size_t kulDigest = 32;
constexpr std::size_t kulMostPairBytes = 4096; // a pair of 4,096 bits takes 2,324
constexpr char kacKeyFileMagic[8] = {'L', 'u', 'm', 'K', 'e', 'y', 's', '\n'};
constexpr DWORD kulKeyFileVersion = 1;
constexpr DWORD kulPairExportable = 1;

struct KeyFilePair
{
    DWORD ulFlags; // kulPairExportable
    DWORD ulBytes; // 0: there is none
};

struct KeyFileHead
{
    char acMagic[8];            // 0x00
    DWORD ulVersion;            // 0x08
    DWORD ulZero;               // 0x0C
    KeyFilePair aPairs[kiPairs]; // 0x10; their blobs follow the head, behind them the SHA-256 of all that is in front
};
static_assert(sizeof(KeyFileHead) == 0x20 && offsetof(KeyFileHead, aPairs) == 0x10);

constexpr std::size_t kulMostKeyFileBytes = sizeof(KeyFileHead) + kiPairs * kulMostPairBytes + kulDigest;

struct StoredPair
{
    SecretBytes blob; // a PRIVATEKEYBLOB; empty: there is none
    bool bExportable = false;
};

struct StoredPairs
{
    StoredPair aPairs[kiPairs];
};

// ParseKeyFile: 0, or NTE_KEYSET_ENTRY_BAD. The blobs are taken as they are.
DWORD ParseKeyFile(std::span<const BYTE> bytes, StoredPairs& pairs);
SecretBytes KeyFileBytes(const StoredPairs& pairs);
} // namespace lum
