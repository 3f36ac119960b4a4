// Changes of where entries hang, each of which can be taken back. Internal to platform/linux.
#pragma once

#include "StorageTree.h"

#include <string>

namespace lum
{
class TreeMoves
{
public:
    explicit TreeMoves(StorageTree& tree) : mTree(tree) {}

    HRESULT Link(ULONG ulStorage, ULONG ulEntry);
    HRESULT Unlink(ULONG ulStorage, ULONG ulEntry);
    HRESULT SetName(ULONG ulEntry, std::u16string_view sName);
    HRESULT SetProperties(ULONG ulEntry, const CLSID& clsid, ULONG ulState, FILETIME created, FILETIME modified);

    // Unlinked: what was taken out of a storage, wherever it was put then.
    std::vector<ULONG> Unlinked() const;
    // Undo: everything, the last first. What it needs is in memory; false if it failed nonetheless.
    bool Undo();

private:
    enum class What { Link, Unlink, Name, Properties };
    struct Note
    {
        What eWhat;
        ULONG ulStorage;
        ULONG ulEntry;
        CfEntry before;
    };
    template <class Make>
    HRESULT Step(const Note& note, Make make);
    HRESULT TakeBack(const Note& note);

    StorageTree& mTree;
    std::vector<Note> mNotes;
};
} // namespace lum
