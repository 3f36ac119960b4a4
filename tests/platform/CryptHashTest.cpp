#include "CryptKeys.h"

namespace
{
class CryptHashing : public CryptTest {};

TEST_F(CryptHashing, GivesTheMd5)
{
    EXPECT_EQ(HashValue(Hash("")), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(HashValue(Hash("abc")), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(HashValue(Hash("message digest")), "f96b697d7cb7938d525a2f31aaf161d0");
}

TEST_F(CryptHashing, PiecesAddUp)
{
    const HashHolder hash = Hash("mess");
    EXPECT_TRUE(CryptHashData(hash, Bytes("age "), 4, 0));
    EXPECT_TRUE(CryptHashData(hash, Bytes("xxx"), 0, 0));
    EXPECT_TRUE(CryptHashData(hash, nullptr, 0, 0));
    EXPECT_TRUE(CryptHashData(hash, Bytes("digest"), 6, 0));
    EXPECT_EQ(HashValue(hash), "f96b697d7cb7938d525a2f31aaf161d0");
}

TEST_F(CryptHashing, AValueThatWasUsedDoesNotChange)
{
    const HashHolder hash = Hash("abc");
    EXPECT_EQ(HashValue(hash), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(Code(CryptHashData(hash, Bytes("d"), 1, 0)), DWORD(NTE_BAD_HASH_STATE));
    EXPECT_EQ(HashValue(hash), "900150983cd24fb0d6963f7d28e17f72");
}

TEST_F(CryptHashing, AskingForSizesDoesNotFinishIt)
{
    const HashHolder hash = Hash("ab");
    BYTE aubValue[16];
    DWORD ulBytes = 10;
    EXPECT_EQ(Code(CryptGetHashParam(hash, HP_HASHVAL, aubValue, &ulBytes, 0)), DWORD(ERROR_MORE_DATA));
    EXPECT_EQ(ulBytes, 16u);
    ulBytes = 0;
    EXPECT_EQ(Code(CryptGetHashParam(hash, HP_HASHVAL, nullptr, &ulBytes, 0)), 0u);
    EXPECT_EQ(ulBytes, 16u);
    // Wine finishes it even so.
    EXPECT_EQ(Code(CryptHashData(hash, Bytes("c"), 1, 0)), WineSays(DWORD(NTE_BAD_HASH_STATE), DWORD(0)));
    EXPECT_EQ(HashValue(hash), WineSays<std::string>("187ef4436122d1cc2f40dc2b92f0eba0", "900150983cd24fb0d6963f7d28e17f72"));
}

TEST_F(CryptHashing, TellsItsKindAndSize)
{
    const HashHolder hash = Hash("abc");
    DWORD ulValue = 0, ulBytes = sizeof ulValue;
    EXPECT_EQ(Code(CryptGetHashParam(hash, HP_ALGID, reinterpret_cast<BYTE*>(&ulValue), &ulBytes, 0)), 0u);
    EXPECT_EQ(ulValue, DWORD(CALG_MD5));
    EXPECT_EQ(Code(CryptGetHashParam(hash, HP_HASHSIZE, reinterpret_cast<BYTE*>(&ulValue), &ulBytes, 0)), 0u);
    EXPECT_EQ(ulValue, 16u);
    EXPECT_EQ(Code(CryptGetHashParam(hash, 55, reinterpret_cast<BYTE*>(&ulValue), &ulBytes, 0)), DWORD(NTE_BAD_TYPE));
    EXPECT_EQ(Code(CryptGetHashParam(hash, HP_HASHVAL, reinterpret_cast<BYTE*>(&ulValue), &ulBytes, 3)), DWORD(NTE_BAD_FLAGS));
}

TEST_F(CryptHashing, WhatIsNoHashIsRefused)
{
    HashHolder hash;
    EXPECT_EQ(Code(CryptCreateHash(mContext, 0x8099, 0, 0, &hash)), DWORD(NTE_BAD_ALGID));
    EXPECT_EQ(Code(CryptCreateHash(mContext, CALG_MD5, 0, 5, &hash)), DWORD(NTE_BAD_FLAGS));
    EXPECT_EQ(Code(CryptCreateHash(mContext, CALG_MD5, 0x123, 0, &hash)), DWORD(ERROR_INVALID_PARAMETER));
    // Wine makes a hash of any algorithm in its list.
    EXPECT_EQ(Code(CryptCreateHash(mContext, CALG_RC4, 0, 0, &hash)), WineSays(kulDone, DWORD(NTE_BAD_ALGID)));
}

TEST_F(CryptHashing, NothingIsNotData)
{
    const HashHolder hash = Hash("abc");
    EXPECT_EQ(Code(CryptHashData(hash, Bytes("x"), 1, 2)), DWORD(NTE_BAD_FLAGS));
    // Wine takes them for none.
    EXPECT_EQ(Code(CryptHashData(hash, nullptr, 4, 0)), WineSays(kulDone, DWORD(ERROR_INVALID_PARAMETER)));
    EXPECT_EQ(HashValue(hash), "900150983cd24fb0d6963f7d28e17f72");
}

TEST_F(CryptHashing, ADestroyedHashIsNone)
{
    const HCRYPTHASH hHash = Hash("abc").Drop();
    EXPECT_TRUE(CryptDestroyHash(hHash));
    EXPECT_EQ(Code(CryptDestroyHash(hHash)), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Code(CryptHashData(hHash, Bytes("x"), 1, 0)), DWORD(ERROR_INVALID_PARAMETER));
}
} // namespace
