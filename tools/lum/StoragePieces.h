// The bytes of streams, moved a piece at a time. All of it throws Stop; sShown is the stream as messages name it.
#pragma once

#include "StorageFile.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tool
{
constexpr ULONG kulPiece = 1 << 18; // bytes that are moved at a time

using Piece = std::unique_ptr<BYTE[]>;
inline Piece NewPiece() { return Piece(new BYTE[kulPiece]); }

// Shows how far work is that takes long enough.
class LongWork
{
public:
    LongWork(const std::string& sWhat, ULONGLONG ullBytes);
    void Add(ULONGLONG ullBytes);

private:
    std::optional<Progress> mProgress;
    ULONGLONG mullDone = 0;
};

// Where bytes come from: each call fills a piece as far as it can, and 0 is the end.
struct ByteSource
{
    ULONGLONG ullBytes; // as far as anybody knows
    std::function<ULONG(BYTE* pTo)> Read;
};

// ReadStream: fewer bytes than a piece at the end alone.
ULONG ReadStream(IStream* pStream, BYTE* pTo, const std::string& sShown);
void WriteStream(IStream* pStream, const BYTE* pFrom, ULONG ulBytes, const std::string& sShown);
ULONGLONG SizeOfStream(IStream* pStream, const std::string& sShown);

// CheckEnd: a stream that ends before its size says so is damaged.
void CheckEnd(const std::string& sShown, ULONGLONG ullDone, ULONGLONG ullBytes);
} // namespace tool
