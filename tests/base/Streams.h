// What tests ask of streams.
#pragma once

#include "OMemBuf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

// The boxes of transfers that came short.
inline constexpr const char* kpReadError = "BaseTests | OBuf::Read error";
inline constexpr const char* kpWriteError = "BaseTests | OBuf::Write error";

// A stream that is none of the library's: it keeps what is asked of it, and transfers less than it is asked for when told so.
class RecordingBuf : public OBuf
{
public:
    using Calls = std::vector<std::string>;

    explicit RecordingBuf(std::string sBytes = "") : msBytes(std::move(sBytes)) {}
    using OBuf::operator=;

    ULONG Read(void* pTo, ULONG ulBytes) override
    {
        mCalls.push_back("Read " + std::to_string(ulBytes));
        const ULONG ulLeft = mulPosition < msBytes.size() ? static_cast<ULONG>(msBytes.size()) - mulPosition : 0;
        ulBytes = std::min({ulBytes, ulLeft, mulMost});
        if (ulBytes) std::memcpy(pTo, msBytes.data() + mulPosition, ulBytes);
        mulPosition += ulBytes;
        return ulBytes;
    }
    ULONG Write(const void* pSource, ULONG ulBytes) override
    {
        mCalls.push_back("Write " + std::to_string(ulBytes));
        ulBytes = std::min(ulBytes, mulMost);
        if (msBytes.size() < mulPosition + std::size_t{ulBytes}) msBytes.resize(mulPosition + std::size_t{ulBytes});
        std::memcpy(msBytes.data() + mulPosition, pSource, ulBytes);
        mulPosition += ulBytes;
        return ulBytes;
    }
    ULONG Seek(int iOffset, SEEKOPT eFrom) override
    {
        mCalls.push_back("Seek " + std::to_string(iOffset) + " " + std::to_string(eFrom));
        const ULONG aulFrom[] = {0, mulPosition, static_cast<ULONG>(msBytes.size())};
        return mulPosition = aulFrom[eFrom] + static_cast<ULONG>(iOffset);
    }

    // What was asked since the last question.
    Calls Asked() { return std::exchange(mCalls, {}); }

    std::string msBytes;
    ULONG mulPosition = 0;
    ULONG mulMost = 0xFFFFFFFF; // that one call transfers

private:
    Calls mCalls;
};

// The three numbers in front of a memory stream's bytes.
struct OBlockHeader
{
    LONG lRefs;
    ULONG ulSize;
    ULONG ulCapacity;
};
inline OBlockHeader& HeaderOf(OMemBuf& buf)
{
    return reinterpret_cast<OBlockHeader*>(const_cast<unsigned char*>(buf.GetBuffer()))[-1];
}

inline std::string BytesOf(OMemBuf& buf) { return std::string(reinterpret_cast<const char*>(buf.GetBuffer()), buf.GetSize()); }

// Up to ulBytes read from the stream's position.
inline std::string ReadFrom(OBuf& buf, ULONG ulBytes)
{
    std::string sRead(ulBytes, '?');
    sRead.resize(buf.Read(sRead.data(), ulBytes));
    return sRead;
}

inline std::string Sample(std::size_t ulBytes)
{
    std::string sBytes(ulBytes, '\0');
    for (std::size_t i = 0; i < ulBytes; ++i) sBytes[i] = static_cast<char>(i * 131 + i / 251);
    return sBytes;
}

// A memory stream with these bytes, at position 0. Of a class of its own, for which the library takes no short cut.
class FilledBuf : public OMemBuf
{
public:
    explicit FilledBuf(const std::string& sBytes) : OMemBuf(sBytes.data(), static_cast<int>(sBytes.size())) {}
    using OMemBuf::operator=;
};

// The slots that all streams have, counted by virtual tables. Two entries are the destructor's, on both systems.
template <class Stream>
struct OStreamProbe : Stream
{
    using Stream::Stream;
    ULONG Read(void*, ULONG) override { return iCalled = 2, 0; }
    ULONG Write(const void*, ULONG) override { return iCalled = 3, 0; }
    ULONG Seek(int, OBuf::SEEKOPT) override { return iCalled = 4, 0; }
    ULONG CopyFrom(OBuf&, ULONG) override { return iCalled = 5, 0; }
    void SetSize(ULONG) override { iCalled = 6; }
    OBuf& operator=(OBuf&) override { return iCalled = 7, *this; }
    int iCalled = -1;
};

// And those of the streams in memory.
template <class Stream>
struct OMemStreamProbe : OStreamProbe<Stream>
{
    using OStreamProbe<Stream>::OStreamProbe;
    using OStreamProbe<Stream>::operator=;
    OCustomMemBuf* CreateClone() override { return this->iCalled = 8, nullptr; }
    void MakeUnique() override { this->iCalled = 9; }
    ULONG GetCapacity() override { return this->iCalled = 10, 0; }
    const unsigned char* GetBuffer() override { return this->iCalled = 11, nullptr; }
    void SetCapacity(ULONG) override { this->iCalled = 12; }
};

// Calling through the table shows where each stands.
template <class Probe>
void ExpectSlots(Probe& probe, int iLast)
{
    void* const* pTable = nullptr;
    std::memcpy(&pTable, static_cast<void*>(&probe), sizeof pTable);
    for (int iSlot = 2; iSlot <= iLast; ++iSlot)
    {
        using Member = void* (*)(Probe*, void*, void*);
        reinterpret_cast<Member>(pTable[iSlot])(&probe, nullptr, nullptr);
        EXPECT_EQ(probe.iCalled, iSlot);
    }
}

constexpr int kiStreamSlots = 7;
constexpr int kiMemStreamSlots = 12;
