// The key container, copies of objects, what is reported and what is printed.
#include "EncryptTest.h"

#include "PrivateMember.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <vector>

PRIVATE_MEMBER(ProviderOf, OEncrypt, mhProvider);
PRIVATE_MEMBER(SpareOf, OEncrypt, mulSpare);
PRIVATE_MEMBER(InitialisedOf, OEncrypt, mulInitialised);
PRIVATE_MEMBER(ErrorOf, OEncrypt, mulError);

namespace
{
class OEncryptContainer : public EncryptTest
{
protected:
    // Whether the object can work: it encrypts and decrypts.
    bool Works(OEncrypt& object)
    {
        const std::string sPlain = File("plain", "hello world"), sCipher = folder / "cipher";
        return object.EncryptFileA(sPlain.c_str(), sCipher.c_str(), "secret") == 0 && object.GetError() == 0 &&
               Hex(ReadText(sCipher)) == "67af0e9668fa55c57a1776";
    }
};

TEST_F(OEncryptContainer, AnObjectThatWasNotInitialisedDoesNothing)
{
    OEncrypt fresh;
    const std::string sPlain = File("plain", "x"), sOther = folder / "other";
    EXPECT_EQ(fresh.GetError(), 0u);
    EXPECT_EQ(fresh.EncryptFileA(sPlain.c_str(), sOther.c_str(), "secret"), 1);
    EXPECT_EQ(fresh.DecryptFileA(sPlain.c_str(), sOther.c_str(), nullptr), 1);
    EXPECT_EQ(fresh.SignFile(sPlain.c_str(), sOther.c_str(), nullptr), 1);
    EXPECT_EQ(fresh.VerifyFile(sPlain.c_str(), sOther.c_str(), nullptr), 1);
    EXPECT_EQ(fresh.GetError(), 0u);
    EXPECT_FALSE(Exists(sOther));
    EXPECT_EQ(boxes.Shown(), Boxes());
}

TEST_F(OEncryptContainer, AnObjectsFieldsStandInTheirOrder)
{
    const auto place = [](auto pMember) {
        alignas(OEncrypt) static char room[sizeof(OEncrypt)];
        return reinterpret_cast<const char*>(&(reinterpret_cast<OEncrypt*>(room)->*pMember)) - room;
    };
    EXPECT_EQ(place(InitialisedOf()), 0);
    EXPECT_LT(place(InitialisedOf()), place(ProviderOf()));
    EXPECT_LT(place(ProviderOf()), place(ErrorOf()));
    EXPECT_LT(place(ErrorOf()), place(SpareOf()));
}

TEST_F(OEncryptContainer, NoBufferIsRequired)
{
    for (const ULONG ulBytes : {0u, 1u, 1000u, 0xFFFFFFFFu}) EXPECT_EQ(crypt.RequiredBufferSize(ulBytes), 0u);
}

TEST_F(OEncryptContainer, InitMakesItWithoutPairs)
{
    DropContainer();
    OEncrypt object;
    EXPECT_EQ(object.Init("", nullptr, 7, 8), 1);
    EXPECT_EQ(object.GetError(), 0u);
    ContextHolder context;
    ASSERT_EQ(Code(Acquire(context)), 0u);
    KeyHolder none;
    for (const DWORD ulKind : {AT_KEYEXCHANGE, AT_SIGNATURE})
        EXPECT_EQ(Code(CryptGetUserKey(context, ulKind, &none)), DWORD(NTE_NO_KEY));
    EXPECT_EQ(boxes.Shown(), Boxes());
}

TEST_F(OEncryptContainer, InitOpensTheOneThatIsThere)
{
    ImportExchangePair();
    OEncrypt object;
    EXPECT_EQ(object.Init(), 1);
    ContextHolder context;
    KeyHolder pair;
    ASSERT_EQ(Code(Acquire(context)), 0u);
    EXPECT_EQ(Code(CryptGetUserKey(context, AT_KEYEXCHANGE, &pair)), 0u);
}

TEST_F(OEncryptContainer, InitClearsTheErrorAndMayComeAgain)
{
    crypt.DecryptFileA((folder / "none").c_str(), (folder / "out").c_str(), "secret");
    EXPECT_NE(crypt.GetError(), 0u);
    EXPECT_EQ(crypt.Init(), 1);
    EXPECT_EQ(crypt.GetError(), 0u);
    EXPECT_TRUE(Works(crypt));
}

TEST_F(OEncryptContainer, RemoveUserRemovesItAndItsPairs)
{
    ImportExchangePair();
    EXPECT_EQ(crypt.RemoveUser(), 0);
    ContextHolder context;
    EXPECT_EQ(Code(Acquire(context)), DWORD(NTE_BAD_KEYSET));
    EXPECT_EQ(boxes.Shown(), Boxes());
}

TEST_F(OEncryptContainer, RemovingNoneIsReported)
{
    EXPECT_EQ(OEncrypt().RemoveUser(), 0); // no Init before
    EXPECT_EQ(crypt.RemoveUser(), 3);
    EXPECT_EQ(crypt.GetError(), DWORD(NTE_BAD_KEYSET));
    const std::string sText = "The Registry entry for the key container could not be opened and may not exist.";
    EXPECT_EQ(boxes.Shown(), Boxes{"Error deleting key set | " + sText});
}

TEST_F(OEncryptContainer, AnAssignedObjectAndItsSourceOutliveEachOther)
{
    std::optional<OEncrypt> first(std::in_place), second(std::in_place);
    ASSERT_EQ(first->Init(), 1);
    ASSERT_EQ(second->Init(), 1); // whose own handle is given back
    *second = *first;
    EXPECT_EQ((*second).*ProviderOf(), (*first).*ProviderOf());
    first.reset();
    EXPECT_TRUE(Works(*second));
    OEncrypt third(*second);
    second.reset();
    EXPECT_TRUE(Works(third));
}

TEST_F(OEncryptContainer, TheLastObjectGivesTheHandleBack)
{
    std::optional<OEncrypt> first(std::in_place);
    ASSERT_EQ(first->Init(), 1);
    const HCRYPTPROV hProvider = (*first).*ProviderOf();
    std::optional<OEncrypt> second(*first);
    const auto isOpen = [&] { return CryptContextAddRef(hProvider, nullptr, 0) && CryptReleaseContext(hProvider, 0); };
    first.reset();
    EXPECT_TRUE(isOpen());
    second.reset();
    EXPECT_FALSE(isOpen());
}

TEST_F(OEncryptContainer, AnObjectMayBeAssignedToItself)
{
    OEncrypt& same = crypt;
    crypt = same;
    EXPECT_TRUE(Works(crypt));
}

TEST_F(OEncryptContainer, AnAssignmentBringsTheErrorAndTheLackOfInit)
{
    crypt.DecryptFileA((folder / "none").c_str(), (folder / "out").c_str(), "secret");
    OEncrypt copy;
    copy = crypt;
    EXPECT_EQ(copy.GetError(), DWORD(ERROR_FILE_NOT_FOUND));
    copy = OEncrypt();
    EXPECT_EQ(copy.GetError(), 0u);
    EXPECT_EQ(copy.EncryptFileA("a", "b", "secret"), 1);
}

TEST_F(OEncryptContainer, TheLastWordIsCopiedByAssignmentAndClearedByNobody)
{
    alignas(OEncrypt) unsigned char aubRoom[sizeof(OEncrypt)];
    std::memset(aubRoom, 0xA5, sizeof aubRoom);
    auto* const pObject = new (aubRoom) OEncrypt;
    OEncrypt copy;
    copy = *pObject;
    EXPECT_EQ(copy.*SpareOf(), 0xA5A5A5A5u);
    EXPECT_EQ(copy.*ProviderOf(), 0u);
    std::destroy_at(pObject);
}

TEST_F(OEncryptContainer, TheLastErrorOutlivesAnObject)
{
    {
        OEncrypt object;
        ASSERT_EQ(object.Init(), 1);
        SetLastError(4711);
    }
    EXPECT_EQ(GetLastError(), 4711u);
}

class CryptoErrorReport : public testing::Test
{
protected:
    MessageRecorder boxes;
};

TEST_F(CryptoErrorReport, HasATextForEachOfTheseCodes)
{
    const struct { ULONG ulCode; const char* pText; } rows[] = {
        {8, "The operating system ran out of memory during the operation."},
        {87, "One of the parameters contains an invalid value. This is most often an illegal pointer."},
        {0x80090006, "The provider DLL signature did not verify correctly. Either the DLL or the digital signature has been "
                     "tampered with."},
        {0x80090009, "The dwFlags parameter has an illegal value."},
        {0x8009000E, "The CSP ran out of memory during the operation."},
        {0x8009000F, "The dwFlags parameter is CRYPT_NEWKEYSET, but the key container already exists."},
        {0x80090014, "The value of the dwProvType parameter is out of range. All provider types must be from 1 to 999, inclusive."},
        {0x80090016, "The Registry entry for the key container could not be opened and may not exist."},
        {0x80090017, "No Registry entry exists for the provider type specified by dwProvType."},
        {0x80090018, "The Registry entry for the provider type specified by dwProvType is corrupt. This error may relate to "
                     "either the user default CSP list or the machine default CSP list. See the section System Administration "
                     "for details about CryptoAPI's Registry usage."},
        {0x80090019, "No Registry entry exists in the HKEY_CURRENT_USER window for the key container specified by pszContainer."},
        {0x8009001A, "The Registry entry for the pszContainer key container was found (in the HKEY_CURRENT_USER window), but "
                     "is corrupt. See the section System Administration for details about CryptoAPI's Registry usage."},
        {0x8009001B, "The provider type specified by dwProvType does not match the provider type found in the Registry. Note "
                     "that this error can only occur when pszProvider specifies an actual CSP name."},
        {0x8009001C, "An error occurred while loading the DLL file image, prior to verifying its signature."},
        {0x8009001D, "The provider DLL file could not be loaded, and may not exist. If it exists, then the file is not a valid "
                     "DLL."},
        {0x8009001E, "The provider DLL file does not exist or is not on the current path."},
        {0x8009001F, "The pszContainer or pszProvider parameter is set to an illegal value."},
    };
    for (const auto& row : rows)
    {
        ReportCryptoError(0, row.ulCode, "Caption");
        EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{std::string("Caption | ") + row.pText}) << row.ulCode;
    }
}

