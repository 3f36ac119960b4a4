// Memory that runs out, a block at a time, and what changes while one is asked for: this program's operator new stands in for the
// library's too, which a DLL does not allow.
#include "../EncryptTest.h"

#include "PrivateMember.h"

#include <cstddef>
#include <functional>
#include <new>

PRIVATE_MEMBER(MemoryContextOf, OEncrypt, mhProvider);

static thread_local std::size_t gulRefused = 0; // blocks of this size are not to be had
static thread_local std::size_t gulNoted = 0;   // before the next block of this size is had, this is done
static thread_local std::function<void()> gOnBlock;

void* operator new[](std::size_t ulBytes, const std::nothrow_t&) noexcept
{
    if (ulBytes == gulRefused) return nullptr;
    if (ulBytes == std::exchange(gulNoted, ulBytes == gulNoted ? 0 : gulNoted)) gOnBlock();
    try
    {
        return ::operator new[](ulBytes);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

namespace
{
class OEncryptMemory : public EncryptTest
{
protected:
    // An operation that gets no blocks of a size: it gives 0 all the same, and the error is told as 14.
    template <class Operation>
    void ExpectNone(std::size_t ulBytes, const std::string& sCaption, Operation operation)
    {
        gulRefused = ulBytes;
        EXPECT_EQ(operation(), 0) << ulBytes;
        gulRefused = 0;
        ExpectTold(sCaption, 14);
    }

    // What an operation gives when something changes just before it gets a block of a size.
    template <class Operation>
    int Meanwhile(std::size_t ulBytes, std::function<void()> change, Operation operation)
    {
        gOnBlock = std::move(change);
        gulNoted = ulBytes;
        const int iResult = operation();
        EXPECT_EQ(gulNoted, 0u);
        return iResult;
    }

    static constexpr std::size_t kulBlock = 512'001, kulKey = 141, kulSignature = 257;
    const std::string msPlain = File("plain", "hello world"), msOut = folder / "out";
};

TEST_F(OEncryptMemory, AFileIsLeftUndoneWithoutABlock)
{
    const auto encrypt = [&] { return crypt.EncryptFileA(msPlain.c_str(), msOut.c_str(), "secret"); };
    const auto decrypt = [&] { return crypt.DecryptFileA(msPlain.c_str(), msOut.c_str(), "secret"); };
    ExpectNone(kulBlock, "Error Out of Memory", encrypt);
    ExpectNone(kulBlock, "Error Out of Memory", decrypt);
    EXPECT_FALSE(Exists(msOut));
    EXPECT_EQ(encrypt(), 0);
    EXPECT_EQ(Hex(ReadText(msOut)), "67af0e9668fa55c57a1776");
}

TEST_F(OEncryptMemory, AKeyIsNeitherWrittenNorReadWithoutABlock)
{
    ImportExchangePair();
    const std::string sCipher = folder / "cipher";
    ASSERT_EQ(crypt.EncryptFileA(msPlain.c_str(), sCipher.c_str(), nullptr), 0);
    ExpectNone(kulKey, "Error out of memory", [&] { return crypt.EncryptFileA(msPlain.c_str(), msOut.c_str(), nullptr); });
    ExpectNone(kulKey, "Error Out of memory or improperly formatted source file!",
               [&] { return crypt.DecryptFileA(sCipher.c_str(), msOut.c_str(), nullptr); });
    EXPECT_FALSE(Exists(msOut));

    HCRYPTKEY hKey = 0;
    ASSERT_EQ(crypt.ImportKeyBlob(&hKey, sCipher.c_str()), 0);
    const KeyHolder key(hKey);
    ExpectNone(kulKey, "Error Out of memory or improperly formatted source file!",
               [&] { return crypt.ImportKeyBlob(&hKey, sCipher.c_str()); });
    EXPECT_EQ(hKey, 0u);
}

TEST_F(OEncryptMemory, ASignatureIsNeitherMadeNorReadWithoutABlock)
{
    ImportSignaturePair();
    const std::string sSignature = folder / "signature";
    ASSERT_EQ(crypt.SignFile(msPlain.c_str(), sSignature.c_str(), nullptr), 0);
    const auto sign = [&] { return crypt.SignFile(msPlain.c_str(), msOut.c_str(), nullptr); };
    const auto verify = [&] { return crypt.VerifyFile(msPlain.c_str(), sSignature.c_str(), nullptr); };
    for (const std::size_t ulBytes : {kulBlock, kulSignature})
    {
        ExpectNone(ulBytes, "Error Out of Memory", sign);
        ExpectNone(ulBytes, "Error Out of Memory", verify);
    }
    EXPECT_FALSE(Exists(msOut));
    EXPECT_EQ(verify(), 0);
}

TEST_F(OEncryptMemory, AKeyThatEndsMeanwhileIsNotExported)
{
    ImportExchangePair();
    const std::string sOld = File("key", "old text");
    HCRYPTKEY hKey = 0;
    ASSERT_EQ(Code(CryptGenKey(crypt.*MemoryContextOf(), CALG_RC4, CRYPT_EXPORTABLE, &hKey)), 0u);
    EXPECT_EQ(Meanwhile(kulKey, [&] { CryptDestroyKey(hKey); }, [&] { return crypt.ExportKeyBlob(hKey, sOld.c_str()); }), 0);
    EXPECT_EQ(boxes.Shown(), Boxes{std::string("CryptExportKey Error") + kpInvalid});
    EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(ReadText(sOld), "old text");
}

TEST_F(OEncryptMemory, APairThatGoesMeanwhileNeitherSignsNorVerifies)
{
    const std::string sSignature = folder / "signature";
    const auto sign = [&] { return crypt.SignFile(msPlain.c_str(), sSignature.c_str(), nullptr); };
    const auto verify = [&] { return crypt.VerifyFile(msPlain.c_str(), sSignature.c_str(), nullptr); };
    const auto losePairs = [] {
        ContextHolder fresh;
        DropContainer();
        EXPECT_TRUE(Acquire(fresh, CRYPT_NEWKEYSET));
    };
    ImportSignaturePair();
    ASSERT_EQ(sign(), 0);
    EXPECT_EQ(Meanwhile(kulSignature, losePairs, verify), 0);
    ExpectTold("CryptGetUserKey Error", DWORD(NTE_NO_KEY));
    ImportSignaturePair();
    EXPECT_EQ(verify(), 0);
    ExpectQuiet();
    EXPECT_EQ(Meanwhile(kulSignature, losePairs, sign), 0);
    ExpectTold("CryptSignHash Error", DWORD(NTE_NO_KEY));
    EXPECT_EQ(ReadText(sSignature).size(), kulSignature - 1); // the one of before
}
} // namespace
