// Buffered files, and text in them.
#include "CStdioFile.h"
#include "FileHandle.h"
#include "FileRefusal.h"
#include "TempFolder.h"

#include <gtest/gtest.h>

#include <string>

class StdioFile : public testing::Test
{
protected:
    static constexpr UINT kuNew = CFile::modeCreate | CFile::modeReadWrite;

    TempFolder mFolder;
    const std::string msFile = mFolder / "file.txt";
};

TEST_F(StdioFile, WritesLineFeedsAsCarriageReturnAndLineFeed)
{
    CStdioFile file(msFile.c_str(), kuNew | CFile::typeText);
    file.WriteString("one\ntwo\n\n");
    file.Write("a\nb", 3);
    file.Close();
    EXPECT_EQ(ReadText(msFile), "one\r\ntwo\r\n\r\na\r\nb");
}

TEST_F(StdioFile, IsTextUnlessItIsSaidToBeBinary)
{
    CStdioFile text(msFile.c_str(), kuNew);
    text.WriteString("a\n");
    text.Close();
    CStdioFile binary((mFolder / "binary").c_str(), kuNew | CFile::typeBinary);
    binary.WriteString("a\n");
    binary.Close();
    EXPECT_EQ(ReadText(msFile), "a\r\n");
    EXPECT_EQ(ReadText(mFolder / "binary"), "a\n");
}

TEST_F(StdioFile, ReadsLines)
{
    ASSERT_TRUE(WriteText(msFile, "one\r\n\r\nthree\nfour\rstill four\r\nlast"));
    CStdioFile file(msFile.c_str(), CFile::modeRead);
    CString sLine;
    for (const char* pExpected : {"one", "", "three", "four\rstill four", "last"})
    {
        EXPECT_TRUE(file.ReadString(sLine));
        EXPECT_STREQ(sLine, pExpected);
    }
    EXPECT_FALSE(file.ReadString(sLine));
    EXPECT_STREQ(sLine, "");
}

TEST_F(StdioFile, ReadsLinesIntoABufferWithTheirLineFeed)
{
    ASSERT_TRUE(WriteText(msFile, "one\r\nlonger\r\n"));
    CStdioFile file(msFile.c_str(), CFile::modeRead);
    char acLine[5];
    EXPECT_STREQ(file.ReadString(acLine, sizeof acLine), "one\n");
    EXPECT_STREQ(file.ReadString(acLine, sizeof acLine), "long");
    EXPECT_STREQ(file.ReadString(acLine, sizeof acLine), "er\n");
    EXPECT_EQ(file.ReadString(acLine, sizeof acLine), nullptr);
    EXPECT_EQ(file.ReadString(acLine, 0), nullptr);
}

TEST_F(StdioFile, ReadsLinesOfAnyLength)
{
    for (int iLength : {254, 255, 256, 257, 5000})
    {
        const std::string sText(static_cast<std::size_t>(iLength), 'x');
        ASSERT_TRUE(WriteText(msFile, sText + "\r\nnext"));
        CStdioFile file(msFile.c_str(), CFile::modeRead);
        CString sLine;
        EXPECT_TRUE(file.ReadString(sLine));
        EXPECT_EQ(sLine, sText.c_str());
        EXPECT_TRUE(file.ReadString(sLine));
        EXPECT_STREQ(sLine, "next");
    }
}

TEST_F(StdioFile, AZeroInALineEndsItAndNotTheNext)
{
    ASSERT_TRUE(WriteText(msFile, std::string("one\0two\r\n\0\r\nthree", 17)));
    CStdioFile file(msFile.c_str(), CFile::modeRead);
    CString sLine;
    for (const char* pExpected : {"one", "", "three"})
    {
        EXPECT_TRUE(file.ReadString(sLine));
        EXPECT_STREQ(sLine, pExpected);
    }
    EXPECT_FALSE(file.ReadString(sLine));
}

TEST_F(StdioFile, TranslatesWhatIsReadAsBytesToo)
{
    ASSERT_TRUE(WriteText(msFile, "a\r\nb\rc\r\r\nd\r"));
    CStdioFile file(msFile.c_str(), CFile::modeRead);
    char acBuffer[20] = "";
    EXPECT_EQ(file.Read(acBuffer, sizeof acBuffer), 9u);
    EXPECT_EQ(std::string(acBuffer, 9), "a\nb\rc\r\nd\r");
    EXPECT_EQ(file.Read(acBuffer, sizeof acBuffer), 0u);
}

TEST_F(StdioFile, ReadingTextEndsAtACtrlZ)
{
    ASSERT_TRUE(WriteText(msFile, "one\x1Atwo"));
    CStdioFile file(msFile.c_str(), CFile::modeRead);
    CString sLine;
    EXPECT_TRUE(file.ReadString(sLine));
    EXPECT_STREQ(sLine, "one");
    EXPECT_FALSE(file.ReadString(sLine));
    file.Close();
    CStdioFile binary(msFile.c_str(), CFile::modeRead | CFile::typeBinary);
    char acBuffer[20];
    EXPECT_EQ(binary.Read(acBuffer, sizeof acBuffer), 7u);
}

