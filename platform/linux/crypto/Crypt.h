// Cryptography: session keys, hashes, key pairs and their containers, on OpenSSL's libcrypto.
//
//  * One provider, MS_DEF_PROV, built as the Windows base provider is: RC4 keys of 40 bits (at most 56), MD5, RSA with PKCS #1
//    v1.5.
//    Neither 40 bits nor MD5 keeps anybody out who wants to get in; they are there for the files that are written with them.
//  * Numbers in blobs and signatures have their least significant byte first.
//  * Handles fit in 32 bits and are checked: a null, closed or invented one, or one of another kind, is ERROR_INVALID_PARAMETER.
//    CloseHandle does not take them. Keys and hashes live on when their context is released.
//  * An out-argument is untouched when the call fails, except for a size together with ERROR_MORE_DATA.
//  * Any thread. Calls on one key or hash from several threads take turns, in no particular order.
//  * No flag but those named below: NTE_BAD_FLAGS. Memory that runs out: NTE_NO_MEMORY. Keys are wiped from memory after use.
//
// A call that gives bytes takes their room in *pulBytes and leaves their number there. Without a buffer it gives the number alone.
// Too little room: ERROR_MORE_DATA, and *pulBytes is what it takes.
#pragma once

#include "../kernel/Error.h"
#include "../kernel/Types.h"

using ALG_ID = unsigned int;
using HCRYPTPROV = ULONG_PTR;
using HCRYPTKEY = ULONG_PTR;
using HCRYPTHASH = ULONG_PTR;

#define MS_DEF_PROV_A "Microsoft Base Cryptographic Provider v1.0"
#define MS_DEF_PROV MS_DEF_PROV_A
#define PROV_RSA_FULL 1

#define CRYPT_VERIFYCONTEXT 0xF0000000u
#define CRYPT_NEWKEYSET 0x00000008
#define CRYPT_DELETEKEYSET 0x00000010
#define CRYPT_SILENT 0x00000040
#define CRYPT_EXPORTABLE 0x00000001
#define CRYPT_FIRST 1

#define AT_KEYEXCHANGE 1
#define AT_SIGNATURE 2

#define ALG_CLASS_SIGNATURE (1 << 13)
#define ALG_CLASS_DATA_ENCRYPT (3 << 13)
#define ALG_CLASS_HASH (4 << 13)
#define ALG_CLASS_KEY_EXCHANGE (5 << 13)
#define GET_ALG_CLASS(x) ((x) & (7 << 13))
#define CALG_MD5 0x00008003
#define CALG_RC4 0x00006801
#define CALG_RSA_SIGN 0x00002400
#define CALG_RSA_KEYX 0x0000A400

#define SIMPLEBLOB 0x1
#define PUBLICKEYBLOB 0x6
#define PRIVATEKEYBLOB 0x7
#define CUR_BLOB_VERSION 2

#define PP_ENUMALGS 1
#define PP_NAME 4
#define PP_CONTAINER 6
#define PP_PROVTYPE 16
#define HP_ALGID 1
#define HP_HASHVAL 2
#define HP_HASHSIZE 4
#define KP_PERMISSIONS 6
#define KP_ALGID 7
#define KP_KEYLEN 9
#define CRYPT_ENCRYPT 0x0001
#define CRYPT_DECRYPT 0x0002
#define CRYPT_EXPORT 0x0004
#define CRYPT_READ 0x0008
#define CRYPT_WRITE 0x0010
#define CRYPT_MAC 0x0020

