#include "BaseAPI.h"

OOSVersion::OOSVersion() : mVersion{}
{
    mVersion.dwOSVersionInfoSize = sizeof mVersion;
    GetVersionExA(&mVersion);
}