TEST_F(StdioFile, PositionsAreThoseInTheFile)
{
    CStdioFile file(msFile.c_str(), kuNew);
    file.WriteString("one\ntwo\n");
    EXPECT_EQ(file.GetPosition(), 10u);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.Seek(5, CFile::begin), 5u);
    CString sLine;
    EXPECT_TRUE(file.ReadString(sLine));
    EXPECT_STREQ(sLine, "two");
    EXPECT_EQ(file.GetPosition(), 10u);
    EXPECT_EQ(file.SeekToEnd(), 10u);
    EXPECT_EQ(file.Seek(-2, CFile::current), 8u);
    EXPECT_REFUSED(file.Seek(-1, CFile::begin), CFileException::badSeek);
    EXPECT_REFUSED(file.Seek(0, 3), CFileException::badSeek);
    EXPECT_EQ(file.Seek(0, CFile::begin), 0u);
    EXPECT_TRUE(file.ReadString(sLine));
    EXPECT_STREQ(sLine, "one");
}

TEST_F(StdioFile, ReadingAndWritingFollowEachOther)
{
    CStdioFile file(msFile.c_str(), kuNew | CFile::typeBinary);
    file.WriteString("0123456789");
    file.SeekToBegin();
    char acBuffer[3] = "";
    EXPECT_EQ(file.Read(acBuffer, 2), 2u);
    EXPECT_STREQ(acBuffer, "01");
    file.WriteString("ab");
    EXPECT_EQ(file.Read(acBuffer, 2), 2u);
    EXPECT_STREQ(acBuffer, "45");
    file.Close();
    EXPECT_EQ(ReadText(msFile), "01ab456789");
}

TEST_F(StdioFile, CutsAndLengthensWithWhatIsBuffered)
{
    CStdioFile file(msFile.c_str(), kuNew | CFile::typeBinary);
    file.WriteString("0123456789");
    file.SetLength(4);
    file.WriteString("end");
    EXPECT_EQ(file.GetLength(), 7u);
    file.Close();
    EXPECT_EQ(ReadText(msFile), "0123end");
}

TEST_F(StdioFile, FlushGivesItToOtherReaders)
{
    CStdioFile file(msFile.c_str(), kuNew | CFile::shareDenyNone);
    file.WriteString("one\n");
    EXPECT_EQ(ReadText(msFile), "");
    file.Flush();
    EXPECT_EQ(ReadText(msFile), "one\r\n");
}

TEST_F(StdioFile, OpensReportsAndSharesLikeAnyFile)
{
    CStdioFile file;
    CFileException error;
    EXPECT_FALSE(file.Open(msFile.c_str(), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_EQ(file.m_pStream, nullptr);
    EXPECT_REFUSED(CStdioFile(msFile.c_str(), CFile::modeRead), CFileException::fileNotFound);

    ASSERT_TRUE(file.Open(msFile.c_str(), kuNew | CFile::shareExclusive));
    EXPECT_STREQ(file.GetFileName(), "file.txt");
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(ERROR_SHARING_VIOLATION));
    file.WriteString("kept");
    file.Close();
    EXPECT_EQ(OpenError(msFile, kulRead), DWORD(NO_ERROR));
    {
        CStdioFile again(msFile.c_str(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite);
        again.SeekToEnd();
        again.WriteString(" and more");
    }
    EXPECT_EQ(ReadText(msFile), "kept and more");
}

TEST_F(StdioFile, WhatItCannotDoIsRefused)
{
    ASSERT_TRUE(WriteText(msFile, "text"));
    CStdioFile reader(msFile.c_str(), CFile::modeRead | CFile::shareDenyNone), closed;
    char acBuffer[10];
    EXPECT_NE(RefusalOf([&] { reader.WriteString("x"); reader.Flush(); }).iCause, -1);
    EXPECT_REFUSED(reader.Duplicate(), CFileException::generic);
    EXPECT_REFUSED(closed.WriteString("x"), CFileException::invalidFile);
    EXPECT_REFUSED(closed.Read(acBuffer, 1), CFileException::invalidFile);
    closed.Close();
    closed.Flush();
}

TEST_F(StdioFile, AStreamThatWasGivenStaysItsOwners)
{
    std::FILE* pStream = std::tmpfile();
    ASSERT_NE(pStream, nullptr);
    {
        CStdioFile file(pStream);
        file.WriteString("a\nb");
        EXPECT_EQ(file.GetLength(), 3u); // as it is
    }
    EXPECT_EQ(std::fputc('x', pStream), 'x');
    std::fclose(pStream);
}
