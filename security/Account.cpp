#include "Account.h"

#include <grp.h>
#include <pwd.h>
#include <security/pam_appl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace
{
// PAM frees the answers, and wipes them, too.
void Wipe(pam_response* pAnswers, int iCount)
{
    for (int i = 0; i < iCount; ++i)
    {
        if (!pAnswers[i].resp) continue;
        explicit_bzero(pAnswers[i].resp, std::strlen(pAnswers[i].resp));
        std::free(pAnswers[i].resp);
    }
    std::free(pAnswers);
}

// Answers a question that is not to be seen with the password; there is nobody to answer another, or to read what PAM tells.
int Answer(int iCount, const pam_message** ppMessages, pam_response** ppAnswers, void* pPassword)
{
    if (iCount <= 0 || iCount > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
    auto* pAnswers = static_cast<pam_response*>(std::calloc(static_cast<std::size_t>(iCount), sizeof(pam_response)));
    if (!pAnswers) return PAM_BUF_ERR;
    for (int i = 0; i < iCount; ++i)
    {
        const int iStyle = ppMessages[i]->msg_style;
        if (iStyle == PAM_ERROR_MSG || iStyle == PAM_TEXT_INFO) continue;
        if (iStyle == PAM_PROMPT_ECHO_OFF) pAnswers[i].resp = strdup(static_cast<const char*>(pPassword));
        if (pAnswers[i].resp) continue;
        Wipe(pAnswers, iCount);
        return iStyle == PAM_PROMPT_ECHO_OFF ? PAM_BUF_ERR : PAM_CONV_ERR;
    }
    *ppAnswers = pAnswers;
    return PAM_SUCCESS;
}

HRESULT ResultOf(int iPam)
{
    constexpr struct
    {
        int iPam;
        DWORD ulError;
    } kResults[] = {
        {PAM_AUTH_ERR, ERROR_LOGON_FAILURE},          {PAM_USER_UNKNOWN, ERROR_LOGON_FAILURE},
        {PAM_PERM_DENIED, ERROR_ACCOUNT_RESTRICTION}, {PAM_ACCT_EXPIRED, ERROR_ACCOUNT_EXPIRED},
        {PAM_MAXTRIES, ERROR_ACCOUNT_LOCKED_OUT},     {PAM_NEW_AUTHTOK_REQD, ERROR_PASSWORD_MUST_CHANGE},
    };
    if (iPam == PAM_SUCCESS) return S_OK;
    if (iPam == PAM_BUF_ERR) return E_OUTOFMEMORY;
    for (const auto& row : kResults)
        if (row.iPam == iPam) return HRESULT_FROM_WIN32(row.ulError);
    return E_FAIL;
}

// One talk with PAM.
class Talk
{
public:
    Talk(const char* pUser, const char* pPassword) : mConversation{Answer, const_cast<char*>(pPassword)}
    {
        miResult = pam_start("lumbase", pUser, &mConversation, &mpHandle);
    }
    ~Talk()
    {
        if (mpHandle) pam_end(mpHandle, miResult);
    }
    Talk(const Talk&) = delete;
    Talk& operator=(const Talk&) = delete;

    int Check()
    {
        constexpr int kiFlags = PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK;
        if (miResult == PAM_SUCCESS) miResult = pam_authenticate(mpHandle, kiFlags);
        if (miResult == PAM_SUCCESS) miResult = pam_acct_mgmt(mpHandle, kiFlags);
        return miResult;
    }

    // Whom PAM took the user for.
    std::string User() const
    {
        const void* pUser = nullptr;
        return pam_get_item(mpHandle, PAM_USER, &pUser) == PAM_SUCCESS && pUser ? static_cast<const char*>(pUser) : "";
    }

private:
    pam_conv mConversation;
    pam_handle_t* mpHandle = nullptr;
    int miResult;
};

bool IdentityOf(const std::string& sUser, OFileIdentity& identity)
{
    std::vector<char> text(1 << 16);
    passwd entry{};
    passwd* pFound = nullptr;
    if (getpwnam_r(sUser.c_str(), &entry, text.data(), text.size(), &pFound) != 0 || !pFound) return false;
    identity.user = entry.pw_uid;
    identity.group = entry.pw_gid;
    int iCount = 32;
    do identity.groups.resize(static_cast<std::size_t>(iCount)); // too few: the call says how many there are
    while (getgrouplist(entry.pw_name, entry.pw_gid, identity.groups.data(), &iCount) < 0);
    identity.groups.resize(static_cast<std::size_t>(iCount));
    return true;
}
} // namespace

HRESULT CheckAccount(const std::string& sUser, const char* pPassword, OFileIdentity& identity)
{
    Talk talk(sUser.c_str(), pPassword);
    const HRESULT hResult = ResultOf(talk.Check());
    if (FAILED(hResult)) return hResult;
    return IdentityOf(talk.User(), identity) ? S_OK : HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE);
}
