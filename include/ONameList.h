// The switches that say which log lines are written: a tree of names (group, class, item) that mirrors a registry key.
//
//  * A list is one level. Each of its entries has a switch, and, but at the last level, a list of its own for what is below.
//  * In the registry every entry is a subkey with a number "Enabled"; missing, it counts as 1.
//  * Raises codes of the base 17500: 1 a subkey could not be listed, 2 the name exists, 4 a level of the path is missing.
//    What the registry refuses raises ORegistry's codes.
//  * Any number of threads may look up, learn and add at once; a look-up waits for nobody. Loading and deleting are for one
//    thread while no other uses the list.
//  * A look-up costs the same however many entries there are.
#pragma once

#include "Platform.h"

#include "CPtrArray.h"
#include "CString.h"
#include "OBase.h"

#include <atomic>

class ONameList;

struct ONameEntry
{
    char* mpName; // compared exactly; owned by the entry's list, as the next is
    ONameList* mpChild;
    ULONG mulEnabled;
    ULONG mulHash;
};

class ONameList : public OBase
{
public:
    // hRoot, pKeyPath: the list's key, as ORegistry::OpenKey takes it.
    ONameList(HKEY hRoot, const char* pKeyPath);
    ~ONameList() override { DeleteList(); }
    ONameList(const ONameList&) = delete;
    ONameList& operator=(const ONameList&) = delete;

    // LoadFromRegistry: takes the entries of the key, which must exist, for those that are there. Writes missing switches.
    void LoadFromRegistry();
    // SaveToRegistry: writes all entries; what cannot be written keeps none of the others back, and is raised in the end.
    //   A name that is empty, or begins or ends with a backslash, has no key. One with a backslash inside is a path.
    void SaveToRegistry();
    // ResetKey: empties the key but for its three switches, and makes it if need be.
    void ResetKey();

    // The switches of the list's own key: what to answer when there is none is also written to the key, if that exists.
    ULONG GetEnabled(int iDefault);
    ULONG GetDefaultEnable(int iDefault);
    ULONG GetErrorsOnly(int iDefault);

    // Find: null when there is no such entry.
    ONameEntry* Find(const char* pName) const;
    // Contains: whether there is such a path; null for what is beyond its last level.
    int Contains(const char* pGroup, const char* pClassName, const char* pItem);
    // IsEnabled: whether the group, the class or the item is; the path must exist.
    int IsEnabled(const char* pGroup, const char* pClassName, const char* pItem);
    // Learn: IsEnabled of a path that exists; another is added with iEnabled, which is the answer then.
    int Learn(int iEnabled, const char* pGroup, const char* pClassName, const char* pItem);

    // Add: makes what is missing of a path, each level with iEnabled.
    void Add(int iEnabled, const char* pGroup, const char* pClassName, const char* pItem);
    void AddEntry(const char* pName, ONameList* pChild, ULONG ulEnabled); // takes pChild over, unless it raises

    int GetCount();
    ONameEntry* GetAt(int iIndex); // in the order in which they were added
    void DeleteList();

private:
    struct Slots;
    enum State { Missing, CutShort, Off, On };

    ULONG GetSwitch(const char* pName, int iDefault, const char* pWhere);
    CString SubkeyPath(const char* pName) const;
    void SaveEntry(const ONameEntry& entry);
    void LoadSubkey(const char* pName);
    // The rest is what the public members do, without their locks and frames.
    State StateOf(const char* pGroup, const char* pClassName, const char* pItem);
    State AddUnlessThere(ULONG ulEnabled, const char* pGroup, const char* pClassName, const char* pItem);
    //   Those that add answer with the code to raise, or 0.
    template <class Change>
    void Grow(Change change);
    ULONG AddPath(ULONG ulEnabled, const char* pGroup, const char* pClassName, const char* pItem);
    ULONG AppendEntry(const char* pName, ONameList* pChild, ULONG ulEnabled);
    ONameEntry* EntryAt(int iIndex);
    ONameList& ChildOf(const ONameEntry& entry);
    void MakeRoom();

    CPtrArray mEntries;
    HKEY mhRootKey;
    CString mKeyPath;
    std::atomic<Slots*> mpSlots{nullptr}; // the entries by the hash of their names
};
