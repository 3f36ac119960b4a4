#include "TextData.h"

template <class Char>
constinit LONG TTextData<Char>::smEmpty[4]{-1, 0, 0, 0};

template struct TTextData<char>;
template struct TTextData<unsigned short>;
