// A log manager that does nothing, for whoever must hand one over and wants no output.
#pragma once

#include "ODbgManager.h"

class ODbgManagerDll : public ODbgManager
{
public:
    void Init(int /*iUpdateRegistry*/) {}

    void Writeln(const char*, const char*, const char*, const char*, int) override {}
    int IsEnabled(const char*, const char*, const char*) override { return 1; }
    void UpdateRegistry() override {}
};
