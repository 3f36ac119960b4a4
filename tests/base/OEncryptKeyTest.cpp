// Session keys, in files and of passwords.
#include "EncryptTest.h"

#include "PrivateMember.h"

PRIVATE_MEMBER(ContextOf, OEncrypt, mhProvider);

namespace
{
class OEncryptKey : public EncryptTest
{
protected:
    KeyHolder Exportable()
    {
        KeyHolder key;
        EXPECT_EQ(Code(CryptGenKey(crypt.*ContextOf(), CALG_RC4, CRYPT_EXPORTABLE, &key)), 0u);
        return key;
    }
    static std::string Encrypt(HCRYPTKEY hKey, std::string sData)
    {
        DWORD ulBytes = Count(sData);
        EXPECT_EQ(Code(CryptEncrypt(hKey, 0, TRUE, 0, Bytes(sData), &ulBytes, ulBytes)), 0u);
        return Hex(sData);
    }
    KeyHolder Imported(const std::string& sPath)
    {
        HCRYPTKEY hKey = 4711;
        EXPECT_EQ(crypt.ImportKeyBlob(&hKey, sPath.c_str()), 0);
        EXPECT_NE(hKey, 4711u);
        return KeyHolder(hKey);
    }

    const std::string msPath = folder / "key";
};

TEST_F(OEncryptKey, OfAPasswordIsThatOfItsBytes)
{
    EXPECT_EQ(Encrypt(KeyHolder(crypt.GetKeyFromHashedPassword("secret")), "hello world"), "67af0e9668fa55c57a1776");
    EXPECT_NE(Encrypt(KeyHolder(crypt.GetKeyFromHashedPassword("secret ")), "hello world"), "67af0e9668fa55c57a1776");
}

TEST_F(OEncryptKey, NoneOfAPasswordIsNotReported)
{
    EXPECT_EQ(crypt.GetKeyFromHashedPassword(nullptr), 0u);
    OEncrypt fresh;
    EXPECT_EQ(fresh.GetKeyFromHashedPassword("secret"), 0u);
    EXPECT_EQ(fresh.GetError(), 0u);
    ExpectQuiet();
}

TEST_F(OEncryptKey, ComesBackFromItsFile)
{
    ImportExchangePair();
    const KeyHolder made = Exportable();
    EXPECT_EQ(crypt.ExportKeyBlob(made, msPath.c_str()), 0);
    EXPECT_EQ(ReadText(msPath).size(), 144u);
    EXPECT_EQ(Hex(ReadText(msPath)).substr(0, 32), "8c000000010200000168000000a40000");
    const KeyHolder back = Imported(msPath);
    // Wine puts random bytes, which do not travel, behind the forty bits of a key that it makes.
    EXPECT_EQ(Encrypt(back, "hello world") == Encrypt(made, "hello world"), WineSays(false, true));
    EXPECT_EQ(Encrypt(Imported(msPath), "hello world"), Encrypt(back, "hello world"));
    ExpectQuiet();
}

TEST_F(OEncryptKey, AFileThatIsNotThereGivesNone)
{
    EXPECT_EQ(Imported(msPath), 0u);
    ExpectTold("Error reading file header", ERROR_FILE_NOT_FOUND);
}

TEST_F(OEncryptKey, AFileThatCannotBeMadeIsReported)
{
    ImportExchangePair();
    EXPECT_EQ(crypt.ExportKeyBlob(Exportable(), (folder / "none/key").c_str()), 0);
    ExpectTold("Error writing header", ERROR_PATH_NOT_FOUND);
}

TEST_F(OEncryptKey, WithoutAPairNoFileIsLeft)
{
    EXPECT_EQ(crypt.ExportKeyBlob(Exportable(), msPath.c_str()), 0);
    ExpectTold("CryptGetUserKey Error", DWORD(NTE_NO_KEY));
    EXPECT_FALSE(Exists(msPath));
}

TEST_F(OEncryptKey, AFileThatIsThereIsReplacedOnlyByAKey)
{
    ImportExchangePair();
    const KeyHolder key = Exportable();
    File("key", std::string(1000, 'o'));
    EXPECT_EQ(crypt.ExportKeyBlob(0, msPath.c_str()), 0);
    EXPECT_EQ(boxes.Shown(), Boxes{std::string("Error computing blob length") + kpInvalid});
    EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(ReadText(msPath), std::string(1000, 'o'));
    EXPECT_EQ(crypt.ExportKeyBlob(key, msPath.c_str()), 0);
    EXPECT_EQ(ReadText(msPath).size(), 144u);
    ExpectQuiet();
}

TEST_F(OEncryptKey, AFileThatAnotherWritesIsLeftToIt)
{
    ImportExchangePair();
    const KeyHolder key = Exportable();
    File("key", "old text");
    {
        const FileHandle other(msPath, kulReadWrite);
        EXPECT_EQ(crypt.ExportKeyBlob(key, msPath.c_str()), 0);
        ExpectTold("Error writing header", ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(ReadText(msPath), "old text");
}

TEST_F(OEncryptKey, ThatOfAPasswordIsNotGivenAway)
{
    ImportExchangePair();
    const KeyHolder key(crypt.GetKeyFromHashedPassword("secret"));
    EXPECT_EQ(crypt.ExportKeyBlob(key, msPath.c_str()), 0);
    EXPECT_EQ(Exists(msPath), RunsUnderWine()); // Wine gives every session key away
    if (RunsUnderWine()) return;
    ExpectTold("Error computing blob length", DWORD(NTE_BAD_KEY_STATE));
}

TEST_F(OEncryptKey, StreamsTakeKeysWhereTheyStand)
{
    ImportExchangePair();
    FILE* pFile = std::tmpfile();
    ASSERT_NE(pFile, nullptr);
    std::fputs("abc", pFile);
    const KeyHolder key = Exportable();
    EXPECT_EQ(crypt.PutKeyBlobToFile(pFile, key), 0);
    EXPECT_EQ(std::ftell(pFile), 3 + 144);
    EXPECT_EQ(crypt.PutKeyBlobToFile(pFile, key), 0);
    std::fseek(pFile, 3, SEEK_SET);
    const KeyHolder first(crypt.GetKeyBlobFromFile(pFile)), second(crypt.GetKeyBlobFromFile(pFile));
    EXPECT_EQ(Encrypt(first, "hello world"), Encrypt(second, "hello world"));
    ExpectQuiet();
    EXPECT_EQ(crypt.GetKeyBlobFromFile(pFile), 0u);
    ExpectTold("Error reading file header", ERROR_HANDLE_EOF);
    std::fclose(pFile);
}

TEST_F(OEncryptKey, PuttingTellsWhatWentWrong)
{
    FILE* pFile = std::fopen(File("key", "x").c_str(), "rb"); // not to be written to
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(crypt.PutKeyBlobToFile(pFile, Exportable()), 3);
    ExpectTold("CryptGetUserKey Error", DWORD(NTE_NO_KEY));
    ImportExchangePair();
    const KeyHolder key = Exportable();
    EXPECT_EQ(crypt.PutKeyBlobToFile(pFile, 0), 3);
    EXPECT_EQ(boxes.Shown(), Boxes{std::string("Error computing blob length") + kpInvalid});
    SetLastError(ERROR_ACCESS_DENIED); // a stream that the system knows nothing of leaves it as it is
    EXPECT_EQ(crypt.PutKeyBlobToFile(pFile, key), 2);
    ExpectTold("Error writing header", ERROR_ACCESS_DENIED);
    std::fclose(pFile);
    EXPECT_EQ(crypt.PutKeyBlobToFile(nullptr, key), 2);
    ExpectTold("Error writing header", ERROR_INVALID_HANDLE);
}
} // namespace