TEST_F(CryptoErrorReport, TellsTheNumberOfAnyOtherCode)
{
    const struct { ULONG ulCode; const char* pText; } rows[] = {
        {1, "Unknown error: 1."}, {14, "Unknown error: 14."}, {0x8009000D, "Unknown error: -2146893811."}};
    for (const auto& row : rows)
    {
        ReportCryptoError(0, row.ulCode, "Caption");
        EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{std::string("Caption | ") + row.pText});
    }
}

TEST_F(CryptoErrorReport, TakesTheLastErrorInsteadWhenToldSo)
{
    SetLastError(4711);
    ReportCryptoError(1, 8, "Caption");
    ReportCryptoError(-1, 0, "Caption");
    EXPECT_EQ(boxes.Shown(), (MessageRecorder::Boxes{"Caption | Unknown error: 4711.", "Caption | Unknown error: 4711."}));
    ReportCryptoError(0, 12, "Caption");
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{"Caption | Unknown error: 12."});
}

TEST_F(CryptoErrorReport, ShowsNothingForNoError)
{
    ReportCryptoError(0, 0, "Caption");
    SetLastError(0);
    ReportCryptoError(1, 8, "Caption");
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes());
}

TEST_F(CryptoErrorReport, HasACaptionWhenNoneIsGiven)
{
    ReportCryptoError(0, 12, nullptr);
    EXPECT_EQ(boxes.Shown(), MessageRecorder::Boxes{"CryptoAPI Error | Unknown error: 12."});
}

