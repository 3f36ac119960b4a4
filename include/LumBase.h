// Everything that the library offers.
#pragma once

#include "BaseAPI.h"
#include "CSecureFile.h"
#include "OBase.h"
#include "OBuffer.h"
#include "ODbgManager.h"
#include "OException.h"
#include "OModelParams.h"
#include "ONameList.h"
#include "ORegParams.h"
#include "ORegistry.h"
#include "OSecurity.h"
#include "OSequencerParams.h"
#include "OSimParams.h"
#include "OString.h"
#include "OTorchParams.h"
#include "RegFunctions.h"