#define NTE_BAD_UID static_cast<HRESULT>(0x80090001u)
#define NTE_BAD_HASH static_cast<HRESULT>(0x80090002u)
#define NTE_BAD_KEY static_cast<HRESULT>(0x80090003u)
#define NTE_BAD_LEN static_cast<HRESULT>(0x80090004u)
#define NTE_BAD_DATA static_cast<HRESULT>(0x80090005u)
#define NTE_BAD_SIGNATURE static_cast<HRESULT>(0x80090006u)
#define NTE_BAD_VER static_cast<HRESULT>(0x80090007u)
#define NTE_BAD_ALGID static_cast<HRESULT>(0x80090008u)
#define NTE_BAD_FLAGS static_cast<HRESULT>(0x80090009u)
#define NTE_BAD_TYPE static_cast<HRESULT>(0x8009000Au)
#define NTE_BAD_KEY_STATE static_cast<HRESULT>(0x8009000Bu)
#define NTE_BAD_HASH_STATE static_cast<HRESULT>(0x8009000Cu)
#define NTE_NO_KEY static_cast<HRESULT>(0x8009000Du)
#define NTE_NO_MEMORY static_cast<HRESULT>(0x8009000Eu)
#define NTE_EXISTS static_cast<HRESULT>(0x8009000Fu)
#define NTE_PERM static_cast<HRESULT>(0x80090010u)
#define NTE_NOT_FOUND static_cast<HRESULT>(0x80090011u)
#define NTE_DOUBLE_ENCRYPT static_cast<HRESULT>(0x80090012u)
#define NTE_BAD_PROVIDER static_cast<HRESULT>(0x80090013u)
#define NTE_BAD_PROV_TYPE static_cast<HRESULT>(0x80090014u)
#define NTE_BAD_PUBLIC_KEY static_cast<HRESULT>(0x80090015u)
#define NTE_BAD_KEYSET static_cast<HRESULT>(0x80090016u)
#define NTE_PROV_TYPE_NOT_DEF static_cast<HRESULT>(0x80090017u)
#define NTE_PROV_TYPE_ENTRY_BAD static_cast<HRESULT>(0x80090018u)
#define NTE_KEYSET_NOT_DEF static_cast<HRESULT>(0x80090019u)
#define NTE_KEYSET_ENTRY_BAD static_cast<HRESULT>(0x8009001Au)
#define NTE_PROV_TYPE_NO_MATCH static_cast<HRESULT>(0x8009001Bu)
#define NTE_SIGNATURE_FILE_BAD static_cast<HRESULT>(0x8009001Cu)
#define NTE_PROVIDER_DLL_FAIL static_cast<HRESULT>(0x8009001Du)
#define NTE_PROV_DLL_NOT_FOUND static_cast<HRESULT>(0x8009001Eu)
#define NTE_BAD_KEYSET_PARAM static_cast<HRESULT>(0x8009001Fu)
#define NTE_FAIL static_cast<HRESULT>(0x80090020u)

struct BLOBHEADER // in front of every blob
{
    BYTE bType;
    BYTE bVersion;
    WORD reserved;
    ALG_ID aiKeyAlg;
};
using PUBLICKEYSTRUC = BLOBHEADER;
static_assert(sizeof(BLOBHEADER) == 8);

struct RSAPUBKEY // behind it, in the blobs of RSA keys
{
    DWORD magic;
    DWORD bitlen;
    DWORD pubexp;
};
static_assert(sizeof(RSAPUBKEY) == 12);

struct PROV_ENUMALGS
{
    ALG_ID aiAlgid;
    DWORD dwBitLen;
    DWORD dwNameLen; // with the zero
    CHAR szName[20];
};
static_assert(sizeof(PROV_ENUMALGS) == 32);

// CryptAcquireContext: opens a key container of the user, by default (null or empty) the one with the user's name.
//   CRYPT_NEWKEYSET makes it, without pairs; CRYPT_DELETEKEYSET removes it and opens nothing; CRYPT_VERIFYCONTEXT takes no
//   name and keeps its pairs in memory; CRYPT_SILENT changes nothing. Case does not count in names.
//   The provider is MS_DEF_PROV; null or empty is the same one.
//   Errors: NTE_BAD_KEYSET (no such container), NTE_EXISTS, NTE_KEYSET_ENTRY_BAD (damaged, or of a newer version), NTE_PERM
//   (others may read or write it, or own it), NTE_BAD_KEYSET_PARAM (a backslash in the name, or more than MAX_PATH units),
//   NTE_KEYSET_NOT_DEF (another provider), NTE_BAD_PROV_TYPE, NTE_PROV_TYPE_NOT_DEF, NTE_PROV_TYPE_NO_MATCH,
//   NTE_PROV_DLL_NOT_FOUND (OpenSSL's legacy provider, which has RC4, is not installed), and those of the file system.
BOOL CryptAcquireContextA(HCRYPTPROV* phProv, LPCSTR pContainer, LPCSTR pProvider, DWORD ulProvType, DWORD ulFlags);