class OEncryptStatistics : public EncryptTest
{
protected:
    static std::string Printed(OEncrypt& object, int iResult)
    {
        testing::internal::CaptureStdout();
        const int iGiven = object.Statistics();
        std::string sPrinted = testing::internal::GetCapturedStdout();
        EXPECT_EQ(iGiven, iResult);
        return sPrinted;
    }
    static std::vector<std::string> Lines(const std::string& sText)
    {
        std::vector<std::string> lines;
        for (std::size_t ulStart = 0, ulEnd; (ulEnd = sText.find('\n', ulStart)) != std::string::npos; ulStart = ulEnd + 1)
            lines.push_back(sText.substr(ulStart, ulEnd - ulStart));
        return lines;
    }
};

TEST_F(OEncryptStatistics, PrintNothingBeforeInit)
{
    OEncrypt fresh;
    EXPECT_EQ(Printed(fresh, 0), "");
    EXPECT_EQ(boxes.Shown(), Boxes());
}

TEST_F(OEncryptStatistics, PrintALineForEachAlgorithm)
{
    const std::vector<std::string> lines = Lines(Printed(crypt, 1));
    for (const char* pLine : {"Name:RC4            Type:Encrypt    Bits:40   Algid:00006801h",
                              "Name:MD5            Type:Hash       Bits:128  Algid:00008003h"})
        EXPECT_EQ(std::ranges::count(lines, pLine), 1) << pLine;
    // Wine's base provider has pairs of 512 bits by default, and more algorithms.
    const std::string sBits = WineSays("512 ", "2048");
    for (const std::string& sLine : {"Name:RSA_SIGN       Type:Signature  Bits:" + sBits + " Algid:00002400h",
                                     "Name:RSA_KEYX       Type:Exchange   Bits:" + sBits + " Algid:0000a400h"})
        EXPECT_EQ(std::ranges::count(lines, sLine), 1) << sLine;
    EXPECT_EQ(lines.size() == 4, !RunsUnderWine());
    ExpectQuiet();
}

TEST_F(OEncryptStatistics, GoOnWhereTheyEnded)
{
    EXPECT_NE(Printed(crypt, 1), "");
    EXPECT_EQ(Printed(crypt, 1), "");
}

TEST_F(OEncryptStatistics, AFailureIsReported)
{
    const HCRYPTPROV hProvider = std::exchange(crypt.*ProviderOf(), 0);
    EXPECT_EQ(Printed(crypt, 0), "");
    EXPECT_EQ(boxes.Shown(), Boxes{std::string("Reading Algorithm Error") + kpInvalid});
    EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
    crypt.*ProviderOf() = hProvider;
}
} // namespace
