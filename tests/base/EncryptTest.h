// The user's usual key container for tests of OEncrypt, empty at first and gone afterwards, and what is shown meanwhile. Whatever a
// test leads into, failures above all, has given its handles back in the end.
#pragma once

#include "OEncrypt.h"

#include "CryptKeys.h"
#include "FileHandle.h"
#include "MessageRecorder.h"
#include "OpenHandles.h"
#include "TempFolder.h"

class EncryptTest : public testing::Test
{
protected:
    using Boxes = MessageRecorder::Boxes;

    void SetUp() override
    {
        DropContainer();
        mulOpen = CountOpenHandles();
        ASSERT_EQ(crypt.Init(), 1);
    }
    void TearDown() override
    {
        crypt = OEncrypt();
        EXPECT_EQ(CountOpenHandles(), mulOpen);
        DropContainer();
    }

    static BOOL Acquire(ContextHolder& context, DWORD ulFlags = 0)
    {
        return CryptAcquireContextA(&context, nullptr, kpProvider, PROV_RSA_FULL, ulFlags);
    }
    static void DropContainer()
    {
        HCRYPTPROV hNone = 0;
        CryptAcquireContextA(&hNone, nullptr, kpProvider, PROV_RSA_FULL, CRYPT_DELETEKEYSET);
    }

    // Changes the container behind the object's back. Wine looks for pairs only when a container is opened, and writes what it found
    // then when it is closed; so the object closes it before and opens it after.
    template <class Change>
    void ChangeContainer(Change change)
    {
        crypt = OEncrypt();
        change();
        ASSERT_EQ(crypt.Init(), 1);
    }

    // Gives the container a pair, of the test data or of a blob.
    void ImportPair(const char* pName) { ImportPairBlob(CryptData(pName)); }
    void ImportPairBlob(const std::string& sBlob)
    {
        ChangeContainer([&] {
            ContextHolder context;
            KeyHolder pair;
            ASSERT_EQ(Code(Acquire(context)), 0u);
            ASSERT_EQ(Code(CryptImportKey(context, Bytes(sBlob), Count(sBlob), 0, CRYPT_EXPORTABLE, &pair)), 0u);
        });
    }
    void ImportExchangePair() { ImportPair("exchange-1024.private"); }
    void ImportSignaturePair() { ImportPair("signature-2048.private"); }

    // A file with these bytes; its path.
    std::string File(const std::string& sName, const std::string& sBytes)
    {
        const std::string sPath = folder / sName;
        EXPECT_TRUE(WriteText(sPath, sBytes));
        return sPath;
    }
    static bool Exists(const std::string& sPath) { return GetFileAttributesA(sPath.c_str()) != INVALID_FILE_ATTRIBUTES; }

    // The box with this caption and the text of a code that has none of its own.
    static Boxes Unknown(const std::string& sCaption, DWORD ulCode)
    {
        return {sCaption + " | Unknown error: " + std::to_string(static_cast<LONG>(ulCode)) + "."};
    }
    // The box, and that the error is kept.
    void ExpectTold(const std::string& sCaption, DWORD ulCode)
    {
        EXPECT_EQ(boxes.Shown(), Unknown(sCaption, ulCode));
        EXPECT_EQ(crypt.GetError(), ulCode);
    }
    void ExpectQuiet()
    {
        EXPECT_EQ(boxes.Shown(), Boxes());
        EXPECT_EQ(crypt.GetError(), 0u);
    }

    static constexpr const char* kpInvalid =
        " | One of the parameters contains an invalid value. This is most often an illegal pointer.";

    static constexpr const char* kpNoLocks = "Wine reads and writes what another program has locked";

    TempFolder folder;
    MessageRecorder boxes;
    OEncrypt crypt;

private:
    std::size_t mulOpen = 0;
};
