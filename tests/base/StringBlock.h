// What tests ask of a string's block.
#pragma once

#include "OString.h"

inline LONG RefsOf(const OString& sText) { return sText.GetData()->lRefs; }

inline const unsigned short* TextOf(const OString& sText) { return sText; }

inline bool IsSharedEmpty(const OString& sText) { return TextOf(sText) == TextOf(AfxGetEmptyOString()); }
