// A signature that comes through a named pipe, so that something can change while it is waited for. On Linux the container itself
// changes meanwhile, to which this system's own provider pays no attention.
#include "../EncryptTest.h"

#include "PrivateMember.h"

#include <thread>

PRIVATE_MEMBER(PipeContextOf, OEncrypt, mhProvider);

namespace
{
using OEncryptPipe = EncryptTest;

TEST_F(OEncryptPipe, AProviderThatGoesMeanwhileVerifiesNothing)
{
    ImportSignaturePair();
    const std::string sFile = File("file", "hello world"), sPipe = "\\\\.\\pipe\\lum-" + std::to_string(GetCurrentProcessId());
    const std::string sSignature = CryptData("hello-world.signature");
    HCRYPTPROV hProvider = 0;
    FileHandle server(CreateNamedPipeA(sPipe.c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE | PIPE_WAIT, 1, 4096, 4096, 0, nullptr));
    ASSERT_TRUE(server.IsOpen());
    std::thread other([&] {
        EXPECT_TRUE(ConnectNamedPipe(server, nullptr) || GetLastError() == ERROR_PIPE_CONNECTED);
        hProvider = std::exchange(crypt.*PipeContextOf(), 0);
        DWORD ulDone = 0;
        EXPECT_TRUE(WriteFile(server, sSignature.data(), Count(sSignature), &ulDone, nullptr));
        server.Close();
    });
    EXPECT_EQ(crypt.VerifyFile(sFile.c_str(), sPipe.c_str(), nullptr), 0);
    other.join();
    crypt.*PipeContextOf() = hProvider;
    EXPECT_EQ(boxes.Shown(), Boxes{std::string("CryptGetUserKey Error") + kpInvalid});
    EXPECT_EQ(crypt.GetError(), DWORD(ERROR_INVALID_PARAMETER));
}
} // namespace