// CryptContextAddRef: the handle takes one CryptReleaseContext more. pulReserved is null and no flags are known.
//   Errors: ERROR_INVALID_PARAMETER.
BOOL CryptContextAddRef(HCRYPTPROV hProv, DWORD* pulReserved, DWORD ulFlags);

// CryptReleaseContext: ends a handle. With flags it does so too, and says NTE_BAD_FLAGS.
BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD ulFlags);

// CryptGetProvParam: PP_NAME, PP_CONTAINER (text with its zero), PP_PROVTYPE; PP_ENUMALGS: a PROV_ENUMALGS for the next algorithm,
//   for the first one with CRYPT_FIRST and on a new handle; asking for its size goes no further.
//   Errors: NTE_BAD_TYPE (another parameter), ERROR_NO_MORE_ITEMS (from then on until CRYPT_FIRST).
BOOL CryptGetProvParam(HCRYPTPROV hProv, DWORD ulParam, BYTE* pData, DWORD* pulBytes, DWORD ulFlags);

// CryptGenKey: a new session key (CALG_RC4), or a new pair that takes the place of the container's own (AT_KEYEXCHANGE,
//   AT_SIGNATURE; CALG_RSA_KEYX and CALG_RSA_SIGN are the same). The high word of the flags is the number of bits, 0 for the usual:
//   RC4 40, 48 or 56 (40), pairs 512 to 4096 by eights (2048). A key of 40 bits is followed by eleven zero bytes when it is used.
//   CRYPT_EXPORTABLE: CryptExportKey gives away the session key, or the pair's private part.
//   Errors: NTE_BAD_ALGID, NTE_BAD_DATA (another number of bits), NTE_BAD_KEYSET (the container is gone), ERROR_DISK_FULL, ...:
//   the container then is as before.
BOOL CryptGenKey(HCRYPTPROV hProv, ALG_ID ulAlgorithm, DWORD ulFlags, HCRYPTKEY* phKey);

// CryptDeriveKey: a session key (CALG_RC4) from a hash, which it finishes: its first bytes, as many as the key has. Flags as above.
BOOL CryptDeriveKey(HCRYPTPROV hProv, ALG_ID ulAlgorithm, HCRYPTHASH hHash, DWORD ulFlags, HCRYPTKEY* phKey);

// CryptGetUserKey: the container's pair. Errors: NTE_NO_KEY (it has none of that kind), and those of opening the container.
BOOL CryptGetUserKey(HCRYPTPROV hProv, DWORD ulKeySpec, HCRYPTKEY* phKey);

// CryptDestroyKey: ends a handle. The container keeps its pair.
BOOL CryptDestroyKey(HCRYPTKEY hKey);

// CryptGetKeyParam: a DWORD: KP_ALGID, KP_KEYLEN (bits), KP_PERMISSIONS (CRYPT_EXPORT when it may be exported).
//   Errors: NTE_BAD_TYPE (another parameter).
BOOL CryptGetKeyParam(HCRYPTKEY hKey, DWORD ulParam, BYTE* pData, DWORD* pulBytes, DWORD ulFlags);

// CryptEncrypt, CryptDecrypt: the next bytes of the key's stream over the data, in place; RC4 makes both the same. The stream
//   begins anew after a call with bFinal. With a hash, the plain text is hashed too. Without a buffer CryptEncrypt leaves
//   *pulBytes as it is: there will be as many bytes.
//   Errors: ERROR_MORE_DATA (CryptEncrypt with ulRoom below *pulBytes), NTE_BAD_KEY (not a session key), NTE_BAD_HASH_STATE.
BOOL CryptEncrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL bFinal, DWORD ulFlags, BYTE* pData, DWORD* pulBytes, DWORD ulRoom);
BOOL CryptDecrypt(HCRYPTKEY hKey, HCRYPTHASH hHash, BOOL bFinal, DWORD ulFlags, BYTE* pData, DWORD* pulBytes);

