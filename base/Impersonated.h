// The bracket around one platform call.
#pragma once

#include "OSecurity.h"

#include <type_traits>

// Impersonated: call() under the configured user's identity. Keeps the last error that the call left.
//   An exception out of call() passes without the step back.
template <class Call>
auto Impersonated(Call call)
{
    ImpersonateUser();
    if constexpr (std::is_void_v<decltype(call())>)
    {
        call();
        ImpersonateRevertToSelf();
    }
    else
    {
        const auto result = call();
        const DWORD ulError = GetLastError();
        ImpersonateRevertToSelf();
        SetLastError(ulError);
        return result;
    }
}
