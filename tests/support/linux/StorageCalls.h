// A script of calls to the interfaces of a compound file, on new files, sound ones and damaged ones. Beside a file that was sound
// at first stands a model of it: every answer and all contents must be those of the model, then and after opening the file again.
#pragma once

#include "Held.h"
#include "Platform.h"
#include "StorageExercise.h"
#include "StorageNode.h"

#include <optional>
#include <string>

class StorageCalls
{
public:
    static constexpr std::size_t kulMostSteps = 64, kulStepBytes = 4;

    // The folder is for the files; what is in the script beyond the steps is not used.
    explicit StorageCalls(std::string sFolder) : msFolder(std::move(sFolder)) {}

    // Run: on a file with these bytes, or a new one when there are none. What was wrong; "" for nothing.
    std::string Run(const std::vector<BYTE>& file, BYTE ubMode, const BYTE* pScript, std::size_t ulScript);

private:
    static constexpr DWORD kulElement = STGM_READWRITE | STGM_SHARE_EXCLUSIVE, kulReading = STGM_READ | STGM_SHARE_EXCLUSIVE;
    static constexpr std::size_t kulMostLevels = 6, kulMostWeight = 1 << 20;
    static constexpr int kiMostCopies = 6;

    // An open storage; each is inside the one before.
    struct Level
    {
        Held<IStorage> storage;
        StorageText sName;
        bool bReads = false, bTransacted = false;
        std::unique_ptr<StorageNode> pOwn; // of a transaction: what it sees
        StorageNode* pBelow = nullptr;     // and where that goes with its commit
        StorageNode* pView = nullptr;      // null without a model
    };
    struct Step
    {
        BYTE ubWhat, ubWhere, ubName, ubHow;
    };

    bool Open(const std::vector<BYTE>& file, BYTE ubMode);
    void Push(Held<IStorage>&& storage, StorageNode* pNode, const StorageText& sName, bool bReads, bool bTransacted);
    void Do(const Step& step);
    void Finish();

    void WriteStream(const Step& step);
    void ReadStream(const Step& step);
    void NewStorage(const Step& step);
    void OpenStorage(const Step& step);
    void Commit(const Step& step);
    void Revert(const Step& step);
    void Destroy(const Step& step);
    void Rename(const Step& step);
    void Move(const Step& step);
    void Copy(const Step& step);
    void CopyOut(const Step& step);
    void Compare(const Step& step);
    void Leave(const Step& step);

    // Expect: that answer where there is a model, else one that there is; whether the call did its work.
    bool Expect(const char* pCall, HRESULT hr, HRESULT hrExpected);
    void ExpectBytes(IStream* pStream, const StorageBlob& bytes);
    void ExpectRevoked(std::size_t ulLevel); // those from that level on, which go
    void ReadInto(StorageContent& content, IStorage* pStorage, const StorageText& sPath, const StorageText* pSkip, int iDepth);
    void Blame(const std::string& sWhat);

    Level& At(const Step& step) { return mLevels[step.ubWhere % mLevels.size()]; }
    std::size_t IndexOf(const Level& level) const { return static_cast<std::size_t>(&level - mLevels.data()); }
    StorageText NameIn(Level& level, unsigned uWhich);
    static StorageNode* FindIn(const Level& level, const StorageText& sName)
    {
        return level.pView ? level.pView->Find(sName) : nullptr;
    }
    bool IsOpenIn(const Level& level, const StorageText& sName) const;
    std::size_t ViewOf(std::size_t ulLevel) const;
    HRESULT CheckNew(const Level& level, const StorageText& sName, DWORD ulMode) const;
    bool MayCopy(const StorageNode* pNode);

    std::u16string Path(const char* pName) const;
    static const WCHAR* Wide(const std::u16string& sName) { return reinterpret_cast<const WCHAR*>(sName.c_str()); }

    const std::string msFolder;
    std::string msWrong;
    std::vector<Level> mLevels;
    std::optional<StorageNode> mFile; // the model
    int miCopies = 0;
};