// CryptExportKey: SIMPLEBLOB: a session key, wrapped for the owner of an exchange pair (hExportKey: the pair, or its public part).
//   PUBLICKEYBLOB, PRIVATEKEYBLOB: an RSA key, not wrapped (no hExportKey).
//   Errors: NTE_BAD_TYPE (another blob), NTE_BAD_KEY (the key is not of the blob's kind), NTE_BAD_PUBLIC_KEY (hExportKey is
//   missing, or not an exchange key), NTE_BAD_KEY_STATE (not exportable, or no private part), NTE_BAD_FLAGS.
BOOL CryptExportKey(HCRYPTKEY hKey, HCRYPTKEY hExportKey, DWORD ulBlobType, DWORD ulFlags, BYTE* pData, DWORD* pulBytes);

// CryptImportKey: the key of a blob. A SIMPLEBLOB is opened with the exchange pair hPublicKey, or without one with the container's
//   own. The pair of a PRIVATEKEYBLOB takes the place of the container's. CRYPT_EXPORTABLE as for CryptGenKey.
//   Errors: NTE_BAD_DATA (anything wrong in the blob: cut, too long, numbers that are no key, made for another pair),
//   NTE_BAD_TYPE, NTE_BAD_ALGID, NTE_BAD_KEY (hPublicKey is not an exchange pair), NTE_NO_KEY (the container has none), and
//   those of storing a pair.
BOOL CryptImportKey(HCRYPTPROV hProv, const BYTE* pData, DWORD ulBytes, HCRYPTKEY hPublicKey, DWORD ulFlags, HCRYPTKEY* phKey);

// CryptCreateHash: CALG_MD5, without a key. Errors: NTE_BAD_ALGID; ERROR_INVALID_PARAMETER (a key).
BOOL CryptCreateHash(HCRYPTPROV hProv, ALG_ID ulAlgorithm, HCRYPTKEY hKey, DWORD ulFlags, HCRYPTHASH* phHash);

// CryptHashData: hashes the next bytes. Errors: NTE_BAD_HASH_STATE (finished: its value was used).
BOOL CryptHashData(HCRYPTHASH hHash, const BYTE* pData, DWORD ulBytes, DWORD ulFlags);

// CryptGetHashParam: HP_ALGID, HP_HASHSIZE (a DWORD), HP_HASHVAL, which finishes the hash. Errors: NTE_BAD_TYPE.
BOOL CryptGetHashParam(HCRYPTHASH hHash, DWORD ulParam, BYTE* pData, DWORD* pulBytes, DWORD ulFlags);

BOOL CryptDestroyHash(HCRYPTHASH hHash);

// CryptSignHash: signs the hash with a pair of its context's container, and finishes it. A description is hashed first, as 16-bit
//   units without the zero. Asking for the size, or with too little room, leaves the hash as it is.
//   Errors: NTE_NO_KEY, NTE_BAD_HASH_STATE (a description for a finished hash), and those of opening
//   the container.
BOOL CryptSignHashA(HCRYPTHASH hHash, DWORD ulKeySpec, LPCSTR pDescription, DWORD ulFlags, BYTE* pSignature, DWORD* pulBytes);

// CryptVerifySignature: whether the signature was made of this hash with that key's private part. Description as above.
//   Errors: NTE_BAD_SIGNATURE (it was not), NTE_BAD_KEY (not an RSA key), NTE_BAD_HASH_STATE.
BOOL CryptVerifySignatureA(HCRYPTHASH hHash, const BYTE* pSignature, DWORD ulBytes, HCRYPTKEY hPublicKey, LPCSTR pDescription,
                           DWORD ulFlags);
