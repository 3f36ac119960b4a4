// Asks the installed instrument for the plasma flow of its run phase.
#include "LumBase.h"

#include <cstdio>

int main()
try
{
    OTorchParams torch(1); // 1: initialised, on the working set "Current"
    std::printf("Plasma flow of the run phase: %.2f\n", torch.GetRunPlasmaFlow());
    return 0;
}
catch (OAppException* pException)
{
    // The library reports by pointers; whoever ends the journey of one deletes it.
    std::fprintf(stderr, "%s\n", static_cast<const char*>(pException->mText.ConvertToMultiByte()));
    pException->Delete();
    return 1;
}
